#pragma once
// Signals and measurements shared by the stage tests.

#include <cmath>
#include <numbers>
#include <vector>

namespace stagetest {

inline std::vector<float> sine(double frequency, double rate, int length, double amplitude = 0.5)
{
    std::vector<float> s(length);
    for (int i = 0; i < length; ++i)
        s[i] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * frequency * i / rate));
    return s;
}

// Amplitude of the component at `frequency` over [from, to), by projection on sine and
// cosine in double precision; the span should hold whole periods.
inline double amplitudeAt(const std::vector<float>& x, double frequency, double rate, int from, int to)
{
    double s = 0.0, c = 0.0;
    for (int i = from; i < to; ++i) {
        const double a = 2.0 * std::numbers::pi * frequency * i / rate;
        s += x[i] * std::sin(a);
        c += x[i] * std::cos(a);
    }
    return 2.0 * std::hypot(s, c) / (to - from);
}

// Magnitude of a biquad cascade (6 doubles a section) at `frequency`, evaluated directly.
inline double cascadeMagnitude(const double* taps, int sections, double frequency, double rate)
{
    const double w = 2.0 * std::numbers::pi * frequency / rate;
    double magnitude = 1.0;
    for (int s = 0; s < sections; ++s) {
        const double* t = taps + 6 * s;
        const double nr = t[0] + t[1] * std::cos(w) + t[2] * std::cos(2 * w);
        const double ni = -t[1] * std::sin(w) - t[2] * std::sin(2 * w);
        const double dr = t[3] + t[4] * std::cos(w) + t[5] * std::cos(2 * w);
        const double di = -t[4] * std::sin(w) - t[5] * std::sin(2 * w);
        magnitude *= std::hypot(nr, ni) / std::hypot(dr, di);
    }
    return magnitude;
}

inline double toDb(double linear) { return 20.0 * std::log10(linear); }

} // namespace stagetest
