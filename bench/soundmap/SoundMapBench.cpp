// The sound map's costs. On the audio thread: the node on the reference workload (32
// capsules, 18 beams of mixed patterns, block 512, 44.1 kHz) with the covariance attached;
// each block the node and the covariance's share are timed apart, and the share is
// reported as a fraction of the node's own time. On the main thread: map updates per
// second for both methods at the coarsest and the finest grid.

#include "beamformer/CZirc.h"
#include "soundmap/CSoundMap.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kBeams = 18;
constexpr int kCapsules = 32;

using Clock = std::chrono::steady_clock;

std::vector<std::vector<float>> noise(int channels, float level, unsigned seed)
{
    std::mt19937 rng(seed);
    std::normal_distribution<float> g(0.0f, level);
    std::vector<std::vector<float>> data(channels, std::vector<float>(kBlock));
    for (auto& c : data)
        for (float& x : c)
            x = g(rng);
    return data;
}

std::vector<float*> pointers(std::vector<std::vector<float>>& data)
{
    std::vector<float*> p;
    for (auto& c : data)
        p.push_back(c.data());
    return p;
}

// The node's time per block without the tap, and the tap's time on the same blocks of
// mode signals (the engine's own mode buffers, fed again outside the node).
void BM_CovarianceShareOfNode(benchmark::State& state)
{
    CZirc zirc;
    if (zirc.setFormat(vkAudioInterface::timeDomain(kCapsules, kRate, kBlock),
                       vkAudioInterface::timeDomain(kBeams, kRate, kBlock))
        != vkOk) {
        state.SkipWithError("CZirc could not be configured");
        return;
    }
    for (int b = 0; b < kBeams; ++b) {
        const int pattern = b % kPatternCount;
        zirc.setChannelParameter(b, CZirc::kPattern, &pattern, 1, vkTypeInt);
        zirc.setTheta(b, float(20 + 8 * b));
        zirc.setPhi(b, float(20 * b));
    }
    auto in = noise(kCapsules, 0.1f, 11);
    auto out = noise(kBeams, 0.0f, 1);
    auto modes = noise(CZirc::kModes, 0.1f, 5);
    auto inPtr = pointers(in), outPtr = pointers(out), modePtr = pointers(modes);
    const std::vector<const float*> modeIn(modePtr.begin(), modePtr.end());
    CModeCovariance covariance(kRate, 4410);
    zirc.start();

    Clock::duration node{}, tap{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        zirc.process(inPtr.data(), outPtr.data(), kBlock);
        const auto t1 = Clock::now();
        covariance.feedModes(modeIn.data(), CZirc::kModes, kBlock);
        const auto t2 = Clock::now();
        node += t1 - t0;
        tap += t2 - t1;
        benchmark::DoNotOptimize(outPtr[0][0]);
    }
    const double nodeSeconds = std::chrono::duration<double>(node).count();
    const double tapSeconds = std::chrono::duration<double>(tap).count();
    const double audio = double(state.iterations()) * kBlock / kRate;
    state.counters["share_of_node"] = tapSeconds / nodeSeconds;
    state.counters["node_rtf"] = audio / nodeSeconds;
    state.counters["covariance_rtf"] = audio / tapSeconds;
}
BENCHMARK(BM_CovarianceShareOfNode)->Unit(benchmark::kMicrosecond);

// One map update from a published period: smoothing, the map and (for MUSIC) the
// eigen-decomposition. range(0): method, range(1): grid step in degrees.
void BM_MapUpdate(benchmark::State& state)
{
    CSoundMap map(int(state.range(1)));
    map.setMethod(CSoundMap::tMethod(state.range(0)));
    auto modes = noise(CZirc::kModes, 0.1f, 3);
    auto modePtr = pointers(modes);
    const std::vector<const float*> modeIn(modePtr.begin(), modePtr.end());
    CModeCovariance covariance(kRate, kBlock);
    covariance.feedModes(modeIn.data(), CZirc::kModes, kBlock);
    ModeCovarianceFrame frame;
    covariance.fetch(frame);
    for (auto _ : state) {
        map.update(frame);
        benchmark::DoNotOptimize(map.power().data());
    }
    state.counters["updates_per_s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_MapUpdate)
    ->ArgNames({"music", "step"})
    ->Args({0, 5})
    ->Args({1, 5})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Unit(benchmark::kMicrosecond);

} // namespace
