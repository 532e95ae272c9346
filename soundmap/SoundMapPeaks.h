#pragma once
// Local maxima of a map on the sphere. A point's neighbours are the eight around it, the
// azimuth wrapping across the 0/360 seam; a pole is one point whose neighbours are the
// whole next row, and the pole is the neighbour of every point of that row.

#include "soundmap/SoundMapGrid.h"

#include <vector>

struct SoundMapPeak {
    double theta = 0.0;
    double phi = 0.0;
    float power = 0.0f; // the map's value there
};

// The strongest `maxPeaks` local maxima no more than `rangeDb` below the largest value,
// strongest first. Equal neighbours count once (the first in row order wins). A map
// whose largest value is not above `floor` has no peaks.
std::vector<SoundMapPeak> findSoundMapPeaks(const SoundMapGrid& grid, const float* power, int maxPeaks,
                                            float rangeDb, float floor);
