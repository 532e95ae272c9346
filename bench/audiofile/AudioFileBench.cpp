// The block side of a streaming file: 32 channels of 512 frames at 48 kHz converted to
// 24-bit samples and interleaved into the ring (recording), and back (playing). The disk
// side is stood in for by handing every full buffer straight back, so only the audio
// thread's work is timed. Reported as a real-time factor: seconds of audio per second.

#include "audiofile/CAudioBuffer.h"

#include <benchmark/benchmark.h>


#include <cmath>
#include <vector>

namespace {

constexpr int kChannels = 32;
constexpr int kBlock = 512;
constexpr int kRate = 48000;

struct Channels {
    Channels()
        : samples(kChannels, std::vector<float>(kBlock))
    {
        for (int c = 0; c < kChannels; ++c) {
            for (int i = 0; i < kBlock; ++i)
                samples[std::size_t(c)][std::size_t(i)] = 0.5f * std::sin(0.01f * float(i * (c + 1)));
            pointers.push_back(samples[std::size_t(c)].data());
        }
    }
    std::vector<std::vector<float>> samples;
    std::vector<float*> pointers;
};

// A disk side that takes every stretch at once without moving it.
void drain(CAudioBuffer& ring)
{
    for (CAudioBuffer::Span span = ring.diskSpan(true); span.size > 0; span = ring.diskSpan(true))
        ring.diskDone(span.size);
}

bool configure(CAudioBuffer& ring, int bytesPerSample)
{
    ring.setScale(std::ldexp(1.0f, 8 * bytesPerSample - 1));
    return ring.setFileFormat(CAudioBuffer::sampleInteger, bytesPerSample, kRate, kChannels) == 0
           && ring.setFrames(kBlock) == 0;
}

void BM_RecordBlock(benchmark::State& state)
{
    CAudioBuffer ring;
    if (!configure(ring, int(state.range(0)))) {
        state.SkipWithError("ring could not be allocated");
        return;
    }
    ring.setStopped(false);
    Channels in;
    for (auto _ : state) {
        ring.writeBlock(in.pointers.data());
        drain(ring);
    }
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_PlayBlock(benchmark::State& state)
{
    CAudioBuffer ring;
    if (!configure(ring, int(state.range(0)))) {
        state.SkipWithError("ring could not be allocated");
        return;
    }
    ring.primeAll();
    drain(ring);
    ring.setStopped(false);
    Channels out;
    for (auto _ : state) {
        ring.readBlock(out.pointers.data());
        drain(ring);
        benchmark::DoNotOptimize(out.pointers[kChannels - 1][kBlock - 1]);
    }
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

} // namespace

// Argument: bytes per sample; recordings are 3.
BENCHMARK(BM_RecordBlock)->Arg(3)->Arg(2);
BENCHMARK(BM_PlayBlock)->Arg(3)->Arg(2);
