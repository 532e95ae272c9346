#include "ambisonics/ModeToAmbix.h"

#include <algorithm>
#include <cmath>
#include <numbers>

double ambixGainOfMode(int k, AmbiNorm norm)
{
    const int n = acnDegree(k);
    const int m = k - n * n - n;
    const double condonShortley = (m % 2 == 0) ? 1.0 : -1.0;
    const double realPart = m == 0 ? 1.0 : std::numbers::sqrt2;
    double gain = condonShortley * realPart * std::sqrt(4.0 * std::numbers::pi / (2 * n + 1)) / kModeGain;
    if (norm == AmbiNorm::kN3d) gain *= n3dFromSn3d(n);
    return gain;
}

ArrayAngles arrayAnglesFromAmbix(double azimuthDegrees, double elevationDegrees, const CRotation3& mounting)
{
    constexpr double kDegrees = 180.0 / std::numbers::pi;
    // In the array's frame the AmbiX axes are its own x, y, z: elevation = 90 - theta and
    // azimuth = phi.
    const AmbiVector d = mounting.transpose().apply(ambiVectorFromAngles(azimuthDegrees, elevationDegrees));
    const double horizontal = std::hypot(d.x, d.y);
    const double elevation = std::atan2(d.z, horizontal) * kDegrees;
    double azimuth = horizontal > 1e-12 ? std::atan2(d.y, d.x) * kDegrees : 0.0;
    if (azimuth < 0.0)
        azimuth += 360.0;
    return {std::clamp(90.0 - elevation, 0.0, 180.0), azimuth >= 360.0 ? 0.0 : azimuth};
}
