#include "soundmap/ModeBandPass.h"

#include "soundmap/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

ModeBandPass::ModeBandPass(double sampleRate, double lowHz, double highHz)
{
    const double high = std::min(highHz, 0.45 * sampleRate);
    for (int i = 0; i < kHighPassSections; ++i)
        mSections[i] = section(lowHz, sampleRate, butterworthQ(i, kHighPassSections), true);
    for (int i = 0; i < kLowPassSections; ++i)
        mSections[kHighPassSections + i] = section(high, sampleRate, butterworthQ(i, kLowPassSections), false);
}

// The poles of a Butterworth filter of order 2n pair up at angles (2i + 1) pi / (4n)
// from the real axis.
double ModeBandPass::butterworthQ(int index, int sections)
{
    return 0.5 / std::cos((2.0 * index + 1.0) * std::numbers::pi / (4.0 * sections));
}

// Bilinear transform of the analog second-order section.
ModeBandPass::Section ModeBandPass::section(double cornerHz, double sampleRate, double q, bool highPass)
{
    const double w = 2.0 * std::numbers::pi * cornerHz / sampleRate;
    const double alpha = std::sin(w) / (2.0 * q);
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

void ModeBandPass::process(float (*frames)[kChannels], int count)
{
    for (Section& s : mSections)
        run(s, frames, count);
}

// One section over the whole chunk; its states live in local arrays for the length of
// the call, so they stay in registers rather than being reloaded after every store.
VK_VECTOR_CLONES
void ModeBandPass::run(Section& s, float (*frames)[kChannels], int count)
{
    alignas(64) float s1[kChannels], s2[kChannels];
    std::copy(s.s1, s.s1 + kChannels, s1);
    std::copy(s.s2, s.s2 + kChannels, s2);
    const float b0 = s.b0, b1 = s.b1, b2 = s.b2, a1 = s.a1, a2 = s.a2;
    for (int t = 0; t < count; ++t) {
        float* x = frames[t];
        for (int k = 0; k < kChannels; ++k) {
            const float in = x[k];
            const float y = b0 * in + s1[k];
            s1[k] = b1 * in - a1 * y + s2[k];
            s2[k] = b2 * in - a2 * y;
            x[k] = y;
        }
    }
    std::copy(s1, s1 + kChannels, s.s1);
    std::copy(s2, s2 + kChannels, s.s2);
}
