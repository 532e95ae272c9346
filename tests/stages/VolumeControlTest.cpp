#include "stages/CVolumeControl.h"
#include "core/primitives/ipps.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

namespace {
CVolumeControl& configured(CVolumeControl& v, int channels)
{
    const vkAudioInterface f = vkAudioInterface::timeDomain(channels, 44100.0f, 16);
    EXPECT_EQ(v.setFormat(f, f), vkOk);
    return v;
}
} // namespace

TEST(VolumeControl, FactorIsMasterTimesChannelUnlessMuted)
{
    CVolumeControl v;
    configured(v, 3);
    v.setMasterVolume(0.5f);
    v.setChannelVolume(1, 0.5f);
    EXPECT_FLOAT_EQ(v.gain(0), 0.5f);
    EXPECT_FLOAT_EQ(v.gain(1), 0.25f);

    // Changes made during a mute are in force when it ends.
    v.setMute(1, true);
    EXPECT_EQ(v.gain(1), 0.0f);
    v.setChannelVolume(1, 2.0f);
    v.setMasterVolume(0.25f);
    EXPECT_EQ(v.gain(1), 0.0f);
    v.setMute(1, false);
    EXPECT_FLOAT_EQ(v.gain(1), 0.5f);
}

TEST(VolumeControl, NegativeChannelMeansAllAndChannelsBeyondTheCountAreIgnored)
{
    CVolumeControl v;
    configured(v, 2);
    v.setChannelVolume(-1, 3.0f); // stores nothing
    EXPECT_FLOAT_EQ(v.gain(0), 1.0f);
    v.setChannelVolume(2, 3.0f);
    v.setMute(2, true);
    EXPECT_FLOAT_EQ(v.gain(1), 1.0f);
    v.setMute(-1, true);
    EXPECT_EQ(v.gain(0), 0.0f);
    EXPECT_EQ(v.gain(1), 0.0f);
}

TEST(VolumeControl, NewFormatResetsChannelsButKeepsTheMaster)
{
    CVolumeControl v;
    v.setMasterVolume(0.5f);
    configured(v, 2);
    v.setChannelVolume(0, 0.1f);
    v.setMute(1, true);
    v.start();
    EXPECT_FALSE(v.isStarted());
    configured(v, 4);
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_FLOAT_EQ(v.gain(ch), 0.5f);
    configured(v, 0);
    EXPECT_EQ(v.process(nullptr, nullptr, 16), 0);
}

TEST(VolumeControl, ProcessScalesEachChannelAsAStepBetweenBlocks)
{
    CVolumeControl v;
    configured(v, 2);
    const std::vector<float> a(16, 1.0f), b(16, -2.0f), minusOne(16, -1.0f), two(16, 2.0f);
    std::vector<float> oa(16), ob(16);
    float* in[2] = {const_cast<float*>(a.data()), const_cast<float*>(b.data())};
    float* out[2] = {oa.data(), ob.data()};
    v.setChannelVolume(1, 0.5f);
    AllocationCounter counter;
    EXPECT_EQ(v.process(in, out, 16), 0);
    EXPECT_EQ(oa, a);
    EXPECT_EQ(ob, minusOne);
    v.setMasterVolume(2.0f);
    EXPECT_EQ(v.process(in, out, 16), 0);
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(oa, two);
}

