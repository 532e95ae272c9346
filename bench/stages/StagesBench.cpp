// Cost of the small stages of the graph on the reference workload's shapes: 18 beams
// through the high-pass, 32 inputs through level and volume, 18 beams through the output
// level, blocks of 512 at 44.1 kHz; and the level stage with a reader taking its levels.
// Reported as real-time factors (audio seconds per processor second); the high-pass also
// as a fraction of the machine's double-precision multiply-add peak.

#include "bench/support/MachinePeak.h"
#include "stages/CFilterStageBq.h"
#include "stages/CMaxValue.h"
#include "stages/CVolumeControl.h"
#include "stages/vkHighpassSets.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;

struct Signals {
    explicit Signals(int channels) : data(channels, std::vector<float>(kBlock))
    {
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < kBlock; ++i)
                data[c][i] = 0.3f * std::sin(0.01f * (i + 37 * c));
        for (auto& d : data)
            pointers.push_back(d.data());
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

// Runs `process` once per iteration and reports the real-time factor and, when the
// multiply-adds per block are given, the fraction of the machine's peak.
template <typename Process>
void measure(benchmark::State& state, Process process, double macsPerBlock = 0.0)
{
    const double start = vkThreadCpuSeconds();
    for (auto _ : state)
        process();
    const double seconds = vkThreadCpuSeconds() - start;
    const double blocks = static_cast<double>(state.iterations());
    state.counters["realtime_factor"] = blocks * kBlock / kRate / seconds;
    if (macsPerBlock > 0.0)
        state.counters["fraction_of_peak"] = blocks * macsPerBlock / seconds / vkMachinePeakMacsPerSecond();
}

void HighpassEighteenBeams(benchmark::State& state)
{
    const int beams = 18;
    const vkAudioInterface f = vkAudioInterface::timeDomain(beams, kRate, kBlock);
    CFilterStageBq stage;
    stage.setFormat(f, f);
    const std::vector<int> sections(beams, vkHighpassSections);
    stage.setSections(sections.data(), beams);
    for (int ch = 0; ch < beams; ++ch)
        stage.setTaps(ch, vkHighpassSet(1, kRate).data());
    Signals in(beams), out(beams);
    // Direct form II transposed: five multiply-adds a section and sample.
    const double macs = 5.0 * vkHighpassSections * beams * kBlock;
    measure(state, [&] { stage.process(in.pointers.data(), out.pointers.data(), kBlock); }, macs);
}
BENCHMARK(HighpassEighteenBeams);

// The input level stage (32 channels, one whole group of lanes) and the output level
// stage (18 beams, a part-filled group).
void Level(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    CMaxValue stage;
    stage.setFormat(vkAudioInterface::timeDomain(channels, kRate, kBlock),
                    vkAudioInterface::timeDomain(0, kRate, kBlock));
    Signals in(channels);
    measure(state, [&] { stage.process(in.pointers.data(), nullptr, kBlock); });
}
BENCHMARK(Level)->ArgName("channels")->Arg(32)->Arg(18);

// The input level stage while another thread takes its levels without pause: the price of
// the hand-over when every block's peaks meet a fresh take (cache lines moving between the
// cores, a compare-exchange repeated), against Level/32 above.
void LevelWhileAReaderTakes(benchmark::State& state)
{
    constexpr int channels = 32;
    CMaxValue stage;
    stage.setFormat(vkAudioInterface::timeDomain(channels, kRate, kBlock),
                    vkAudioInterface::timeDomain(0, kRate, kBlock));
    Signals in(channels);
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        float peaks[channels], envelopes[channels];
        while (!stop.load(std::memory_order_relaxed))
            stage.takeLevels(peaks, envelopes, channels);
    });
    measure(state, [&] { stage.process(in.pointers.data(), nullptr, kBlock); });
    stop = true;
    reader.join();
}
BENCHMARK(LevelWhileAReaderTakes);

void VolumeThirtyTwoInputs(benchmark::State& state)
{
    const vkAudioInterface f = vkAudioInterface::timeDomain(32, kRate, kBlock);
    CVolumeControl stage;
    stage.setFormat(f, f);
    stage.setMasterVolume(0.5f);
    Signals in(32), out(32);
    measure(state, [&] { stage.process(in.pointers.data(), out.pointers.data(), kBlock); });
}
BENCHMARK(VolumeThirtyTwoInputs);
} // namespace
