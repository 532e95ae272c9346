#pragma once
// A UDP port that a head tracker or another program controls the session through, with
// OSC (liblo). It is off until start(); it then reads packets on its own thread, parses
// each message (COscParser) and puts the valid ones into a bounded lock-free queue that
// the control thread drains with next(). The OSC thread never waits for the control
// thread: when the queue is full the command is dropped and counted. Messages liblo cannot
// even read (random bytes) and messages the parser refuses are counted as malformed.
//
// Thread contract: start, stop, next and setBeamCount on the control thread; the counts
// from any thread.

#include "remote/COscParser.h"
#include "remote/CRemoteCommand.h"
#include "remote/CSpscQueue.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

class COscServer {
public:
    // Enough for seconds of a 100 Hz tracker and a few steered beams between two polls.
    static constexpr std::size_t kQueueCapacity = 256;
    // How long the OSC thread waits for a packet before it looks for stop(): the longest
    // stop() can take.
    static constexpr int kWakeMs = 20;

    struct Counts {
        std::uint64_t accepted = 0;   // valid messages queued
        std::uint64_t malformed = 0;  // ignored: unreadable or refused by the parser
        std::uint64_t dropped = 0;    // valid, but the queue was full
    };

    COscServer(std::vector<std::string> patternNames, int maxBeams);
    ~COscServer();
    COscServer(const COscServer&) = delete;
    COscServer& operator=(const COscServer&) = delete;

    // Listens on UDP `port` (1..65535) on all interfaces; a running server is stopped first.
    // True when it listens; otherwise false and `message` says why in one line.
    bool start(int port, std::string& message);
    void stop();
    bool running() const { return mServer != nullptr; }
    // The port listened on; 0 when stopped.
    int port() const { return mPort; }

    // Beams 1..count may be addressed.
    void setBeamCount(int count) { mParser.setBeamCount(count); }
    // The oldest waiting command; false when none waits.
    bool next(CRemoteCommand& command) { return mQueue.pop(command); }
    Counts counts() const;

private:
    static int onMessage(const char* path, const char* types, lo_arg** argv, int argc, lo_message message,
                         void* self);
    static void onLibraryError(int number, const char* text, const char* where);
    void run();

    COscParser mParser;
    CSpscQueue<CRemoteCommand, kQueueCapacity> mQueue;
    lo_server mServer = nullptr;
    int mPort = 0;
    std::thread mThread;
    std::atomic<bool> mStopping{false};
    std::atomic<std::uint64_t> mAccepted{0};
    std::atomic<std::uint64_t> mMalformed{0};
    std::atomic<std::uint64_t> mDropped{0};
};
