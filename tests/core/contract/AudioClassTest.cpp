#include "core/contract/vkAudioClass.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {
vkAudioInterface format(int channels, int frames = 16, float rate = 44100.0f)
{
    return vkAudioInterface::timeDomain(channels, rate, frames);
}

// A plain host's view of a block: owned channels filled with a ramp.
struct Block {
    explicit Block(int channels, int frames = 16, float value = 0.0f)
        : buffer(format(channels, frames))
    {
        buffer.allocate();
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < frames; ++i)
                buffer.channel(c)[i] = value + 100.0f * c + i;
    }
    vkAudioBuffer buffer;
};

// A derived object with the parameter table shape of a per-beam steering object.
class SteeredObject : public vkAudioClass {
public:
    SteeredObject() { setChannelParameterTable(kNames, kSizes, kTypes, 2); }
    int setChannelParameter(int channel, int id, const void* data, int count, int type) override
    {
        if (id < 0 || id >= channelParameterCount())
            return vkErrParameterId;
        int value = 0;
        const int result = copyParameter(data, id, &value, count, type, true);
        if (result == vkOk)
            values[channel & 1][id & 1] = value;
        return result;
    }
    int values[2][2] = {};

private:
    static constexpr vkParameterName kNames[2] = {"theta", "phi"};
    static constexpr int kSizes[2] = {1, 1};
    static constexpr int kTypes[2] = {vkTypeInt, vkTypeInt};
};

class FileLikeObject : public vkAudioClass {
public:
    FileLikeObject() { setObjectParameterTable(kNames, kSizes, kTypes, 1); }
    int copyName(const char* name, int count, char* to) const
    {
        return copyParameter(name, 0, to, count, vkTypeString, false);
    }

private:
    static constexpr vkParameterName kNames[1] = {"filename"};
    static constexpr int kSizes[1] = {33};
    static constexpr int kTypes[1] = {vkTypeString};
};
} // namespace

TEST(AudioClass, ProcessBeforeSetFormatIsRefused)
{
    vkAudioClass object;
    Block in(2), out(2);
    EXPECT_EQ(object.process(in.buffer.data(), out.buffer.data(), 16), vkErrNotConfigured);
}

TEST(AudioClass, BaseProcessCopiesTheCommonChannelsOnly)
{
    vkAudioClass narrowing;
    ASSERT_EQ(narrowing.setFormat(format(4), format(2)), vkOk);
    Block in4(4, 16, 1.0f), out2(2, 16, -5.0f);
    EXPECT_EQ(narrowing.process(in4.buffer, out2.buffer), vkOk);
    for (int c = 0; c < 2; ++c)
        EXPECT_EQ(std::memcmp(in4.buffer.channel(c), out2.buffer.channel(c), 16 * sizeof(float)), 0);

    vkAudioClass widening;
    ASSERT_EQ(widening.setFormat(format(2), format(4)), vkOk);
    Block in2(2, 16, 1.0f), out4(4, 16, -5.0f);
    EXPECT_EQ(widening.process(in2.buffer, out4.buffer), vkOk);
    EXPECT_EQ(out4.buffer.channel(1)[3], in2.buffer.channel(1)[3]);
    EXPECT_EQ(out4.buffer.channel(2)[0], -5.0f + 200.0f) << "channels above the common count stay as they were";
    EXPECT_EQ(out4.buffer.channel(3)[15], -5.0f + 315.0f);
}

TEST(AudioClass, SetFormatIsRefusedWhileStartedAndKeepsTheRecords)
{
    vkAudioClass object;
    ASSERT_EQ(object.setFormat(format(2), format(2)), vkOk);
    ASSERT_EQ(object.start(), vkOk);
    EXPECT_EQ(object.setFormat(format(3), format(3)), vkErrStarted);
    EXPECT_EQ(object.inFormat(), format(2));
    EXPECT_EQ(object.outFormat(), format(2));
    ASSERT_EQ(object.stop(), vkOk);
    EXPECT_EQ(object.setFormat(format(3), format(3)), vkOk);
}

