#include "soundmap/CSoundMap.h"

#include "beamformer/tables/EbfMatrix.h"
#include "core/primitives/ipps.h"
#include "soundmap/SymmetricEigen.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Power of the m != 0 mode signals relative to the orthonormal harmonics.
double whitening(int k)
{
    return ebfMode(k).m == 0 ? 1.0 : std::numbers::sqrt2;
}

// |u(d)|^2, the same for every direction: sum over orders of (2n + 1) / (4 pi).
constexpr float kSteeringEnergy = float(16.0 / (4.0 * std::numbers::pi));

// Eigenvalues this far below the largest belong to the noise subspace. A broadband
// source is not quite one eigenvector: the orders' equalisers differ a little in phase, so
// each source also has a quadrature vector about 17 dB below its own (with the band of
// CModeCovariance); the threshold takes those in for sources near the top, which only
// deepens their nulls. The aliasing and the rest lie 30 dB and more below.
constexpr double kSignalRange = 0.01;
// At least this many noise dimensions, or nulls appear where no source is.
constexpr int kMinNoiseDimensions = 6;
// Cap of the pseudo-spectrum: a direction in the signal subspace reads 60 dB.
constexpr float kMusicCeiling = 1e6f;
// A MUSIC peak is a source candidate when at least half of its steering vector lies in the
// signal subspace (pseudo-spectrum 2); the side-lobe directions of the sources reach a few
// per cent.
constexpr float kMusicCandidate = 2.0f;

// On the modelled array the steered-power map's side lobes stay within 1 dB of what the
// ideal order-3 beams of the stronger peaks throw there, and sources 3 to 6 dB down
// stand 7 dB and more above it: a peak counts as a lobe up to 3 dB above the model.
constexpr float kLobeMarginDb = 3.0f;

const SoundMapBeam& mapBeam()
{
    static const SoundMapBeam beam = SoundMapBeam::maximumDirectivity(kEbfMaxOrder);
    return beam;
}

} // namespace

CSoundMap::CSoundMap(int stepDegrees)
    : mGrid(stepDegrees)
    , mCovariance(size_t(kModes) * kModes, 0.0)
    , mHarmonics(kModes, std::vector<float>(size_t(mGrid.points())))
    , mPower(size_t(mGrid.points()), 0.0f)
    , mScratch(size_t(mGrid.points()), 0.0f)
    , mNoiseProjector(size_t(kModes) * kModes, 0.0)
{
    for (int r = 0; r < mGrid.rows(); ++r)
        for (int c = 0; c < mGrid.columns(); ++c)
            for (int k = 0; k < kModes; ++k)
                mHarmonics[k][size_t(r) * mGrid.columns() + c] =
                    float(whitening(k) * ebfHarmonic(k, mGrid.theta(r), mGrid.phi(c)));
}

void CSoundMap::setMethod(tMethod method)
{
    mMethod = method;
    if (!mSilent)
        mMethod == kMusic ? computeMusic() : computeSteeredPower();
}

void CSoundMap::reset()
{
    std::fill(mCovariance.begin(), mCovariance.end(), 0.0);
    std::fill(mPower.begin(), mPower.end(), 0.0f);
    mPeriods = 0;
    mSilent = true;
    mSignalDimension = 0;
}

void CSoundMap::update(const ModeCovarianceFrame& frame)
{
    if (frame.frames <= 0)
        return;
    smooth(frame);
    double largest = 0.0;
    for (int k = 0; k < kModes; ++k)
        largest = std::max(largest, mCovariance[k * kModes + k]);
    mSilent = !(largest > double(kSilence));
    if (mSilent) {
        std::fill(mPower.begin(), mPower.end(), 0.0f);
        mSignalDimension = 0;
        return;
    }
    mMethod == kMusic ? computeMusic() : computeSteeredPower();
}

// Exponential smoothing whose weight never drops below an even average of the periods
// seen so far, so the map starts from the first period instead of from zero.
void CSoundMap::smooth(const ModeCovarianceFrame& frame)
{
    ++mPeriods;
    const double decay = mSmoothing > 0.0 ? 1.0 - std::exp(-1.0 / mSmoothing) : 1.0;
    const double weight = std::max(decay, 1.0 / double(mPeriods));
    const double perSample = 1.0 / double(frame.frames);
    for (int i = 0; i < kModes; ++i)
        for (int j = i; j < kModes; ++j) {
            const double value = frame.at(i, j) * perSample * whitening(i) * whitening(j);
            double& c = mCovariance[i * kModes + j];
            c += weight * (value - c);
            mCovariance[j * kModes + i] = c;
        }
}

