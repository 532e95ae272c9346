#include "soundmap/SoundMapFrame.h"

#include "array/CapsuleGeometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>

std::vector<float> SoundMapFrame::azimuthProfile() const
{
    if (empty())
        return {};
    std::vector<float> profile(size_t(grid.columns()), -rangeDb);
    for (int r = 0; r < grid.rows(); ++r)
        for (int c = 0; c < grid.columns(); ++c)
            profile[c] = std::max(profile[c], db[size_t(r) * grid.columns() + c]);
    return profile;
}

std::vector<float> SoundMapFrame::elevationProfile(double phiDegrees) const
{
    if (empty())
        return {};
    std::vector<float> profile(size_t(grid.rows()));
    for (int r = 0; r < grid.rows(); ++r)
        profile[r] = grid.interpolate(db.data(), grid.theta(r), phiDegrees);
    return profile;
}

int SoundMapFrame::nearestPeak(double thetaDegrees, double phiDegrees, double toleranceDegrees) const
{
    const UnitVector at = unitVectorFromAngles(thetaDegrees, phiDegrees);
    int best = -1;
    double bestAngle = toleranceDegrees;
    for (size_t i = 0; i < peaks.size(); ++i) {
        const UnitVector p = unitVectorFromAngles(peaks[i].theta, peaks[i].phi);
        const double c = std::clamp(at.x * p.x + at.y * p.y + at.z * p.z, -1.0, 1.0);
        const double angle = std::acos(c) * 180.0 / std::numbers::pi;
        if (angle <= bestAngle) {
            bestAngle = angle;
            best = int(i);
        }
    }
    return best;
}
