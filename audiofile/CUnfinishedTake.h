#pragma once
// A take its program left unfinished (killed, or the power gone): the sizes in its
// header disagree with the file's length. The inspection reads the header's chunks up
// to the samples; repair() finishes the take from its last whole frame as the
// recorder's close would have (CWaveFile::finishUnfinished). A take that is unfinished
// and also damaged (no format, no data chunk, a chunk running past the end) is refused
// with the reason and left as it is. Files that are not wave files are no takes.

#include "audiofile/CWaveChunks.h"

#include <QString>

#include <cstdint>
#include <vector>

class CUnfinishedTake {
public:
    enum tState { stateFinished, stateUnfinished, stateDamaged, stateNotWave };

    explicit CUnfinishedTake(const QString& path);

    // The wave files in `folder` that a crash left unfinished, damaged ones included,
    // in name order.
    static std::vector<CUnfinishedTake> find(const QString& folder);

    tState state() const { return mState; }
    const QString& path() const { return mPath; }
    // Why a damaged take cannot be repaired, or why a repair failed.
    const QString& reason() const { return mReason; }
    // The whole frames the repair keeps.
    std::int64_t frames() const { return mFmt.mBlockAlign ? std::int64_t(mDataBytes / mFmt.mBlockAlign) : 0; }
    double seconds() const { return mFmt.mSampleRate ? double(frames()) / mFmt.mSampleRate : 0.0; }

    // Finishes an unfinished take; false with reason() for any other, which stays as it is.
    bool repair();

private:
    void inspect();
    void damaged(const QString& reason);

    QString mPath;
    tState mState = stateNotWave;
    QString mReason;
    CFmtChunk mFmt;
    std::uint64_t mDataOffset = 0;
    std::uint64_t mDataBytes = 0;
};
