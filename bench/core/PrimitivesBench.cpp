// Throughput of the filter and vector operations, against the machine's own
// double-precision multiply-add peak measured in the same run.

#include "bench/support/MachinePeak.h"
#include "core/primitives/ipps.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

std::vector<float> randomSignal(int len, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(static_cast<std::size_t>(len));
    for (float& x : v)
        x = dist(gen);
    return v;
}

// Times the benchmark loop by the thread's processor time, as the peak is timed, and
// reports multiply-adds per second and the same as a fraction of the peak.
template <typename Body>
void runAndReportMacs(benchmark::State& state, double macsPerIteration, Body body)
{
    const double peak = vkMachinePeakMacsPerSecond(); // measured before the clock runs
    const double start = vkThreadCpuSeconds();
    for (auto _ : state)
        body();
    const double rate = macsPerIteration * static_cast<double>(state.iterations()) / (vkThreadCpuSeconds() - start);
    state.counters["MACs/s"] = rate;
    state.counters["of_peak"] = rate / peak;
}

void BM_MachinePeak(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(vkMachinePeakMacsPerSecond());
    state.counters["peak_MACs/s"] = vkMachinePeakMacsPerSecond();
}
BENCHMARK(BM_MachinePeak)->Iterations(1);

// Args: taps, block length, and whether the taps are symmetric (linear phase), which
// runs the folded kernel. Multiply-adds are counted unfolded (taps x outputs) either way,
// so the folded kernel's gain shows as a higher rate on the same count.
void BM_Fir(benchmark::State& state)
{
    const int taps = static_cast<int>(state.range(0));
    const int block = static_cast<int>(state.range(1));
    std::vector<float> coefs = randomSignal(taps, 1);
    if (state.range(2) != 0)
        std::copy(coefs.begin(), coefs.begin() + taps / 2, coefs.rbegin());
    const std::vector<float> in = randomSignal(block, 2);
    std::vector<float> out(in.size());
    IppsFIRState_32f* fir = nullptr;
    if (ippsFIRInitAlloc_32f(&fir, coefs.data(), taps, nullptr) != ippStsNoErr) {
        state.SkipWithError("FIR state not built");
        return;
    }
    runAndReportMacs(state, static_cast<double>(taps) * block, [&] {
        ippsFIR_32f(in.data(), out.data(), block, fir);
        benchmark::ClobberMemory();
    });
    ippsFIRFree_32f(fir);
}
BENCHMARK(BM_Fir)
    ->ArgNames({"taps", "block", "symmetric"})
    ->ArgsProduct({{631, 409, 251, 127, 63, 55, 41, 37, 31}, {512}, {0, 1}})
    ->Args({631, 4096, 0});

// Rate conversion 3 -> 2 (48 to 32 kHz) with 251 taps: 512 outputs a call, each a
// polyphase sum of ceil(251 / 2) multiply-adds.
void BM_FirMultiRate(benchmark::State& state)
{
    const int taps = 251, up = 2, down = 3, iterations = 256;
    const std::vector<float> coefs = randomSignal(taps, 4);
    const std::vector<float> in = randomSignal(iterations * down, 5);
    std::vector<float> out(static_cast<std::size_t>(iterations * up));
    IppsFIRState_32f* fir = nullptr;
    if (ippsFIRMRInitAlloc_32f(&fir, coefs.data(), taps, up, 0, down, 0, nullptr) != ippStsNoErr) {
        state.SkipWithError("FIR state not built");
        return;
    }
    runAndReportMacs(state, static_cast<double>(out.size()) * ((taps + up - 1) / up), [&] {
        ippsFIR_32f(in.data(), out.data(), iterations, fir);
        benchmark::ClobberMemory();
    });
    ippsFIRFree_32f(fir);
}
BENCHMARK(BM_FirMultiRate);

void BM_AddProductC(benchmark::State& state)
{
    const int len = static_cast<int>(state.range(0));
    const std::vector<float> in = randomSignal(len, 3);
    std::vector<float> acc(in.size(), 0.0f);
    runAndReportMacs(state, len, [&] {
        ippsAddProductC_32f(in.data(), 0.25f, acc.data(), len);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(BM_AddProductC)->Arg(512);

} // namespace
