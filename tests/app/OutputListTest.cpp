// The driver outputs of the beams and the monitor: the box's groups in their order, or a
// count from an offset, and monitor outputs that take over beam outputs or are added.

#include "session/CAudioDevice.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {
std::vector<int> range(int first, int count)
{
    std::vector<int> v(static_cast<std::size_t>(count));
    std::iota(v.begin(), v.end(), first);
    return v;
}

std::vector<int> concat(std::initializer_list<std::vector<int>> parts)
{
    std::vector<int> all;
    for (const auto& p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

CZircSettings noMonitor()
{
    CZircSettings s;
    s.mNumMonitorChannels = 0;
    return s;
}
} // namespace

TEST(OutputList, BoxGroupsFollowTheFirstGroup)
{
    const std::vector<int> phones = range(0, 2), adat = range(8, 8), lo = range(16, 8);
    struct Case {
        int active, first, mask;
        std::vector<int> expected;
        int firstAfter;
    };
    const Case cases[] = {
        {7, 4, 7, concat({lo, adat, phones}), 4},
        {7, 1, 7, concat({phones, adat, lo}), 1},
        {7, 2, 7, concat({adat, lo, phones}), 2},
        {2, 2, 3, adat, 2},
        {3, 1, 3, concat({phones, adat}), 1},
        {6, 4, 3, adat, 2},     // a group the box lacks cannot come first
        {0, 2, 3, adat, 2},     // no active group: the first one alone, once
        {2, 5, 7, adat, 2},     // not one group
    };
    for (const Case& c : cases) {
        CZircSettings s = noMonitor();
        s.mZibActiveGroups = c.active;
        s.mZibFirstGroup = c.first;
        const auto list = CAudioDevice::buildOutputList(s, true, c.mask, 18);
        EXPECT_EQ(list.channels, c.expected) << c.active << "/" << c.first;
        EXPECT_EQ(s.mZibFirstGroup, c.firstAfter);
        EXPECT_EQ(s.mNumOutputChannels, static_cast<int>(c.expected.size()));
    }
}

TEST(OutputList, MonitorTakesOverBeamOutputsOrIsAdded)
{
    struct Case {
        int offset;
        std::vector<int> expected;
        int first, second, offsetAfter;
    };
    const Case cases[] = {
        {6, range(0, 8), 6, 7, 6},
        {10, concat({range(0, 8), {10, 11}}), 8, 9, 10},
        {17, range(0, 8), 0, 1, 0}, // does not fit on 18 outputs
        {-3, range(0, 8), 0, 1, 0},
    };
    for (const Case& c : cases) {
        CZircSettings s;
        s.mNumOutputChannels = 8;
        s.mOutputChannelOffset = 0;
        s.mNumMonitorChannels = 2;
        s.mMonitorChannelOffset = c.offset;
        const auto list = CAudioDevice::buildOutputList(s, false, 0, 18);
        EXPECT_EQ(list.channels, c.expected) << c.offset;
        EXPECT_EQ(list.numBeamOutputs, 8);
        ASSERT_EQ(list.numMonitorOutputs, 2);
        EXPECT_EQ(list.monitorOutputs[0], c.first);
        EXPECT_EQ(list.monitorOutputs[1], c.second);
        EXPECT_EQ(s.mMonitorChannelOffset, c.offsetAfter);
    }
}

TEST(OutputList, NumberedOutputsKeepToTheDriver)
{
    struct Case {
        int count, offset, available;
        std::vector<int> expected;
    };
    const Case cases[] = {
        {4, 2, 18, range(2, 4)},
        {8, 12, 18, range(12, 6)},
        {8, 99, 18, {}},
        {-3, 0, 18, {}},
        {1 << 30, 0, 8, range(0, 8)},
        {4, -2, 18, {0, 1}},
    };
    for (const Case& c : cases) {
        CZircSettings s = noMonitor();
        s.mNumOutputChannels = c.count;
        s.mOutputChannelOffset = c.offset;
        const auto list = CAudioDevice::buildOutputList(s, false, 0, c.available);
        EXPECT_EQ(list.channels, c.expected) << c.count << "@" << c.offset;
        EXPECT_EQ(s.mNumOutputChannels, static_cast<int>(c.expected.size()));
    }
}

TEST(OutputList, MonitorCountIsLimitedToTwo)
{
    CZircSettings s;
    s.mNumOutputChannels = 2;
    s.mNumMonitorChannels = 5;
    s.mMonitorChannelOffset = 4;
    const auto list = CAudioDevice::buildOutputList(s, false, 0, 18);
    EXPECT_EQ(list.numMonitorOutputs, 2);
    EXPECT_EQ(list.channels, (std::vector<int>{0, 1, 4, 5}));
}
