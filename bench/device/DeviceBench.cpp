// The driver layer's callback: audio seconds processed per processor second (real-time
// factor) for 32 inputs and 24 outputs of 24-bit samples, directly, re-blocked and through
// the rate conversion, whose filters are also reported against the machine's peak; and
// directly for each sample type, integer ones converted, floats taken as they are.

#include "bench/support/MachinePeak.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "device/vkRateFilters.h"
#include "tests/device/CFakeDriver.h"

#include <benchmark/benchmark.h>

#include <numeric>

namespace {

constexpr int kInputs = 32;
constexpr int kOutputs = 24;

// Opens 32 inputs and 24 outputs at the given lengths, stream rate and sample type, with
// the default copy.
bool openStream(CFakeBackend& fake, int driverBlock, int blockLength, double streamRate,
                ASIOSampleType type = ASIOSTInt24LSB)
{
    fake.config.inputs = kInputs;
    fake.config.outputs = kOutputs;
    fake.config.type = type;
    fake.config.preferredBlock = driverBlock;
    fake.config.rates = {44100.0, 48000.0};
    fake.config.rate = streamRate == 44100.0 ? 44100.0 : 48000.0;
    hostInit();
    std::vector<int> channels(kInputs);
    std::iota(channels.begin(), channels.end(), 0);
    return hostLoadDriver("Fake Driver") == 0 && hostSetInputs(channels.data(), kInputs) == 0
        && hostSetOutputs(channels.data(), kOutputs) == 0 && hostSetBlockLength(blockLength) == 0
        && (streamRate == fake.config.rate || hostSetSampleRate(streamRate) == 0) && hostOpen() == 0
        && hostStart() == 1;
}

// Runs callbacks for the loop's duration and reports the real-time factor, and, when
// given, multiply-adds per second as a fraction of the peak.
void runCallbacks(benchmark::State& state, CFakeBackend& fake, double macsPerDriverFrame)
{
    const double peak = vkMachinePeakMacsPerSecond();
    CFakeDriver& driver = *fake.driver();
    const double rate = hostState().mDriverRate;
    int half = 0;
    const double start = vkThreadCpuSeconds();
    for (auto _ : state) {
        driver.callback(half);
        half ^= 1;
    }
    const double seconds = vkThreadCpuSeconds() - start;
    const double frames = static_cast<double>(state.iterations()) * driver.blockSize();
    state.counters["realtime_factor"] = frames / rate / seconds;
    if (macsPerDriverFrame > 0.0)
        state.counters["of_peak"] = macsPerDriverFrame * frames / seconds / peak;
    hostInit();
}

// Args: driver block, processing block.
void BM_Callback(benchmark::State& state)
{
    CFakeBackend fake;
    if (!openStream(fake, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), 44100.0)) {
        state.SkipWithError("stream not opened");
        return;
    }
    runCallbacks(state, fake, 0.0);
}
BENCHMARK(BM_Callback)->Args({512, 512})->Args({256, 512})->Args({512, 1000});

// Arg: the driver's sample type, at a block of 512 directly.
void BM_CallbackSampleType(benchmark::State& state)
{
    CFakeBackend fake;
    if (!openStream(fake, 512, 512, 44100.0, static_cast<ASIOSampleType>(state.range(0)))) {
        state.SkipWithError("stream not opened");
        return;
    }
    runCallbacks(state, fake, 0.0);
}
BENCHMARK(BM_CallbackSampleType)->Arg(ASIOSTInt16LSB)->Arg(ASIOSTInt24LSB)->Arg(ASIOSTInt32LSB)->Arg(ASIOSTFloat32LSB);

// Arg: stream rate, from a driver at 48000 Hz.
void BM_RateConversion(benchmark::State& state)
{
    CFakeBackend fake;
    const double streamRate = static_cast<double>(state.range(0));
    if (!openStream(fake, 512, 480, streamRate)) {
        state.SkipWithError("stream not opened");
        return;
    }
    // Each output of a multi-rate FIR costs taps / up multiply-adds.
    const vkHostState& s = hostState();
    const double taps = vkRateFilterTaps[s.mFilterIndex];
    const double perBlock = kInputs * s.mBlockLength * taps / s.mRateUp + kOutputs * s.mDeviceBlock * taps / s.mRateDown;
    runCallbacks(state, fake, perBlock / s.mDeviceBlock);
}
BENCHMARK(BM_RateConversion)->Arg(32000)->Arg(24000)->Arg(8000);

} // namespace
