// The JACK driver's whole callback path: a private dummy server in freewheel mode runs
// periods back to back, and each one goes through the driver and the layer (32 inputs,
// 24 outputs, the layer's default copy). The figure is audio seconds per processor
// second of this process, whose only busy thread is JACK's process thread of our client:
// the driver's transfer to and from the ports, the layer's conversion and the client
// library's own work per period.

#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/support/DummyJackServer.h"

#include <benchmark/benchmark.h>
#include <jack/jack.h>

#include <chrono>
#include <ctime>
#include <numeric>
#include <thread>
#include <vector>

namespace {

constexpr int kInputs = 32;
constexpr int kOutputs = 24;

double processCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

bool openStream()
{
    hostInit();
    std::vector<int> channels(kInputs);
    std::iota(channels.begin(), channels.end(), 0);
    return hostLoadDriver(CJackDriver::kName) == 0 && hostSetInputs(channels.data(), kInputs) == 0
        && hostSetOutputs(channels.data(), kOutputs) == 0 && hostOpen() == 0 && hostStart() == 1;
}

// Half a second of freewheeling per iteration while the main thread sleeps.
void BM_JackPeriods(benchmark::State& state)
{
    DummyJackServer server;
    if (!server.running() || !openStream()) {
        state.SkipWithError("no JACK server or the driver did not open");
        hostInit();
        return;
    }
    jack_client_t* control = jack_client_open("vk_bench_control", JackNoStartServer, nullptr);
    if (!control || jack_set_freewheel(control, 1) != 0) {
        state.SkipWithError("freewheel refused");
        hostInit();
        return;
    }
    const vkHostState& s = hostState();
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // the server switches over
    const int blocksStart = s.mBlockCount.load();
    const double cpuStart = processCpuSeconds();
    for (auto _ : state)
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const double cpu = processCpuSeconds() - cpuStart;
    const double blocks = s.mBlockCount.load() - blocksStart;
    const double audioSeconds = blocks * s.mBlockLength / s.mSampleRate;
    jack_set_freewheel(control, 0);
    jack_client_close(control);
    hostStop();
    hostInit();
    state.counters["realtime_factor"] = audioSeconds / cpu;
    state.counters["us_per_period"] = 1e6 * cpu / blocks;
}
BENCHMARK(BM_JackPeriods)->Iterations(6)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
