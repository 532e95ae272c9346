// The binaural decoder on the reference block (512 samples at 44.1 kHz) with the KEMAR
// decoder (16 channels x 2 ears x 512 taps): the whole object steady, with the head
// turning every block, and with a filter set always fading in; the rotation alone; the
// convolution alone at several partition sizes; and a direct convolution of the same
// filters, the alternative to partitioning. Reported as real-time factors (seconds of
// audio per second of CPU time), to be read beside node_bench's.

#include "binaural/CBinauralConvolver.h"
#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"
#include "binaural/CHeadRotation.h"
#include "binaural/CHrirSet.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kInputs = CBinauralDecoder::kInputs;

const CBinauralFilters& kemar()
{
    static const CBinauralFilters filters = [] {
        CHrirSet set;
        std::string message;
        set.load(CHrirSet::kDefaultPath, kRate, message);
        return CBinauralFilters::designMagLs(set, CBinauralDecoder::kMaxTaps);
    }();
    return filters;
}

struct Signals {
    std::vector<std::vector<float>> in, out;
    std::vector<float*> i, o;
    Signals() : in(kInputs, std::vector<float>(kBlock)), out(kInputs, std::vector<float>(kBlock))
    {
        std::mt19937 rng(3);
        std::normal_distribution<float> g(0.0f, 0.1f);
        for (auto& c : in) {
            for (float& x : c)
                x = g(rng);
            i.push_back(c.data());
        }
        for (auto& c : out)
            o.push_back(c.data());
    }
};

void setRtf(benchmark::State& state)
{
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_BinauralDecoder(benchmark::State& state)
{
    const int mode = static_cast<int>(state.range(0));
    CBinauralDecoder d;
    if (kemar().isEmpty() || d.setFormat(vkAudioInterface::timeDomain(kInputs, kRate, kBlock),
                                         vkAudioInterface::timeDomain(2, kRate, kBlock)) != vkOk
        || d.setFilters(kemar()) != vkOk) {
        state.SkipWithError("no decoder");
        return;
    }
    d.start();
    Signals s;
    long block = 0;
    for (auto _ : state) {
        if (mode == 1)
            d.setHeadOrientation({float(block % 360), 10.0f, 0.0f});
        if (mode == 2 && d.transition() == vkxShadowFilterBanks::Transition::Steady && !d.hasPendingFilters()) {
            state.PauseTiming();
            d.setFilters(kemar());
            state.ResumeTiming();
        }
        d.process(s.i.data(), s.o.data(), kBlock);
        benchmark::DoNotOptimize(s.out[0][kBlock - 1]);
        ++block;
    }
    setRtf(state);
}

void BM_BinauralRotation(benchmark::State& state)
{
    const bool turning = state.range(0) != 0;
    CHeadRotation r;
    r.setOrientation({20.0f, 10.0f, 5.0f});
    r.settle();
    Signals s;
    long block = 0;
    for (auto _ : state) {
        if (turning)
            r.setOrientation({float(block % 360), 10.0f, 5.0f});
        r.run(s.i.data(), s.o.data(), kBlock);
        benchmark::DoNotOptimize(s.out[0][kBlock - 1]);
        ++block;
    }
    setRtf(state);
}

void BM_BinauralConvolution(benchmark::State& state)
{
    CBinauralConvolver conv;
    if (kemar().isEmpty() || conv.configure(kRate, static_cast<int>(state.range(0))) != vkOk
        || conv.load(kemar()) != vkOk) {
        state.SkipWithError("no convolver");
        return;
    }
    conv.settle();
    Signals s;
    for (auto _ : state) {
        conv.run(s.i.data(), s.o.data(), kBlock);
        benchmark::DoNotOptimize(s.out[0][kBlock - 1]);
    }
    setRtf(state);
    state.counters["latency_ms"] = 1000.0 * conv.latency() / kRate;
}

// The same filters by direct convolution, written for the vectoriser: per channel and
// tap one multiply-add over the block from a history of the channel.
void BM_DirectConvolution(benchmark::State& state)
{
    const CBinauralFilters& f = kemar();
    if (f.isEmpty()) {
        state.SkipWithError("no filters");
        return;
    }
    const int taps = f.length();
    Signals s;
    std::vector<std::vector<float>> history(kInputs, std::vector<float>(taps - 1 + kBlock, 0.0f));
    for (auto _ : state) {
        for (int c = 0; c < kInputs; ++c) {
            std::copy(history[c].begin() + kBlock, history[c].end(), history[c].begin());
            std::copy(s.in[c].begin(), s.in[c].end(), history[c].end() - kBlock);
        }
        for (int ear = 0; ear < 2; ++ear) {
            float* __restrict out = s.out[ear].data();
            std::fill(out, out + kBlock, 0.0f);
            for (int c = 0; c < kInputs; ++c) {
                const float* h = f.filter(c, ear);
                const float* x = history[c].data() + taps - 1;
                for (int k = 0; k < taps; ++k) {
                    const float hk = h[k];
                    const float* __restrict xk = x - k;
                    for (int t = 0; t < kBlock; ++t)
                        out[t] += hk * xk[t];
                }
            }
        }
        benchmark::DoNotOptimize(s.out[0][kBlock - 1]);
    }
    setRtf(state);
}
} // namespace

// 0: steady; 1: the head turns every block; 2: a new filter set always fading in.
BENCHMARK(BM_BinauralDecoder)->Arg(0)->Arg(1)->Arg(2)->ArgName("mode")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BinauralRotation)->Arg(0)->Arg(1)->ArgName("turning")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BinauralConvolution)->Arg(32)->Arg(64)->Arg(128)->Arg(256)->Arg(512)->ArgName("partition")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DirectConvolution)->Unit(benchmark::kMicrosecond);
