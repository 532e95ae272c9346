// The buffer callback: integer conversions and float pass-through at the driver boundary,
// the re-entry guard, and a block without a single allocation.

#include "core/contract/vkAudioClass.h"
#include "tests/device/HostFixture.h"
#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <climits>
#include <functional>
#include <vector>

namespace {

// Keeps the first frames of each input and writes given frames to each output.
class ProbeObject : public vkAudioClass {
public:
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override
    {
        for (int c = 0; c < mInFormat.channels(); ++c)
            for (int i = 0; i < kFrames; ++i)
                seen[c][i] = in[c][i];
        for (int c = 0; c < mOutFormat.channels(); ++c) {
            std::fill(out[c], out[c] + frames, 0.0f);
            std::copy(std::begin(send), std::end(send), out[c]);
        }
        if (during)
            during();
        return 0;
    }
    static constexpr int kFrames = 6;
    float seen[4][kFrames] = {};
    float send[kFrames] = {1.0f, -1.0f, 2.0f, -2.0f, 0.5f, 100.6f / 32768.0f};
    std::function<void()> during; // runs inside the block
};

void put24(void* half, int frame, std::int32_t value)
{
    auto* b = static_cast<std::uint8_t*>(half) + 3 * frame;
    b[0] = value & 0xFF;
    b[1] = (value >> 8) & 0xFF;
    b[2] = (value >> 16) & 0xFF;
}

std::int32_t get24(const void* half, int frame)
{
    const auto* b = static_cast<const std::uint8_t*>(half) + 3 * frame;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(b[0]) << 8 | static_cast<std::uint32_t>(b[1]) << 16
                                     | static_cast<std::uint32_t>(b[2]) << 24) >> 8;
}

class Callback : public HostFixture {
protected:
    // Four inputs and four outputs of 16, 24 and 32 bits and of 32-bit floats.
    void SetUp() override
    {
        fake.config.inputTypes = fake.config.outputTypes = {ASIOSTInt16LSB, ASIOSTInt24LSB, ASIOSTInt32LSB,
                                                            ASIOSTFloat32LSB};
        load();
        const int channels[] = {0, 1, 2, 3};
        ASSERT_EQ(hostSetInputs(channels, 4), 0);
        ASSERT_EQ(hostSetOutputs(channels, 4), 0);
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(probe.setFormat(state().mInFormat, state().mOutFormat), 0);
        hostSetObject(&probe);
        ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
        ASSERT_EQ(hostStart(), 1);
    }
    void* half(int position, int index) { return driver().buffer(position, index); }

    ProbeObject probe;
};

TEST_F(Callback, InputsConvertToFullScaleOneForEachIntegerTypeAndFloatsComeAsTheyAre)
{
    auto* in16 = static_cast<std::int16_t*>(half(0, 1));
    in16[0] = 32767;
    in16[1] = -32768;
    in16[2] = 1;
    put24(half(1, 1), 0, 0x7FFFFF);
    put24(half(1, 1), 1, -0x800000);
    put24(half(1, 1), 2, 1);
    auto* in32 = static_cast<std::int32_t*>(half(2, 1));
    in32[0] = INT_MAX;
    in32[1] = INT_MIN;
    in32[2] = 1 << 8;
    static_cast<float*>(half(3, 1))[0] = 1.75f;
    static_cast<float*>(half(3, 1))[1] = -3.0f;
    static_cast<float*>(half(3, 1))[2] = 1e-30f;
    driver().callback(1);

    EXPECT_EQ(probe.seen[0][0], 32767.0f / 32768.0f);
    EXPECT_EQ(probe.seen[0][1], -1.0f);
    EXPECT_EQ(probe.seen[0][2], 1.0f / 32768.0f);
    EXPECT_EQ(probe.seen[1][0], 8388607.0f / 8388608.0f);
    EXPECT_LT(probe.seen[1][0], 1.0f);
    EXPECT_EQ(probe.seen[1][1], -1.0f);
    EXPECT_EQ(probe.seen[1][2], 1.0f / 8388608.0f);
    EXPECT_EQ(probe.seen[2][0], 1.0f) << "2^31 - 1 is 1.0 in single precision";
    EXPECT_EQ(probe.seen[2][1], -1.0f);
    EXPECT_EQ(probe.seen[2][2], 1.0f / 8388608.0f);
    EXPECT_EQ(probe.seen[3][0], 1.75f) << "a float above full scale is not clipped";
    EXPECT_EQ(probe.seen[3][1], -3.0f);
    EXPECT_EQ(probe.seen[3][2], 1e-30f);
}

