#include "beamformer/vkxShadowFilter.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <climits>
#include <new>

vkxShadowFilter::~vkxShadowFilter() = default;

int vkxShadowFilter::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (!in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision() || !out.isSinglePrecision()
        || in.sampleRate() != out.sampleRate() || !(in.sampleRate() > 0.0f)
        || in.frameLength() != out.frameLength() || in.frameLength() < 1 || in.channels() < 0
        || out.channels() < 0)
        return vkErrFormat;
    releaseStorage();
    vkAudioClass::setFormat(in, out);
    mChannelCount = std::min(in.channels(), out.channels());
    const int blockLength = in.frameLength();
    if (allocateStorage(blockLength) != vkOk
        || mBanks.buildFade(in.sampleRate(), kFadeTimeConstantMs) != vkOk) {
        releaseStorage();
        return vkErrOutOfMemory;
    }
    mBlockLength = blockLength;
    return setFilterDelay(mFilterDelay);
}

void vkxShadowFilter::releaseStorage()
{
    mBlockLength = 0;
    mFirReady = false;
    mBanks.clear();
    for (auto& filters : mFilters)
        filters.reset();
    for (auto& outputs : mBankOutput)
        outputs.reset();
    mStorage.reset();
    mScratch = nullptr;
}

int vkxShadowFilter::allocateStorage(int blockLength)
{
    const int channels = mChannelCount;
    if ((static_cast<long long>(blockLength) + 8) * (2LL * channels + 1) > INT_MAX)
        return vkErrOutOfMemory;
    const int stride = (blockLength + 7) & ~7;
    for (auto& filters : mFilters) {
        filters.reset(new (std::nothrow) vkxPaddedFir[std::max(channels, 1)]);
        if (!filters)
            return vkErrOutOfMemory;
    }
    mStorage.reset(ippsMalloc_32f(stride * (2 * channels + 1)));
    if (!mStorage)
        return vkErrOutOfMemory;
    ippsZero_32f(mStorage.get(), stride * (2 * channels + 1));
    float* next = mStorage.get();
    for (auto& outputs : mBankOutput) {
        outputs.reset(new (std::nothrow) float*[std::max(channels, 1)]);
        if (!outputs)
            return vkErrOutOfMemory;
        for (int ch = 0; ch < channels; ++ch, next += stride)
            outputs[ch] = next;
    }
    mScratch = next;
    return vkOk;
}

int vkxShadowFilter::setFilterDelay(float delay)
{
    if (mStarted)
        return vkErrStarted;
    if (!(delay >= 0.0f))
        return vkErrRange;
    if (delay >= static_cast<float>(INT_MAX / 2))
        return vkErrOutOfMemory;
    mFilterDelay = delay;
    mBanks.clear();
    mFirReady = false;
    if (mBlockLength <= 0)
        return vkOk;
    const int whole = static_cast<int>(delay);
    int stateSize = 0;
    ippsFIRGetStateSize_32f(2 * whole + 1, &stateSize);
    for (auto& filters : mFilters)
        for (int ch = 0; ch < mChannelCount; ++ch)
            if (filters[ch].reserve(stateSize, whole) != vkOk)
                return vkErrOutOfMemory;
    mFirReady = true;
    return vkOk;
}

int vkxShadowFilter::setFilter(int length, const float* taps)
{
    if (mChannelCount < 1)
        return kErrNoChannel;
    if (length < 0 || (length > 0 && !taps))
        return vkErrRange;
    if (length > 2 * static_cast<int>(mFilterDelay) + 1)
        return kErrFilterTooLong;
    if (!mFirReady)
        return vkErrOutOfMemory;
    const int bank = mBanks.claim();
    const int whole = static_cast<int>(mFilterDelay);
    for (int ch = 0; ch < mChannelCount; ++ch) {
        if (mFilters[bank][ch].load(taps, length, whole) != vkOk) {
            mBanks.release(bank);
            return vkErrOutOfMemory;
        }
    }
    mBanks.publish(bank, length);
    return vkOk;
}

int vkxShadowFilter::process(float** in, float** out, int frames)
{
    if (mBlockLength <= 0)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mBlockLength)
        return vkErrFormat;
    mBanks.beginBlock();
    const int current = mBanks.current();
    if (current < 0 || frames == 0)
        return vkOk;
    const int next = mBanks.next();
    for (int ch = 0; ch < mChannelCount; ++ch) {
        mFilters[current][ch].run(in[ch], mScratch, mBankOutput[0][ch], frames);
        if (next >= 0)
            mFilters[next][ch].run(in[ch], mScratch, mBankOutput[1][ch], frames);
    }
    const vkxShadowFilterBanks::Span span = mBanks.advance(frames);
    for (int ch = 0; ch < mChannelCount; ++ch)
        mBanks.mix(span, mBankOutput[0][ch], mBankOutput[1][ch], out[ch], frames);
    mBanks.endBlock(span);
    return vkOk;
}

void vkxShadowFilter::reset()
{
    const int current = mBanks.current();
    if (current < 0)
        return;
    for (int ch = 0; ch < mChannelCount; ++ch)
        mFilters[current][ch].clearHistory();
}

int vkxShadowFilter::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

int vkxShadowFilter::start()
{
    const int before = mBanks.current();
    mBanks.settle();
    // A filter that ran unheard before the stop starts from silence like the one it replaces.
    if (mBanks.current() != before)
        reset();
    mStarted = true;
    return vkOk;
}
