#pragma once
// The band-pass of the covariance: 16 mode channels filtered side by side, interleaved
// sample by sample, by one high-pass and one low-pass Butterworth section (direct form
// II transposed). All channels share the coefficients, so each step of the recursion is
// one short vector operation across the channels.
//
// process: audio thread: no allocation, no lock, no I/O.

class ModeBandPass {
public:
    static constexpr int kChannels = 16;

    // Corners in Hz; the high corner is held below 0.45 of the rate.
    ModeBandPass(double sampleRate, double lowHz, double highHz);

    // Filters `frames` interleaved frames of kChannels samples in place.
    void process(float (*frames)[kChannels], int count);
    void reset();

private:
    struct Section {
        float b0, b1, b2, a1, a2;
        alignas(64) float s1[kChannels];
        alignas(64) float s2[kChannels];
    };
    static Section butterworth(double cornerHz, double sampleRate, bool highPass);

    Section mSections[2];
};
