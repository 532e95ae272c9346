#include "stages/vkHighpassSets.h"

#include <cmath>
#include <numbers>

namespace {
constexpr double kQ[vkHighpassSections] = {0.517638, 0.707107, 1.931852};
constexpr vkHighpassTapArray kPassThrough = {1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0};
} // namespace

const int vkHighpassCorners[vkHighpassSetCount] = {0, 80, 160, 320};

vkHighpassTapArray vkHighpassSet(int index, double rate)
{
    if (index <= 0 || index >= vkHighpassSetCount || !(2.0 * vkHighpassCorners[index] < rate))
        return kPassThrough;
    return vkDesignButterworthHighpass(vkHighpassCorners[index], rate);
}

vkHighpassTapArray vkDesignButterworthHighpass(double corner, double rate)
{
    const double k = std::tan(std::numbers::pi * corner / rate);
    vkHighpassTapArray taps{};
    double gain = 1.0;
    for (int s = 0; s < vkHighpassSections; ++s) {
        const double d = 1.0 + k / kQ[s] + k * k;
        gain /= d;
        double* t = taps.data() + 6 * s;
        t[0] = 1.0;
        t[1] = -2.0;
        t[2] = 1.0;
        t[3] = 1.0;
        t[4] = 2.0 * (k * k - 1.0) / d;
        t[5] = (1.0 - k / kQ[s] + k * k) / d;
    }
    for (int i = 0; i < 3; ++i)
        taps[i] *= gain;
    return taps;
}
