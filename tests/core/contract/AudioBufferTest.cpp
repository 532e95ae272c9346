#include "core/contract/vkAudioBuffer.h"
#include "core/contract/vkResult.h"

#include <gtest/gtest.h>

namespace {
vkAudioInterface format(int channels, int frames = 8)
{
    return vkAudioInterface::timeDomain(channels, 44100.0f, frames);
}
} // namespace

TEST(AudioBuffer, ZeroChannelsIsValidAndTouchesNothing)
{
    vkAudioBuffer b(format(0));
    EXPECT_TRUE(b.isValid());
    EXPECT_EQ(b.allocate(), vkOk);
    b.clear();
    EXPECT_EQ(b.channel(0), nullptr);
}

TEST(AudioBuffer, ChannelOutsideTheRangeIsNull)
{
    vkAudioBuffer b(format(3));
    ASSERT_EQ(b.allocate(), vkOk);
    EXPECT_EQ(b.channel(-1), nullptr);
    EXPECT_EQ(b.channel(3), nullptr);
    EXPECT_NE(b.channel(2), nullptr);
}

TEST(AudioBuffer, AllocateClearsEveryChannelAndIsAligned)
{
    vkAudioBuffer b(format(2, 37));
    ASSERT_EQ(b.allocate(), vkOk);
    for (int c = 0; c < 2; ++c) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b.channel(c)) % 32, 0u);
        for (int i = 0; i < 37; ++i)
            EXPECT_EQ(b.channel(c)[i], 0.0f);
    }
}

TEST(AudioBuffer, ShareBorrowsAllChannelsOrRefuses)
{
    vkAudioBuffer source(format(4));
    ASSERT_EQ(source.allocate(), vkOk);
    vkAudioBuffer view(format(4));
    EXPECT_EQ(view.share(source), vkOk);
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(view.channel(c), source.channel(c));

    vkAudioBuffer owner(format(4));
    ASSERT_EQ(owner.allocate(), vkOk);
    float* before = owner.channel(0);
    EXPECT_EQ(owner.share(source), vkErrFormat) << "an owning buffer never borrows";
    EXPECT_EQ(owner.channel(0), before);

    vkAudioBuffer shorter(format(4, 4));
    EXPECT_EQ(shorter.share(source), vkErrFormat);
    vkAudioBuffer fewer(format(3));
    EXPECT_EQ(fewer.share(source), vkErrFormat);
}

TEST(AudioBuffer, ShareOfARangeChecksBothEnds)
{
    vkAudioBuffer source(format(4));
    ASSERT_EQ(source.allocate(), vkOk);
    vkAudioBuffer view(format(2));
    EXPECT_EQ(view.share(source, 2, 2, 0), vkOk) << "sourceOffset + count equal to the source's channels";
    EXPECT_EQ(view.channel(0), source.channel(2));
    EXPECT_EQ(view.channel(1), source.channel(3));
    EXPECT_EQ(view.share(source, 2, 3, 0), vkErrNoChannelParams);
    EXPECT_EQ(view.share(source, 2, 0, 1), vkErrNoChannelParams);

    vkAudioBuffer otherRate(vkAudioInterface::timeDomain(2, 48000.0f, 8));
    EXPECT_EQ(otherRate.share(source, 2, 0, 0), vkOk) << "the rate is not compared";
}

TEST(AudioBuffer, SetFormatKeepsOwnershipAndReallocatesToTheNewLength)
{
    vkAudioBuffer b(format(2, 8));
    ASSERT_EQ(b.allocate(), vkOk);
    b.channel(1)[7] = 3.0f;
    EXPECT_EQ(b.setFormat(format(3, 16)), vkOk);
    EXPECT_TRUE(b.ownsStorage());
    ASSERT_NE(b.channel(2), nullptr);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(b.channel(2)[i], 0.0f);

    vkAudioBuffer view(format(2, 8));
    EXPECT_EQ(view.setFormat(format(5, 8)), vkOk);
    EXPECT_FALSE(view.ownsStorage());
    EXPECT_EQ(view.channel(4), nullptr);
    EXPECT_EQ(view.format()->channels(), 5);
}

TEST(AudioBuffer, DoublePrecisionChannelsHoldTwiceTheFloats)
{
    vkAudioInterface f = format(1, 8);
    f.setSinglePrecision(false);
    vkAudioBuffer b(f);
    ASSERT_EQ(b.allocate(), vkOk);
    for (int i = 0; i < 16; ++i)
        b.channel(0)[i] = 1.0f;
    b.clear();
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(b.channel(0)[i], 0.0f);
}
