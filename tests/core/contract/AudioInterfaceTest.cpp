#include "core/contract/vkAudioInterface.h"

#include <gtest/gtest.h>

TEST(AudioInterface, FrequencyDomainFrameLengthIsHalfTheTransformPlusOne)
{
    vkAudioInterface f;
    f.setDomain(1);
    f.setTransformLength(1024);
    f.setTimeFormat(44100.0f, 77);
    EXPECT_EQ(f.frameLength(), 513);
    f.setDomain(0);
    EXPECT_EQ(f.frameLength(), 77);
}

TEST(AudioInterface, EqualityComparesOnlyTheFieldsOfItsDomain)
{
    vkAudioInterface a = vkAudioInterface::timeDomain(4, 44100.0f, 512);
    vkAudioInterface b = a;
    b.setTransformLength(2048);
    EXPECT_EQ(a, b) << "time domain ignores the transform length";

    a.setDomain(1);
    b.setDomain(1);
    a.setTransformLength(2048);
    a.setTimeFormat(44100.0f, 64);
    EXPECT_EQ(a, b) << "frequency domain ignores the block length";
    b.setTransformLength(1024);
    EXPECT_NE(a, b);
}

TEST(AudioInterface, RateChannelsAndPrecisionAllTakePart)
{
    const vkAudioInterface a = vkAudioInterface::timeDomain(2, 44100.0f, 512);
    vkAudioInterface b = a;
    b.setTimeFormat(48000.0f, 512);
    EXPECT_NE(a, b);
    b = a;
    b.setChannels(3);
    EXPECT_NE(a, b);
    b = a;
    b.setSinglePrecision(false);
    EXPECT_NE(a, b);
}
