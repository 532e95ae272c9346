// The Ambisonics encoder plug-in in a lilv host: any split of the host's calls gives the
// same channels one block late, a turn of the mounting changes them (set before the start
// or through the worker while running), run() allocates nothing while the mounting turns,
// and rates outside the engine's band are refused.

#include "plugins/lv2/vkLv2Ports.h"
#include "tests/lv2/CLv2TestHost.h"
#include "tests/lv2/Lv2TestRuns.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace {

using lv2_runs::Channels;
using lv2_runs::noise;
using lv2_runs::runInCalls;
constexpr double kRate = 44100.0;
constexpr const char* kUri = vk_lv2::kEncoderUri;

std::unique_ptr<CLv2TestHost> encoder()
{
    auto host = std::make_unique<CLv2TestHost>(kUri, kRate, CLv2TestHost::Options{});
    EXPECT_TRUE(host->instantiated());
    return host;
}

} // namespace

TEST(EncoderPlugin, AnySplitGivesTheSameChannelsOneBlockLateAndTheMountingTurnsThem)
{
    const int block = vk_lv2::kDefaultBlock;
    const Channels in = noise(vk_lv2::kCapsules, 12 * block, 21);
    auto whole = encoder();
    whole->activate();
    const Channels reference = runInCalls(*whole, in, {block});
    EXPECT_EQ(whole->control("latency"), float(block));
    auto split = encoder();
    split->activate();
    EXPECT_EQ(runInCalls(*split, in, {3, block, 250, 1}), reference);

    auto turned = encoder();
    turned->control("yaw") = 90.0f;
    turned->activate();
    const Channels rotated = runInCalls(*turned, in, {block});
    for (int c = 0; c < vk_lv2::kAmbixChannels; ++c) {
        const auto& r = reference[std::size_t(c)];
        EXPECT_TRUE(std::all_of(r.begin(), r.begin() + block, [](float s) { return s == 0.0f; })) << c;
        EXPECT_TRUE(std::any_of(r.begin() + block, r.end(), [](float s) { return s != 0.0f; })) << c;
    }
    // A yaw leaves the omnidirectional channel alone and turns the horizontal ones.
    EXPECT_EQ(rotated[0], reference[0]);
    EXPECT_NE(rotated[1], reference[1]);
    EXPECT_NE(rotated[3], reference[3]);
}

TEST(EncoderPlugin, RunAllocatesNothingWhileTheMountingTurns)
{
    auto host = encoder();
    host->activate();
    const Channels in = noise(vk_lv2::kCapsules, 2048, 22);
    Channels out(vk_lv2::kAmbixChannels, std::vector<float>(2048));
    std::size_t allocations = 0;
    int served = 0;
    for (int call = 0; call < 80; ++call) {
        host->control("yaw") = float(call * 37 % 500 - 250);
        host->control("pitch") = call % 11 == 0 ? NAN : float(call * 17 % 200 - 100);
        host->control("roll") = float(call * 23 % 360 - 180);
        const int lengths[] = {1, 512, 2048, 77};
        {
            AllocationCounter counter;
            host->run(in, out, 0, lengths[call % 4]);
            allocations += counter.count();
        }
        served += host->runWork();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_GT(served, 60) << "new mountings go to the worker";
}

// A turn while audio runs goes through the worker and the encoder's glide: afterwards the
// channels are those of an instance started on the new mounting.
TEST(EncoderPlugin, MountingTurnedWhileRunningEndsAsAnInstanceStartedOnIt)
{
    const int block = vk_lv2::kDefaultBlock;
    const Channels in = noise(vk_lv2::kCapsules, 40 * block, 23);
    auto target = encoder();
    target->control("yaw") = 90.0f;
    target->activate();
    const Channels expected = runInCalls(*target, in, {block});
    auto turned = encoder();
    turned->activate();
    const Channels got = runInCalls(*turned, in, {block}, [&](long done) {
        if (done >= 10 * block)
            turned->control("yaw") = 90.0f;
    });
    for (int c : {1, 3}) {
        const auto& g = got[std::size_t(c)];
        const auto& e = expected[std::size_t(c)];
        float before = 0.0f, after = 0.0f;
        for (long t = 2 * block; t < 10 * block; ++t)
            before = std::max(before, std::abs(g[std::size_t(t)] - e[std::size_t(t)]));
        for (long t = 20 * block; t < 40 * block; ++t)
            after = std::max(after, std::abs(g[std::size_t(t)] - e[std::size_t(t)]));
        EXPECT_GT(before, 1e-2f) << "ACN " << c;
        EXPECT_LT(after, 1e-5f) << "ACN " << c;
    }
}

TEST(EncoderPlugin, RefusesRatesOutsideTheEnginesBandWithAMessage)
{
    CLv2TestHost host(kUri, 96000.0, {});
    EXPECT_FALSE(host.instantiated());
    ASSERT_EQ(host.log().size(), 1u);
    EXPECT_NE(host.log()[0].find("96000 Hz refused"), std::string::npos) << host.log()[0];
}
