#pragma once
// Random signals and block cuts shared by the filter tests.

#include "hwy/targets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace vk::test {

inline std::vector<float> randomFloats(std::size_t n, unsigned seed, float amplitude = 1.0f)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-amplitude, amplitude);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(gen);
    return v;
}

// Block lengths that add up to total: 1, a prime, the largest block, then random ones.
inline std::vector<int> randomCuts(int total, int largest, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> dist(1, largest);
    std::vector<int> cuts;
    const int fixed[] = {1, 257, largest};
    for (int done = 0, i = 0; done < total; ++i) {
        const int want = i < 3 ? fixed[i] : dist(gen);
        const int n = std::min(want, total - done);
        cuts.push_back(n);
        done += n;
    }
    return cuts;
}

// A float result of a sum computed in double against the exact sum: one rounding to
// float (half an ulp of the result) and the double sums' own error, far below that
// unless the terms cancel, hence the small absolute part scaled by the terms' size.
inline double sumTolerance(double reference, double sumOfMagnitudes)
{
    return std::ldexp(std::fabs(reference), -23) + 1e-13 * sumOfMagnitudes;
}

// Runs check once with each instruction set that both this processor and the build
// have, so the code paths this machine would not pick are tested as well.
template <typename Check>
void forEachInstructionSet(Check check)
{
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        check();
    }
    hwy::SetSupportedTargetsForTest(0);
}

} // namespace vk::test
