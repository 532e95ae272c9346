// Compiled once per instruction set (foreach_target) for the envelope kernel; the class
// itself is compiled once, in the HWY_ONCE part, and calls the best kernel at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "stages/CMaxValue.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "stages/CMaxValue.h"

HWY_BEFORE_NAMESPACE();
namespace vk::levels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Steps laneCount envelopes once per row of `lanes` (frames rows of laneCount
// magnitudes): d = x - e; e += d * (d > 0 ? attack : release). Multiply, then add, as the
// one-channel recursion does; the lanes never mix.
void EnvelopeLanesKernel(const float* lanes, std::size_t frames, float* envelope, float attack, float release)
{
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    constexpr std::size_t kVectors = CMaxValue::laneCount / kLanes;
    static_assert(kVectors * kLanes == CMaxValue::laneCount);
    const V zero = hn::Zero(d), rise = hn::Set(d, attack), fall = hn::Set(d, release);
    V e[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v)
        e[v] = hn::LoadU(d, envelope + v * kLanes);
    for (std::size_t i = 0; i < frames; ++i, lanes += CMaxValue::laneCount) {
        for (std::size_t v = 0; v < kVectors; ++v) {
            const V diff = hn::Sub(hn::LoadU(d, lanes + v * kLanes), e[v]);
            e[v] = hn::Add(e[v], hn::Mul(diff, hn::IfThenElse(hn::Gt(diff, zero), rise, fall)));
        }
    }
    for (std::size_t v = 0; v < kVectors; ++v)
        hn::StoreU(e[v], d, envelope + v * kLanes);
}

} // namespace vk::levels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "core/primitives/ipps.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace vk::levels {
HWY_EXPORT(EnvelopeLanesKernel);
} // namespace vk::levels

namespace {
int groupsOf(int channels)
{
    return (channels + CMaxValue::laneCount - 1) / CMaxValue::laneCount;
}
} // namespace

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
    for (float** buffer : {&mEnvelope, &mMagnitude, &mLanes}) {
        ippsFree(*buffer);
        *buffer = nullptr;
    }
    mChannels = 0;
    mBlockLength = 0;
}

// Every group of channels has its own gathering scratch, so that the lanes without a
// channel in the last group are never written and keep their envelopes at 0.
int CMaxValue::allocateBuffers(int channels, int block)
{
    const int padded = groupsOf(channels) * laneCount;
    if (channels > 0) {
        mPeak.reset(new (std::nothrow) float[channels]);
        mEnvelope = ippsMalloc_32f(padded);
        if (!mPeak || !mEnvelope)
            return vkErrOutOfMemory;
        mChannels = channels;
    }
    if (channels > 0 && block > 0) {
        mMagnitude = ippsMalloc_32f(block);
        mLanes = ippsMalloc_32f(padded * chunkFrames);
        if (!mMagnitude || !mLanes)
            return vkErrOutOfMemory;
        ippsZero_32f(mLanes, padded * chunkFrames);
        mBlockLength = block;
    }
    return vkOk;
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
    if (allocateBuffers(in.channels(), in.frameLength()) != vkOk) {
        releaseBuffers();
        return vkErrOutOfMemory;
    }
    std::fill_n(mPeak.get(), mChannels, 0.0f);
    std::fill_n(mEnvelope, groupsOf(mChannels) * laneCount, 0.0f);
    computeCoefficients();
    return vkOk;
}

// Gathers the magnitudes of the group that starts at channel `first`, frame after frame,
// a chunk at a time, and steps the group's envelopes over each chunk.
void CMaxValue::followEnvelopes(const float* const* in, int first, int frames)
{
    const int count = std::min(laneCount, mChannels - first);
    float* lanes = mLanes + first * chunkFrames;
    for (int done = 0; done < frames; done += chunkFrames) {
        const int n = std::min(chunkFrames, frames - done);
        for (int lane = 0; lane < count; ++lane) {
            const float* x = in[first + lane] + done;
            for (int i = 0; i < n; ++i)
                lanes[i * laneCount + lane] = std::fabs(x[i]);
        }
        HWY_DYNAMIC_DISPATCH(vk::levels::EnvelopeLanesKernel)
        (lanes, std::size_t(n), mEnvelope + first, mAttackCoefficient, mReleaseCoefficient);
    }
}

// Far below anything a meter shows: settle at 0 before the decay turns denormal, and
// recover from a non-finite input instead of holding it forever. Once a block.
void CMaxValue::settleEnvelopes()
{
    for (int ch = 0; ch < mChannels; ++ch) {
        const float e = mEnvelope[ch];
        mEnvelope[ch] = e >= 1e-20f && e <= 1e20f ? e : 0.0f;
    }
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
    }
    for (int first = 0; first < mChannels; first += laneCount)
        followEnvelopes(in, first, frames);
    settleEnvelopes();
    return vkOk;
}

void CMaxValue::reset()
{
    std::lock_guard<std::mutex> guard(mLock);
    std::fill_n(mPeak.get(), mChannels, 0.0f);
    std::fill_n(mEnvelope, mChannels, 0.0f);
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
    std::copy_n(mEnvelope, count, envelopes);
}

#endif // HWY_ONCE
