// Channel lists, what is refused while running, and reset requests served at the next start.

#include "core/contract/vkAudioClass.h"
#include "tests/device/HostFixture.h"

namespace {

using Lifecycle = HostFixture;

// Gives a fixed result for every block, after passing it through.
class ResultObject : public vkAudioClass {
public:
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override
    {
        vkAudioClass::process(in, out, frames);
        return result;
    }
    int result = 0;
};

TEST_F(Lifecycle, AChannelListThatDoesNotFitTheDeviceIsRefusedAndChangesNothing)
{
    fake.config.inputs = 32;
    load();
    std::vector<int> channels(33);
    for (int i = 0; i < 33; ++i)
        channels[i] = i;
    EXPECT_EQ(hostSetInputs(channels.data(), 33), vkHostErrChannels);
    const int beyond[] = {0, 32};
    EXPECT_EQ(hostSetInputs(beyond, 2), vkHostErrChannels);
    EXPECT_EQ(hostSetOutputs(channels.data(), -1), vkHostErrChannels);
    EXPECT_EQ(hostNumInputs(), 2);
    EXPECT_EQ(state().mInputList, (std::vector<int>{0, 1}));
    EXPECT_EQ(hostSetInputs(channels.data() + 31, 1), 0);
    EXPECT_EQ(state().mInputList, std::vector<int>{31});
}

TEST_F(Lifecycle, AChannelListChangedWhileOpenReopensTheStreamWithIt)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    const int channels[] = {4, 5, 6};
    EXPECT_EQ(hostSetOutputs(channels, 3), 0);
    EXPECT_TRUE(hostIsOpen());
    ASSERT_EQ(state().mBufferInfo.size(), 5u);
    EXPECT_EQ(state().mBufferInfo[2].channelNum, 4);
    EXPECT_EQ(state().mBufferInfo[4].channelNum, 6);
    EXPECT_EQ(state().mBufferInfo[4].isInput, ASIOFalse);
    EXPECT_EQ(state().mOutFloat.size(), 3u);
}

TEST_F(Lifecycle, ChangesAreRefusedWhileRunningAndNothingMoves)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    const int channels[] = {3};
    EXPECT_EQ(hostSetInputs(channels, 1), vkHostErrRunning);
    EXPECT_EQ(hostSetOutputs(channels, 1), vkHostErrRunning);
    EXPECT_EQ(hostSetBlockLength(256), vkHostErrRunning);
    EXPECT_EQ(hostSetSampleRate(48000.0), vkHostErrRunning);
    EXPECT_EQ(hostSetTarget(vkTargetCopy), vkHostErrRunning);
    EXPECT_EQ(hostNumInputs(), 2);
    EXPECT_EQ(hostBlockLength(), 512);
    EXPECT_EQ(hostSampleRate(), 44100.0);
    EXPECT_EQ(hostStart(), 1) << "starting twice is no failure";
    EXPECT_EQ(hostStop(), 1);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(hostIsOpen());
    ASSERT_EQ(hostStart(), 1);
    hostClose();
    EXPECT_FALSE(hostIsRunning());
    EXPECT_FALSE(hostIsOpen());
    EXPECT_FALSE(driver().running());
}

TEST_F(Lifecycle, OpeningClearsTheDriversBuffersAndBlockLengthChangesReopen)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    for (int half = 0; half < 2; ++half)
        EXPECT_EQ(int32At(3, half)[511], 0) << "the fake driver hands out garbage";
    EXPECT_EQ(hostSetBlockLength(0), vkHostErrBlock);
    EXPECT_EQ(hostSetBlockLength(1024), 0);
    EXPECT_TRUE(hostIsOpen());
    EXPECT_EQ(state().mDeviceBlock, 1024);
    EXPECT_EQ(state().mPrefill, 511);
    EXPECT_EQ(state().mInBuffer->format()->frameLength(), 1024);
}

