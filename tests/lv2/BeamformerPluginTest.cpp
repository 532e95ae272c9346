// The beamformer plug-in in a lilv host: what it refuses, its latency and re-blocking,
// the worker's pattern loads, clamped controls, and no allocation in run().

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
namespace bf = vk_lv2::beamformer;

constexpr double kRate = 48000.0;
constexpr const char* kUri = vk_lv2::kBeamformerUri;

Channels silence(int channels, long frames)
{
    return Channels(static_cast<std::size_t>(channels), std::vector<float>(static_cast<std::size_t>(frames)));
}

std::unique_ptr<CLv2TestHost> beamformer(const CLv2TestHost::Options& options = {})
{
    auto host = std::make_unique<CLv2TestHost>(kUri, kRate, options);
    EXPECT_TRUE(host->found()) << "no " << kUri << " in " << VK_LV2_BUNDLE;
    EXPECT_TRUE(host->instantiated());
    return host;
}

double rms(const std::vector<float>& x, long from, long to)
{
    double sum = 0.0;
    for (long t = from; t < to; ++t)
        sum += double(x[std::size_t(t)]) * x[std::size_t(t)];
    return std::sqrt(sum / double(to - from));
}

double maxDifference(const std::vector<float>& a, const std::vector<float>& b, long from, long to)
{
    double worst = 0.0;
    for (long t = from; t < to; ++t)
        worst = std::max(worst, double(std::abs(a[std::size_t(t)] - b[std::size_t(t)])));
    return worst;
}

} // namespace

TEST(BeamformerPlugin, RefusesRatesOutsideTheEnginesBandWithAMessageInTheHostsLog)
{
    for (double rate : {32000.0, 39689.0, 48511.0, 96000.0}) {
        CLv2TestHost host(kUri, rate, {});
        ASSERT_TRUE(host.found());
        EXPECT_FALSE(host.instantiated()) << rate;
        ASSERT_EQ(host.log().size(), 1u) << rate;
        EXPECT_NE(host.log()[0].find("refused"), std::string::npos) << host.log()[0];
        EXPECT_NE(host.log()[0].find("39690 to 48510 Hz"), std::string::npos) << host.log()[0];
    }
    for (double rate : {39690.0, 44100.0, 48510.0}) {
        CLv2TestHost host(kUri, rate, {});
        EXPECT_TRUE(host.instantiated()) << rate;
        EXPECT_TRUE(host.log().empty()) << rate;
    }
    // No log feature: still refused, and nothing breaks.
    CLv2TestHost::Options noLog;
    noLog.log = false;
    noLog.map = false;
    EXPECT_FALSE(CLv2TestHost(kUri, 96000.0, noLog).instantiated());
}

// Calls of any length give the samples of whole blocks, one block late: the first block
// is silent, the rest carries the beams, and every split gives the same samples.
TEST(BeamformerPlugin, AnySplitOfTheHostsBlocksGivesTheSameBeamsOneReportedBlockLate)
{
    const Channels in = noise(vk_lv2::kCapsules, 6000, 1);
    for (int nominal : {0, 256}) {
        CLv2TestHost::Options options;
        options.nominalBlock = nominal;
        options.maxBlock = nominal ? 1024 : 0;
        const int block = nominal ? nominal : vk_lv2::kDefaultBlock;

        auto whole = beamformer(options);
        whole->activate();
        const Channels reference = runInCalls(*whole, in, {block});
        EXPECT_EQ(whole->control("latency"), float(block));

        auto split = beamformer(options);
        split->activate();
        const Channels ragged = runInCalls(*split, in, {1, 7, block, 333, 2 * block + 5, 64});
        for (int b = 0; b < bf::kBeams; ++b) {
            const auto& r = reference[std::size_t(b)];
            EXPECT_EQ(rms(r, 0, block), 0.0) << "beam " << b + 1;
            EXPECT_GT(rms(r, block, long(r.size())), 1e-3) << "beam " << b + 1;
            EXPECT_EQ(ragged[std::size_t(b)], r) << "beam " << b + 1 << ", nominal block " << nominal;
        }
    }
}

