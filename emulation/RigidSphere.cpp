#include "emulation/RigidSphere.h"

#include <algorithm>
#include <cmath>

namespace rigid_sphere {

namespace {
// Derivative of the spherical Hankel function of the first kind, h_n' = h_(n-1) - (n+1)/x h_n.
std::complex<double> hankelDerivative(int n, double x)
{
    const auto h = [x](int m) { return std::complex<double>(std::sph_bessel(m, x), std::sph_neumann(m, x)); };
    if (n == 0)
        return -h(1);
    return h(n - 1) - (n + 1) / x * h(n);
}

// Enough orders for the series to converge to double precision at this ka.
int seriesOrders(double ka) { return static_cast<int>(std::ceil(ka)) + 30; }
} // namespace

std::complex<double> surfacePressure(double ka, double cosAngle)
{
    if (ka <= 0.0)
        return 1.0;
    cosAngle = std::clamp(cosAngle, -1.0, 1.0);
    // Series in the physics convention exp(-i*omega*t), incident wave exp(-i*k*u.r) for a
    // wave arriving from u: p = sum (2n+1) (-i)^n * i / ((ka)^2 h_n'(ka)) * P_n(cos angle),
    // which uses the Wronskian to fold the incident and scattered parts together.
    std::complex<double> sum = 0.0;
    std::complex<double> minusIPower = 1.0;
    double legendrePrev = 1.0, legendre = 1.0; // P_(n-1), P_n by the three-term recurrence
    const std::complex<double> i(0.0, 1.0);
    for (int n = 0; n <= seriesOrders(ka); ++n) {
        if (n == 1) {
            legendrePrev = 1.0;
            legendre = cosAngle;
        } else if (n > 1) {
            const double next = ((2 * n - 1) * cosAngle * legendre - (n - 1) * legendrePrev) / n;
            legendrePrev = legendre;
            legendre = next;
        }
        sum += (2.0 * n + 1.0) * minusIPower * i / (ka * ka * hankelDerivative(n, ka)) * legendre;
        minusIPower *= -i;
    }
    return std::conj(sum);
}

} // namespace rigid_sphere
