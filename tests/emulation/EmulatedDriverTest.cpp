// The emulated hardware's audio side through the driver layer: listed only while a
// hardware model is attached, paced by its own clock thread, delivering the modelled
// scene scaled by the model's gains.

#include "core/contract/vkAudioClass.h"
#include "emulation/CEmulatedDriver.h"
#include "emulation/vkEmulation.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kInputs = CEmulatedDriver::kInputs;
constexpr int kOutputs = CEmulatedDriver::kOutputs;
constexpr int kBlock = CEmulatedDriver::kPreferredBlock;
// A sanitizer's instrumentation slows the scene's rendering below real time: the clock's
// pace is then not the driver's to keep.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kInstrumented = true;
#else
constexpr bool kInstrumented = false;
#endif
// Half a step of 24-bit quantisation, plus room for single-precision rounding.
constexpr double kQuantum = 1.0 / 8388608.0;

// Records the inputs of the first blocks, passes inputs 0..23 to the outputs, and counts
// on the audio thread what that thread allocates from its first block on.
class CRecorder : public vkAudioClass {
public:
    using vkAudioClass::process;
    explicit CRecorder(int capacity) : mCapacity(capacity), mData(static_cast<std::size_t>(capacity) * kInputs * kBlock) {}

    int process(float** in, float** out, int frames) override
    {
        if (!mCounter)
            mCounter.emplace();
        thread.store(std::this_thread::get_id(), std::memory_order_relaxed);
        const int b = blocks.load(std::memory_order_relaxed);
        if (b < mCapacity && frames == kBlock)
            for (int c = 0; c < kInputs; ++c)
                std::copy(in[c], in[c] + frames, mData.begin() + offset(b, c));
        const int result = vkAudioClass::process(in, out, frames);
        allocations.store(mCounter->count(), std::memory_order_relaxed);
        blocks.store(b + 1, std::memory_order_release);
        return result;
    }
    const float* block(int b, int channel) const { return mData.data() + offset(b, channel); }
    int capacity() const { return mCapacity; }

    // Waits until `count` blocks have run or `limit` passes; true when they have.
    bool waitFor(int count, std::chrono::milliseconds limit) const
    {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (blocks.load(std::memory_order_acquire) < count && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return blocks.load(std::memory_order_acquire) >= count;
    }

    std::atomic<int> blocks{0};
    std::atomic<std::size_t> allocations{0};
    std::atomic<std::thread::id> thread{};

private:
    std::size_t offset(int b, int c) const { return (static_cast<std::size_t>(b) * kInputs + c) * kBlock; }
    int mCapacity;
    std::vector<float> mData;
    std::optional<AllocationCounter> mCounter;
};

// The scene as the driver renders it, for reference, block by block with given gains.
class CReference {
public:
    explicit CReference(double rate) : mScene(rate), mData(static_cast<std::size_t>(kInputs) * kBlock)
    {
        CSoundScene::addDefaultSources(mScene);
        for (int c = 0; c < kInputs; ++c)
            mChannels[c] = mData.data() + static_cast<std::size_t>(c) * kBlock;
    }
    void next(const CHardwareModel& model)
    {
        float gains[kInputs];
        for (int c = 0; c < kInputs; ++c)
            gains[c] = model.capsuleGain(c);
        mScene.setCapsuleGains(gains);
        mScene.render(mChannels, kBlock);
    }
    const float* channel(int c) const { return mChannels[c]; }

private:
    CSoundScene mScene;
    std::vector<float> mData;
    float* mChannels[kInputs] = {};
};

double maxDifference(const float* a, const float* b, int n)
{
    double worst = 0.0;
    for (int i = 0; i < n; ++i)
        worst = std::max(worst, std::abs(static_cast<double>(a[i]) - b[i]));
    return worst;
}

double rms(const float* x, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(x[i]) * x[i];
    return std::sqrt(sum / n);
}

bool listed()
{
    for (int i = 0; i < hostDriverCount(); ++i)
        if (hostDriverName(i) && std::string(hostDriverName(i)) == vkEmulation::kDriverName)
            return true;
    return false;
}

class EmulatedDriver : public ::testing::Test {
protected:
    void SetUp() override { vkEmulation::attach(model); }
    void TearDown() override
    {
        hostInit();
        vkEmulation::detach();
    }

