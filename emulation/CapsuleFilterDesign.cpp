#include "emulation/CapsuleFilterDesign.h"

#include "emulation/RigidSphere.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace capsule_filter {

std::vector<float> design(double cosAngle, double radius, double sampleRate)
{
    constexpr int bins = kTaps / 2 + 1;
    const double pi = std::numbers::pi;
    std::vector<std::complex<double>> spectrum(bins);
    for (int k = 0; k < bins; ++k) {
        const double frequency = k * sampleRate / kTaps;
        const double ka = 2.0 * pi * frequency * radius / rigid_sphere::kSpeedOfSound;
        const double delayPhase = -2.0 * pi * k * kBulkDelay / kTaps;
        spectrum[k] = rigid_sphere::surfacePressure(ka, cosAngle) * std::polar(1.0, delayPhase);
    }
    // A real filter needs a real value at the Nyquist bin.
    spectrum[bins - 1] = spectrum[bins - 1].real();

    // Inverse real DFT by direct summation: 128 taps, run once per capsule and source.
    std::vector<float> taps(kTaps);
    for (int t = 0; t < kTaps; ++t) {
        double sum = spectrum[0].real() + spectrum[bins - 1].real() * ((t % 2) ? -1.0 : 1.0);
        for (int k = 1; k < bins - 1; ++k)
            sum += 2.0 * (spectrum[k] * std::polar(1.0, 2.0 * pi * k * t / kTaps)).real();
        const double window = 0.5 + 0.5 * std::cos(2.0 * pi * (t - kBulkDelay) / kTaps);
        taps[t] = static_cast<float>(window * sum / kTaps);
    }
    return taps;
}

} // namespace capsule_filter
