// Compiled once per instruction set (foreach_target) for the level kernel; the class
// itself is compiled once, in the HWY_ONCE part, and calls the best kernel at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "stages/CMaxValue.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "stages/CMaxValue.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace vk::levels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kRow = CMaxValue::laneCount;

// One lane of a row at a time: the edges of the tiles below.
HWY_INLINE void gatherOne(const float* const* channels, std::size_t c, std::size_t offset, std::size_t from,
                          std::size_t to, float* lanes)
{
    for (std::size_t i = from; i < to; ++i)
        lanes[i * kRow + c] = std::fabs(channels[c][offset + i]);
}

// lanes[i * kRow + c] = |channels[c][offset + i]| for c < count and i < frames: tiles of
// four channels by four frames, transposed in registers.
HWY_INLINE void gatherLanes(const float* const* channels, std::size_t count, std::size_t offset,
                            std::size_t frames, float* lanes)
{
    std::size_t c = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::FixedTag<float, 4> d;
    const hn::Repartition<std::uint64_t, decltype(d)> d64;
    for (; c + 4 <= count; c += 4) {
        std::size_t i = 0;
        for (; i + 4 <= frames; i += 4) {
            const auto r0 = hn::Abs(hn::LoadU(d, channels[c] + offset + i));
            const auto r1 = hn::Abs(hn::LoadU(d, channels[c + 1] + offset + i));
            const auto r2 = hn::Abs(hn::LoadU(d, channels[c + 2] + offset + i));
            const auto r3 = hn::Abs(hn::LoadU(d, channels[c + 3] + offset + i));
            // Pairs of channels per frame, then pairs of pairs.
            const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d, r0, r1));
            const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d, r2, r3));
            const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d, r0, r1));
            const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d, r2, r3));
            float* row = lanes + i * kRow + c;
            hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d64, low01, low23)), d, row);
            hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d64, low01, low23)), d, row + kRow);
            hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d64, high01, high23)), d, row + 2 * kRow);
            hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d64, high01, high23)), d, row + 3 * kRow);
        }
        for (std::size_t k = 0; k < 4; ++k)
            gatherOne(channels, c + k, offset, i, frames, lanes);
    }
#endif
    for (; c < count; ++c)
        gatherOne(channels, c, offset, 0, frames, lanes);
}

// Steps kRow envelopes once per row of `lanes`: d = x - e; e += d * (d > 0 ? attack :
// release). Multiply, then add, as the one-channel recursion does; the lanes never mix.
// A larger magnitude raises the peak; a NaN compares false and leaves it.
HWY_INLINE void stepLanes(const float* lanes, std::size_t frames, float* envelope, float* peak, float attack,
                          float release)
{
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    constexpr std::size_t kVectors = kRow / kLanes;
    static_assert(kVectors * kLanes == kRow);
    const V up = hn::Set(d, attack), down = hn::Set(d, release);
    V e[kVectors], p[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
        e[v] = hn::LoadU(d, envelope + v * kLanes);
        p[v] = hn::LoadU(d, peak + v * kLanes);
    }
    for (std::size_t i = 0; i < frames; ++i, lanes += kRow) {
        for (std::size_t v = 0; v < kVectors; ++v) {
            const V x = hn::LoadU(d, lanes + v * kLanes);
            p[v] = hn::IfThenElse(hn::Gt(x, p[v]), x, p[v]);
            // Both steps, then the one the sign of d picks: a shorter chain from one
            // frame to the next than picking the coefficient first. x > e exactly when
            // x - e > 0, and where a flushed difference tells them apart the step adds 0.
            const V diff = hn::Sub(x, e[v]);
            const auto rising = hn::Gt(x, e[v]);
            e[v] = hn::IfThenElse(rising, hn::Add(e[v], hn::Mul(diff, up)), hn::Add(e[v], hn::Mul(diff, down)));
        }
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
        hn::StoreU(e[v], d, envelope + v * kLanes);
        hn::StoreU(p[v], d, peak + v * kLanes);
    }
}

// The levels of up to kRow channels over `frames` frames, a chunk of frames at a time so
// that the gathered magnitudes stay in the first-level cache.
void FollowLevelsKernel(const float* const* channels, std::size_t count, std::size_t frames, float* lanes,
                        float* envelope, float* peak, float attack, float release)
{
    constexpr std::size_t kChunk = CMaxValue::chunkFrames;
    for (std::size_t done = 0; done < frames; done += kChunk) {
        const std::size_t n = std::min(kChunk, frames - done);
        gatherLanes(channels, count, done, n, lanes);
        stepLanes(lanes, n, envelope, peak, attack, release);
    }
}

} // namespace vk::levels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include "core/primitives/ipps.h"

namespace vk::levels {
HWY_EXPORT(FollowLevelsKernel);
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

// Each group of laneCount channels has its own stretch of the scratch and of the levels.
void CMaxValue::followLevels(const float* const* in, int first, int frames)
{
    const int count = std::min(laneCount, mChannels - first);
    HWY_DYNAMIC_DISPATCH(vk::levels::FollowLevelsKernel)
    (in + first, std::size_t(count), std::size_t(frames), mLanes + first * chunkFrames, mEnvelope + first,
     mPeak + first, mAttackCoefficient, mReleaseCoefficient);
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
        followLevels(in, first, frames);
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
