#include "ambisonics/AmbiOrderFilters.h"

#include "ambisonics/tables/AmbiFilterTables.h"

#include <cmath>
#include <numbers>

std::vector<double> alignmentSections(int degree)
{
    const double* taps = kAmbiAlignment.sections[degree];
    if (!taps)
        return {};
    return std::vector<double>(taps, taps + 6 * kAmbiAlignment.numSections[degree]);
}

namespace {

// The peaking and high-shelf biquads of the Audio EQ Cookbook (R. Bristow-Johnson),
// normalised to a0 = 1; a centre at or above Nyquist gives a pass-through.
void appendCookbook(std::vector<double>& out, bool shelf, double hz, double db, double q, double rate)
{
    if (hz >= 0.49 * rate) {
        out.insert(out.end(), {1, 0, 0, 1, 0, 0});
        return;
    }
    const double a = std::pow(10.0, db / 40.0);
    const double w = 2.0 * std::numbers::pi * hz / rate;
    const double alpha = std::sin(w) / (2.0 * q), c = std::cos(w);
    double b0, b1, b2, a0, a1, a2;
    if (shelf) {
        const double s = 2.0 * std::sqrt(a) * alpha;
        b0 = a * ((a + 1) + (a - 1) * c + s);
        b1 = -2 * a * ((a - 1) + (a + 1) * c);
        b2 = a * ((a + 1) + (a - 1) * c - s);
        a0 = (a + 1) - (a - 1) * c + s;
        a1 = 2 * ((a - 1) - (a + 1) * c);
        a2 = (a + 1) - (a - 1) * c - s;
    } else {
        b0 = 1 + alpha * a;
        b1 = -2 * c;
        b2 = 1 - alpha * a;
        a0 = 1 + alpha / a;
        a1 = -2 * c;
        a2 = 1 - alpha / a;
    }
    out.insert(out.end(), {b0 / a0, b1 / a0, b2 / a0, 1.0, a1 / a0, a2 / a0});
}

} // namespace

std::vector<double> diffuseSections(int degree, double sampleRate)
{
    const AmbiDiffuseShape& s = kAmbiDiffuseShapes[degree];
    std::vector<double> out;
    appendCookbook(out, true, s.shelfHz, s.shelfDb, s.shelfQ, sampleRate);
    appendCookbook(out, false, s.peakHz, s.peakDb, s.peakQ, sampleRate);
    return out;
}
