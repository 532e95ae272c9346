#pragma once
// The band-pass of the covariance: 16 mode channels filtered side by side, interleaved
// sample by sample, by a Butterworth high-pass and a steeper Butterworth low-pass, each a
// cascade of second-order sections (direct form II transposed). All channels share the
// coefficients, so each step of the recursion is one short vector operation across the
// channels.
//
// process: audio thread: no allocation, no lock, no I/O.

class ModeBandPass {
public:
    static constexpr int kChannels = 16;
    static constexpr int kHighPassSections = 2; // 24 dB an octave
    static constexpr int kLowPassSections = 4;  // 48 dB an octave
    static constexpr int kSections = kHighPassSections + kLowPassSections;

    // Corners in Hz; the high corner is held below 0.45 of the rate.
    ModeBandPass(double sampleRate, double lowHz, double highHz);

    // Filters `frames` interleaved frames of kChannels samples in place.
    void process(float (*frames)[kChannels], int count);
    void reset();

    // The quality factor of section `index` of a Butterworth cascade of `sections`.
    static double butterworthQ(int index, int sections);

private:
    struct Section {
        float b0, b1, b2, a1, a2;
        alignas(64) float s1[kChannels];
        alignas(64) float s2[kChannels];
    };
    static Section section(double cornerHz, double sampleRate, double q, bool highPass);
    static void run(Section& s, float (*frames)[kChannels], int count);

    Section mSections[kSections];
};
