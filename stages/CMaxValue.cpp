// Compiled once per instruction set (foreach_target) for the level kernel; the class
// itself is compiled once, in the HWY_ONCE part, and calls the best kernel at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "stages/CMaxValue.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "core/primitives/HwyBlocks-inl.h"
#include "stages/CMaxValue.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

HWY_BEFORE_NAMESPACE();
namespace vk::levels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
namespace blocks = vk::blocks::HWY_NAMESPACE;

constexpr std::size_t kRow = CMaxValue::laneCount;

// One level step of every lane: d = x - e; e += d * (d > 0 ? attack : release).
// Multiply, then add, as the one-channel recursion does; the lanes never mix. A larger
// magnitude raises the peak; a NaN compares false and leaves it.
template <class V>
HWY_INLINE void stepLane(V x, V& e, V& p, V up, V down)
{
    p = hn::IfThenElse(hn::Gt(x, p), x, p);
    // Both steps, then the one the sign of d picks: a shorter chain from one frame to the
    // next than picking the coefficient first. x > e exactly when x - e > 0, and where a
    // flushed difference tells them apart the step adds 0.
    const V diff = hn::Sub(x, e);
    const auto rising = hn::Gt(x, e);
    e = hn::IfThenElse(rising, hn::Add(e, hn::Mul(diff, up)), hn::Add(e, hn::Mul(diff, down)));
}

#if HWY_TARGET != HWY_SCALAR
// Four frames from f on of the channels lanes[0 .. L-1], one vector per frame with the
// channels in lane order: row k holds in block b the four samples of channel 4b + k, and
// a 4 x 4 transpose inside every block turns the rows into frames.
template <class D>
HWY_INLINE void loadFrames(D d, const float* const* lanes, std::size_t f, hn::Vec<D>* x)
{
    const auto row = [&](std::size_t k) {
        return blocks::LoadBlocks(d, [&](std::size_t b) { return lanes[k + 4 * b] + f; });
    };
    // Transposed in locals, not in place in x: the compiler keeps locals in registers,
    // and the level kernel took half as long again with x's elements.
    auto v0 = row(0), v1 = row(1), v2 = row(2), v3 = row(3);
    blocks::Transpose4x4InBlocks(d, v0, v1, v2, v3);
    x[0] = hn::Abs(v0);
    x[1] = hn::Abs(v1);
    x[2] = hn::Abs(v2);
    x[3] = hn::Abs(v3);
}
#endif

