#include "binaural/CHrirSet.h"

#include <mysofa.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>

namespace {

struct SofaDeleter {
    void operator()(MYSOFA_HRTF* hrtf) const { mysofa_free(hrtf); }
};
using SofaPtr = std::unique_ptr<MYSOFA_HRTF, SofaDeleter>;

std::string quoted(const std::string& path) { return "HRTF file '" + path + "'"; }

// Per response, the delay the file adds in front of it (Data.Delay, in the file's
// samples), converted to whole samples at `rate`. Data.Delay holds one value per
// receiver or one per measurement and receiver.
std::vector<int> responseDelays(const MYSOFA_HRTF& hrtf, double fileRate, double rate)
{
    const std::size_t count = std::size_t(hrtf.M) * hrtf.R;
    std::vector<int> delays(count, 0);
    const MYSOFA_ARRAY& d = hrtf.DataDelay;
    if (!d.values || (d.elements != hrtf.R && d.elements != count))
        return delays;
    for (std::size_t i = 0; i < count; ++i) {
        const float v = d.values[d.elements == count ? i : i % hrtf.R];
        if (std::isfinite(v) && v > 0.0f)
            delays[i] = static_cast<int>(std::lround(v * rate / fileRate));
    }
    return delays;
}

}  // namespace

int CHrirSet::load(const std::string& path, double sampleRate, std::string& message)
{
    if (!(sampleRate > 0.0) || !std::isfinite(sampleRate)) {
        message = "The session's sample rate is not set; " + quoted(path) + " was not read.";
        return kErrRate;
    }
    if (!std::ifstream(path, std::ios::binary)) {
        message = quoted(path) + " does not exist or cannot be read.";
        return kErrMissing;
    }
    int err = MYSOFA_OK;
    SofaPtr hrtf(mysofa_load(path.c_str(), &err));
    if (!hrtf || err != MYSOFA_OK) {
        message = quoted(path) + " is not a SOFA file that can be read (libmysofa error " + std::to_string(err) + ").";
        return kErrNotSofa;
    }
    // The counts first: libmysofa's own check refuses a receiver count other than two
    // without saying so.
    if (hrtf->R != kEars) {
        message = quoted(path) + " has " + std::to_string(hrtf->R) + " receivers; two ears are needed.";
        return kErrReceivers;
    }
    if (hrtf->M < unsigned(kMinDirections)) {
        message = quoted(path) + " has " + std::to_string(hrtf->M) + " measured directions; at least "
                  + std::to_string(kMinDirections) + " are needed.";
        return kErrTooFewDirections;
    }
    err = mysofa_check(hrtf.get());
    if (err != MYSOFA_OK || hrtf->DataSamplingRate.elements < 1 || hrtf->N < 1
        || hrtf->DataIR.elements != std::size_t(hrtf->M) * hrtf->R * hrtf->N) {
        message = quoted(path) + " holds no head-related impulse responses of the SimpleFreeFieldHRIR kind"
                  " (libmysofa check " + std::to_string(err) + ").";
        return kErrNotSofa;
    }
    const double fileRate = hrtf->DataSamplingRate.values[0];
    if (!(fileRate > 0.0)) {
        message = quoted(path) + " gives no valid sample rate.";
        return kErrNotSofa;
    }
    const std::vector<int> delays = responseDelays(*hrtf, fileRate, sampleRate);
    if (std::abs(fileRate - sampleRate) > 1e-6 * sampleRate) {
        err = mysofa_resample(hrtf.get(), static_cast<float>(sampleRate));
        if (err != MYSOFA_OK) {
            message = quoted(path) + " could not be resampled from " + std::to_string(std::lround(fileRate)) + " to "
                      + std::to_string(std::lround(sampleRate)) + " Hz (libmysofa error " + std::to_string(err) + ").";
            return kErrResample;
        }
    }
    mysofa_tospherical(hrtf.get());

    const int fileLength = static_cast<int>(hrtf->N);
    const int length = fileLength + *std::max_element(delays.begin(), delays.end());
    std::vector<float> data(std::size_t(hrtf->M) * kEars * length, 0.0f);
    for (std::size_t i = 0; i < std::size_t(hrtf->M) * kEars; ++i)
        std::copy_n(hrtf->DataIR.values + i * fileLength, fileLength, data.begin() + i * length + delays[i]);

    std::vector<AmbiVector> directions(hrtf->M);
    std::vector<double> azimuth(hrtf->M), elevation(hrtf->M);
    for (unsigned m = 0; m < hrtf->M; ++m) {
        azimuth[m] = hrtf->SourcePosition.values[3 * m];
        elevation[m] = hrtf->SourcePosition.values[3 * m + 1];
        directions[m] = ambiVectorFromAngles(azimuth[m], elevation[m]);
    }
    mDirections = std::move(directions);
    mAzimuth = std::move(azimuth);
    mElevation = std::move(elevation);
    mData = std::move(data);
    mLength = length;
    mSampleRate = sampleRate;
    mPath = path;
    message.clear();
    return kOk;
}

int CHrirSet::nearest(const AmbiVector& d) const
{
    int best = -1;
    double bestDot = -2.0;
    const double norm = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
    for (int m = 0; m < directionCount(); ++m) {
        const AmbiVector& v = mDirections[m];
        const double dot = (v.x * d.x + v.y * d.y + v.z * d.z) / (norm > 0.0 ? norm : 1.0);
        if (dot > bestDot) {
            bestDot = dot;
            best = m;
        }
    }
    return best;
}
