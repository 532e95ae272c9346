#include "ambisonics/SphericalHarmonics.h"

#include <cmath>
#include <numbers>

AmbiVector ambiVectorFromAngles(double azimuthDegrees, double elevationDegrees)
{
    constexpr double kRadians = std::numbers::pi / 180.0;
    const double az = azimuthDegrees * kRadians;
    const double el = elevationDegrees * kRadians;
    return {std::cos(el) * std::cos(az), std::cos(el) * std::sin(az), std::sin(el)};
}

double n3dFromSn3d(int degree) { return std::sqrt(2.0 * degree + 1.0); }

namespace {

// (n-m)! / (n+m)! for small n.
double factorialRatio(int n, int m)
{
    double r = 1.0;
    for (int k = n - m + 1; k <= n + m; ++k) r /= k;
    return r;
}

} // namespace

// With z = sin(elevation) and rho = cos(elevation), P_n^m(z) = rho^m Q_n^m(z), where Q
// is a polynomial in z. rho^m cos(m az) and rho^m sin(m az) are the real and imaginary
// parts of (x + iy)^m, so each harmonic is Q_n^m(z) times a polynomial in x and y: no
// angle is ever formed. Q follows the Legendre recurrences without the (-1)^m phase:
//   Q_m^m = (2m-1)!!,  Q_{m+1}^m = (2m+1) z Q_m^m,
//   (n-m) Q_n^m = (2n-1) z Q_{n-1}^m - (n+m-1) Q_{n-2}^m.
void realSphericalHarmonics(const AmbiVector& d, int order, AmbiNorm norm, double* out)
{
    const double length = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
    const int channels = ambiChannelCount(order);
    for (int c = 0; c < channels; ++c) out[c] = 0.0;
    out[0] = 1.0;
    if (!(length > 0.0)) return;
    const double x = d.x / length, y = d.y / length, z = d.z / length;

    double re = 1.0, im = 0.0; // (x + iy)^m
    double doubleFactorial = 1.0; // (2m-1)!!
    for (int m = 0; m <= order; ++m) {
        if (m > 0) {
            const double r = re * x - im * y;
            im = re * y + im * x;
            re = r;
            doubleFactorial *= 2 * m - 1;
        }
        double q2 = 0.0, q1 = doubleFactorial; // Q_{n-2}^m, Q_{n-1}^m
        for (int n = m; n <= order; ++n) {
            double q = q1;
            if (n == m + 1) q = (2 * m + 1) * z * q1;
            else if (n > m + 1) q = ((2 * n - 1) * z * q1 - (n + m - 1) * q2) / (n - m);
            if (n > m) { q2 = q1; q1 = q; }
            double scale = std::sqrt((m == 0 ? 1.0 : 2.0) * factorialRatio(n, m));
            if (norm == AmbiNorm::kN3d) scale *= n3dFromSn3d(n);
            out[acnChannel(n, m)] = scale * q * re;
            if (m > 0) out[acnChannel(n, -m)] = scale * q * im;
        }
    }
}
