// Peaks on hand-made maps: the seam, the poles, plateaus, the range and the floor.
#include "soundmap/SoundMapPeaks.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Map {
    explicit Map(int step = 5, float background = 0.0f)
        : grid(step)
        , values(size_t(grid.points()), background)
    {
    }
    // Sets a point (a pole: its whole row).
    void set(int row, int column, float v)
    {
        if (row == 0 || row == grid.rows() - 1)
            for (int c = 0; c < grid.columns(); ++c)
                values[row * grid.columns() + c] = v;
        else
            values[row * grid.columns() + column] = v;
    }
    std::vector<SoundMapPeak> peaks(int n = 10, float range = 40.0f, float floor = 0.0f) const
    {
        return findSoundMapPeaks(grid, values.data(), n, range, floor);
    }
    SoundMapGrid grid;
    std::vector<float> values;
};

TEST(SoundMapPeaks, NeighboursWrapAcrossTheSeam)
{
    Map m;
    const int last = m.grid.columns() - 1;
    m.set(18, 0, 5.0f);
    m.set(18, last, 6.0f); // the higher neighbour of column 0 is across the seam
    m.set(10, last, 3.0f);
    const auto p = m.peaks();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_DOUBLE_EQ(p[0].theta, 90.0);
    EXPECT_DOUBLE_EQ(p[0].phi, 355.0);
    EXPECT_DOUBLE_EQ(p[1].theta, 50.0);
    EXPECT_DOUBLE_EQ(p[1].phi, 355.0);
}

TEST(SoundMapPeaks, PolesAreOnePointWithTheWholeNextRowAround)
{
    Map m;
    m.set(0, 0, 4.0f);
    m.set(m.grid.rows() - 1, 0, 2.0f);
    m.set(m.grid.rows() - 2, 17, 3.0f); // beats the south pole, which is then no peak
    const auto p = m.peaks();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_DOUBLE_EQ(p[0].theta, 0.0);
    EXPECT_DOUBLE_EQ(p[1].theta, 175.0);
    EXPECT_DOUBLE_EQ(p[1].phi, 85.0);

    // A point next to a stronger pole is no peak.
    Map n;
    n.set(0, 0, 4.0f);
    n.set(1, 7, 3.0f);
    ASSERT_EQ(n.peaks().size(), 1u);
}

TEST(SoundMapPeaks, PlateauCountsOnceAndRangeFloorAndCountApply)
{
    Map m;
    m.set(9, 4, 10.0f);
    m.set(9, 5, 10.0f);
    m.set(30, 40, 0.5f * 10.0f); // 3 dB down
    m.set(20, 20, 0.05f * 10.0f); // 13 dB down
    m.set(25, 60, 1.5f);          // 8.2 dB down
    EXPECT_EQ(m.peaks(10, 40.0f).size(), 4u);
    EXPECT_EQ(m.peaks(10, 10.0f).size(), 3u);
    EXPECT_EQ(m.peaks(10, 5.0f).size(), 2u);
    EXPECT_EQ(m.peaks(1, 40.0f).size(), 1u);
    EXPECT_DOUBLE_EQ(m.peaks()[0].phi, 20.0); // the first of the plateau
    EXPECT_TRUE(m.peaks(10, 40.0f, 10.0f).empty());

    Map flat(5, 1.0f);
    EXPECT_EQ(flat.peaks().size(), 1u); // an even map has its one maximum at the north pole
    Map silent;
    EXPECT_TRUE(silent.peaks().empty()); // nothing above the floor
}

} // namespace
