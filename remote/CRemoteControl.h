#pragma once
// The OSC server as a front end of the session's graph: it listens when started (off by
// default) and apply() hands every command waiting in its queue to the session's own
// commands, as a user's change in the window would be: the head orientation to
// setHeadOrientation, a beam's pattern to setPattern, and a beam's AmbiX azimuth and
// elevation, turned into the array's own angles through the mounting the session keeps
// (arrayAnglesFromAmbix), to steer. The distance of an aed message is read and checked but
// a beam has none, so it is not used. From there the values reach the audio thread
// through the graph's lock-free hand-overs; apply() tells which values changed, so that a
// window can show them.
//
// Control thread only (apply() from the front end's timer, like CSession::poll()).

#include "remote/COscServer.h"

#include <bitset>
#include <memory>
#include <string>

class CGraphSession;

class CRemoteControl {
public:
    using Counts = COscServer::Counts;

    struct Changes {
        bool head = false;
        std::bitset<32> direction;  // beams whose theta and phi were set
        std::bitset<32> pattern;    // beams whose pattern was set
        bool any() const { return head || direction.any() || pattern.any(); }
    };

    explicit CRemoteControl(CGraphSession& session);
    ~CRemoteControl();

    // Listens on UDP `port`; the pattern names are those of the session's graph, which
    // must have been built. False, and `message` says why in one line, when it cannot.
    bool start(int port, std::string& message);
    void stop();
    bool running() const { return mServer && mServer->running(); }
    int port() const { return mServer ? mServer->port() : 0; }
    // Since the last start; zero when never started.
    Counts counts() const { return mServer ? mServer->counts() : Counts{}; }
    // Beams 1..count may be addressed (the window's track count); kept over restarts.
    void setBeamCount(int count);

    // Every waiting command through the session's commands, oldest first.
    Changes apply();

private:
    void steer(int beam, float azimuth, float elevation);
    void setPattern(int beam, int pattern);

    CGraphSession& mSession;
    std::unique_ptr<COscServer> mServer;
    int mBeamCount;
};
