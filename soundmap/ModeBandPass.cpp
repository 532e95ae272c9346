#include "soundmap/ModeBandPass.h"

#include "soundmap/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

ModeBandPass::ModeBandPass(double sampleRate, double lowHz, double highHz)
    : mSections{butterworth(lowHz, sampleRate, true), butterworth(std::min(highHz, 0.45 * sampleRate), sampleRate, false)}
{
}

// Bilinear transform of the analog prototype with Q = 1/sqrt(2).
ModeBandPass::Section ModeBandPass::butterworth(double cornerHz, double sampleRate, bool highPass)
{
    const double w = 2.0 * std::numbers::pi * cornerHz / sampleRate;
    const double alpha = std::sin(w) / std::numbers::sqrt2;
    const double c = std::cos(w);
    const double a0 = 1.0 + alpha;
    const double b0 = (highPass ? (1.0 + c) : (1.0 - c)) / 2.0 / a0;
    Section s{};
    s.b0 = float(b0);
    s.b1 = float(highPass ? -2.0 * b0 : 2.0 * b0);
    s.b2 = float(b0);
    s.a1 = float(-2.0 * c / a0);
    s.a2 = float((1.0 - alpha) / a0);
    return s;
}

void ModeBandPass::reset()
{
    for (Section& s : mSections) {
        std::fill(std::begin(s.s1), std::end(s.s1), 0.0f);
        std::fill(std::begin(s.s2), std::end(s.s2), 0.0f);
    }
}

// Both sections in one pass; the states live in local arrays for the length of the
// call, so they stay in registers rather than being reloaded after every store.
VK_VECTOR_CLONES
void ModeBandPass::process(float (*frames)[kChannels], int count)
{
    const Section& h = mSections[0];
    const Section& l = mSections[1];
    alignas(64) float h1[kChannels], h2[kChannels], l1[kChannels], l2[kChannels];
    std::copy(h.s1, h.s1 + kChannels, h1);
    std::copy(h.s2, h.s2 + kChannels, h2);
    std::copy(l.s1, l.s1 + kChannels, l1);
    std::copy(l.s2, l.s2 + kChannels, l2);
    for (int t = 0; t < count; ++t) {
        float* x = frames[t];
        for (int k = 0; k < kChannels; ++k) {
            const float in = x[k];
            const float u = h.b0 * in + h1[k];
            h1[k] = h.b1 * in - h.a1 * u + h2[k];
            h2[k] = h.b2 * in - h.a2 * u;
            const float y = l.b0 * u + l1[k];
            l1[k] = l.b1 * u - l.a1 * y + l2[k];
            l2[k] = l.b2 * u - l.a2 * y;
            x[k] = y;
        }
    }
    std::copy(h1, h1 + kChannels, mSections[0].s1);
    std::copy(h2, h2 + kChannels, mSections[0].s2);
    std::copy(l1, l1 + kChannels, mSections[1].s1);
    std::copy(l2, l2 + kChannels, mSections[1].s2);
}
