#pragma once
// Peaks of a map on the sphere. A point's neighbours are the eight around it, the azimuth
// wrapping across the 0/360 seam; a pole is one point whose neighbours are the whole next
// row, and the pole is the neighbour of every point of that row.
//
// A local maximum is placed between the grid points by a parabola through the logarithm
// of its neighbours' values, in both angles (at a pole, a quadratic surface in the tangent
// plane through the ring around it).
//
// A steered-power map is the sum of its sources' beam patterns. Given that beam, a peak
// inside the main lobe of a stronger one, or no louder than the side lobes that the
// stronger ones throw on it, is their lobe and is dropped; and the slopes of the other
// sources' lobes, which pull a peak aside, are taken off the map before it is refined.

#include "soundmap/SoundMapBeam.h"
#include "soundmap/SoundMapGrid.h"

#include <functional>
#include <vector>

struct SoundMapPeak {
    double theta = 0.0; // degrees, refined below the grid step
    double phi = 0.0;   // degrees, 0 <= phi < 360
    float power = 0.0f; // the map's value there (the parabola's top)
};

// The strongest `maxPeaks` local maxima no more than `rangeDb` below the largest value,
// strongest first, each refined. Equal neighbours count once (the first in row order
// wins). A map whose largest value is not above `floor` has no peaks, and no peak is at or
// below it. With the map's `beam`: a peak inside the main lobe of a stronger kept peak is
// dropped, and so is one no louder than the sum of the lobes that the stronger kept peaks
// throw on it, each at its lobe's top, raised by `marginDb`; each kept peak is then
// refined on the map less the beams of the others, their powers estimated alike.
std::vector<SoundMapPeak> findSoundMapPeaks(const SoundMapGrid& grid, const float* power, int maxPeaks,
                                            float rangeDb, float floor, const SoundMapBeam* beam = nullptr,
                                            float marginDb = 0.0f);

// Places a peak of a map that can be evaluated anywhere (`value` at theta, phi in degrees,
// positive) by parabolas through the logarithm of points `stepDegrees` / 2 either side
// along two tangent directions, halving the distance down to a hundredth of a degree. The
// peak's power becomes the value there.
SoundMapPeak polishSoundMapPeak(const SoundMapPeak& peak, double stepDegrees,
                                const std::function<double(double, double)>& value);