// The levels of kRow channels, lanes[c] being the samples of lane c (a silent channel
// where a lane has none), over `frames` frames. Four frames at a time go from the
// channels straight into registers, one vector per frame, and step there; no scratch.
// The frames after the last four are gathered one by one.
void FollowLevelsKernel(const float* const* lanes, std::size_t frames, float* envelope, float* peak, float attack,
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
    std::size_t f = 0;
#if HWY_TARGET != HWY_SCALAR
    for (; f + 4 <= frames; f += 4) {
        V x[kVectors][4];
        for (std::size_t v = 0; v < kVectors; ++v)
            loadFrames(d, lanes + v * kLanes, f, x[v]);
        for (std::size_t k = 0; k < 4; ++k)
            for (std::size_t v = 0; v < kVectors; ++v)
                stepLane(x[v][k], e[v], p[v], up, down);
    }
#endif
    HWY_ALIGN float row[kRow];
    for (; f < frames; ++f) {
        for (std::size_t c = 0; c < kRow; ++c)
            row[c] = std::fabs(lanes[c][f]);
        for (std::size_t v = 0; v < kVectors; ++v)
            stepLane(hn::Load(d, row + v * kLanes), e[v], p[v], up, down);
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

namespace vk::levels {
HWY_EXPORT(FollowLevelsKernel);
} // namespace vk::levels

static_assert(std::atomic<float>::is_always_lock_free, "the levels reach the reader through lock-free atomics");

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
    for (float** buffer : {&mPeak, &mEnvelope, &mSilence}) {
        ippsFree(*buffer);
        *buffer = nullptr;
    }
    mPeakSinceRead.reset();
    mEnvelopeShown.reset();
    mChannels = 0;
    mBlockLength = 0;
}

// The lanes without a channel in the last group read a silent block and keep their
// levels at 0.
int CMaxValue::allocateBuffers(int channels, int block)
{
    const int padded = groupsOf(channels) * laneCount;
    if (channels > 0) {
        mPeak = ippsMalloc_32f(padded);
        mEnvelope = ippsMalloc_32f(padded);
        mPeakSinceRead.reset(new (std::nothrow) std::atomic<float>[channels]);
        mEnvelopeShown.reset(new (std::nothrow) std::atomic<float>[channels]);
        if (!mPeak || !mEnvelope || !mPeakSinceRead || !mEnvelopeShown)
            return vkErrOutOfMemory;
        mChannels = channels;
    }
    if (channels > 0 && block > 0) {
        mSilence = ippsMalloc_32f(block);
        if (!mSilence)
            return vkErrOutOfMemory;
        ippsZero_32f(mSilence, block);
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
    vkAudioClass::setFormat(in, out);
    releaseBuffers();
    if (allocateBuffers(in.channels(), in.frameLength()) != vkOk) {
        releaseBuffers();
        return vkErrOutOfMemory;
    }
    std::fill_n(mPeak, groupsOf(mChannels) * laneCount, 0.0f);
    std::fill_n(mEnvelope, groupsOf(mChannels) * laneCount, 0.0f);
    reset();
    computeCoefficients();
    return vkOk;
}

// Each group of laneCount channels has its own stretch of the levels.
void CMaxValue::followLevels(const float* const* in, int first, int frames)
{
    const float* lanes[laneCount];
    for (int c = 0; c < laneCount; ++c)
        lanes[c] = first + c < mChannels ? in[first + c] : mSilence;
    HWY_DYNAMIC_DISPATCH(vk::levels::FollowLevelsKernel)
    (lanes, std::size_t(frames), mEnvelope + first, mPeak + first, mAttackCoefficient, mReleaseCoefficient);
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

// The block's peak raises the maximum the reader has not taken yet. A failed exchange
// means the reader took it meanwhile (the only other writer, and only once a read), so
// the loop ends after at most one retry per read.
void CMaxValue::publishLevels()
{
    for (int ch = 0; ch < mChannels; ++ch) {
        const float peak = mPeak[ch];
        std::atomic<float>& since = mPeakSinceRead[ch];
        float held = since.load(std::memory_order_relaxed);
        while (peak > held && !since.compare_exchange_strong(held, peak, std::memory_order_release,
                                                             std::memory_order_relaxed)) {
        }
        mEnvelopeShown[ch].store(mEnvelope[ch], std::memory_order_release);
    }
}

int CMaxValue::process(float** in, float**, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    frames = std::min(frames, mBlockLength);
    if (frames < 1)
        return vkOk;
    if (mClearRequested.exchange(false, std::memory_order_acquire))
        std::fill_n(mEnvelope, mChannels, 0.0f);
    std::fill_n(mPeak, mChannels, 0.0f);
    for (int first = 0; first < mChannels; first += laneCount)
        followLevels(in, first, frames);
    settleEnvelopes();
    publishLevels();
    return vkOk;
}

// Clears what the reader sees now and the audio thread's envelopes before its next block,
// so it is safe while blocks run.
void CMaxValue::reset()
{
    mClearRequested.store(true, std::memory_order_release);
    for (int ch = 0; ch < mChannels; ++ch) {
        mPeakSinceRead[ch].store(0.0f, std::memory_order_relaxed);
        mEnvelopeShown[ch].store(0.0f, std::memory_order_relaxed);
    }
}

int CMaxValue::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

int CMaxValue::takeLevels(float* peaks, float* envelopes, int count)
{
    count = std::clamp(count, 0, mChannels);
    for (int ch = 0; ch < count; ++ch) {
        peaks[ch] = mPeakSinceRead[ch].exchange(0.0f, std::memory_order_acq_rel);
        envelopes[ch] = mEnvelopeShown[ch].load(std::memory_order_acquire);
    }
    return count;
}

#endif // HWY_ONCE
