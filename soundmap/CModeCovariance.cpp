#include "soundmap/CModeCovariance.h"

#include "soundmap/VectorClones.h"

#include <algorithm>

CModeCovariance::CModeCovariance(double sampleRate, int periodFrames)
    : mPeriod(std::max(1, periodFrames))
    , mBand(sampleRate, kLowEdge, kHighEdge)
{
}

void CModeCovariance::setPeriod(int frames)
{
    mPeriod = std::max(1, frames);
    reset();
}

void CModeCovariance::reset()
{
    for (ModeCovarianceFrame& slot : mSlots)
        slot = ModeCovarianceFrame{};
    mBand.reset();
    mWrite = 0;
    mRead = 2;
    mPublished = 0;
    mMiddle.store(1, std::memory_order_release);
}

// Chunks of kChunk: interleave and band-pass the modes, then sum up to the period's end,
// publish, go on.
void CModeCovariance::feedModes(const float* const* modes, int count, int frames)
{
    if (count < kModes || !modes)
        return;
    for (int offset = 0; offset < frames; offset += kChunk) {
        const int length = std::min(kChunk, frames - offset);
        for (int k = 0; k < kModes; ++k)
            for (int t = 0; t < length; ++t)
                mFrames[t][k] = modes[k][offset + t];
        mBand.process(mFrames, length);
        int done = 0;
        while (done < length) {
            ModeCovarianceFrame& slot = mSlots[mWrite];
            const int take = std::min<int>(length - done, int(mPeriod - slot.frames));
            accumulate(done, done + take);
            slot.frames += take;
            done += take;
            if (slot.frames >= mPeriod)
                publish();
        }
    }
}

// Products of a chunk (at most 64 samples) are summed in single precision row by row,
// even and odd samples in separate partial sums so that the two chains overlap, then
// the row's upper part goes into the double sums.
VK_VECTOR_CLONES
void CModeCovariance::accumulate(int begin, int end)
{
    double* sums = mSlots[mWrite].sums;
    for (int i = 0, entry = 0; i < kModes; ++i) {
        alignas(64) float even[kModes] = {};
        alignas(64) float odd[kModes] = {};
        int t = begin;
        for (; t + 1 < end; t += 2) {
            const float* x = mFrames[t];
            const float* y = mFrames[t + 1];
            for (int j = 0; j < kModes; ++j) {
                even[j] += x[i] * x[j];
                odd[j] += y[i] * y[j];
            }
        }
        if (t < end)
            for (int j = 0; j < kModes; ++j)
                even[j] += mFrames[t][i] * mFrames[t][j];
        for (int j = i; j < kModes; ++j, ++entry)
            sums[entry] += double(even[j]) + double(odd[j]);
    }
}

void CModeCovariance::publish()
{
    mSlots[mWrite].sequence = ++mPublished;
    const std::uint32_t previous = mMiddle.exchange(std::uint32_t(mWrite) | kFresh, std::memory_order_acq_rel);
    mWrite = int(previous & ~kFresh);
    mSlots[mWrite] = ModeCovarianceFrame{};
}

bool CModeCovariance::fetch(ModeCovarianceFrame& out)
{
    if (!(mMiddle.load(std::memory_order_relaxed) & kFresh))
        return false;
    const std::uint32_t previous = mMiddle.exchange(std::uint32_t(mRead), std::memory_order_acq_rel);
    mRead = int(previous & ~kFresh);
    out = mSlots[mRead];
    return true;
}
