// The emulated hardware's driver: what opening it costs (the scene's capsule filters are
// designed then), and the processor load of its clock thread streaming live through the
// layer, as a real-time factor (audio seconds per processor second) and as a fraction of
// the machine's multiply-add peak for the scene's filters.

#include "bench/support/MachinePeak.h"
#include "emulation/CEmulatedDriver.h"
#include "emulation/vkEmulation.h"
#include "emulation/CHardwareModel.h"
#include "device/vkHost.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <numeric>
#include <thread>
#include <vector>

namespace {

constexpr int kSources = 3;   // the default scene
constexpr int kFilterTaps = 128;

double processCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

bool loadAndOpen(double rate)
{
    hostInit();
    std::vector<int> channels(CEmulatedDriver::kInputs);
    std::iota(channels.begin(), channels.end(), 0);
    return hostLoadDriver(vkEmulation::kDriverName) == 0 && (hostSampleRate() == rate || hostSetSampleRate(rate) == 0)
        && hostSetInputs(channels.data(), CEmulatedDriver::kInputs) == 0
        && hostSetOutputs(channels.data(), CEmulatedDriver::kOutputs) == 0 && hostOpen() == 0;
}

// Load and open at 48000 Hz, then unload: the wait a user sees when choosing the driver.
void BM_EmulatedOpen(benchmark::State& state)
{
    vkEmulation::attach(std::make_shared<CHardwareModel>());
    for (auto _ : state) {
        if (!loadAndOpen(48000.0)) {
            state.SkipWithError("the emulated driver did not open");
            break;
        }
        hostInit();
    }
    vkEmulation::detach();
}
BENCHMARK(BM_EmulatedOpen)->Unit(benchmark::kMillisecond)->Iterations(5);

// Arg: sample rate. Streams with the layer's default copy for a second per iteration; the
// main thread sleeps, so the process's processor time is the clock thread's.
void BM_EmulatedLive(benchmark::State& state)
{
    const double rate = static_cast<double>(state.range(0));
    vkEmulation::attach(std::make_shared<CHardwareModel>());
    if (!loadAndOpen(rate) || hostStart() != 1) {
        state.SkipWithError("the emulated driver did not start");
        vkEmulation::detach();
        return;
    }
    const double peak = vkMachinePeakMacsPerSecond();
    const double cpuStart = processCpuSeconds();
    const auto wallStart = std::chrono::steady_clock::now();
    for (auto _ : state)
        std::this_thread::sleep_for(std::chrono::seconds(1));
    const double audioSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    const double cpu = processCpuSeconds() - cpuStart;
    hostStop();
    hostInit();
    vkEmulation::detach();
    const double macs = audioSeconds * rate * kSources * CEmulatedDriver::kInputs * kFilterTaps;
    state.counters["realtime_factor"] = audioSeconds / cpu;
    state.counters["of_peak"] = macs / cpu / peak;
}
BENCHMARK(BM_EmulatedLive)->Arg(44100)->Arg(48000)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
