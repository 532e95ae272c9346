// CMbf::process for one beam at block 512 and 44.1 kHz, four order filters of 251 taps,
// in the steady state and while a new set warms up and fades in. Reported as a
// real-time factor (seconds of audio per second of CPU time) and as the fraction of the
// machine's double-precision multiply-add peak that the filters' multiply-adds reach.

#include "beamformer/CMbf.h"
#include "bench/support/MachinePeak.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kTaps = 251;

// Symmetric filters with no zero tap, so that every order runs.
std::vector<std::vector<float>> randomSet(unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.001f, 0.01f);
    std::vector<std::vector<float>> set(CMbf::kOrders, std::vector<float>(kTaps));
    for (auto& row : set)
        for (int i = 0; i <= kTaps / 2; ++i)
            row[i] = row[kTaps - 1 - i] = u(rng);
    return set;
}

int load(CMbf& mbf, const std::vector<std::vector<float>>& set)
{
    const int lengths[4] = {kTaps, kTaps, kTaps, kTaps};
    const float* taps[4] = {set[0].data(), set[1].data(), set[2].data(), set[3].data()};
    return mbf.setOrderFilters(lengths, taps);
}

// Multiply-adds of one block: the order filters of `sets` sets, the steering sum, and
// in a fade two per sample.
double macsPerBlock(int sets, bool fading)
{
    return double(kBlock) * (sets * CMbf::kOrders * kTaps + CMbf::kModes + (fading ? 2 : 0));
}

void BM_MbfProcess(benchmark::State& state)
{
    const bool fading = state.range(0) != 0;
    const auto first = randomSet(1), second = randomSet(2);
    CMbf mbf;
    if (mbf.setFormat(vkAudioInterface::timeDomain(16, kRate, kBlock), vkAudioInterface::timeDomain(1, kRate, kBlock))
            != vkOk
        || mbf.setFilterDelay((kTaps - 1) / 2) != vkOk || load(mbf, first) != vkOk) {
        state.SkipWithError("CMbf could not be configured");
        return;
    }
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<std::vector<float>> in(16, std::vector<float>(kBlock));
    std::vector<float*> inPtr;
    for (auto& c : in) {
        for (float& x : c)
            x = u(rng);
        inPtr.push_back(c.data());
    }
    std::vector<float> out(kBlock);
    float* o = out.data();
    mbf.setTheta(60.0f);
    mbf.setPhi(45.0f);
    mbf.start();

    long transitionBlocks = 0;
    bool flip = false;
    for (auto _ : state) {
        if (fading && mbf.transition() == vkxShadowFilterBanks::Transition::Steady && !mbf.hasPendingSet()) {
            state.PauseTiming();
            load(mbf, (flip = !flip) ? second : first);
            state.ResumeTiming();
        }
        mbf.process(inPtr.data(), &o, kBlock);
        transitionBlocks += mbf.transition() != vkxShadowFilterBanks::Transition::Steady;
        benchmark::DoNotOptimize(out[kBlock - 1]);
    }
    const double peak = vkMachinePeakMacsPerSecond();
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_fraction"] =
        benchmark::Counter(macsPerBlock(fading ? 2 : 1, fading) / peak, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["transition_blocks"] = double(transitionBlocks) / double(state.iterations());
}
} // namespace

// 0: steady state, one set; 1: a new set always warming up or fading in.
BENCHMARK(BM_MbfProcess)->Arg(0)->Arg(1)->ArgName("fading");
