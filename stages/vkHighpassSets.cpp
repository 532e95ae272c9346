#include "stages/vkHighpassSets.h"

#include <cmath>
#include <numbers>

namespace {
constexpr vkHighpassTapArray setFromTable(double b0, double a11, double a12, double a21, double a22, double a31,
                                          double a32)
{
    return {b0, -2.0 * b0, b0, 1.0, a11, a12, 1.0, -2.0, 1.0, 1.0, a21, a22, 1.0, -2.0, 1.0, 1.0, a31, a32};
}

constexpr double kQ[vkHighpassSections] = {0.517638, 0.707107, 1.931852};
} // namespace

const vkHighpassTapArray vkHighpassSets[vkHighpassSetCount] = {
    {1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0},
    setFromTable(0.97822111845, -1.978092432022, 0.978220880032, -1.983880996704, 0.984009921551,
                 -1.993987917900, 0.994117379189),
    setFromTable(0.956915736198, -1.956405282021, 0.956913709641, -1.967764139175, 0.968275547028,
                 -1.987753510475, 0.988270103931),
    setFromTable(0.915681064129, -1.913675069809, 0.915665686131, -1.935544133186, 0.937557458878,
                 -1.974628806114, 0.976682901382),
};

const int vkHighpassCorners[vkHighpassSetCount] = {0, 80, 160, 320};

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
