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
// one-channel recursion does; the lanes never mix. A larger magnitude raises the peak; a
// NaN compares false and leaves it.
void EnvelopeLanesKernel(const float* lanes, std::size_t frames, float* envelope, float* peak, float attack,
                         float release)
{
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    constexpr std::size_t kVectors = CMaxValue::laneCount / kLanes;
    static_assert(kVectors * kLanes == CMaxValue::laneCount);
    const V zero = hn::Zero(d), rise = hn::Set(d, attack), fall = hn::Set(d, release);
    V e[kVectors], p[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
        e[v] = hn::LoadU(d, envelope + v * kLanes);
        p[v] = hn::LoadU(d, peak + v * kLanes);
    }
    for (std::size_t i = 0; i < frames; ++i, lanes += CMaxValue::laneCount) {
        for (std::size_t v = 0; v < kVectors; ++v) {
            const V x = hn::LoadU(d, lanes + v * kLanes);
            p[v] = hn::IfThenElse(hn::Gt(x, p[v]), x, p[v]);
            const V diff = hn::Sub(x, e[v]);
            e[v] = hn::Add(e[v], hn::Mul(diff, hn::IfThenElse(hn::Gt(diff, zero), rise, fall)));
        }
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
        hn::StoreU(e[v], d, envelope + v * kLanes);
        hn::StoreU(p[v], d, peak + v * kLanes);
    }
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
    for (float** buffer : {&mPeak, &mEnvelope, &mLanes}) {
        ippsFree(*buffer);
        *buffer = nullptr;
    }
    mChannels = 0;
    mBlockLength = 0;
}

// Every group of channels has its own gathering scratch, so that the lanes without a
// channel in the last group are never written and keep their levels at 0.
int CMaxValue::allocateBuffers(int channels, int block)
{
    const int padded = groupsOf(channels) * laneCount;
    if (channels > 0) {
        mPeak = ippsMalloc_32f(padded);
        mEnvelope = ippsMalloc_32f(padded);
        if (!mPeak || !mEnvelope)
            return vkErrOutOfMemory;
        mChannels = channels;
    }
    if (channels > 0 && block > 0) {
        mLanes = ippsMalloc_32f(padded * chunkFrames);
        if (!mLanes)
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
    std::fill_n(mPeak, groupsOf(mChannels) * laneCount, 0.0f);
    std::fill_n(mEnvelope, groupsOf(mChannels) * laneCount, 0.0f);
    computeCoefficients();
    return vkOk;
}

// Gathers the magnitudes of the group that starts at channel `first`, frame after frame,
// a chunk at a time, and steps the group's peaks and envelopes over each chunk.
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
        (lanes, std::size_t(n), mEnvelope + first, mPeak + first, mAttackCoefficient, mReleaseCoefficient);
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
    for (int first = 0; first < mChannels; first += laneCount)
        followEnvelopes(in, first, frames);
    settleEnvelopes();
    return vkOk;
}

void CMaxValue::reset()
{
    std::lock_guard<std::mutex> guard(mLock);
    std::fill_n(mPeak, mChannels, 0.0f);
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
    std::copy_n(mPeak, count, peaks);
    std::fill_n(mPeak, count, 0.0f);
    std::copy_n(mEnvelope, count, envelopes);
}

#endif // HWY_ONCE
