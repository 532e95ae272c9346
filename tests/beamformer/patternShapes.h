#pragma once
// Legendre coefficients a0..a3 of every pattern, derived from each shape's definition
// where it has one (projection of the beam function on the Legendre polynomials).

#include "beamformer/CZircFactory.h"
#include "tests/beamformer/patternTestSupport.h"

#include <cmath>
#include <functional>

namespace patterntest {

// a_n = (2n + 1) / 2 * integral of g(x) P_n(x) over [-1, 1], by Simpson's rule.
inline Shape project(const std::function<double(double)>& g)
{
    constexpr int kIntervals = 2000;
    Shape a{};
    for (int n = 0; n < 4; ++n) {
        double sum = 0.0;
        for (int i = 0; i <= kIntervals; ++i) {
            const double x = -1.0 + 2.0 * i / kIntervals;
            const double w = (i == 0 || i == kIntervals) ? 1.0 : (i % 2 ? 4.0 : 2.0);
            sum += w * g(x) * legendre(n, x);
        }
        a[n] = (2 * n + 1) / 2.0 * sum * (2.0 / kIntervals) / 3.0;
        if (std::abs(a[n]) < 1e-9)
            a[n] = 0.0; // a polynomial of lower degree: exactly zero, not rounding noise
    }
    return a;
}

inline Shape cardioid(int order)
{
    return project([order](double x) { return std::pow(0.5 * (1.0 + x), order); });
}

inline Shape hypercardioid(int order)
{
    Shape a{};
    for (int n = 0; n <= order; ++n)
        a[n] = (2.0 * n + 1.0) / ((order + 1.0) * (order + 1.0));
    return a;
}

// Pattern index -> shape.
inline Shape shapeOf(int index)
{
    switch (index) {
    case kPatternOmni: return {1, 0, 0, 0};
    case kPatternSuper3: return {0.1753, 0.3822, 0.3177, 0.1247};
    case kPatternSuper2: return {0.2342, 0.4672, 0.2984, 0};
    case kPatternSuper1: return {0.3640, 0.6359, 0, 0};
    case kPatternHyper3: return hypercardioid(3);
    case kPatternHyper2: return hypercardioid(2);
    case kPatternHyper1: return hypercardioid(1);
    case kPatternCard3: return cardioid(3);
    case kPatternCard2: return cardioid(2);
    case kPatternCard1: return cardioid(1);
    case kPatternDipole1: return project([](double x) { return x; });
    default: return project([](double x) { return 1.0 - x * x; });
    }
}

// Patterns of orders 1, 2 and 3 of the family of a card, hyper or super pattern index.
inline std::array<Shape, 3> familyOf(int index)
{
    if (index >= kPatternCard3 && index <= kPatternCard1)
        return {cardioid(1), cardioid(2), cardioid(3)};
    if (index >= kPatternHyper3 && index <= kPatternHyper1)
        return {hypercardioid(1), hypercardioid(2), hypercardioid(3)};
    return {shapeOf(kPatternSuper1), shapeOf(kPatternSuper2), shapeOf(kPatternSuper3)};
}

} // namespace patterntest
