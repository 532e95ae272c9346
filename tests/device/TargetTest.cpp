// What runs in the callback: targets, and processing modules loaded at run time.

#include "core/contract/vkAudioClass.h"
#include "tests/device/HostFixture.h"

namespace {

class Target : public HostFixture {
protected:
    void SetUp() override
    {
        load();
        ASSERT_EQ(hostOpen(), 0);
    }
    // One block with `value` on input 0; what output 0 gives.
    float runOnce(std::int32_t value)
    {
        EXPECT_EQ(hostStart(), 1);
        int32At(0, 0)[0] = value;
        driver().callback(0);
        const float out = static_cast<float>(int32At(hostNumInputs(), 0)[0] / 2147483648.0);
        EXPECT_EQ(hostStop(), 1);
        return out;
    }
};

TEST_F(Target, UnknownTargetsAndMissingObjectsAreRefused)
{
    EXPECT_EQ(hostSetTarget(4), vkHostErrTarget);
    EXPECT_EQ(hostSetTarget(-1), vkHostErrTarget);
    EXPECT_EQ(hostSetTarget(vkTargetObject), vkHostErrModule) << "no object was offered";
    EXPECT_EQ(hostSetTarget(vkTargetModule), vkHostErrModule) << "no module was named";
    hostSetModule("/nonexistent/module.so");
    EXPECT_EQ(hostSetTarget(vkTargetModule), vkHostErrModule);
    hostSetModule(VK_TEST_EMPTY_MODULE);
    EXPECT_EQ(hostSetTarget(vkTargetModule), vkHostErrSymbol);
    EXPECT_EQ(hostSetTarget(vkTargetFunction), vkHostErrSymbol);
}

TEST_F(Target, AFailedTargetRunsNothingAndTheBlockCountsAsFailed)
{
    hostSetModule(VK_TEST_EMPTY_MODULE);
    EXPECT_EQ(hostSetTarget(vkTargetModule), vkHostErrSymbol);
    runOnce(1 << 30);
    EXPECT_EQ(state().mResetFlag.load(), 3);
}

TEST_F(Target, AnObjectFromAModuleIsConfiguredAndRunsAcrossAReopen)
{
    hostSetModule(VK_TEST_GAIN_MODULE);
    ASSERT_EQ(hostSetTarget(vkTargetModule), 0);
    EXPECT_FLOAT_EQ(runOnce(1 << 30), 0.25f);
    hostClose();
    ASSERT_EQ(hostOpen(), 0);
    EXPECT_FLOAT_EQ(runOnce(1 << 29), 0.125f);
    EXPECT_EQ(state().mResetFlag.load(), 0);
}

TEST_F(Target, AFunctionFromAModuleRuns)
{
    hostSetModule(VK_TEST_GAIN_MODULE);
    ASSERT_EQ(hostSetTarget(vkTargetFunction), 0);
    EXPECT_FLOAT_EQ(runOnce(1 << 30), -0.5f);
}

TEST_F(Target, TheDefaultCopyReturnsAfterAnotherTarget)
{
    hostSetModule(VK_TEST_GAIN_MODULE);
    ASSERT_EQ(hostSetTarget(vkTargetModule), 0);
    ASSERT_EQ(hostSetTarget(vkTargetCopy), 0);
    EXPECT_FLOAT_EQ(runOnce(1 << 30), 0.5f);
}

} // namespace
