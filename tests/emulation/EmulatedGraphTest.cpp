// The whole chain live: the audio graph runs on the emulated hardware's driver for a few
// seconds with three beams steered at the default scene's three sources, and each beam
// carries its own source well above the other two. A source's share of a beam is its
// normalised cross-correlation with the source's dry signal, at the best lag (the beam's
// latency).

#include "graph/CAudioGraph.h"
#include "emulation/CEmulatedDriver.h"
#include "emulation/vkEmulation.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/CoreApplication.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

namespace {

constexpr int kSources = 3;
constexpr int kBlock = CEmulatedDriver::kPreferredBlock;
constexpr double kRate = 48000.0;
constexpr int kRecordedBlocks = 3 * 48000 / kBlock; // three seconds
constexpr int kSkip = 24000;                         // the beams' filters filling
constexpr int kMaxLag = 1024;

// Where the default scene puts its sources (theta, phi), in its order: tune, strokes, chirps.
constexpr float kDirections[kSources][2] = {{90.0f, 30.0f}, {60.0f, 150.0f}, {120.0f, 270.0f}};

// Runs the graph and records the first outputs of the first blocks; counts on the audio
// thread what it allocates from its first block on.
class CGraphTap : public vkAudioClass {
public:
    using vkAudioClass::process;
    CGraphTap(CAudioGraph& graph, int outputs)
        : mGraph(graph), mOutputs(outputs), mData(static_cast<std::size_t>(outputs) * kRecordedBlocks * kBlock)
    {
    }
    int process(float** in, float** out, int frames) override
    {
        if (!mCounter)
            mCounter.emplace();
        const int result = mGraph.process(in, out, frames);
        failures.fetch_add(result != 0, std::memory_order_relaxed);
        const int b = blocks.load(std::memory_order_relaxed);
        if (b < kRecordedBlocks && frames == kBlock)
            for (int c = 0; c < mOutputs; ++c)
                std::memcpy(channel(c) + static_cast<std::size_t>(b) * kBlock, out[c], sizeof(float) * kBlock);
        allocations.store(mCounter->count(), std::memory_order_relaxed);
        blocks.store(b + 1, std::memory_order_release);
        return result;
    }
    float* channel(int c) { return mData.data() + static_cast<std::size_t>(c) * kRecordedBlocks * kBlock; }

