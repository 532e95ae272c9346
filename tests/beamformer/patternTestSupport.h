#pragma once
// Independent evaluation of the pattern tables for tests: FIR amplitudes by direct
// summation in double precision, Legendre polynomials, plateaus and blend weights.

#include "beamformer/vkPattern.h"

#include <array>
#include <cmath>
#include <vector>

namespace patterntest {

constexpr double kRate = 44100.0;
constexpr double kPi = 3.14159265358979323846;

// Zero-phase amplitude of a symmetric FIR at f Hz (signed), taps about their centre.
inline double amplitude(const float* taps, int length, double f)
{
    const double centre = 0.5 * (length - 1);
    double sum = 0.0;
    for (int i = 0; i < length; ++i)
        sum += taps[i] * std::cos(2.0 * kPi * f / kRate * (i - centre));
    return sum;
}

inline double orderAmplitude(const vkPattern& p, int param, int order, double f)
{
    return amplitude(p.modalRow(param, order), p.mModalFirLength[param * p.mNumOrders + order], f);
}

inline double legendre(int n, double x)
{
    switch (n) {
    case 0: return 1.0;
    case 1: return x;
    case 2: return 0.5 * (3.0 * x * x - 1.0);
    default: return 0.5 * (5.0 * x * x * x - 3.0 * x);
    }
}

// Plateau of an order filter for Legendre coefficient a: a * sqrt(4 pi / (2n + 1)).
inline double plateau(double a, int n)
{
    return a * std::sqrt(4.0 * kPi / (2 * n + 1));
}

using Shape = std::array<double, 4>;

// Beam response sum a_n P_n(cos gamma) of a shape.
inline double idealBeam(const Shape& a, double gammaDegrees)
{
    const double x = std::cos(gammaDegrees * kPi / 180.0);
    double sum = 0.0;
    for (int n = 0; n < 4; ++n)
        sum += a[n] * legendre(n, x);
    return sum;
}

// First frequency (Hz, 1 Hz resolution, then bisection) at which |row| reaches half of
// |target|; 0 if it never does below 8 kHz.
inline double halfPlateauFrequency(const vkPattern& p, int param, int order, double target)
{
    const double half = 0.5 * std::abs(target);
    double previous = 0.0;
    for (double f = 1.0; f < 8000.0; f += 1.0) {
        if (std::abs(orderAmplitude(p, param, order, f)) >= half) {
            double lo = previous, hi = f;
            for (int i = 0; i < 30; ++i) {
                const double mid = 0.5 * (lo + hi);
                (std::abs(orderAmplitude(p, param, order, mid)) >= half ? hi : lo) = mid;
            }
            return 0.5 * (lo + hi);
        }
        previous = f;
    }
    return 0.0;
}

// Weights w1, w2, w3 that make the rows of orders 1 to 3 at f the blend of the three
// family shapes' plateaus (orders 1..3 give three equations in three unknowns).
inline std::array<double, 3> blendWeights(const vkPattern& p, int param, double f,
                                          const std::array<Shape, 3>& family)
{
    double m[3][4];
    for (int n = 1; n <= 3; ++n) {
        for (int j = 0; j < 3; ++j)
            m[n - 1][j] = plateau(family[j][n], n);
        m[n - 1][3] = orderAmplitude(p, param, n, f);
    }
    // Gaussian elimination with partial pivoting.
    for (int c = 0; c < 3; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 3; ++r)
            if (std::abs(m[r][c]) > std::abs(m[pivot][c]))
                pivot = r;
        for (int k = 0; k < 4; ++k)
            std::swap(m[c][k], m[pivot][k]);
        for (int r = 0; r < 3; ++r) {
            if (r == c)
                continue;
            const double factor = m[r][c] / m[c][c];
            for (int k = 0; k < 4; ++k)
                m[r][k] -= factor * m[c][k];
        }
    }
    return {m[0][3] / m[0][0], m[1][3] / m[1][1], m[2][3] / m[2][2]};
}

} // namespace patterntest
