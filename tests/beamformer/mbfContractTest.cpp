// The modal beamformer's configuration: which formats and filter sets it takes, what
// it refuses and what stays in force after a refusal.

#include "beamformer/CMbf.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
constexpr int kBlock = 32;

vkAudioInterface format(int channels, int block = kBlock, float rate = 44100.0f)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

// Runs one block with mode 0 at 1 and gives the last output sample.
float lastSample(CMbf& mbf, int inputs = 16)
{
    std::vector<float> ones(kBlock, 1.0f), out(kBlock, -5.0f);
    std::vector<float*> in(inputs, ones.data());
    float* o = out.data();
    EXPECT_EQ(mbf.process(in.data(), &o, kBlock), 0);
    return out[kBlock - 1];
}

int loadGain(CMbf& mbf, float gain)
{
    const int lengths[4] = {1, 0, 0, 0};
    const float* taps[4] = {&gain, nullptr, nullptr, nullptr};
    return mbf.setOrderFilters(lengths, taps);
}
} // namespace

TEST(MbfContract, OnlyTimeDomainModeLayoutsToOneChannelAreTaken)
{
    CMbf mbf;
    EXPECT_EQ(mbf.setFormat(format(16), format(2)), vkErrFormat);
    EXPECT_EQ(mbf.setFormat(format(15), format(1)), vkErrFormat);
    EXPECT_EQ(mbf.setFormat(format(16), format(1, kBlock, 48000.0f)), vkErrFormat);
    std::vector<float> x(kBlock), y(kBlock);
    std::vector<float*> in(16, x.data());
    float* o = y.data();
    EXPECT_EQ(mbf.process(in.data(), &o, kBlock), vkErrNotConfigured);
    for (const int order : {0, 1, 2, 3}) {
        ASSERT_EQ(mbf.setFormat(format((order + 1) * (order + 1)), format(1)), 0);
        EXPECT_EQ(mbf.maxOrder(), order);
    }
}

TEST(MbfContract, AModeInputBelowOrderThreeCarriesNoBeam)
{
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(format(4), format(1)), 0);
    EXPECT_EQ(loadGain(mbf, 1.0f), CMbf::kErrOrderTooLow);
    EXPECT_EQ(lastSample(mbf, 4), 0.0f);  // silence, written
}

TEST(MbfContract, RefusedLoadsLeaveTheSetInForce)
{
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(format(16), format(1)), 0);
    EXPECT_EQ(lastSample(mbf), 0.0f);  // no set loaded: silence
    EXPECT_EQ(mbf.setFilterDelay(-0.5f), CMbf::kErrNegativeDelay);
    ASSERT_EQ(mbf.setFilterDelay(1.0f), 0);
    ASSERT_EQ(loadGain(mbf, 3.0f), 0);
    const std::vector<float> four(4, 0.1f);
    const int tooLong[4] = {3, 4, 0, 0};
    const float* taps[4] = {four.data(), four.data(), nullptr, nullptr};
    EXPECT_EQ(mbf.setOrderFilters(tooLong, taps), CMbf::kErrFilterTooLong);
    const int missing[4] = {3, 0, 2, 0};
    EXPECT_EQ(mbf.setOrderFilters(missing, taps), vkErrRange);
    const int negative[4] = {3, -1, 0, 0};
    EXPECT_EQ(mbf.setOrderFilters(negative, taps), vkErrRange);
    EXPECT_TRUE(mbf.hasPendingSet());  // the accepted set, waiting for the next block
    ASSERT_EQ(mbf.start(), 0);
    EXPECT_FLOAT_EQ(lastSample(mbf), 3.0f);
    EXPECT_FLOAT_EQ(mbf.filterDelay(), 1.0f);
}

TEST(MbfContract, StartedObjectsRefuseReconfiguration)
{
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(format(16), format(1)), 0);
    ASSERT_EQ(loadGain(mbf, 1.0f), 0);
    ASSERT_EQ(mbf.start(), 0);
    EXPECT_EQ(mbf.setFormat(format(16), format(1)), vkErrStarted);
    EXPECT_EQ(mbf.setFilterDelay(4.0f), vkErrStarted);
    std::vector<float> x(kBlock), y(kBlock);
    std::vector<float*> in(16, x.data());
    float* o = y.data();
    EXPECT_EQ(mbf.process(in.data(), &o, kBlock + 1), vkErrFormat);
    // Loads and steering still work while started.
    EXPECT_EQ(loadGain(mbf, 2.0f), 0);
    mbf.setTheta(10.0f);
    ASSERT_EQ(mbf.stop(), 0);
    // A new format drops the sets; the direction and the delay stay.
    ASSERT_EQ(mbf.setFilterDelay(4.0f), 0);
    ASSERT_EQ(mbf.setFormat(format(16), format(1)), 0);
    EXPECT_FALSE(mbf.hasPendingSet());
    EXPECT_FLOAT_EQ(mbf.filterDelay(), 4.0f);
    EXPECT_EQ(lastSample(mbf), 0.0f);
    ASSERT_EQ(mbf.start(), 0);
    lastSample(mbf);
    EXPECT_EQ(mbf.thetaTrack()[0], 10);
}