    std::atomic<int> blocks{0};
    std::atomic<int> failures{0};
    std::atomic<std::size_t> allocations{0};

private:
    CAudioGraph& mGraph;
    int mOutputs;
    std::vector<float> mData;
    std::optional<AllocationCounter> mCounter;
};

// The default scene's dry signals over the recorded stretch, aligned with the sphere's centre.
std::vector<std::vector<float>> drySignals(long frames)
{
    CSoundScene scene(kRate);
    CSoundScene::addDefaultSources(scene);
    std::vector<std::vector<float>> capsules(CSoundScene::kCapsules, std::vector<float>(frames));
    std::vector<std::vector<float>> dry(kSources, std::vector<float>(frames));
    std::vector<float*> c, d;
    for (auto& x : capsules)
        c.push_back(x.data());
    for (auto& x : dry)
        d.push_back(x.data());
    scene.render(c.data(), static_cast<int>(frames), d.data());
    return dry;
}

// max over lags 0..kMaxLag of |sum beam(n) dry(n - lag)|, normalised by both energies,
// over the frames from kSkip on.
double correlation(const float* beam, const std::vector<float>& dry, long frames)
{
    double beamEnergy = 0.0, dryEnergy = 0.0, best = 0.0;
    for (long n = kSkip; n < frames; ++n) {
        beamEnergy += static_cast<double>(beam[n]) * beam[n];
        dryEnergy += static_cast<double>(dry[n - kMaxLag / 2]) * dry[n - kMaxLag / 2];
    }
    for (int lag = 0; lag <= kMaxLag; ++lag) {
        double sum = 0.0;
        for (long n = kSkip; n < frames; ++n)
            sum += static_cast<double>(beam[n]) * dry[n - lag];
        best = std::max(best, std::abs(sum));
    }
    return best / std::sqrt(beamEnergy * dryEnergy);
}

// The pattern of this name, and its default parameter: the value 0, else the last.
bool findPattern(const CAudioGraph& graph, const char* wanted, int& pattern, int& parameter)
{
    for (int p = 0; p < graph.patternCount(); ++p) {
        char name[17] = {};
        int count = 0;
        std::vector<int> values(64);
        if (graph.patternInfo(p, nullptr, nullptr, &count, nullptr) != 0 || count > 64
            || graph.patternNames(p, name, nullptr, values.data()) != 0 || std::strcmp(name, wanted) != 0)
            continue;
        pattern = p;
        parameter = count - 1;
        for (int k = 0; k < count; ++k)
            if (values[k] == 0)
                parameter = k;
        return true;
    }
    return false;
}

TEST(EmulatedGraph, BeamsSteeredAtTheScenesSourcesCarryThemLive)
{
    core_application::application();
    auto model = std::make_shared<CHardwareModel>();
    vkEmulation::attach(model);
    hostInit();
    ASSERT_EQ(hostLoadDriver(vkEmulation::kDriverName), 0);
    ASSERT_EQ(hostSampleRate(), kRate);
    std::vector<int> channels(CEmulatedDriver::kInputs);
    for (int c = 0; c < CEmulatedDriver::kInputs; ++c)
        channels[c] = c;
    ASSERT_EQ(hostSetInputs(channels.data(), CEmulatedDriver::kInputs), 0);
    ASSERT_EQ(hostSetOutputs(channels.data(), kSources), 0);
    ASSERT_EQ(hostOpen(), 0);
    const vkHostState& s = hostState();

    CAudioGraph graph;
    ASSERT_EQ(graph.setInputMode(CAudioGraph::inputLive), 0);
    ASSERT_EQ(graph.configure(s.mInFormat, s.mOutFormat), 0);
    ASSERT_EQ(graph.setProcessingMode(CAudioGraph::processingBeamforming), 0);
    ASSERT_EQ(graph.setNumBeams(kSources), 0);
    int pattern = 0, parameter = 0;
    ASSERT_TRUE(findPattern(graph, "hyper3", pattern, parameter));
    for (int b = 0; b < kSources; ++b) {
        ASSERT_EQ(graph.setTheta(b, kDirections[b][0]), 0);
        ASSERT_EQ(graph.setPhi(b, kDirections[b][1]), 0);
        ASSERT_EQ(graph.setPattern(b, pattern), 0);
        ASSERT_EQ(graph.setParameter(b, parameter), 0);
    }
    // The calibration that the box's block describes makes up each capsule's shortfall.
    float calibration[CEmulatedDriver::kInputs];
    for (int c = 0; c < CEmulatedDriver::kInputs; ++c)
        calibration[c] = static_cast<float>(std::pow(10.0, 0.05 * model->capsuleErrorDb(c)));
    graph.setInputChannelGains(calibration, CEmulatedDriver::kInputs);

    CGraphTap tap(graph, kSources);
    ASSERT_EQ(tap.setFormat(s.mInFormat, s.mOutFormat), 0);
    hostSetObject(&tap);
    ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
    ASSERT_EQ(graph.start(), 0);
    ASSERT_EQ(hostStart(), 1);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30); // room for sanitizers
    while (tap.blocks.load(std::memory_order_acquire) < kRecordedBlocks && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_EQ(hostStop(), 1);
    graph.stop();
    ASSERT_GE(tap.blocks.load(), kRecordedBlocks) << "the stream did not run for three seconds";
    EXPECT_EQ(tap.failures.load(), 0);
    EXPECT_EQ(s.mMissed.load(), 0);
    EXPECT_EQ(tap.allocations.load(), 0u) << "the audio thread allocated";

    const long frames = static_cast<long>(kRecordedBlocks) * kBlock;
    const auto dry = drySignals(frames);
    for (int b = 0; b < kSources; ++b) {
        double share[kSources];
        for (int src = 0; src < kSources; ++src)
            share[src] = correlation(tap.channel(b), dry[src], frames);
        for (int src = 0; src < kSources; ++src) {
            std::printf("beam %d, source %d: correlation %.3f\n", b, src, share[src]);
            if (src != b) {
                EXPECT_GT(share[b], 3.0 * share[src]) << "beam " << b << " against source " << src;
            }
        }
        EXPECT_GT(share[b], 0.5) << "beam " << b;
    }
    hostInit();
    vkEmulation::detach();
}

} // namespace
