#include "beamformer/CMbf.h"

#include "beamformer/tables/MbfSteeringTables.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace {
// Block buffers start on 32-byte boundaries.
int paddedLength(int frames)
{
    return (frames + 7) & ~7;
}

bool hasNonZeroTap(const float* taps, int length)
{
    return std::any_of(taps, taps + length, [](float t) { return t != 0.0f; });
}

// Order of a mode input of `channels` channels, or -1 for a count that is no square.
int orderOfModes(int channels)
{
    for (int n = 0; n < CMbf::kOrders; ++n)
        if ((n + 1) * (n + 1) == channels)
            return n;
    return -1;
}
} // namespace

CMbf::CMbf()
    : mPolar(&kMbfElevation[0][0], kMbfElevationColumns, false)
    , mAzimuth(&kMbfAzimuth[0][0], kMbfAzimuthColumns, true)
{
    mPolar.settle(mThetaTarget.load(std::memory_order_relaxed));
    mAzimuth.settle(mPhiTarget.load(std::memory_order_relaxed));
}

CMbf::~CMbf() = default;

int CMbf::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    const int order = orderOfModes(in.channels());
    if (!in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision() || !out.isSinglePrecision()
        || out.channels() != 1 || in.sampleRate() != out.sampleRate() || !(in.sampleRate() > 0.0f)
        || in.frameLength() != out.frameLength() || in.frameLength() < 1 || order < 0)
        return vkErrFormat;
    releaseStorage();
    mMaxOrder = order;
    vkAudioClass::setFormat(in, out);
    const int blockLength = in.frameLength();
    if (allocateStorage(blockLength) != vkOk
        || mBanks.buildFade(in.sampleRate(), kFadeTimeConstantMs) != vkOk) {
        releaseStorage();
        return vkErrOutOfMemory;
    }
    mBlockLength = blockLength;
    return setFilterDelay(mFilterDelay);
}

void CMbf::releaseStorage()
{
    mBlockLength = 0;
    mFirReady = false;
    mBanks.clear();
    mPolar.release();
    mAzimuth.release();
    mStorage.reset();
    for (Bank& bank : mBank)
        for (int n = 0; n < kOrders; ++n) {
            bank.order[n].release();
            bank.active[n] = false;
        }
}

int CMbf::allocateStorage(int blockLength)
{
    const int stride = paddedLength(blockLength);
    const int buffers = kModes + kAzimuthRows + kOrders + 2 + 1;
    if (blockLength > INT_MAX / buffers - 8)
        return vkErrOutOfMemory;
    mStorage.reset(ippsMalloc_32f(stride * buffers));
    const int modes = (mMaxOrder + 1) * (mMaxOrder + 1);
    if (!mStorage || mPolar.configure(modes, blockLength) != vkOk
        || mAzimuth.configure(2 * mMaxOrder, blockLength) != vkOk)
        return vkErrOutOfMemory;
    ippsZero_32f(mStorage.get(), stride * buffers);
    float* next = mStorage.get();
    const auto take = [&next, stride]() {
        float* buffer = next;
        next += stride;
        return buffer;
    };
    for (float*& b : mModeGain)
        b = take();
    for (float*& b : mAzimuthGain)
        b = take();
    for (float*& b : mOrderSignals)
        b = take();
    for (float*& b : mBankOutput)
        b = take();
    mOrderScratch = take();
    return vkOk;
}

int CMbf::setFilterDelay(float delay)
{
    if (mStarted)
        return vkErrStarted;
    if (!(delay >= 0.0f))
        return kErrNegativeDelay;
    if (delay >= static_cast<float>(INT_MAX / 2))
        return vkErrOutOfMemory;
    mFilterDelay = delay;
    mBanks.clear();
    mFirReady = false;
    // Only a mode input of order 3 carries filter sets.
    if (mMaxOrder + 1 < kOrders || mBlockLength <= 0)
        return vkOk;
    const int whole = static_cast<int>(delay);
    int stateSize = 0;
    ippsFIRGetStateSize_32f(2 * whole + 1, &stateSize);
    for (Bank& bank : mBank)
        for (int n = 0; n < kOrders; ++n) {
            bank.active[n] = false;
            if (bank.order[n].reserve(stateSize, whole) != vkOk)
                return vkErrOutOfMemory;
        }
    mFirReady = true;
    return vkOk;
}

int CMbf::setOrderFilters(const int lengths[kOrders], const float* const taps[kOrders])
{
    if (mMaxOrder + 1 < kOrders)
        return kErrOrderTooLow;
    const int longest = 2 * static_cast<int>(mFilterDelay) + 1;
    for (int n = 0; n < kOrders; ++n) {
        if (lengths[n] < 0 || (lengths[n] > 0 && !taps[n]))
            return vkErrRange;
        if (lengths[n] > longest)
            return kErrFilterTooLong;
    }
    if (!mFirReady)
        return vkErrOutOfMemory;
    const int bank = mBanks.claim();
    const int warmUp = loadBank(mBank[bank], lengths, taps);
    if (warmUp < 0) {
        mBanks.release(bank);
        return vkErrOutOfMemory;
    }
    mBanks.publish(bank, warmUp);
    return vkOk;
}

// Builds the bank's filters with zero histories and their delay lines; gives the longest
// filter, or -1 when a delay line could not be set.
int CMbf::loadBank(Bank& bank, const int lengths[kOrders], const float* const taps[kOrders])
{
    const int whole = static_cast<int>(mFilterDelay);
    int longest = 0;
    for (int n = 0; n < kOrders; ++n) {
        const int length = lengths[n];
        if (bank.order[n].load(taps[n], length, whole) != vkOk)
            return -1;
        bank.active[n] = length > 0 && hasNonZeroTap(taps[n], length);
        longest = std::max(longest, length);
    }
    return longest;
}

