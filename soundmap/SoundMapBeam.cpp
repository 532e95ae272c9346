#include "soundmap/SoundMapBeam.h"

#include <algorithm>
#include <cmath>
#include <numbers>

SoundMapBeam::SoundMapBeam(int order)
    : mOrder(std::max(0, order))
{
}

SoundMapBeam SoundMapBeam::maximumDirectivity(int order)
{
    SoundMapBeam beam(order);
    const double top = beam.amplitude(1.0);
    double previous = top, lobeTop = top;
    for (int i = 1; i <= 18000; ++i) {
        const double degrees = i * 0.01;
        const double value = beam.amplitude(std::cos(degrees * std::numbers::pi / 180.0));
        if ((value > 0.0) != (previous > 0.0) || i == 18000) {
            lobeTop = std::max(lobeTop, std::abs(value));
            beam.mLobes.push_back({degrees, float(20.0 * std::log10(std::max(lobeTop, 1e-12) / top))});
            lobeTop = 0.0;
        }
        lobeTop = std::max(lobeTop, std::abs(value));
        previous = value;
    }
    return beam;
}

// sum_n (2n + 1) P_n(x) by the Legendre recurrence.
double SoundMapBeam::amplitude(double x) const
{
    double previous = 1.0, current = x, sum = 1.0 + (mOrder >= 1 ? 3.0 * x : 0.0);
    for (int n = 2; n <= mOrder; ++n) {
        const double next = ((2.0 * n - 1.0) * x * current - (n - 1.0) * previous) / n;
        previous = current;
        current = next;
        sum += (2.0 * n + 1.0) * current;
    }
    return sum;
}

double SoundMapBeam::power(double cosAngle) const
{
    const double ratio = amplitude(std::clamp(cosAngle, -1.0, 1.0)) / double((mOrder + 1) * (mOrder + 1));
    return ratio * ratio;
}

float SoundMapBeam::levelDb(double degrees) const
{
    for (const Lobe& lobe : mLobes)
        if (degrees < lobe.endDegrees)
            return lobe.topDb;
    return mLobes.back().topDb;
}
