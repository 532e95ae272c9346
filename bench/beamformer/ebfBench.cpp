// CEbf::process, 32 capsules to 16 modes at block 512 and 44.1 kHz, reported as a
// real-time factor: seconds of audio per second of CPU time.

#include "beamformer/CEbf.h"
#include "beamformer/tables/EbfBiquads.h"
#include "beamformer/tables/EbfMatrix.h"
#include "beamformer/tables/EbfModeFilters.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;

void BM_EbfProcess(benchmark::State& state)
{
    const int mode = static_cast<int>(state.range(0));
    const EbfBiquadSet& set = mode == CEbf::kFilterBiquadsAndFir ? kEbfBiquadsB : kEbfBiquadsA;
    CEbf ebf;
    if (ebf.setFormat(vkAudioInterface::timeDomain(32, kRate, kBlock), vkAudioInterface::timeDomain(16, kRate, kBlock))
            != vkOk
        || ebf.setModeWeights(ebfMatrixRows().data()) != vkOk
        || ebf.setModeIir(set.sections, set.numSections) != vkOk || ebf.setModeFir(kEbfModeFilters) != vkOk
        || ebf.setFilterMode(mode) != vkOk) {
        state.SkipWithError("CEbf could not be configured");
        return;
    }

    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<std::vector<float>> in(32, std::vector<float>(kBlock)), out(16, std::vector<float>(kBlock));
    std::vector<float*> inPtr, outPtr;
    for (auto& c : in) {
        for (float& x : c)
            x = u(rng);
        inPtr.push_back(c.data());
    }
    for (auto& c : out)
        outPtr.push_back(c.data());

    ebf.start();
    for (auto _ : state) {
        ebf.process(inPtr.data(), outPtr.data(), kBlock);
        benchmark::DoNotOptimize(outPtr[15][kBlock - 1]);
    }
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

} // namespace

// 0: matrix and biquads (the node's mode); 1: biquads, mode filters and delay lines;
// 2: the matrix alone.
BENCHMARK(BM_EbfProcess)->Arg(CEbf::kFilterBiquads)->Arg(CEbf::kFilterBiquadsAndFir)->Arg(CEbf::kFilterNone);
