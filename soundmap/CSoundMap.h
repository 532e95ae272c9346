#pragma once
// The sound map of the main thread: from the mode covariance, the power that an order-3
// maximum-directivity beam would receive from each direction of a grid (steered response
// power), or the sharper subspace estimate (MUSIC). The covariance is smoothed over
// periods before the map is computed; the map itself is recomputed with the vector
// operations, one vector per harmonic over all grid points.
//
// Working space: the modes are whitened so that the isotropic field has a unit
// covariance (the m != 0 harmonics carry half the power of the m = 0 ones in the mode
// signals). A plane wave from d then has the mode vector u(d), the real orthonormal
// harmonics at d, and the maximum-directivity beam at d is u(d) itself:
// power(d) = u(d)' C u(d).
//
// Main thread only; every call may allocate.

#include "soundmap/CModeCovariance.h"
#include "soundmap/SoundMapFrame.h"
#include "soundmap/SoundMapGrid.h"
#include "soundmap/SoundMapPeaks.h"

#include <limits>
#include <vector>

class CSoundMap {
public:
    static constexpr int kModes = ModeCovarianceFrame::kModes;
    // Powers at or below this (mean square of the modes) count as silence.
    static constexpr float kSilence = 1e-14f;
    // Smoothing that averages every period seen since the last reset.
    static constexpr double kWholeRun = std::numeric_limits<double>::infinity();

    enum tMethod : int { kSteeredPower = 0, kMusic = 1 };

    explicit CSoundMap(int stepDegrees = SoundMapGrid::kMaxStep);

    // Time constant of the covariance smoothing in periods: 0 uses each period alone,
    // kWholeRun averages all. The first periods after a reset are averaged evenly.
    void setSmoothing(double periods) { mSmoothing = periods; }
    void setMethod(tMethod method);
    tMethod method() const { return mMethod; }
    // Drops the smoothed covariance; the map goes silent.
    void reset();

    // Takes one published period (an empty one is ignored) and recomputes the map.
    void update(const ModeCovarianceFrame& frame);

    const SoundMapGrid& grid() const { return mGrid; }
    // Linear map values, grid().points() of them: mean square of the beam for steered
    // power, the pseudo-spectrum for MUSIC (dimensionless, 1 where the direction is
    // orthogonal to nothing of the signal).
    const std::vector<float>& power() const { return mPower; }
    // The map in dB re its largest value (0 at the top), floored at -floorDb; all
    // -floorDb when silent.
    std::vector<float> relativeDb(float floorDb) const;
    bool silent() const { return mSilent; }
    // The source candidates, strongest first, refined below the grid step (SoundMapPeaks):
    // on the steered-power map without the lobes of stronger peaks, each placed on the map
    // less the others' beams; on the MUSIC map where at least half the steering vector
    // lies in the signal subspace, each placed on the pseudo-spectrum itself, which is
    // sharper than a coarse grid can follow.
    std::vector<SoundMapPeak> peaks(int maxPeaks, float rangeDb) const;
    // The map for the displays over `rangeDb`, with up to `maxPeaks` peaks in that range;
    // an empty frame while silent.
    SoundMapFrame frame(float rangeDb, int maxPeaks) const;

    // Signal subspace size that MUSIC used at the last update (0 before one).
    int signalDimension() const { return mSignalDimension; }

private:
    void smooth(const ModeCovarianceFrame& frame);
    void computeSteeredPower();
    void computeMusic();
    // The pseudo-spectrum at any direction, from the last update's noise subspace.
    double musicAt(double thetaDegrees, double phiDegrees) const;

    SoundMapGrid mGrid;
    tMethod mMethod = kSteeredPower;
    double mSmoothing = 4.0;
    long mPeriods = 0;
    std::vector<double> mCovariance; // whitened, kModes x kModes, mean square per sample
    std::vector<std::vector<float>> mHarmonics; // u_k over the grid
    std::vector<float> mPower;
    std::vector<float> mScratch;
    std::vector<double> mNoiseProjector; // kModes x kModes, MUSIC's noise subspace
    bool mSilent = true;
    int mSignalDimension = 0;
};
