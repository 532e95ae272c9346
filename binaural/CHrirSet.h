#pragma once
// A set of head-related impulse responses, one pair (left ear, right ear) per measured
// direction, read from a SOFA file (AES69, SimpleFreeFieldHRIR) through libmysofa and
// resampled to the session's rate. Directions are kept in the AmbiX frame: the SOFA
// convention (azimuth counter-clockwise from the front, elevation up) is the same.
//
// Control thread: reading a file allocates and does I/O; never on the audio thread.

#include "ambisonics/SphericalHarmonics.h"

#include <string>
#include <vector>

class CHrirSet {
public:
    // The KEMAR set that Debian's libmysofa1 installs.
    static constexpr const char* kDefaultPath = "/usr/share/libmysofa/default.sofa";
    static constexpr int kMinDirections = 100;
    static constexpr int kEars = 2;  // receiver 0 is the left ear, 1 the right

    enum Result : int {
        kOk = 0,
        kErrMissing = 101,            // the file does not exist or cannot be read
        kErrNotSofa = 102,            // libmysofa refuses it, or it holds no impulse responses
        kErrTooFewDirections = 103,   // fewer than kMinDirections measured directions
        kErrReceivers = 104,          // a receiver count other than two
        kErrResample = 105,           // the responses could not be brought to the session's rate
        kErrRate = 106,               // the session's rate is not positive
    };

    // Reads `path` and resamples the responses to `sampleRate`. On any refusal this set
    // stays as it was and `message` says why in one sentence that names the file.
    int load(const std::string& path, double sampleRate, std::string& message);

    bool isEmpty() const { return mDirections.empty(); }
    int directionCount() const { return static_cast<int>(mDirections.size()); }
    // Taps of every response.
    int length() const { return mLength; }
    double sampleRate() const { return mSampleRate; }
    const std::string& path() const { return mPath; }

    // Unit vector, azimuth and elevation (degrees) of measurement m.
    const AmbiVector& direction(int m) const { return mDirections[m]; }
    double azimuth(int m) const { return mAzimuth[m]; }
    double elevation(int m) const { return mElevation[m]; }
    // The response of measurement m at `ear`, length() taps.
    const float* response(int m, int ear) const { return mData.data() + (std::size_t(m) * kEars + ear) * mLength; }
    // The measurement nearest to a direction (largest dot product).
    int nearest(const AmbiVector& d) const;

private:
    std::vector<AmbiVector> mDirections;
    std::vector<double> mAzimuth;
    std::vector<double> mElevation;
    std::vector<float> mData;
    int mLength = 0;
    double mSampleRate = 0.0;
    std::string mPath;
};
