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
#include "bench/support/ReferenceNode.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {
using namespace reference_workload;

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
    ReferenceNode node;
    if (!node.configured) {
        state.SkipWithError("CZirc could not be configured");
        return;
    }
    CZirc& zirc = node.zirc;
    std::vector<int>& patterns = node.patterns;
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
        node.process();
        benchmark::DoNotOptimize(node.out[0][kBlock - 1]);
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
