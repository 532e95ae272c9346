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
