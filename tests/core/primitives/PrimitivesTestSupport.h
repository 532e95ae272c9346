#pragma once
// Random signals and block cuts shared by the filter tests.

#include "core/primitives/IppsKernels.h"
#include "hwy/targets.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// Two float results of the same sum of tapsLen products, computed in double in different
// orders: each double sum is within about tapsLen * 2^-53 * magnitude (the sum of the
// terms' sizes) of the exact one, and each is then rounded to float once (half an ulp).
inline double reorderTolerance(float a, float b, std::size_t tapsLen, double magnitude)
{
    return std::ldexp(std::max(std::fabs(a), std::fabs(b)), -23)
           + 2.0 * static_cast<double>(tapsLen) * std::ldexp(magnitude, -53);
}

// A filter as its unfolded kernel computes it over a whole stream in one call: x after
// history (tapsLen - 1 samples, oldest first), with the size of each output's terms.
struct PlainStream {
    std::vector<float> y;
    std::vector<double> magnitude;
};

inline PlainStream plainStream(const std::vector<float>& taps, const std::vector<float>& history,
    const std::vector<float>& x)
{
    const std::size_t n = x.size();
    std::vector<double> w(history.begin(), history.end());
    w.insert(w.end(), x.begin(), x.end());
    w.resize(history.size() + vk::kernels::roundUpFirOutputs(n), 0.0);
    const std::vector<double> coefs(taps.rbegin(), taps.rend());
    PlainStream plain{std::vector<float>(vk::kernels::roundUpFirOutputs(n)), std::vector<double>(n)};
    vk::kernels::firCorrelate(w.data(), coefs.data(), coefs.size(), plain.y.data(), n);
    plain.y.resize(n);
    for (std::size_t s = 0; s < n; ++s)
        for (std::size_t k = 0; k < coefs.size(); ++k)
            plain.magnitude[s] += std::fabs(coefs[k] * w[s + k]);
    return plain;
}

// Taps that read the same backwards, bit for bit.
inline std::vector<float> symmetricTaps(std::size_t length, unsigned seed)
{
    std::vector<float> taps = randomFloats(length, seed);
    std::copy(taps.begin(), taps.begin() + static_cast<std::ptrdiff_t>(length / 2), taps.rbegin());
    return taps;
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
