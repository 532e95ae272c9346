#pragma once
// Biquad cascades for many channels, each channel with its own cascade, run up to kSet
// channels at a time in the lanes of the processor's vectors. Each channel gives exactly
// what ippsIIR64f_32f gives for its cascade: the same operations in the same order, in
// double, rounded to float once at the end. In a set of channels, those with fewer
// sections than the others pass through sections that leave a sample as it is. One
// cascade is a chain of dependent operations, sample after sample; run side by side,
// several fill the arithmetic units that a single one leaves idle.
// Audio thread (process, clearHistory): no allocation, no lock, no I/O.

#include "core/primitives/ipps.h"

#include <cstddef>
#include <vector>

class CBiquadBank {
public:
    static constexpr int kSet = 16; // channels run together

    CBiquadBank() = default;
    CBiquadBank(const CBiquadBank&) = delete;
    CBiquadBank& operator=(const CBiquadBank&) = delete;

    // Channel c runs numSections[c] sections from sections[c], six coefficients each
    // (b0 b1 b2 a0 a1 a2) as ippsIIRInitAlloc64f_BiQuad_32f takes them, with a cleared
    // history. Allocates. Errors as that function's; on error the cascades in force stay.
    IppStatus setCascades(int channels, const double* const sections[], const int numSections[]);

    // Filters data[c], channel c, in place for c below count and below channels().
    void process(float* const* data, int count, int frames);

    void clearHistory();

    int channels() const { return mChannels; }

private:
    // kSet channels from first on (fewer in the last set), padded to width lanes, a
    // multiple of four, all with the largest number of sections among them.
    struct Set {
        int first = 0;
        int channels = 0;
        int width = 0;
        int sections = 0;
        std::size_t coefs = 0; // sections x 5 (b0 b1 b2 a1 a2) x width, from here in mCoefs
        std::size_t states = 0; // sections x 2 (d0 d1) x width, from here in mStates
    };

    int mChannels = 0;
    std::vector<Set> mSets;
    std::vector<double> mCoefs;
    std::vector<double> mStates;
};