// The counter sees the plug-in's allocations (instantiate makes the whole graph), then
// none while run() takes every kind of control change at ragged lengths, with and
// without a worker, from the first run (which starts the graph) on.
TEST(BeamformerPlugin, RunAllocatesNothingAcrossEveryKindOfControlChange)
{
    std::size_t made = 0;
    std::unique_ptr<CLv2TestHost> host;
    {
        AllocationCounter counter;
        host = beamformer({});
        made = counter.count();
    }
    ASSERT_GT(made, 0u) << "the counter does not see the plug-in's allocations";

    const float values[][6] = {
        // azimuth, polar, pattern, wng, gain, mute
        {45, 30, 7, 6, -6, 0}, {359, 179, 11, -12, 12, 1}, {-40, 400, 30, 50, 90, 0},
        {0, 90, 0, 0, 0, 0},   {180, 0, 4, 12, -20, 1},     {NAN, NAN, NAN, NAN, NAN, NAN},
    };
    const char* stems[6] = {"azimuth", "polar", "pattern", "wng", "gain", "mute"};
    for (bool worker : {true, false}) {
        CLv2TestHost::Options options;
        options.worker = worker;
        options.maxBlock = 4096;
        host = beamformer(options);
        host->activate();
        const Channels in = noise(vk_lv2::kCapsules, 4096, 2);
        Channels out = silence(bf::kBeams, 4096);
        const std::vector<int> lengths = {1, 512, 100, 4096, 33, 2000};
        int served = 0;
        std::size_t allocations = 0;
        for (int call = 0; call < 120; ++call) {
            // Each call changes one kind of control on a few beams, in turn, and the high-pass.
            const int kind = call % 7;
            const float* row = values[call / 7 % 6];
            for (int beam = call % 3; beam < bf::kBeams; beam += 3) {
                if (kind < 6)
                    host->control(vk_lv2::numbered(stems[kind], beam).c_str()) = row[kind];
            }
            if (kind == 6)
                host->control("highpass") = float(call / 7 % 5);
            const int n = lengths[std::size_t(call) % lengths.size()];
            {
                AllocationCounter counter;
                host->run(in, out, 0, n);
                allocations += counter.count();
            }
            served += host->runWork();
        }
        EXPECT_EQ(allocations, 0u) << (worker ? "with" : "without") << " a worker";
        EXPECT_EQ(served > 0, worker) << "pattern loads go to the worker when there is one";
    }
}

// A pattern chosen while audio runs is loaded by the worker and cross-faded in: once the
// fade is over, the beam is the one an instance started on that pattern makes.
TEST(BeamformerPlugin, PatternChangedWhileRunningEndsAsTheBeamOfAnInstanceStartedOnIt)
{
    const long second = long(kRate);
    const Channels in = noise(vk_lv2::kCapsules, 3 * second, 3);
    const auto choose = [](CLv2TestHost& host, float pattern, float wng) {
        host.control("pattern_01") = pattern;
        host.control("wng_01") = wng;
    };
    auto target = beamformer({});
    choose(*target, 7, 6);
    target->activate();
    const Channels expected = runInCalls(*target, in, {512});

    auto changed = beamformer({});
    choose(*changed, 0, 0);
    changed->activate();
    const Channels got = runInCalls(*changed, in, {512}, [&](long done) {
        if (done >= second)
            choose(*changed, 7, 6);
    });
    const auto& a = got[0];
    const auto& b = expected[0];
    // Before the change the beams differ; two seconds later they are the same beam.
    EXPECT_GT(maxDifference(a, b, second / 2, second), 0.01 * rms(b, second / 2, second));
    EXPECT_LT(maxDifference(a, b, 2 * second, 3 * second), 1e-4 * (1.0 + rms(b, 2 * second, 3 * second)));
}

// Values beyond a control's range act as its limit.
TEST(BeamformerPlugin, ControlsOutOfRangeAreClampedToTheirLimits)
{
    const Channels in = noise(vk_lv2::kCapsules, 4000, 4);
    const auto render = [&in](float azimuth, float polar, float pattern, float wng, float gain) {
        auto host = beamformer({});
        host->control("azimuth_01") = azimuth;
        host->control("polar_01") = polar;
        host->control("pattern_01") = pattern;
        host->control("wng_01") = wng;
        host->control("gain_01") = gain;
        host->activate();
        return runInCalls(*host, in, {512})[0];
    };
    EXPECT_EQ(render(-30, 500, 99, 40, 90), render(0, 180, 11, 12, 20));
    EXPECT_EQ(render(400, -5, -3, -40, -90), render(360, 0, 0, -12, -20));
    // And the limits themselves are a different beam from the defaults.
    EXPECT_NE(render(0, 180, 11, 12, 20), render(0, 90, 0, 0, 0));
}
