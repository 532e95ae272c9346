#include "beamformer/vkxShadowFilterBanks.h"

#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <bit>

void vkIppsDeleter::operator()(void* p) const
{
    ippsFree(p);
}

int vkxPaddedFir::reserve(int stateSize, int delay)
{
    mFir = nullptr;
    mMemory.reset(ippsMalloc_8u(stateSize));
    if (!mMemory || mDelay.setDelay(delay) != 0)
        return vkErrOutOfMemory;
    mDelayLength = delay;
    return vkOk;
}

void vkxPaddedFir::release()
{
    mFir = nullptr;
    mMemory.reset();
}

int vkxPaddedFir::load(const float* taps, int length, int delay)
{
    mFir = nullptr;
    mDelayLength = delay;
    if (length > 0) {
        ippsFIRInit_32f(&mFir, taps, length, nullptr, mMemory.get());
        mDelayLength -= (length - 1) >> 1;
    }
    return mDelay.setDelay(mDelayLength) == 0 ? vkOk : vkErrOutOfMemory;
}

void vkxPaddedFir::run(const float* in, float* scratch, float* out, int frames)
{
    if (mFir) {
        ippsFIR_32f(in, scratch, frames, mFir);
        in = scratch;
    }
    mDelay.process(in, out, frames);
}

void vkxPaddedFir::clearHistory()
{
    if (mFir)
        ippsFIRSetDlyLine_32f(mFir, nullptr);
    mDelay.setDelay(mDelayLength);
}

int vkxShadowFilterBanks::buildFade(float sampleRate, int timeConstantMs)
{
    mFadeIn.reset();
    mFadeOut.reset();
    mFadeLength = static_cast<int>(sampleRate) * timeConstantMs * 5 / 1000;
    if (mFadeLength <= 0) {
        mFadeLength = 0;
        return vkOk;
    }
    mFadeIn.reset(ippsMalloc_32f(mFadeLength));
    mFadeOut.reset(ippsMalloc_32f(mFadeLength));
    if (!mFadeIn || !mFadeOut) {
        mFadeIn.reset();
        mFadeOut.reset();
        mFadeLength = 0;
        return vkErrOutOfMemory;
    }
    float* out = mFadeOut.get();
    ippsVectorSlope_32f(out, mFadeLength, 0.0f, 1.0f);
    ippsDivC_32f_I(-0.001f * static_cast<float>(timeConstantMs) * sampleRate, out, mFadeLength);
    ippsExp_32f_I(out, mFadeLength);
    ippsSubCRev_32f(out, 1.0f, mFadeIn.get(), mFadeLength);
    return vkOk;
}

void vkxShadowFilterBanks::clear()
{
    mCurrent = -1;
    mNext = -1;
    mPending.store(-1, std::memory_order_relaxed);
    mFree.store(kAllFree, std::memory_order_relaxed);
    std::fill(std::begin(mTapLength), std::end(mTapLength), 0);
    mNextRun = 0;
    mFadePos = 0;
}

void vkxShadowFilterBanks::settle()
{
    const int pending = mPending.exchange(-1, std::memory_order_acquire);
    if (pending >= 0) {
        release(mCurrent);
        release(mNext);
        mCurrent = pending;
    } else if (mNext >= 0) {
        release(mCurrent);
        mCurrent = mNext;
    }
    mNext = -1;
    mNextRun = 0;
    mFadePos = 0;
}

int vkxShadowFilterBanks::claim()
{
    const int pending = mPending.exchange(-1, std::memory_order_acq_rel);
    if (pending >= 0)
        return pending;
    // At most two banks are heard and none is pending now, so one is free.
    const unsigned free = mFree.load(std::memory_order_acquire);
    const int bank = std::countr_zero(free);
    mFree.fetch_and(~(1u << bank), std::memory_order_relaxed);
    return bank;
}

void vkxShadowFilterBanks::publish(int bank, int taps)
{
    mTapLength[bank] = taps;
    mPending.store(bank, std::memory_order_release);
}

void vkxShadowFilterBanks::release(int bank)
{
    if (bank >= 0)
        mFree.fetch_or(1u << bank, std::memory_order_release);
}

void vkxShadowFilterBanks::beginBlock()
{
    if (mNext >= 0 || mPending.load(std::memory_order_relaxed) < 0)
        return;
    const int bank = mPending.exchange(-1, std::memory_order_acquire);
    if (bank < 0)
        return;
    if (mCurrent < 0) {
        mCurrent = bank;
    } else {
        mNext = bank;
        mNextRun = 0;
        mFadePos = 0;
    }
}

vkxShadowFilterBanks::Transition vkxShadowFilterBanks::transition() const
{
    if (mNext < 0)
        return Transition::Steady;
    return mNextRun <= mTapLength[mNext] ? Transition::WarmUp : Transition::Fading;
}

vkxShadowFilterBanks::Span vkxShadowFilterBanks::advance(int frames)
{
    Span span;
    span.head = frames;
    if (mNext < 0)
        return span;
    mNextRun += frames;
    const int warmUp = mTapLength[mNext];
    if (mNextRun <= warmUp)
        return span;
    span.fading = true;
    span.head = std::max(0, warmUp - (mNextRun - frames));
    span.fade = std::min(frames - span.head, mFadeLength - mFadePos);
    span.fadeStart = mFadePos;
    return span;
}

void vkxShadowFilterBanks::mix(const Span& span, const float* current, const float* next, float* out,
                               int frames) const
{
    if (span.head > 0)
        ippsCopy_32f(current, out, span.head);
    if (span.fade > 0) {
        const int at = span.head;
        ippsMul_32f(current + at, mFadeOut.get() + span.fadeStart, out + at, span.fade);
        ippsAddProduct_32f(next + at, mFadeIn.get() + span.fadeStart, out + at, span.fade);
    }
    const int tail = span.head + span.fade;
    if (tail < frames)
        ippsCopy_32f(next + tail, out + tail, frames - tail);
}

void vkxShadowFilterBanks::endBlock(const Span& span)
{
    if (!span.fading)
        return;
    mFadePos += span.fade;
    if (mFadePos < mFadeLength)
        return;
    release(mCurrent);
    mCurrent = mNext;
    mNext = -1;
    mNextRun = 0;
    mFadePos = 0;
}
