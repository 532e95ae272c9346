// The beamformer plug-in in a lilv host, 18 beams of mixed patterns at 44.1 kHz: the
// steady cost of run() as a real-time factor (seconds of audio per second of CPU time),
// at the host's block of 512 and re-blocked from host blocks of 64; the first run() after
// activate, which sets every control and starts the graph; and one beam's pattern load on
// the worker.

#include "plugins/lv2/vkLv2Ports.h"
#include "tests/lv2/CLv2TestHost.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

namespace {

namespace bf = vk_lv2::beamformer;
using Channels = std::vector<std::vector<float>>;
constexpr double kRate = 44100.0;
constexpr long kFrames = 8192;

const Channels& input()
{
    static const Channels in = [] {
        std::mt19937 random(7);
        std::normal_distribution<float> g(0.0f, 0.05f);
        Channels c(vk_lv2::kCapsules, std::vector<float>(kFrames));
        for (auto& channel : c)
            for (float& s : channel)
                s = g(random);
        return c;
    }();
    return in;
}

// Mixed patterns and "WNG" values, directions spread over the sphere.
std::unique_ptr<CLv2TestHost> referencePlugin()
{
    CLv2TestHost::Options options;
    options.maxBlock = 4096;
    auto host = std::make_unique<CLv2TestHost>(vk_lv2::kBeamformerUri, kRate, options);
    for (int b = 0; b < bf::kBeams; ++b) {
        host->control(vk_lv2::numbered("pattern", b).c_str()) = float(b % 12);
        host->control(vk_lv2::numbered("wng", b).c_str()) = float(6 * (b % 5) - 12);
        host->control(vk_lv2::numbered("polar", b).c_str()) = float(20 + 8 * b);
    }
    host->activate();
    return host;
}

void steady(benchmark::State& state)
{
    const int hostBlock = int(state.range(0));
    auto host = referencePlugin();
    Channels out(bf::kBeams, std::vector<float>(kFrames));
    long offset = 0;
    for (auto _ : state) {
        if (offset + hostBlock > kFrames)
            offset = 0;
        host->run(input(), out, offset, hostBlock);
        offset += hostBlock;
    }
    state.counters["rtf"] = benchmark::Counter(double(state.iterations()) * hostBlock / kRate, benchmark::Counter::kIsRate);
}
BENCHMARK(steady)->Name("BeamformerPlugin/steady/hostBlock")->Arg(512)->Arg(64)->Unit(benchmark::kMicrosecond);

void firstRun(benchmark::State& state)
{
    Channels out(bf::kBeams, std::vector<float>(512));
    Channels in(vk_lv2::kCapsules, std::vector<float>(512));
    for (auto _ : state) {
        state.PauseTiming();
        auto host = referencePlugin();
        state.ResumeTiming();
        host->run(in, out, 0, 512);
        state.PauseTiming();
        host.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(firstRun)->Name("BeamformerPlugin/firstRunAfterActivate")->Unit(benchmark::kMicrosecond)->Iterations(20);

void patternLoad(benchmark::State& state)
{
    auto host = referencePlugin();
    Channels out(bf::kBeams, std::vector<float>(kFrames));
    host->run(input(), out, 0, 512);
    int k = 0;
    for (auto _ : state) {
        state.PauseTiming();
        host->control("pattern_01") = float(7 + (++k % 2));
        host->run(input(), out, 0, 1);
        state.ResumeTiming();
        benchmark::DoNotOptimize(host->runWork());
    }
}
BENCHMARK(patternLoad)->Name("BeamformerPlugin/patternLoadOnWorker")->Unit(benchmark::kMicrosecond);

} // namespace
