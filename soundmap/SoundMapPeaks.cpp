#include "soundmap/SoundMapPeaks.h"

#include <algorithm>
#include <cmath>

namespace {

struct Point {
    int row;
    int column;
};

class PeakTest {
public:
    PeakTest(const SoundMapGrid& grid, const float* power)
        : mPower(power)
        , mRows(grid.rows())
        , mColumns(grid.columns())
    {
    }

    // A pole is one point: column 0 stands for the whole row.
    int index(Point p) const
    {
        const bool pole = p.row == 0 || p.row == mRows - 1;
        return p.row * mColumns + (pole ? 0 : p.column);
    }
    float value(Point p) const { return mPower[index(p)]; }

    bool isPeak(Point p) const
    {
        if (p.row == 0 || p.row == mRows - 1) {
            const int next = p.row == 0 ? 1 : mRows - 2;
            for (int c = 0; c < mColumns; ++c)
                if (!beats(p, {next, c}))
                    return false;
            return true;
        }
        for (int dr = -1; dr <= 1; ++dr)
            for (int dc = -1; dc <= 1; ++dc)
                if ((dr || dc) && !beats(p, {p.row + dr, (p.column + dc + mColumns) % mColumns}))
                    return false;
        return true;
    }

private:
    // Ties go to the point that comes first in row order.
    bool beats(Point p, Point other) const
    {
        const float v = value(p), o = value(other);
        return index(other) > index(p) ? v >= o : v > o;
    }

    const float* mPower;
    int mRows;
    int mColumns;
};

} // namespace

std::vector<SoundMapPeak> findSoundMapPeaks(const SoundMapGrid& grid, const float* power, int maxPeaks,
                                            float rangeDb, float floor)
{
    std::vector<SoundMapPeak> peaks;
    if (maxPeaks <= 0)
        return peaks;
    const float largest = *std::max_element(power, power + grid.points());
    if (!(largest > floor))
        return peaks;
    const float lowest = largest * std::pow(10.0f, -rangeDb / 10.0f);
    const PeakTest test(grid, power);
    for (int r = 0; r < grid.rows(); ++r) {
        const bool pole = r == 0 || r == grid.rows() - 1;
        for (int c = 0; c < (pole ? 1 : grid.columns()); ++c) {
            const float v = test.value({r, c});
            if (v >= lowest && v > floor && test.isPeak({r, c}))
                peaks.push_back({grid.theta(r), pole ? 0.0 : grid.phi(c), v});
        }
    }
    std::stable_sort(peaks.begin(), peaks.end(), [](const SoundMapPeak& a, const SoundMapPeak& b) {
        return a.power > b.power;
    });
    if (int(peaks.size()) > maxPeaks)
        peaks.resize(maxPeaks);
    return peaks;
}
