#include "beamformer/tables/EbfMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

EbfMode ebfMode(int k)
{
    const int n = static_cast<int>(std::sqrt(static_cast<double>(k)));
    return {n, k - n * n - n};
}

namespace {

// Associated Legendre function P(n, m)(x) with the Condon-Shortley phase, 0 <= m <= n.
double legendre(int n, int m, double x)
{
    // P(m, m) = (-1)^m (2m - 1)!! (1 - x^2)^(m/2), then upwards in n.
    const double s = std::sqrt(std::max(0.0, 1.0 - x * x));
    double pmm = 1.0;
    for (int i = 1; i <= m; ++i)
        pmm *= -(2.0 * i - 1.0) * s;
    if (n == m)
        return pmm;
    double prev = pmm;
    double cur = x * (2.0 * m + 1.0) * pmm;
    for (int l = m + 2; l <= n; ++l) {
        const double next = ((2.0 * l - 1.0) * x * cur - (l + m - 1.0) * prev) / (l - m);
        prev = cur;
        cur = next;
    }
    return cur;
}

double factorial(int n)
{
    double f = 1.0;
    for (int i = 2; i <= n; ++i)
        f *= i;
    return f;
}

} // namespace

double ebfHarmonic(int k, double thetaDegrees, double phiDegrees)
{
    constexpr double kRadians = std::numbers::pi / 180.0;
    const EbfMode mode = ebfMode(k);
    const int am = std::abs(mode.m);
    const double norm =
        std::sqrt((2.0 * mode.n + 1.0) / (4.0 * std::numbers::pi) * factorial(mode.n - am) / factorial(mode.n + am));
    const double p = legendre(mode.n, am, std::cos(thetaDegrees * kRadians));
    const double phi = am * phiDegrees * kRadians;
    return norm * p * (mode.m >= 0 ? std::cos(phi) : std::sin(phi));
}

EbfMatrix makeEbfMatrix()
{
    EbfMatrix w{};
    for (int k = 0; k < kEbfModeCount; ++k) {
        std::array<double, kCapsuleCount> v{};
        double energy = 0.0;
        for (int s = 0; s < kCapsuleCount; ++s) {
            v[s] = ebfHarmonic(k, kCapsuleDirections[s].theta, kCapsuleDirections[s].phi);
            energy += v[s] * v[s];
        }
        const double c = (ebfMode(k).m == 0 ? 1.0 : 0.5) / (4.0 * std::numbers::pi);
        for (int s = 0; s < kCapsuleCount; ++s)
            w[k][s] = static_cast<float>(c * v[s] / energy);
    }
    return w;
}

const std::array<const float*, kEbfModeCount>& ebfMatrixRows()
{
    static const EbfMatrix matrix = makeEbfMatrix();
    static const std::array<const float*, kEbfModeCount> rows = [] {
        std::array<const float*, kEbfModeCount> r{};
        for (int k = 0; k < kEbfModeCount; ++k)
            r[k] = matrix[k].data();
        return r;
    }();
    return rows;
}
