#include "plugins/lv2/CReblocker.h"

#include <cstring>

bool CReblocker::configure(int inputs, int outputs, int blockLength)
{
    if (inputs < 0 || outputs < 0 || blockLength < 1)
        return false;
    mBlock = blockLength;
    mStorage.assign(std::size_t(inputs + outputs) * std::size_t(blockLength), 0.0f);
    mIn.resize(std::size_t(inputs));
    mOut.resize(std::size_t(outputs));
    float* next = mStorage.data();
    for (float*& channel : mIn) {
        channel = next;
        next += blockLength;
    }
    for (float*& channel : mOut) {
        channel = next;
        next += blockLength;
    }
    mFill = 0;
    return true;
}

void CReblocker::clear()
{
    std::fill(mStorage.begin(), mStorage.end(), 0.0f);
    mFill = 0;
}

void CReblocker::take(const float* const* in, int offset, int frames)
{
    const std::size_t bytes = std::size_t(frames) * sizeof(float);
    for (std::size_t ch = 0; ch < mIn.size(); ++ch) {
        float* to = mIn[ch] + mFill;
        if (in[ch])
            std::memcpy(to, in[ch] + offset, bytes);
        else
            std::memset(to, 0, bytes);
    }
}

void CReblocker::give(float* const* out, int offset, int frames)
{
    const std::size_t bytes = std::size_t(frames) * sizeof(float);
    for (std::size_t ch = 0; ch < mOut.size(); ++ch)
        if (out[ch])
            std::memcpy(out[ch] + offset, mOut[ch] + mFill, bytes);
}
