#include "beamformer/CMbfGlide.h"

#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <new>

CMbfGlide::CMbfGlide(const float* table, int columns, bool wraps)
    : mTable(table)
    , mColumns(columns)
    , mWraps(wraps)
{
}

int CMbfGlide::configure(int rows, int blockLength)
{
    release();
    const int perRow = rows > 0 ? rows : 1;
    mBase.reset(ippsMalloc_32f(perRow));
    mRamp.reset(ippsMalloc_32f(perRow));
    mSlope.reset(ippsMalloc_32f(perRow));
    mTrack.reset(new (std::nothrow) int[blockLength > 0 ? blockLength : 1]());
    if (!mBase || !mRamp || !mSlope || !mTrack) {
        release();
        return vkErrOutOfMemory;
    }
    mRows = rows;
    mCount = 0;
    return vkOk;
}

void CMbfGlide::release()
{
    mBase.reset();
    mRamp.reset();
    mSlope.reset();
    mTrack.reset();
    mRows = 0;
}

void CMbfGlide::settle(int target)
{
    mPosition = target;
    mCount = 0;
}

int CMbfGlide::column(int position) const
{
    return mWraps ? (position + mColumns) % mColumns : position;
}

void CMbfGlide::beginStep(int target)
{
    const int distance = target - mPosition;
    mStep = distance > 0 ? 1 : -1;
    if (mWraps && (distance > mColumns / 2 || distance < -mColumns / 2))
        mStep = -mStep;
    const int from = mPosition;
    const int to = column(mPosition + mStep);
    for (int r = 0; r < mRows; ++r) {
        const float* row = mTable + r * mColumns;
        mBase[r] = row[from];
        mSlope[r] = (row[to] - row[from]) * kStepScale;
        mRamp[r] = 0.0f;
    }
    mCount = kStepLength;
}

bool CMbfGlide::runLazily(const std::atomic<int>& target, float* const* gains, int frames)
{
    int s = 0;
    if (mCount == 0) {
        for (; s < frames && target.load(std::memory_order_relaxed) == mPosition; ++s)
            mTrack[s] = mPosition;
        if (s == frames)
            return true;
        // The target moved at sample s; runFrom reads it again there, and either value
        // is one the control thread stored.
        fillRest(gains, s);
    }
    runFrom(target, gains, s, frames);
    return false;
}

void CMbfGlide::fillRest(float* const* gains, int frames) const
{
    for (int r = 0; r < mRows; ++r)
        std::fill_n(gains[r], frames, restGain(r));
}

void CMbfGlide::runFrom(const std::atomic<int>& target, float* const* gains, int first, int frames)
{
    for (int s = first; s < frames; ++s) {
        const int want = target.load(std::memory_order_relaxed);
        if (mCount == 0 && mPosition == want) {
            for (int r = 0; r < mRows; ++r)
                gains[r][s] = mTable[r * mColumns + want];
        } else {
            // A step once begun runs to its end, so the gains never jump back.
            if (mCount == 0)
                beginStep(want);
            if (--mCount == 0) {
                mPosition = column(mPosition + mStep);
                for (int r = 0; r < mRows; ++r)
                    gains[r][s] = mTable[r * mColumns + mPosition];
            } else {
                for (int r = 0; r < mRows; ++r) {
                    mRamp[r] += mSlope[r];
                    gains[r][s] = mBase[r] + mRamp[r];
                }
            }
        }
        mTrack[s] = mPosition;
    }
}
