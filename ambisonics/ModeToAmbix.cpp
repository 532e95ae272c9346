#include "ambisonics/ModeToAmbix.h"

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
