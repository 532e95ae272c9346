// Re-blocking: driver buffers of one length, processing blocks of another. A counting
// ramp goes in; what the object sees and what reaches the driver's outputs is checked
// frame by frame.

#include "core/contract/vkAudioClass.h"
#include "tests/device/HostFixture.h"
#include "tests/support/AllocationCounter.h"

#include <tuple>

namespace {

// Frame k of the ramp is k + 1, so that silence stands apart. 2^-20 steps are exact in
// single precision and in 32-bit samples.
constexpr float kStep = 1.0f / 1048576.0f;
constexpr int kShift = 11;

// Logs every frame it is given and passes it through.
class RecordingObject : public vkAudioClass {
public:
    using vkAudioClass::process;
    explicit RecordingObject(std::size_t capacity) { log.reserve(capacity); }
    int process(float** in, float** out, int frames) override
    {
        for (int i = 0; i < frames; ++i)
            log.push_back(static_cast<int>(in[0][i] / kStep));
        std::copy(in[0], in[0] + frames, out[0]);
        return 0;
    }
    std::vector<int> log;
};

class Reblock : public HostFixture, public ::testing::WithParamInterface<std::tuple<int, int>> {
protected:
    Reblock() { output.reserve(1 << 17); }

    // One input and one output, the driver's block and the processing block as given.
    void open(int driverBlock, int blockLength)
    {
        fake.config.preferredBlock = driverBlock;
        load();
        const int channel[] = {0};
        ASSERT_EQ(hostSetInputs(channel, 1), 0);
        ASSERT_EQ(hostSetOutputs(channel, 1), 0);
        ASSERT_EQ(hostSetBlockLength(blockLength), 0);
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(object.setFormat(state().mInFormat, state().mOutFormat), 0);
        hostSetObject(&object);
        ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
        ASSERT_EQ(hostStart(), 1);
    }
    // One callback with the next stretch of the ramp; what came out is appended to `output`.
    void feed()
    {
        const int half = callbacks & 1;
        std::int32_t* in = int32At(0, half);
        for (int i = 0; i < driver().blockSize(); ++i)
            in[i] = (++fed) << kShift;
        driver().callback(half);
        const std::int32_t* out = int32At(1, half);
        for (int i = 0; i < driver().blockSize(); ++i)
            output.push_back(out[i] >> kShift);
        ++callbacks;
    }

    RecordingObject object{1 << 16};
    std::vector<int> output;
    int fed = 0;
    int callbacks = 0;
};

TEST_P(Reblock, EveryInputFrameIsProcessedOnceAndTheOutputRunsOnWithoutAGap)
{
    const auto [driverBlock, blockLength] = GetParam();
    open(driverBlock, blockLength);
    EXPECT_EQ(state().mPrefill, std::min(driverBlock, blockLength) - 1);
    AllocationCounter counter;
    while (fed < 20 * blockLength)
        feed();
    EXPECT_EQ(counter.count(), 0u);

    // What the object saw: the silent prefill, then the ramp, nothing twice, nothing skipped.
    const int prefill = state().mPrefill;
    ASSERT_EQ(object.log.size(), static_cast<std::size_t>(state().mBlockCount.load()) * blockLength);
    for (int i = 0; i < static_cast<int>(object.log.size()); ++i)
        ASSERT_EQ(object.log[i], i < prefill ? 0 : i - prefill + 1) << "frame " << i;
    EXPECT_GE(static_cast<int>(object.log.size()) - prefill, fed - blockLength);

    // What the driver played: silence, then the processed frames one after the other.
    const auto first = std::find_if(output.begin(), output.end(), [](int v) { return v != 0; });
    ASSERT_NE(first, output.end());
    for (auto it = first; it != output.end(); ++it)
        ASSERT_EQ(*it, 1 + (it - first)) << "output frame " << (it - output.begin());
}

// Smaller driver buffers that divide the block, larger ones that it divides, and larger
// ones that it does not.
INSTANTIATE_TEST_SUITE_P(DriverAndBlock, Reblock,
                         ::testing::Values(std::tuple{256, 512}, std::tuple{64, 512}, std::tuple{1024, 512},
                                           std::tuple{1000, 512}, std::tuple{512, 96}));

TEST_F(Reblock, EqualLengthsRunTheDirectRoutineWithoutPrefill)
{
    open(512, 512);
    EXPECT_EQ(state().mPrefill, 0);
    EXPECT_EQ(driver().callbacks()->bufferSwitchTimeInfo, &hostBufferSwitchTimeInfo);
    feed();
    feed();
    EXPECT_EQ(state().mBlockCount.load(), 2);
    EXPECT_EQ(object.log.front(), 1);
    EXPECT_EQ(output.front(), 1) << "no delay without re-blocking";
}

TEST_F(Reblock, SmallerDriverBuffersRunABlockAtEverySecondCallback)
{
    open(256, 512);
    EXPECT_EQ(state().mPrefill, 255);
    EXPECT_EQ(driver().callbacks()->bufferSwitchTimeInfo, &hostReblockSwitchTimeInfo);
    std::vector<int> blocks;
    for (int i = 0; i < 8; ++i) {
        feed();
        blocks.push_back(state().mBlockCount.load());
    }
    EXPECT_EQ(blocks, (std::vector<int>{0, 1, 1, 2, 2, 3, 3, 4}));
}

// With a block that a smaller driver buffer does not divide, some halves end before the
// next block is ready: they play silence, never a repeat of earlier frames.
TEST_F(Reblock, HalvesThatNoBlockReachesPlaySilenceNotOldFrames)
{
    open(256, 1000);
    EXPECT_EQ(state().mPrefill, 255);
    while (fed < 40 * 1000)
        feed();
    int last = 0;
    int silent = 0;
    bool started = false;
    for (int v : output) {
        if (v == 0) {
            silent += started;
            continue;
        }
        started = true;
        ASSERT_GT(v, last) << "a frame went out twice or out of order";
        last = v;
    }
    EXPECT_GT(silent, 0);
    EXPECT_GT(last, fed - 3 * 1000);
}

} // namespace
