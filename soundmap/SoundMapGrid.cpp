#include "soundmap/SoundMapGrid.h"

#include <algorithm>
#include <cmath>

bool SoundMapGrid::validStep(int degrees)
{
    return degrees >= kMinStep && degrees <= kMaxStep && 180 % degrees == 0;
}

SoundMapGrid::SoundMapGrid(int stepDegrees)
    : mStep(validStep(stepDegrees) ? stepDegrees : kMaxStep)
{
}

int SoundMapGrid::rowOf(double thetaDegrees) const
{
    return std::clamp(int(std::lround(thetaDegrees / mStep)), 0, rows() - 1);
}

int SoundMapGrid::columnOf(double phiDegrees) const
{
    const double wrapped = std::fmod(std::fmod(phiDegrees, 360.0) + 360.0, 360.0);
    return int(std::lround(wrapped / mStep)) % columns();
}

float SoundMapGrid::interpolate(const float* values, double thetaDegrees, double phiDegrees) const
{
    const double r = std::clamp(thetaDegrees / mStep, 0.0, double(rows() - 1));
    const double c = std::fmod(std::fmod(phiDegrees, 360.0) + 360.0, 360.0) / mStep;
    const int r0 = std::min(int(r), rows() - 2);
    const int c0 = int(c) % columns();
    const int c1 = (c0 + 1) % columns();
    const double fr = r - r0, fc = c - std::floor(c);
    const auto at = [&](int row, int column) { return double(values[row * columns() + column]); };
    const double top = at(r0, c0) + fc * (at(r0, c1) - at(r0, c0));
    const double bottom = at(r0 + 1, c0) + fc * (at(r0 + 1, c1) - at(r0 + 1, c0));
    return float(top + fr * (bottom - top));
}