TEST_F(Callback, IntegerOutputsSaturateAndRoundToNearestFloatOutputsStayUnclipped)
{
    driver().callback(0);
    const auto* out16 = static_cast<const std::int16_t*>(half(4, 0));
    const auto* out32 = static_cast<const std::int32_t*>(half(6, 0));
    const std::int16_t expect16[] = {32767, -32768, 32767, -32768, 16384, 101};
    const std::int32_t expect24[] = {0x7FFFFF, -0x800000, 0x7FFFFF, -0x800000, 0x400000, 25754};
    const std::int32_t expect32[] = {INT_MAX, INT_MIN, INT_MAX, INT_MIN, 1 << 30, 6592922};
    for (int i = 0; i < ProbeObject::kFrames; ++i) {
        EXPECT_EQ(out16[i], expect16[i]) << i;
        EXPECT_EQ(get24(half(5, 0), i), expect24[i]) << i;
        EXPECT_NEAR(out32[i], expect32[i], i == 5 ? 1 : 0) << i;
    }
    EXPECT_EQ(out16[ProbeObject::kFrames], 0);
    const auto* outFloat = static_cast<const float*>(half(7, 0));
    for (int i = 0; i < ProbeObject::kFrames; ++i)
        EXPECT_EQ(outFloat[i], probe.send[i]) << i;
}

TEST_F(Callback, ACallbackDuringACallbackCountsAsMissedAndLosesNothingElse)
{
    static_cast<std::int16_t*>(half(4, 1))[0] = 1234;
    static_cast<std::int16_t*>(half(0, 0))[0] = 16384;
    probe.during = [this] {
        probe.during = nullptr;
        driver().callback(1);
    };
    driver().callback(0);
    EXPECT_EQ(state().mMissed.load(), 1);
    EXPECT_EQ(state().mBusy.load(), -1);
    EXPECT_EQ(state().mBlockCount.load(), 1);
    EXPECT_EQ(probe.seen[0][0], 0.5f);
    EXPECT_EQ(static_cast<std::int16_t*>(half(4, 0))[0], 32767) << "the running block still delivers";
    EXPECT_EQ(static_cast<std::int16_t*>(half(4, 1))[0], 1234) << "the dropped call wrote nothing";

    driver().callback(1);
    EXPECT_EQ(state().mBlockCount.load(), 2) << "the guard is open again";
    EXPECT_EQ(state().mMissed.load(), 1);
}

TEST_F(Callback, BlocksRunWithoutAllocating)
{
    driver().callback(0); // first touch of every page
    AllocationCounter counter;
    for (int i = 0; i < 20; ++i)
        driver().callback(i & 1);
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(state().mBlockCount.load(), 21);
}

// A float driver's samples are taken in one pass each way: whatever bits the driver
// holds, beyond full scale, tiny or not numbers at all, come back through the default
// copy unchanged, directly and re-blocked.
TEST(CallbackFloat, SamplesPassBothWaysBitForBit)
{
    for (const int block : {512, 384}) {
        SCOPED_TRACE(block);
        CFakeBackend fake;
        fake.config.type = ASIOSTFloat32LSB;
        fake.config.inputs = fake.config.outputs = 2;
        hostInit();
        ASSERT_EQ(hostLoadDriver("Fake Driver"), 0);
        ASSERT_EQ(hostSetBlockLength(block), 0);
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(hostStart(), 1);
        CFakeDriver& driver = *fake.driver();
        const int frames = driver.blockSize();
        std::uint32_t seed = 12345;
        std::vector<std::uint32_t> sent, back;
        for (int n = 0; n < 8; ++n) {
            auto* in = static_cast<std::uint32_t*>(driver.buffer(0, n & 1));
            for (int i = 0; i < frames; ++i) {
                seed = seed * 1664525u + 1013904223u;
                sent.push_back(in[i] = seed);
            }
            driver.callback(n & 1);
            const auto* out = static_cast<const std::uint32_t*>(driver.buffer(2, n & 1));
            back.insert(back.end(), out, out + frames);
        }
        // Re-blocking delays the stream by less than a block, with silence ahead of it.
        const auto first = std::find(back.begin(), back.end(), sent.front());
        ASSERT_NE(first, back.end());
        const std::size_t delay = static_cast<std::size_t>(first - back.begin());
        EXPECT_LT(delay, static_cast<std::size_t>(block));
        EXPECT_TRUE(std::all_of(back.begin(), first, [](std::uint32_t x) { return x == 0; }));
        for (std::size_t i = delay; i < back.size(); ++i)
            ASSERT_EQ(back[i], sent[i - delay]) << "frame " << i;
        hostInit();
    }
}

TEST(CallbackPosting, OutputReadyFollowsEveryBlockWhenTheDriverHasIt)
{
    CFakeBackend fake;
    fake.config.postOutput = true;
    hostInit();
    ASSERT_EQ(hostLoadDriver("Fake Driver"), 0);
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    const int before = fake.driver()->outputReadyCalls();
    fake.driver()->callback(0);
    fake.driver()->callback(1);
    EXPECT_EQ(fake.driver()->outputReadyCalls() - before, 2);
    hostInit();
}

} // namespace