    // Loads the driver at `rate`, opens all channels and runs `object` on them.
    void open(vkAudioClass& object, double rate = 48000.0)
    {
        hostInit();
        ASSERT_EQ(hostLoadDriver(vkEmulation::kDriverName), 0);
        if (rate != hostSampleRate()) {
            ASSERT_EQ(hostSetSampleRate(rate), 0);
        }
        std::vector<int> channels(kInputs);
        for (int c = 0; c < kInputs; ++c)
            channels[c] = c;
        ASSERT_EQ(hostSetInputs(channels.data(), kInputs), 0);
        ASSERT_EQ(hostSetOutputs(channels.data(), kOutputs), 0);
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(object.setFormat(hostState().mInFormat, hostState().mOutFormat), 0);
        hostSetObject(&object);
        ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
    }
    CEmulatedDriver& driver() { return dynamic_cast<CEmulatedDriver&>(*hostState().mDriver); }

    std::shared_ptr<CHardwareModel> model = std::make_shared<CHardwareModel>();
};

TEST_F(EmulatedDriver, IsListedFirstOnlyWhileAModelIsAttached)
{
    hostInit();
    ASSERT_GE(hostDriverCount(), 1);
    EXPECT_STREQ(hostDriverName(0), vkEmulation::kDriverName);
    EXPECT_EQ(vkEmulation::model(), model);

    vkEmulation::detach();
    EXPECT_FALSE(vkEmulation::attached());
    hostInit();
    EXPECT_FALSE(listed());
    EXPECT_NE(hostLoadDriver(vkEmulation::kDriverName), 0) << "nothing answers as the box while detached";

    vkEmulation::attach(model);
    hostInit();
    EXPECT_TRUE(listed());
}

// Inputs equal the scene's rendering times the model's gains, within 24-bit quantisation,
// block for block from the start; the callback runs on the driver's own thread, at the
// clock's pace, without allocating.
class EmulatedDriverAtRate : public EmulatedDriver, public ::testing::WithParamInterface<double> {};

TEST_P(EmulatedDriverAtRate, DeliversTheSceneTimesTheGainsAtTheClocksPace)
{
    const double rate = GetParam();
    CRecorder object(24);
    open(object, rate);
    model->setPreampDb(3, -10.0f);
    model->setPreampDb(17, -3.0f);

    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(hostStart(), 1);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const std::int64_t counted = driver().blockCount();
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    ASSERT_EQ(hostStop(), 1);

    const double expected = elapsed * rate / kBlock;
    EXPECT_GT(counted, kInstrumented ? 0.0 : 0.75 * expected);
    EXPECT_LT(counted, 1.1 * expected + 1);
    EXPECT_EQ(hostState().mMissed.load(), 0);
    EXPECT_NE(object.thread.load(), std::this_thread::get_id());
    EXPECT_EQ(object.allocations.load(), 0u) << "the clock thread allocated";

    ASSERT_GE(object.blocks.load(), object.capacity());
    CReference reference(rate);
    for (int b = 0; b < object.capacity(); ++b) {
        reference.next(*model);
        for (int c = 0; c < kInputs; ++c)
            ASSERT_LE(maxDifference(object.block(b, c), reference.channel(c), kBlock), kQuantum)
                << "block " << b << ", capsule " << c;
    }
}

INSTANTIATE_TEST_SUITE_P(BothRates, EmulatedDriverAtRate, ::testing::Values(44100.0, 48000.0));

// A preamp change written into the model while the stream runs raises the capsule's level
// by exactly the change from one block on, and leaves the other capsules alone.
TEST_F(EmulatedDriver, APreampChangeIsHeardFromTheNextBlock)
{
    constexpr int kCapsule = 11;
    constexpr float kChangeDb = -6.0f; // a cut: the scene's loudest peaks come near full scale
    CRecorder object(60);
    open(object);
    ASSERT_EQ(hostStart(), 1);
    ASSERT_TRUE(object.waitFor(20, std::chrono::seconds(5)));
    model->setPreampDb(kCapsule, CHardwareModel::kDefaultPreampDb + kChangeDb);
    ASSERT_TRUE(object.waitFor(object.capacity(), std::chrono::seconds(5)));
    ASSERT_EQ(hostStop(), 1);

    // Reference at the gains before the change: each block's level ratio is 0 dB before
    // the change and kChangeDb after, with exactly one switch.
    CHardwareModel before;
    CReference reference(48000.0);
    int switches = 0;
    bool changed = false;
    for (int b = 0; b < object.capacity(); ++b) {
        reference.next(before);
        const double db = 20.0 * std::log10(rms(object.block(b, kCapsule), kBlock) / rms(reference.channel(kCapsule), kBlock));
        const bool now = db < 0.5 * kChangeDb;
        switches += now != changed;
        changed = now;
        EXPECT_NEAR(db, now ? kChangeDb : 0.0, 1e-3) << "block " << b;
        EXPECT_LE(maxDifference(object.block(b, 0), reference.channel(0), kBlock), kQuantum) << "block " << b;
    }
    EXPECT_EQ(switches, 1);
    EXPECT_TRUE(changed);
}

// A block is captured in the period before its callback and played in the one after.
TEST_F(EmulatedDriver, ReportsOneBlockOfLatencyEachWay)
{
    CRecorder object(4);
    open(object);
    EXPECT_EQ(hostInputLatency(), kBlock);
    EXPECT_EQ(hostOutputLatency(), kBlock);
    hostClose();
    EXPECT_EQ(hostInputLatency(), 0);
}

// stop() joins the clock thread: nothing runs after it, and a second start delivers
// again. The outputs' meters then hold the last block the object wrote: the copy of
// inputs 0..23.
TEST_F(EmulatedDriver, StopJoinsAndRestartsCleanly)
{
    CRecorder object(64);
    open(object);
    for (int round = 0; round < 2; ++round) {
        const int before = object.blocks.load();
        ASSERT_EQ(hostStart(), 1);
        ASSERT_TRUE(object.waitFor(before + 8, std::chrono::seconds(5))) << "round " << round;
        ASSERT_EQ(hostStop(), 1);
        const int stopped = object.blocks.load();
        const std::int64_t driverBlocks = driver().blockCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(object.blocks.load(), stopped) << "a block ran after stop";
        EXPECT_EQ(driver().blockCount(), driverBlocks);
        EXPECT_EQ(driverBlocks, stopped - before);
    }
    EXPECT_EQ(hostState().mMissed.load(), 0);
    EXPECT_EQ(object.allocations.load(), 0u);

    const int last = object.blocks.load() - 1;
    ASSERT_LT(last, object.capacity());
    for (int c = 0; c < kOutputs; ++c) {
        const double level = rms(object.block(last, c), kBlock);
        EXPECT_GT(level, 1e-3) << "output " << c;
        EXPECT_NEAR(driver().outputRms(c), level, 2 * kQuantum + 1e-6 * level) << "output " << c;
    }
}

// Notes when each block arrives, and holds up one block far longer than the schedule
// tolerates.
class CStaller : public vkAudioClass {
public:
    using vkAudioClass::process;
    static constexpr int kBlocks = 24;
    static constexpr int kStallBlock = 4;
    static constexpr auto kStall = std::chrono::milliseconds(300);

