// The OSC thread and the control thread at full speed on the queue between them, built
// with the thread sanitizer: a sender floods valid messages while the control thread
// drains; what is taken comes in order, and every message the server accepted is taken.
#include "OscLoopback.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace oscloop;

TEST(OscStress, FloodWhileTheControlThreadDrainsTakesEveryAcceptedMessageInOrder)
{
    COscServer server({"omni"}, 4);
    const int port = startOnFreePort(server);
    ASSERT_NE(port, 0);
    constexpr int kMessages = 20000;
    constexpr float kEnd = static_cast<float>(kMessages);
    std::atomic<bool> sent{false};
    std::thread sender([&] {
        Sender send(port);
        for (int i = 0; i < kMessages; ++i)
            lo_send(send.address(), "/vantoria/ypr", "fff", static_cast<float>(i), 0.0f, 0.0f);
        sent = true;
    });

    // UDP may lose packets before the server sees them, so the end is a marker sent
    // until one arrives.
    Sender marker(port);
    std::uint64_t taken = 0;
    std::uint64_t data = 0;
    float last = -1.0f;
    bool ordered = true;
    bool ended = false;
    CRemoteCommand command;
    const auto drain = [&] {
        while (server.next(command)) {
            ++taken;
            if (command.a >= kEnd) {
                ended = true;
                continue;
            }
            ordered &= command.a > last;
            last = command.a;
            ++data;
        }
    };
    ASSERT_TRUE(waitFor([&] {
        drain();
        if (sent.load() && !ended)
            lo_send(marker.address(), "/vantoria/ypr", "fff", kEnd, 0.0f, 0.0f);
        return ended;
    }));
    sender.join();
    ASSERT_TRUE(waitFor([&] {
        drain();
        return server.counts().accepted == taken;
    }));
    const COscServer::Counts c = server.counts();
    EXPECT_TRUE(ordered);
    EXPECT_EQ(c.malformed, 0u);
    EXPECT_GT(data, 0u);
    EXPECT_LE(data, static_cast<std::uint64_t>(kMessages));
}
