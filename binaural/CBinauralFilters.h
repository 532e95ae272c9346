#pragma once
// The ear filters of a third-order AmbiX decoder: one FIR per channel (ACN, SN3D) and
// ear, so that ear(t) = sum over channels of filter(channel, ear) * channel(t).
//
// designMagLs fits them to a set of head-related impulse responses, frequency by
// frequency: below about 2 kHz by least squares on the complex responses, where order 3
// still follows the head's phase; above, where it cannot, by magnitude least squares,
// which gives up the phase (its differences between ears matter little there) to match
// the magnitudes, and takes each frequency's phase from the previous frequency's fit:
// C. Schoerkhuber, M. Zaunschirm, R. Hoeldrich, "Binaural rendering of Ambisonic
// signals via magnitude least squares", Proc. DAGA 2018.
// Two choices of ours beside the paper's method. The phase each frequency takes from the
// one below advances by the responses' mean arrival time, so the high band arrives with
// the low band instead of at time zero. And the magnitude fit divides each direction's
// squared error by its magnitude, halfway between absolute and relative error, so the
// quiet ear of a lateral source is not neglected: on the KEMAR set the interaural level
// differences stay within 3 dB of the measured ones (5 dB with plain absolute errors).
// The fit weights each measured direction by the sphere's area around it (dense regions
// of the grid count less) and is lightly regularised, so a grid that leaves out part of
// the sphere (below -40 degrees in the KEMAR set) gives bounded filters.
//
// Control thread: designing allocates and takes a few hundred milliseconds.

#include "ambisonics/SphericalHarmonics.h"

#include <string>
#include <vector>

class CHrirSet;

class CBinauralFilters {
public:
    static constexpr int kChannels = kAmbiMaxChannels;
    static constexpr int kEars = 2;
    // Above this frequency the fit is by magnitude alone.
    static constexpr double kMagnitudeFromHz = 2000.0;

    CBinauralFilters() = default;
    // Filters given directly: `taps` holds kChannels * kEars filters of `length` taps,
    // channel-major (channel 0 left, channel 0 right, channel 1 left, ...).
    CBinauralFilters(int length, double sampleRate, std::vector<float> taps);

    // The decoder for `hrirs` at their rate, at most maxLength taps (the tail fades out
    // over its last eighth). Empty for an empty set.
    static CBinauralFilters designMagLs(const CHrirSet& hrirs, int maxLength);
    // Reads the SOFA file at `path` for `sampleRate` and designs its decoder; empty, with
    // `message` saying why, when the file is refused.
    static CBinauralFilters designFromSofa(const std::string& path, double sampleRate, int maxLength,
                                           std::string& message);

    bool isEmpty() const { return mLength == 0; }
    int length() const { return mLength; }
    double sampleRate() const { return mSampleRate; }
    const float* filter(int channel, int ear) const { return mTaps.data() + std::size_t(channel * kEars + ear) * mLength; }

private:
    int mLength = 0;
    double mSampleRate = 0.0;
    std::vector<float> mTaps;
};
