#include "core/primitives/CDelayLine.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

namespace {
void copyFloats(float* dst, const float* src, int count)
{
    if (count > 0)
        std::memcpy(dst, src, sizeof(float) * static_cast<std::size_t>(count));
}
} // namespace

CDelayLine::CDelayLine()
    : mStorage(ippsMalloc_32f(2 * (mCapacity + 1)))
{
    if (!mStorage)
        return;
    std::fill_n(mStorage, 2 * (mCapacity + 1), 0.0f);
    mBuffer = mStorage;
    mScratch = mStorage + mCapacity + 1;
}

CDelayLine::~CDelayLine() { ippsFree(mStorage); }

int CDelayLine::setDelay(int delay)
{
    delay = std::max(delay, 0);
    if (delay > mCapacity || !mStorage) {
        ippsFree(mStorage);
        mBuffer = mScratch = nullptr;
        mCapacity = delay;
        mDelay = delay;
        mStorage = delay < INT_MAX / 2 ? ippsMalloc_32f(2 * (delay + 1)) : nullptr;
        if (!mStorage)
            return 1;
        mBuffer = mStorage;
        mScratch = mStorage + delay + 1;
    }
    mDelay = delay;
    mPosition = 0;
    std::fill_n(mBuffer, delay + 1, 0.0f);
    return 0;
}

// Equivalent to, for each sample: mBuffer[mPosition] = in; mPosition = (mPosition + 1)
// mod (mDelay + 1); out = mBuffer[mPosition]. The output is the pending samples followed
// by the input, and the ring keeps the last mDelay samples of that stream; where the
// ring's positions land is free, since only their order is ever observed.
// A line whose buffer could not be grown gives silence rather than touching memory.
void CDelayLine::process(const float* in, float* out, int frames)
{
    if (!mStorage) {
        std::fill_n(out, std::max(frames, 0), 0.0f);
        return;
    }
    if (frames <= 0 || (mDelay == 0 && in == out))
        return;
    if (in == out)
        processInPlace(out, frames);
    else
        processApart(in, out, frames);
}

void CDelayLine::processApart(const float* in, float* out, int frames)
{
    if (frames < mDelay) {
        readRing(out, frames);
        writeRing(in, frames);
        return;
    }
    readRing(out, mDelay);
    copyFloats(out + mDelay, in, frames - mDelay);
    // The newest mDelay inputs become the pending samples, laid out from index 0.
    copyFloats(mBuffer, in + frames - mDelay, mDelay);
    mPosition = mDelay;
}

void CDelayLine::processInPlace(float* io, int frames)
{
    if (frames < mDelay) {
        copyFloats(mScratch, io, frames);
        readRing(io, frames);
        writeRing(mScratch, frames);
        return;
    }
    // The block's tail is saved before the shift overwrites it, then serves as the ring.
    copyFloats(mScratch, io + frames - mDelay, mDelay);
    std::memmove(io + mDelay, io, sizeof(float) * static_cast<std::size_t>(frames - mDelay));
    readRing(io, mDelay);
    std::swap(mBuffer, mScratch);
    mPosition = mDelay;
}

void CDelayLine::readRing(float* dst, int count) const
{
    const int ring = mDelay + 1;
    const int start = mPosition + 1 == ring ? 0 : mPosition + 1;
    const int first = std::min(count, ring - start);
    copyFloats(dst, mBuffer + start, first);
    copyFloats(dst + first, mBuffer, count - first);
}

void CDelayLine::writeRing(const float* src, int count)
{
    const int ring = mDelay + 1;
    const int first = std::min(count, ring - mPosition);
    copyFloats(mBuffer + mPosition, src, first);
    copyFloats(mBuffer, src + first, count - first);
    mPosition = (mPosition + count) % ring;
}