TEST_F(Lifecycle, AsioMessagesAnswerAsTheTableSays)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    const ASIOCallbacks& cb = *driver().callbacks();
    const int supported[] = {2, 3, 5, 6, 7, 8, 9, 15};
    for (int value = 0; value <= 16; ++value) {
        const bool yes = std::find(std::begin(supported), std::end(supported), value) != std::end(supported);
        EXPECT_EQ(cb.asioMessage(kAsioSelectorSupported, value, nullptr, nullptr), yes ? 1 : 0) << value;
    }
    EXPECT_EQ(cb.asioMessage(kAsioEngineVersion, 0, nullptr, nullptr), 2);
    for (int selector : std::initializer_list<int>{kAsioResyncRequest, kAsioLatenciesChanged, kAsioSupportsTimeInfo})
        EXPECT_EQ(cb.asioMessage(selector, 0, nullptr, nullptr), 1);
    for (int selector : std::initializer_list<int>{0, kAsioBufferSizeChange, kAsioSupportsTimeCode, 99})
        EXPECT_EQ(cb.asioMessage(selector, 0, nullptr, nullptr), 0);
    EXPECT_EQ(state().mResetFlag.load(), 0);
    EXPECT_FALSE(hostResetRequested());
    EXPECT_EQ(cb.asioMessage(kAsioResetRequest, 0, nullptr, nullptr), 1);
    EXPECT_EQ(state().mResetFlag.load(), 1);
    EXPECT_TRUE(hostResetRequested());
    EXPECT_EQ(cb.asioMessage(kAsioOverload, 0, nullptr, nullptr), 1);
    EXPECT_EQ(cb.asioMessage(kAsioOverload, 0, nullptr, nullptr), 1);
    EXPECT_EQ(hostMissedCallbacks(), 2) << "each overload is a missed callback";
}

TEST_F(Lifecycle, AResetRequestWhileRunningIsServedAtTheNextStart)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    driver().callbacks()->asioMessage(kAsioResetRequest, 0, nullptr, nullptr);
    driver().callback(0);
    EXPECT_EQ(fake.created(), 1) << "no reset inside the stream";
    EXPECT_TRUE(hostIsRunning());
    ASSERT_EQ(hostStop(), 1);
    EXPECT_EQ(fake.created(), 1);
    ASSERT_EQ(hostStart(), 1);
    EXPECT_EQ(fake.created(), 2) << "the driver was loaded anew";
    EXPECT_EQ(state().mResetFlag.load(), 0);
    EXPECT_TRUE(hostIsOpen());
    EXPECT_TRUE(driver().running());
    hostStop();
    ASSERT_EQ(hostStart(), 1);
    EXPECT_EQ(fake.created(), 2) << "a served request is gone";
}

// A device gone while running: the reset cannot load the driver, nothing stays open, and
// each later reset tries the same driver again until it loads, opened as it was.
TEST_F(Lifecycle, AResetThatCannotLoadTheDriverLeavesItLostUntilItLoads)
{
    load();
    const int channels[] = {1, 3};
    ASSERT_EQ(hostSetInputs(channels, 2), 0);
    ASSERT_EQ(hostSetBlockLength(256), 0);
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    driver().callbacks()->asioMessage(kAsioResetRequest, 0, nullptr, nullptr);
    fake.config.initFails = true;

    EXPECT_NE(hostReset(), vkHostOk);
    EXPECT_FALSE(hostResetRequested()) << "served, though it failed";
    EXPECT_FALSE(hostIsOpen());
    EXPECT_FALSE(hostIsRunning());
    EXPECT_EQ(hostCurrentDriver(), nullptr);
    EXPECT_STREQ(hostDriverMessage(), "fake device missing");
    EXPECT_NE(hostReset(), vkHostOk);
    EXPECT_EQ(fake.created(), 3);

    fake.config.initFails = false;
    ASSERT_EQ(hostReset(), vkHostOk);
    EXPECT_STREQ(hostCurrentDriver(), "Fake Driver");
    EXPECT_TRUE(hostIsOpen());
    EXPECT_EQ(hostNumInputs(), 2);
    EXPECT_EQ(state().mInputList, (std::vector<int>{1, 3}));
    EXPECT_EQ(hostBlockLength(), 256);
    ASSERT_EQ(hostStart(), 1);
    EXPECT_TRUE(driver().running());
    EXPECT_EQ(hostReset(), vkHostOk) << "a loaded driver reloads as a plain reset";
    EXPECT_EQ(fake.created(), 5);
}

TEST_F(Lifecycle, AFailedBlockReloadsAtTheNextStartButARateChangeAloneDoesNot)
{
    load();
    ASSERT_EQ(hostOpen(), 0);
    ResultObject object;
    ASSERT_EQ(object.setFormat(state().mInFormat, state().mOutFormat), 0);
    hostSetObject(&object);
    ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
    ASSERT_EQ(hostStart(), 1);
    driver().callbacks()->sampleRateDidChange(48000.0);
    hostStop();
    ASSERT_EQ(hostStart(), 1);
    EXPECT_EQ(fake.created(), 1);

    object.result = 7;
    driver().callback(0);
    driver().callback(1);
    EXPECT_EQ(state().mBlockCount.load(), 2) << "the stream goes on after a failed block";
    EXPECT_EQ(state().mResetFlag.load(), 3);
    hostStop();
    object.result = 0;
    ASSERT_EQ(hostStart(), 1);
    EXPECT_EQ(fake.created(), 2);
    EXPECT_EQ(state().mResetFlag.load(), 2) << "bit 0 served, the rate note stays";
}

} // namespace
