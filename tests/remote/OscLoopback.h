#pragma once
// Sending to an OSC server over the loopback interface, as a tracker on this machine
// would: lo_send for messages, a plain UDP socket for arbitrary bytes.

#include "remote/COscServer.h"

#include <lo/lo.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace oscloop {

// Starts a server through `start(port, message)` on a port no other test holds (tests
// run in parallel): the first of a run of ports, from one that depends on the process,
// that can be opened; 0 when none can.
int startOnFreePort(const std::function<bool(int, std::string&)>& start);
inline int startOnFreePort(COscServer& server)
{
    return startOnFreePort([&](int port, std::string& message) { return server.start(port, message); });
}

// Waits until `done` holds, for at most 10 s; the deadline is there so that a broken
// server fails the test instead of hanging it, not to measure anything.
bool waitFor(const std::function<bool()>& done);

class Sender {
public:
    explicit Sender(int port);
    ~Sender();
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    lo_address address() const { return mAddress; }
    // One UDP datagram of these bytes.
    void sendBytes(const std::vector<std::uint8_t>& bytes);

private:
    lo_address mAddress;
    int mSocket;
    int mPort;
};

} // namespace oscloop
