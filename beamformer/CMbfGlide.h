#pragma once
// One axis of a beam's direction: a whole-degree position that glides towards a target
// at one degree per 100 samples, and the gains of that axis's table rows read along the
// way, interpolated linearly within each degree step. The polar axis steps straight
// towards its target; the azimuth wraps at 360 and takes the shorter way round (at
// exactly 180 degrees the sign of the difference decides).
//
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/vkxShadowFilterBanks.h"

#include <atomic>

class CMbfGlide {
public:
    // `table` has `rows` rows of `columns` whole-degree entries each; a wrapping axis
    // runs round all columns, a straight one from column 0 to the last.
    CMbfGlide(const float* table, int columns, bool wraps);
    CMbfGlide(const CMbfGlide&) = delete;
    CMbfGlide& operator=(const CMbfGlide&) = delete;

    // Control thread: storage for `rows` gain rows and a track of `blockLength`
    // samples. Keeps the position. 0, or 7 when memory is short.
    int configure(int rows, int blockLength);
    void release();
    // Control thread, audio stopped: stands at `target` at once, no step running.
    void settle(int target);

    // Audio thread: writes `frames` samples of each row's gain into gains[row] and the
    // position after each sample into the track; `target` is read once per sample. When
    // the axis stands at its target throughout the block only the track is written and
    // true is returned: every gain is then restGain(row).
    bool runLazily(const std::atomic<int>& target, float* const* gains, int frames);
    // The gain of `row` while the axis stands still.
    float restGain(int row) const { return mTable[row * mColumns + mPosition]; }
    // Writes the rest gains into the first `frames` samples of every row.
    void fillRest(float* const* gains, int frames) const;

    const int* track() const { return mTrack.get(); }
    int position() const { return mPosition; }

    static constexpr int kStepLength = 100;
    static constexpr float kStepScale = 0.01f;

private:
    void runFrom(const std::atomic<int>& target, float* const* gains, int first, int frames);
    void beginStep(int target);
    int column(int position) const;

    const float* mTable;
    int mColumns;
    bool mWraps;
    int mRows = 0;
    int mPosition = 0;
    int mStep = 0;
    int mCount = 0;
    vkIppsFloats mBase;
    vkIppsFloats mRamp;
    vkIppsFloats mSlope;
    std::unique_ptr<int[]> mTrack;
};
