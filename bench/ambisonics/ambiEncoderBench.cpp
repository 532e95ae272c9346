// The encoder's cost beside the node's, block 512 at 44.1 kHz, as real-time factors
// (seconds of audio per second of CPU time):
//   BM_Node:    CZirc with 18 beams of mixed patterns (the reference workload), and with
//               the 16 modes straight out (what the encoder adds to);
//   BM_Encoder: 16 modes to 4, 9 or 16 AmbiX channels, steady, with the mounting turning
//               every eighth block (the glide runs half the time), and with the
//               above-aliasing correction.

#include "ambisonics/CAmbiEncoder.h"
#include "beamformer/CZirc.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;

struct Buffers {
    Buffers(int channels, unsigned seed) : data(channels, std::vector<float>(kBlock))
    {
        std::mt19937 rng(seed);
        std::normal_distribution<float> g(0.0f, 0.1f);
        for (auto& c : data) {
            for (float& x : c)
                x = g(rng);
            pointers.push_back(c.data());
        }
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

void setRealTimeFactor(benchmark::State& state)
{
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

// Arg 0: 18 beams, mixed patterns; arg 1: the 16 modes straight out.
void BM_Node(benchmark::State& state)
{
    const bool modes = state.range(0) != 0;
    const int outputs = modes ? CZirc::kModes : 18;
    CZirc zirc;
    if (zirc.setFormat(vkAudioInterface::timeDomain(32, kRate, kBlock),
                       vkAudioInterface::timeDomain(outputs, kRate, kBlock)) != vkOk) {
        state.SkipWithError("CZirc could not be configured");
        return;
    }
    for (int b = 0; b < outputs; ++b) {
        const int pattern = b % kPatternCount;
        zirc.setChannelParameter(b, CZirc::kPattern, &pattern, 1, vkTypeInt);
        zirc.setTheta(b, float(20 + 8 * b));
        zirc.setPhi(b, float(20 * b));
    }
    if (modes)
        zirc.setMbfMode(CKorvane::kModeModes);
    Buffers in(32, 1), out(outputs, 2);
    zirc.start();
    for (auto _ : state) {
        zirc.process(in.pointers.data(), out.pointers.data(), kBlock);
        benchmark::DoNotOptimize(out.data[0][kBlock - 1]);
    }
    setRealTimeFactor(state);
}

// Arg 0: order; arg 1: 0 steady, 1 turning, 2 above-aliasing correction on.
void BM_Encoder(benchmark::State& state)
{
    const int order = int(state.range(0));
    const int variant = int(state.range(1));
    CAmbiEncoder encoder;
    if (encoder.setFormat(vkAudioInterface::timeDomain(16, kRate, kBlock),
                          vkAudioInterface::timeDomain(ambiChannelCount(order), kRate, kBlock)) != vkOk) {
        state.SkipWithError("the encoder could not be configured");
        return;
    }
    encoder.setAboveAliasing(variant == 2);
    encoder.start();
    Buffers in(16, 3), out(ambiChannelCount(order), 4);
    long block = 0;
    for (auto _ : state) {
        if (variant == 1 && block % 8 == 0) {
            state.PauseTiming();
            encoder.setOrientation(CRotation3::fromYawPitchRoll(double(block % 360), 10.0, 0.0));
            state.ResumeTiming();
        }
        encoder.process(in.pointers.data(), out.pointers.data(), kBlock);
        benchmark::DoNotOptimize(out.data[0][kBlock - 1]);
        ++block;
    }
    setRealTimeFactor(state);
}
} // namespace

BENCHMARK(BM_Node)->Arg(0)->Arg(1)->ArgName("modes")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Encoder)
    ->ArgsProduct({{1, 2, 3}, {0}})
    ->Args({3, 1})
    ->Args({3, 2})
    ->ArgNames({"order", "variant"})
    ->Unit(benchmark::kMicrosecond);
