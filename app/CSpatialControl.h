#pragma once
// The window's part for the scene as a whole: the array's mounting (hardware page), the
// binaural monitor's ear responses and head orientation and the OSC remote control
// (binaural page) between the options, the session and the window. The pages show the
// session's settings; a user's change goes to the session, which keeps it in the settings.
// A SOFA file the session refuses is said once, and the page keeps showing the set in
// force. The OSC server (off unless enabled) is drained by poll(), from the window's timer
// after the session's own poll: the beams it moved show in the beam panel, a head it
// turned in the head fields. Main thread only.

#include "remote/CRemoteControl.h"

#include <QObject>
#include <QString>

#include <functional>

class CBeamPanel;
class CBinauralOptions;
class CMountingOptions;
class CSession;

class CSpatialControl : public QObject {
    Q_OBJECT

public:
    using Warn = std::function<void(const QString&)>;

    // `warn` tells the user something once (the window's warning box).
    CSpatialControl(CSession& session, CBeamPanel& beams, Warn warn, QObject* parent = nullptr);
    ~CSpatialControl() override;

    // The pages show the settings and are connected; OSC starts when the settings enable it.
    void attach(CMountingOptions* mounting, CBinauralOptions* binaural);
    // Applies what OSC sent since the last call; the window's timer calls it.
    void poll();
    // Beams 1..count may be addressed over OSC (the window's track count).
    void setBeamCount(int count) { mRemote.setBeamCount(count); }

    // For the status line: the ears' latency and the OSC server's state.
    QString statusNote() const;
    const CRemoteControl& remote() const { return mRemote; }

public slots:
    void setMounting(float yaw, float pitch, float roll);
    void requestHrtf(const QString& path);
    void setHead(float yaw, float pitch, float roll);
    void setOsc(bool enabled, int port);

private:
    void showHrtfOutcome(const QString& path, const QString& error);
    void startOsc();
    QString oscState() const;

    CSession& mSession;
    CBeamPanel& mBeams;
    Warn mWarn;
    CRemoteControl mRemote;
    CBinauralOptions* mPage = nullptr;
    QString mOscError;
};
