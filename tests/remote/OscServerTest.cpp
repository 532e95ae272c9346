// The OSC server over the loopback interface: valid messages arrive in order on the
// control thread, anything else is counted and changes nothing, a full queue drops and
// counts, and a port that is taken is refused with a clear message.
#include "OscLoopback.h"

#include <gtest/gtest.h>

#include <random>

using namespace oscloop;

namespace {
const std::vector<std::string> kPatterns = {"omni", "super3", "card1"};

std::vector<CRemoteCommand> drain(COscServer& server)
{
    std::vector<CRemoteCommand> commands;
    CRemoteCommand c;
    while (server.next(c))
        commands.push_back(c);
    return commands;
}
} // namespace

TEST(OscServer, HeadBeamDirectionAndPatternArriveInOrder)
{
    COscServer server(kPatterns, 4);
    const int port = startOnFreePort(server);
    ASSERT_NE(port, 0);
    EXPECT_EQ(server.port(), port);
    Sender send(port);
    lo_send(send.address(), "/vantoria/ypr", "fff", 30.0f, -5.0f, 2.0f);
    lo_send(send.address(), "/vantoria/quaternion", "ffff", 0.0f, 0.0f, 0.0f, 1.0f);
    lo_send(send.address(), "/vantoria/beam/3/aed", "iii", 90, 10, 1);
    lo_send(send.address(), "/vantoria/beam/1/pattern", "s", "CARD1");
    ASSERT_TRUE(waitFor([&] { return server.counts().accepted == 4; }));
    const std::vector<CRemoteCommand> c = drain(server);
    ASSERT_EQ(c.size(), 4u);
    EXPECT_EQ(c[0].kind, CRemoteCommand::Kind::head);
    EXPECT_FLOAT_EQ(c[0].a, 30.0f);
    EXPECT_FLOAT_EQ(c[0].b, -5.0f);
    EXPECT_EQ(c[1].kind, CRemoteCommand::Kind::head);
    EXPECT_NEAR(std::abs(c[1].a), 180.0f, 1e-3f);  // half a turn about the vertical
    EXPECT_EQ(c[2].kind, CRemoteCommand::Kind::beamDirection);
    EXPECT_EQ(c[2].beam, 2);
    EXPECT_FLOAT_EQ(c[2].a, 90.0f);
    EXPECT_FLOAT_EQ(c[2].b, 10.0f);
    EXPECT_EQ(c[3].kind, CRemoteCommand::Kind::beamPattern);
    EXPECT_EQ(c[3].pattern, 2);
    EXPECT_EQ(server.counts().malformed, 0u);
    EXPECT_EQ(server.counts().dropped, 0u);
}

TEST(OscServer, FloodOfMalformedPacketsIsCountedAndQueuesNothing)
{
    COscServer server(kPatterns, 4);
    const int port = startOnFreePort(server);
    ASSERT_NE(port, 0);
    Sender send(port);
    std::mt19937 random(1234);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(1, 200);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // Batches small enough for the socket's receive buffer, so that every packet is read
    // and the count can be exact.
    constexpr int kBatches = 40;
    constexpr int kPerBatch = 100;
    std::uint64_t sent = 0;
    for (int batch = 0; batch < kBatches; ++batch) {
        for (int i = 0; i < kPerBatch / 2; ++i) {
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length(random)));
            for (auto& b : bytes)
                b = static_cast<std::uint8_t>(byte(random));
            bytes[0] = '/';  // past liblo's first look, into its message reader
            send.sendBytes(bytes);
        }
        for (int i = 0; i < kPerBatch / 10; ++i) {
            lo_send(send.address(), "/vantoria/ypr", "ff", 1.0f, 2.0f);
            lo_send(send.address(), "/vantoria/ypr", "fff", nan, 0.0f, 0.0f);
            lo_send(send.address(), "/vantoria/beam/5/aed", "fff", 0.0f, 0.0f, 1.0f);
            lo_send(send.address(), "/vantoria/beam/1/pattern", "s", "nothing");
            lo_send(send.address(), "/somewhere/else", "i", 1);
        }
        sent += kPerBatch;
        ASSERT_TRUE(waitFor([&] { return server.counts().malformed == sent; }))
            << "counted " << server.counts().malformed << " of " << sent;
    }
    EXPECT_EQ(server.counts().accepted, 0u);
    EXPECT_TRUE(drain(server).empty());
    // Still listening afterwards.
    lo_send(send.address(), "/vantoria/ypr", "fff", 1.0f, 2.0f, 3.0f);
    ASSERT_TRUE(waitFor([&] { return server.counts().accepted == 1; }));
}

TEST(OscServer, FullQueueDropsAndCountsInsteadOfWaiting)
{
    COscServer server(kPatterns, 4);
    const int port = startOnFreePort(server);
    ASSERT_NE(port, 0);
    Sender send(port);
    const std::uint64_t extra = 40;
    const std::uint64_t total = COscServer::kQueueCapacity + extra;
    for (std::uint64_t i = 0; i < total; ++i) {
        lo_send(send.address(), "/vantoria/ypr", "fff", static_cast<float>(i), 0.0f, 0.0f);
        if (i % 100 == 99) {
            ASSERT_TRUE(waitFor([&] { return server.counts().accepted + server.counts().dropped == i + 1; }));
        }
    }
    ASSERT_TRUE(waitFor([&] { return server.counts().accepted + server.counts().dropped == total; }));
    EXPECT_EQ(server.counts().accepted, COscServer::kQueueCapacity);
    EXPECT_EQ(server.counts().dropped, extra);
    const std::vector<CRemoteCommand> c = drain(server);
    ASSERT_EQ(c.size(), COscServer::kQueueCapacity);
    // The oldest are kept: the queue refused the newest.
    EXPECT_FLOAT_EQ(c.front().a, 0.0f);
    EXPECT_FLOAT_EQ(c.back().a, static_cast<float>(COscServer::kQueueCapacity - 1));
}

TEST(OscServer, PortInUseOrOutOfRangeIsRefusedWithTheReason)
{
    COscServer first(kPatterns, 4);
    const int port = startOnFreePort(first);
    ASSERT_NE(port, 0);
    COscServer second(kPatterns, 4);
    std::string message;
    EXPECT_FALSE(second.start(port, message));
    EXPECT_FALSE(second.running());
    EXPECT_NE(message.find(std::to_string(port)), std::string::npos) << message;
    EXPECT_NE(message.find("cannot be opened: Address already in use"), std::string::npos) << message;
    for (int bad : {0, -1, 65536}) {
        EXPECT_FALSE(second.start(bad, message));
        EXPECT_NE(message.find("not a port"), std::string::npos) << message;
    }
    // Once the first lets go, the port can be taken.
    first.stop();
    EXPECT_FALSE(first.running());
    EXPECT_TRUE(second.start(port, message)) << message;
}