// In place, a channel at unity is left alone: the bits must be those that multiplying
// every sample by 1 gives, for signed zeros, denormals, infinities and NaNs as well; a
// channel at another factor is scaled in place, block after block.
TEST(VolumeControl, InPlaceUnityGivesTheBitsOfTheFullMultiplication)
{
    const float specials[] = {-0.0f, std::numeric_limits<float>::denorm_min(), -1e-40f,
                              std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(),
                              1e-07f, -0.75f, 3.0e38f};
    const int n = int(std::size(specials));
    CVolumeControl v;
    const vkAudioInterface f = vkAudioInterface::timeDomain(2, 44100.0f, n);
    ASSERT_EQ(v.setFormat(f, f), vkOk);
    std::vector<float> expected(std::size_t(n) * 2);
    for (float factor : {1.0f, 0.5f, 1.0f}) {
        v.setChannelVolume(1, factor);
        std::vector<float> a(specials, specials + n), b(specials, specials + n);
        float* io[2] = {a.data(), b.data()};
        ASSERT_EQ(ippsMulC_32f(specials, 1.0f, expected.data(), n), ippStsNoErr);
        ASSERT_EQ(ippsMulC_32f(specials, factor, expected.data() + n, n), ippStsNoErr);
        ASSERT_EQ(v.process(io, io, n), 0);
        EXPECT_EQ(std::memcmp(a.data(), expected.data(), sizeof(float) * std::size_t(n)), 0) << factor;
        EXPECT_EQ(std::memcmp(b.data(), expected.data() + n, sizeof(float) * std::size_t(n)), 0) << factor;
    }
}

TEST(VolumeControl, ProcessReportsAFailureOfAnyChannelNotOnlyTheLast)
{
    CVolumeControl v;
    configured(v, 2);
    const std::vector<float> ones(16, 1.0f);
    std::vector<float> o(16);
    float* in[2] = {nullptr, const_cast<float*>(ones.data())};
    float* out[2] = {o.data(), o.data()};
    EXPECT_EQ(v.process(in, out, 16), ippStsNullPtrErr);
    EXPECT_EQ(o, ones); // the channels after the failure still went through
}

TEST(VolumeControl, ParametersGoThroughTheTable)
{
    CVolumeControl v;
    configured(v, 2);
    const float half = 0.5f, quarter = 0.25f;
    const unsigned char on = 1;
    EXPECT_EQ(v.setChannelParameter(0, CVolumeControl::MasterVolume, &half, 1, vkTypeFloat), vkOk);
    EXPECT_EQ(v.setChannelParameter(1, CVolumeControl::ChannelVolume, &quarter, 1, vkTypeFloat), vkOk);
    EXPECT_EQ(v.setChannelParameter(0, CVolumeControl::Mute, &on, 1, vkTypeBool), vkOk);
    EXPECT_EQ(v.gain(0), 0.0f);
    EXPECT_FLOAT_EQ(v.gain(1), 0.125f);

    float f = 0.0f;
    unsigned char m = 7;
    EXPECT_EQ(v.getChannelParameter(1, CVolumeControl::ChannelVolume, &f, 1, vkTypeFloat), vkOk);
    EXPECT_EQ(f, 0.25f);
    EXPECT_EQ(v.getChannelParameter(0, CVolumeControl::Mute, &m, 1, vkTypeBool), vkOk);
    EXPECT_EQ(m, 1);
    EXPECT_EQ(v.getChannelParameter(1, CVolumeControl::Mute, &m, 1, vkTypeBool), vkOk);
    EXPECT_EQ(m, 0);
    EXPECT_EQ(v.getChannelParameter(5, CVolumeControl::MasterVolume, &f, 1, vkTypeFloat), vkOk);
    EXPECT_EQ(f, 0.5f);

    EXPECT_EQ(v.setChannelParameter(0, 3, &half, 1, vkTypeFloat), vkErrParameterId);
    EXPECT_EQ(v.getChannelParameter(0, -1, &f, 1, vkTypeFloat), vkErrParameterId);
    EXPECT_EQ(v.setChannelParameter(0, CVolumeControl::MasterVolume, &half, 2, vkTypeFloat), vkErrParameterShape);
    EXPECT_EQ(v.setChannelParameter(0, CVolumeControl::Mute, &half, 1, vkTypeFloat), vkErrParameterShape);
    EXPECT_EQ(v.getChannelParameter(2, CVolumeControl::ChannelVolume, &f, 1, vkTypeFloat), vkErrChannel);
    EXPECT_FLOAT_EQ(v.masterVolume(), 0.5f);
}