// power = sum_k u_k (sum_l C_kl u_l), one grid-long vector operation per term.
void CSoundMap::computeSteeredPower()
{
    const int points = mGrid.points();
    ippsZero_32f(mPower.data(), points);
    for (int k = 0; k < kModes; ++k) {
        ippsMulC_32f(mHarmonics[0].data(), float(mCovariance[k * kModes]), mScratch.data(), points);
        for (int l = 1; l < kModes; ++l)
            ippsAddProductC_32f(mHarmonics[l].data(), float(mCovariance[k * kModes + l]), mScratch.data(), points);
        ippsAddProduct_32f(mHarmonics[k].data(), mScratch.data(), mPower.data(), points);
    }
    ippsThreshold_LT_32f_I(mPower.data(), points, 0.0f);
    mSignalDimension = 0;
}

// pseudo-spectrum = |u|^2 / |projection of u on the noise subspace|^2, the division done
// as a difference of logarithms.
void CSoundMap::computeMusic()
{
    const SymmetricEigen eigen = symmetricEigen(mCovariance, kModes);
    const double threshold = eigen.values.front() * kSignalRange;
    mSignalDimension = int(std::count_if(eigen.values.begin(), eigen.values.end(),
                                         [&](double v) { return v > threshold; }));
    mSignalDimension = std::min(mSignalDimension, kModes - kMinNoiseDimensions);

    const int points = mGrid.points();
    ippsZero_32f(mPower.data(), points);
    std::fill(mNoiseProjector.begin(), mNoiseProjector.end(), 0.0);
    for (int e = mSignalDimension; e < kModes; ++e) {
        const std::vector<double>& v = eigen.vectors[e];
        for (int i = 0; i < kModes; ++i)
            for (int j = 0; j < kModes; ++j)
                mNoiseProjector[i * kModes + j] += v[i] * v[j];
        ippsMulC_32f(mHarmonics[0].data(), float(v[0]), mScratch.data(), points);
        for (int k = 1; k < kModes; ++k)
            ippsAddProductC_32f(mHarmonics[k].data(), float(v[k]), mScratch.data(), points);
        ippsAddProduct_32f(mScratch.data(), mScratch.data(), mPower.data(), points);
    }
    ippsThreshold_LT_32f_I(mPower.data(), points, kSteeringEnergy / kMusicCeiling);
    ippsLn_32f_I(mPower.data(), points);
    ippsSubCRev_32f_I(std::log(kSteeringEnergy), mPower.data(), points);
    ippsExp_32f_I(mPower.data(), points);
}

double CSoundMap::musicAt(double thetaDegrees, double phiDegrees) const
{
    double u[kModes];
    for (int k = 0; k < kModes; ++k)
        u[k] = whitening(k) * ebfHarmonic(k, thetaDegrees, phiDegrees);
    double noise = 0.0;
    for (int i = 0; i < kModes; ++i)
        for (int j = 0; j < kModes; ++j)
            noise += u[i] * mNoiseProjector[i * kModes + j] * u[j];
    return kSteeringEnergy / std::max(noise, double(kSteeringEnergy / kMusicCeiling));
}

std::vector<float> CSoundMap::relativeDb(float floorDb) const
{
    std::vector<float> db(mPower.size(), -floorDb);
    if (mSilent)
        return db;
    const float largest = *std::max_element(mPower.begin(), mPower.end());
    const int points = mGrid.points();
    ippsMulC_32f(mPower.data(), 1.0f / largest, db.data(), points);
    ippsThreshold_LT_32f_I(db.data(), points, std::pow(10.0f, -floorDb / 10.0f));
    ippsLn_32f_I(db.data(), points);
    ippsMulC_32f_I(float(10.0 / std::numbers::ln10), db.data(), points);
    return db;
}

std::vector<SoundMapPeak> CSoundMap::peaks(int maxPeaks, float rangeDb) const
{
    if (mSilent)
        return {};
    if (mMethod == kMusic) {
        std::vector<SoundMapPeak> found = findSoundMapPeaks(mGrid, mPower.data(), maxPeaks, rangeDb, kMusicCandidate);
        for (SoundMapPeak& p : found)
            p = polishSoundMapPeak(p, mGrid.step(), [this](double t, double f) { return musicAt(t, f); });
        std::stable_sort(found.begin(), found.end(), [](const SoundMapPeak& a, const SoundMapPeak& b) {
            return a.power > b.power;
        });
        return found;
    }
    return findSoundMapPeaks(mGrid, mPower.data(), maxPeaks, rangeDb, 0.0f, &mapBeam(), kLobeMarginDb);
}

SoundMapFrame CSoundMap::frame(float rangeDb, int maxPeaks) const
{
    SoundMapFrame f{mGrid, rangeDb, {}, {}, {}};
    if (mSilent)
        return f;
    f.db = relativeDb(rangeDb);
    f.peaks = peaks(maxPeaks, rangeDb);
    for (const SoundMapPeak& p : f.peaks)
        f.peakDb.push_back(10.0f * std::log10(p.power / f.peaks.front().power));
    return f;
}
