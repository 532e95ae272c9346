// CZirc::process on the reference workload: 32 capsule inputs, 18 active beams of mixed
// patterns at spread directions, block 512, 44.1 kHz. Reported as a real-time factor
// (seconds of audio per second of CPU time), as the node's multiply-adds per second, and
// as the fraction they reach of the machine's double-precision multiply-add peak, which
// is measured in the same run and reported beside them: the steady state, and with every
// beam steering and changing its pattern so that cell fades, glides and filter
// cross-fades run all the time.

#include "beamformer/CZirc.h"
#include "beamformer/tables/EbfBiquads.h"
#include "bench/support/MachinePeak.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kBeams = 18;
constexpr int kCapsules = 32;

// Multiply-adds of one sample through the node in the steady state: the decomposition
// (matrix and five per biquad section), then per beam the steering sum, the order
// filters in use, the capsules of the cell, both crossovers and the equaliser.
double macsPerSample(const CZircFactory& factory, const std::vector<int>& patterns)
{
    double macs = CZirc::kModes * kCapsules;
    for (int n = 0; n < 4; ++n)
        macs += 5.0 * kEbfBiquadsA.numSections[n] * (2 * n + 1);
    for (int index : patterns) {
        const auto* p = static_cast<const CZrPattern*>(factory.pattern(index));
        const int parameter = p->defaultParameter();
        macs += CZirc::kModes + (p->mHfType == 2 ? 3 : 1) + 2.0 * p->mCrossoverTaps + p->mEqFirLength[parameter];
        for (int n = 0; n < 4; ++n)
            macs += p->modalLengths(parameter)[n];
    }
    return macs;
}

void BM_NodeProcess(benchmark::State& state)
{
    const bool changing = state.range(0) != 0;
    CZirc zirc;
    if (zirc.setFormat(vkAudioInterface::timeDomain(kCapsules, kRate, kBlock),
                       vkAudioInterface::timeDomain(kBeams, kRate, kBlock))
        != vkOk) {
        state.SkipWithError("CZirc could not be configured");
        return;
    }
    std::vector<int> patterns(kBeams);
    for (int b = 0; b < kBeams; ++b) {
        patterns[b] = b % kPatternCount;
        zirc.setChannelParameter(b, CZirc::kPattern, &patterns[b], 1, vkTypeInt);
        zirc.setTheta(b, float(20 + 8 * b));
        zirc.setPhi(b, float(20 * b));
    }
    std::mt19937 rng(11);
    std::normal_distribution<float> g(0.0f, 0.1f);
    std::vector<std::vector<float>> in(kCapsules, std::vector<float>(kBlock));
    std::vector<std::vector<float>> out(kBeams, std::vector<float>(kBlock));
    std::vector<float*> inPtr, outPtr;
    for (auto& c : in) {
        for (float& x : c)
            x = g(rng);
        inPtr.push_back(c.data());
    }
    for (auto& c : out)
        outPtr.push_back(c.data());
    zirc.start();

    long block = 0;
    for (auto _ : state) {
        if (changing && block % 8 == 0) {
            state.PauseTiming();
            const int b = int(block / 8) % kBeams;
            const int pattern = (patterns[b] + 1 + int(block / 8) / kBeams) % kPatternCount;
            zirc.setChannelParameter(b, CZirc::kPattern, &pattern, 1, vkTypeInt);
            zirc.setPhi(b, float((block * 7) % 360));
            state.ResumeTiming();
        }
        zirc.process(inPtr.data(), outPtr.data(), kBlock);
        benchmark::DoNotOptimize(out[0][kBlock - 1]);
        ++block;
    }
    zirc.stop();
    CZircFactory factory;
    const double peak = vkMachinePeakMacsPerSecond();
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
    // Multiply-adds as the filters define them: a folded filter counts all its taps.
    const double macsPerBlock = macsPerSample(factory, patterns) * kBlock;
    state.counters["peak_MACs/s"] = peak;
    state.counters["MACs/s"] = benchmark::Counter(macsPerBlock, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_fraction"] =
        benchmark::Counter(macsPerBlock / peak, benchmark::Counter::kIsIterationInvariantRate);
}
} // namespace

// 0: steady state; 1: a beam steers and changes its pattern every eighth block.
BENCHMARK(BM_NodeProcess)->Arg(0)->Arg(1)->ArgName("changing")->Unit(benchmark::kMillisecond);
