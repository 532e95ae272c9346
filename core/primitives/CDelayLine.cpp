#include "core/primitives/CDelayLine.h"

#include "core/primitives/ipps.h"

#include <algorithm>

CDelayLine::CDelayLine()
    : mBuffer(ippsMalloc_32f(mCapacity + 1))
{
    if (mBuffer)
        std::fill_n(mBuffer, mCapacity + 1, 0.0f);
}

CDelayLine::~CDelayLine() { ippsFree(mBuffer); }

int CDelayLine::setDelay(int delay)
{
    delay = std::max(delay, 0);
    if (delay > mCapacity || !mBuffer) {
        ippsFree(mBuffer);
        mCapacity = delay;
        mDelay = delay;
        mBuffer = ippsMalloc_32f(delay + 1);
        if (!mBuffer)
            return 1;
    }
    mDelay = delay;
    mPosition = 0;
    std::fill_n(mBuffer, delay + 1, 0.0f);
    return 0;
}

// A line whose buffer could not be grown gives silence rather than touching memory.
void CDelayLine::process(const float* in, float* out, int frames)
{
    if (!mBuffer) {
        std::fill_n(out, std::max(frames, 0), 0.0f);
        return;
    }
    const int ring = mDelay + 1;
    for (int i = 0; i < frames; ++i) {
        mBuffer[mPosition] = in[i];
        mPosition = mPosition + 1 == ring ? 0 : mPosition + 1;
        out[i] = mBuffer[mPosition];
    }
}