TEST(AudioClass, BufferEntryPointsCheckFormatAndLength)
{
    vkAudioClass object;
    ASSERT_EQ(object.setFormat(format(2), format(2)), vkOk);
    Block in(2), out(2);
    EXPECT_EQ(object.process(in.buffer, out.buffer, 16), vkOk);
    EXPECT_EQ(object.process(in.buffer, out.buffer, 17), vkErrFormat);

    vkAudioBuffer otherRate(format(2, 16, 48000.0f));
    ASSERT_EQ(otherRate.allocate(), vkOk);
    EXPECT_EQ(object.process(otherRate, out.buffer, 16), vkErrFormat) << "same sizes, other rate";
    EXPECT_EQ(object.process(in.buffer, otherRate), vkErrFormat);
}

TEST(AudioClass, BaseProcessReportsLibraryStatusAbove100)
{
    vkAudioClass object;
    ASSERT_EQ(object.setFormat(format(1), format(1)), vkOk);
    Block in(1), out(1);
    // A zero-length block makes the copy answer "length below 1".
    EXPECT_EQ(object.process(in.buffer.data(), out.buffer.data(), 0), 100 + (-6));
}

TEST(AudioClass, BaseParameterSlotsSayTheObjectHasNone)
{
    vkAudioClass object;
    int value = 0;
    EXPECT_EQ(object.setObjectParameter(0, 0, &value, 1, vkTypeInt), vkErrNoObjectParams);
    EXPECT_EQ(object.getObjectParameter(0, 0, &value, 1, vkTypeInt), vkErrNoObjectParams);
    EXPECT_EQ(object.setChannelParameter(0, 0, &value, 1, vkTypeInt), vkErrNoChannelParams);
    EXPECT_EQ(object.getChannelParameter(0, 0, &value, 1, vkTypeInt), vkErrNoChannelParams);
    EXPECT_EQ(object.setChannelParameterTable(nullptr, nullptr, nullptr, -1), vkErrRange);
}

TEST(AudioClass, CopyParameterChecksCountAndTypeAgainstTheTable)
{
    SteeredObject object;
    const int pair[2] = {45, 46};
    EXPECT_EQ(object.setChannelParameter(1, 0, pair, 2, vkTypeInt), vkErrParameterShape);
    EXPECT_EQ(object.setChannelParameter(1, 0, pair, 1, vkTypeFloat), vkErrParameterShape);
    EXPECT_EQ(object.setChannelParameter(1, 2, pair, 1, vkTypeInt), vkErrParameterId);
    EXPECT_EQ(object.setChannelParameter(1, 1, pair, 1, vkTypeInt), vkOk);
    EXPECT_EQ(object.values[1][1], 45);
    EXPECT_EQ(object.values[1][0], 0) << "a refused value changes nothing";
}

TEST(AudioClass, StringParametersMayBeShorterThanTheTableButNotLonger)
{
    FileLikeObject object;
    char name[40];
    std::memset(name, 'a', sizeof name);
    char to[40];
    std::memset(to, 'x', sizeof to);
    EXPECT_EQ(object.copyName(name, 33, to), vkOk);
    EXPECT_EQ(to[32], 'a');
    EXPECT_EQ(to[33], '\0');
    EXPECT_EQ(object.copyName(name, 34, to), vkErrParameterShape);
}

TEST(AudioClass, ProcessDoesNotAllocate)
{
    vkAudioClass object;
    ASSERT_EQ(object.setFormat(format(4), format(4)), vkOk);
    Block in(4), out(4);
    AllocationCounter counter;
    for (int i = 0; i < 10; ++i)
        object.process(in.buffer, out.buffer);
    EXPECT_EQ(counter.count(), 0u);
}
