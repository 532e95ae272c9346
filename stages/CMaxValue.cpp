#include "stages/CMaxValue.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <new>

CMaxValue::CMaxValue()
{
    computeCoefficients();
}

CMaxValue::~CMaxValue()
{
    releaseBuffers();
}

void CMaxValue::computeCoefficients()
{
    const float rate = mInFormat.sampleRate();
    if (rate <= 0.0f) {
        mAttackCoefficient = mReleaseCoefficient = 1.0f;
        return;
    }
    const float t = 1.0f / rate;
    mAttackCoefficient = t / (mAttackTime + t);
    mReleaseCoefficient = t / (mReleaseTime + t);
}

void CMaxValue::releaseBuffers()
{
    mPeak.reset();
    mEnvelope.reset();
    ippsFree(mMagnitude);
    mMagnitude = nullptr;
    mChannels = 0;
    mBlockLength = 0;
}

int CMaxValue::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (!in.isSinglePrecision())
        return vkErrFormat;
    std::lock_guard<std::mutex> guard(mLock);
    vkAudioClass::setFormat(in, out);
    releaseBuffers();
    const int channels = in.channels();
    const int block = in.frameLength();
    if (channels > 0) {
        mPeak.reset(new (std::nothrow) float[channels]);
        mEnvelope.reset(new (std::nothrow) float[channels]);
        if (!mPeak || !mEnvelope) {
            releaseBuffers();
            return vkErrOutOfMemory;
        }
        mChannels = channels;
    }
    if (block > 0) {
        mMagnitude = ippsMalloc_32f(block);
        if (!mMagnitude) {
            releaseBuffers();
            return vkErrOutOfMemory;
        }
        mBlockLength = block;
    }
    std::fill_n(mPeak.get(), mChannels, 0.0f);
    std::fill_n(mEnvelope.get(), mChannels, 0.0f);
    computeCoefficients();
    return vkOk;
}

void CMaxValue::followEnvelope(int channel, int frames)
{
    float envelope = mEnvelope[channel];
    const float attack = mAttackCoefficient;
    const float release = mReleaseCoefficient;
    for (int i = 0; i < frames; ++i) {
        const float d = mMagnitude[i] - envelope;
        envelope += d * (d > 0.0f ? attack : release);
    }
    // Far below anything a meter shows: settle at 0 before the decay turns denormal, and
    // recover from a non-finite input instead of holding it forever.
    mEnvelope[channel] = envelope >= 1e-20f && envelope <= 1e20f ? envelope : 0.0f;
}

int CMaxValue::process(float** in, float**, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    frames = std::min(frames, mBlockLength);
    if (frames < 1)
        return vkOk;
    std::lock_guard<std::mutex> guard(mLock);
    for (int ch = 0; ch < mChannels; ++ch) {
        ippsAbs_32f(in[ch], mMagnitude, frames);
        float m = 0.0f;
        ippsMax_32f(mMagnitude, frames, &m);
        mPeak[ch] = std::max(mPeak[ch], m);
        followEnvelope(ch, frames);
    }
    return vkOk;
}

void CMaxValue::reset()
{
    std::lock_guard<std::mutex> guard(mLock);
    std::fill_n(mPeak.get(), mChannels, 0.0f);
    std::fill_n(mEnvelope.get(), mChannels, 0.0f);
}

int CMaxValue::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

void CMaxValue::readLevels(float* peaks, float* envelopes, int count)
{
    std::lock_guard<std::mutex> guard(mLock);
    count = std::clamp(count, 0, mChannels);
    std::copy_n(mPeak.get(), count, peaks);
    std::fill_n(mPeak.get(), count, 0.0f);
    std::copy_n(mEnvelope.get(), count, envelopes);
}