void CMbf::setTheta(float degrees)
{
    mThetaDegrees = degrees;
    // NaN and anything below 0 stand at 0.
    const int target = degrees >= 180.0f ? 180 : degrees > 0.0f ? static_cast<int>(degrees) : 0;
    mThetaTarget.store(target, std::memory_order_relaxed);
}

void CMbf::setPhi(float degrees)
{
    mPhiDegrees = degrees;
    double whole = std::isfinite(degrees) ? std::fmod(std::trunc(static_cast<double>(degrees)), 360.0) : 0.0;
    if (whole < 0.0)
        whole += 360.0;
    mPhiTarget.store(static_cast<int>(whole), std::memory_order_relaxed);
}

int CMbf::process(float** in, float** out, int frames)
{
    if (mBlockLength <= 0)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mBlockLength)
        return vkErrFormat;
    if (frames == 0)
        return vkOk;
    const bool polarRests = mPolar.runLazily(mThetaTarget, mModeGain, frames);
    const bool azimuthRests = mAzimuth.runLazily(mPhiTarget, mAzimuthGain, frames);
    mBanks.beginBlock();
    const int current = mBanks.current();
    if (current < 0) {
        ippsZero_32f(out[0], frames);
        return vkOk;
    }
    // At rest on both axes every gain is constant over the block; otherwise the axis
    // at rest spells out its rows for the per-sample sum.
    const bool atRest = polarRests && azimuthRests;
    if (!atRest && polarRests)
        mPolar.fillRest(mModeGain, frames);
    if (!atRest && azimuthRests)
        mAzimuth.fillRest(mAzimuthGain, frames);
    steer(in, ordersInUse(), atRest, frames);
    runBank(mBank[current], mBankOutput[0], frames);
    if (mBanks.next() >= 0)
        runBank(mBank[mBanks.next()], mBankOutput[1], frames);
    const vkxShadowFilterBanks::Span span = mBanks.advance(frames);
    mBanks.mix(span, mBankOutput[0], mBankOutput[1], out[0], frames);
    mBanks.endBlock(span);
    return vkOk;
}

// Orders that a running set filters, one bit each.
unsigned CMbf::ordersInUse() const
{
    unsigned orders = 0;
    for (const int b : {mBanks.current(), mBanks.next()}) {
        if (b < 0)
            continue;
        for (int n = 0; n < kOrders; ++n)
            if (mBank[b].active[n])
                orders |= 1u << n;
    }
    return orders;
}

// Sums the modes of each order weighted by their steering gains: elevation times
// 2 cos(m phi) for m > 0 and 2 sin(|m| phi) for m < 0. The centre mode comes first, then
// m = 1, -1, 2, -2, ...; a block at rest takes the same products with constant gains.
void CMbf::steer(float** in, unsigned orders, bool atRest, int frames)
{
    for (int n = 0; n <= mMaxOrder; ++n) {
        if (!(orders & (1u << n)))
            continue;
        for (int j = 0; j <= 2 * n; ++j) {
            const int m = j % 2 == 1 ? (j + 1) / 2 : -j / 2;
            const int k = n * n + n + m;
            const int row = m > 0 ? 2 * m - 1 : m < 0 ? 2 * (-m - 1) : -1;
            if (atRest)
                addModeAtRest(in[k], k, row, j == 0, mOrderSignals[n], frames);
            else
                addMode(in[k], k, row, j == 0, mOrderSignals[n], frames);
        }
    }
}

// Weights mode k by its gain row times azimuth row `row` (none when negative) and sets
// `sum` to the product when `first`, else adds it.
void CMbf::addMode(const float* mode, int k, int row, bool first, float* sum, int frames)
{
    if (row >= 0)
        ippsMul_32f_I(mAzimuthGain[row], mModeGain[k], frames);
    if (first)
        ippsMul_32f(mode, mModeGain[k], sum, frames);
    else
        ippsAddProduct_32f(mode, mModeGain[k], sum, frames);
}

// The same with the glides at rest: the gain is one float product, rounded as the
// per-sample rows are, so the sum is the same.
void CMbf::addModeAtRest(const float* mode, int k, int row, bool first, float* sum, int frames)
{
    float gain = mPolar.restGain(k);
    if (row >= 0)
        gain *= mAzimuth.restGain(row);
    if (first)
        ippsMulC_32f(mode, gain, sum, frames);
    else
        ippsAddProductC_32f(mode, gain, sum, frames);
}

void CMbf::runBank(Bank& bank, float* out, int frames)
{
    bool first = true;
    for (int n = 0; n < kOrders; ++n) {
        if (!bank.active[n])
            continue;
        if (first) {
            bank.order[n].run(mOrderSignals[n], mOrderScratch, out, frames);
            first = false;
        } else {
            bank.order[n].run(mOrderSignals[n], mOrderScratch, mOrderScratch, frames);
            ippsAdd_32f_I(mOrderScratch, out, frames);
        }
    }
    if (first)
        ippsZero_32f(out, frames);
}

void CMbf::reset()
{
    const int current = mBanks.current();
    if (current < 0)
        return;
    for (vkxPaddedFir& order : mBank[current].order)
        order.clearHistory();
}

int CMbf::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

int CMbf::start()
{
    const int before = mBanks.current();
    mBanks.settle();
    // A set that ran unheard before the stop starts from silence like the one it replaces.
    if (mBanks.current() != before)
        reset();
    mPolar.settle(mThetaTarget.load(std::memory_order_relaxed));
    mAzimuth.settle(mPhiTarget.load(std::memory_order_relaxed));
    mStarted = true;
    return vkOk;
}