    int process(float** in, float** out, int frames) override
    {
        const int b = blocks.load(std::memory_order_relaxed);
        if (b < kBlocks)
            arrivals[b] = std::chrono::steady_clock::now();
        if (b == kStallBlock)
            std::this_thread::sleep_for(kStall);
        blocks.store(b + 1, std::memory_order_release);
        return vkAudioClass::process(in, out, frames);
    }
    std::atomic<int> blocks{0};
    std::array<std::chrono::steady_clock::time_point, kBlocks> arrivals{};
};

// After a block held up for many periods the schedule starts afresh: the blocks that
// follow come one period apart, not in a burst that makes up for the lost time.
TEST_F(EmulatedDriver, ResumesAtItsPaceAfterAStall)
{
    CStaller object;
    open(object);
    ASSERT_EQ(hostStart(), 1);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (object.blocks.load(std::memory_order_acquire) < CStaller::kBlocks && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(hostStop(), 1);
    ASSERT_GE(object.blocks.load(), CStaller::kBlocks);

    EXPECT_GE(driver().resyncCount(), 1);
    // Lateness on a busy machine only stretches these gaps; a burst would shrink them to
    // almost nothing.
    const double period = kBlock / 48000.0;
    const int first = CStaller::kStallBlock + 2;
    const double span = std::chrono::duration<double>(object.arrivals[CStaller::kBlocks - 1] - object.arrivals[first]).count();
    EXPECT_GT(span, 0.8 * period * (CStaller::kBlocks - 1 - first));
}

// Emulation switched off while a driver runs: the running driver keeps its model, and
// only the list changes.
TEST_F(EmulatedDriver, KeepsRunningWhenDetached)
{
    CRecorder object(4);
    open(object);
    ASSERT_EQ(hostStart(), 1);
    vkEmulation::detach();
    model.reset();
    ASSERT_TRUE(object.waitFor(object.capacity(), std::chrono::seconds(5)));
    ASSERT_EQ(hostStop(), 1);
    EXPECT_GT(rms(object.block(object.capacity() - 1, 0), kBlock), 1e-3);
}

} // namespace
