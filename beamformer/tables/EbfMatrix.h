#pragma once
// The decomposition matrix W: 16 rows (modes k = n*n + n + m, orders n = 0..3) by 32
// columns (capsules), which projects the capsule signals on the real spherical
// harmonics. Row k is c * v(k, s) / sum_t v(k, t)^2, with v the real harmonic of mode k
// at capsule s and c = 1/(4 pi) for m = 0, 1/(8 pi) otherwise. On a perfectly even grid
// this is v / 32; the division keeps each row's own gain right on the real grid.

#include "array/CapsuleGeometry.h"

#include <array>

inline constexpr int kEbfModeCount = 16;
inline constexpr int kEbfMaxOrder = 3;

// Order n and degree m of mode channel k.
struct EbfMode {
    int n;
    int m;
};
EbfMode ebfMode(int k);

// Real harmonic v of mode k at a direction in degrees: Y(n, 0) for m = 0, the real part
// of Y(n, m) for m > 0, the imaginary part of Y(n, |m|) for m < 0; the associated
// Legendre functions carry the Condon-Shortley phase.
double ebfHarmonic(int k, double thetaDegrees, double phiDegrees);

// W, computed in double precision from the capsule table and rounded to float once.
using EbfMatrix = std::array<std::array<float, kCapsuleCount>, kEbfModeCount>;
EbfMatrix makeEbfMatrix();

// Row pointers of one W built at first use, in the form CEbf::setModeWeights takes.
const std::array<const float*, kEbfModeCount>& ebfMatrixRows();
