#include "binaural/CBinauralConvolver.h"

#include "binaural/CBinauralFilters.h"
#include "binaural/FftwPlanner.h"
#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <fftw3.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace {

// Spectrum halves start on 64-byte boundaries, as the planned arrays do.
constexpr int kAlignFloats = 16;

int roundUp(int n, int to) { return (n + to - 1) / to * to; }

}  // namespace

CBinauralConvolver::~CBinauralConvolver() { release(); }

void CBinauralConvolver::release()
{
    std::lock_guard lock(fftwPlannerMutex());
    if (mForward)
        fftwf_destroy_plan(mForward);
    if (mInverse)
        fftwf_destroy_plan(mInverse);
    mForward = mInverse = nullptr;
    mStorage.reset();
    mPartition = 0;
}

float* CBinauralConvolver::inputSpectrum(int channel, int slot) const
{
    return mInputSpectra + (std::size_t(channel) * mMaxParts + slot) * 2 * mStride;
}

float* CBinauralConvolver::filterSpectrum(int bank, int channel, int ear, int part) const
{
    const std::size_t index = ((std::size_t(bank) * kInputs + channel) * kEars + ear) * mMaxParts + part;
    return mFilterSpectra + index * 2 * mStride;
}

int CBinauralConvolver::configure(double sampleRate, int partition)
{
    if (partition < 16 || partition > kMaxTaps || !std::has_single_bit(unsigned(partition)))
        return kErrPartition;
    if (!(sampleRate > 0.0))
        return vkErrRange;
    release();
    const int p = partition;
    const int stride = roundUp(p + 1, kAlignFloats);
    const int maxParts = kMaxTaps / p;
    const std::size_t spectrum = 2 * std::size_t(stride);
    const std::size_t floats = kInputs * 2 * std::size_t(p)                                      // input time
                               + kInputs * maxParts * spectrum                                    // input spectra
                               + vkxShadowFilterBanks::kBankCount * kInputs * kEars * maxParts * spectrum
                               + spectrum + 2 * std::size_t(p)                                    // sum
                               + (2 * kEars + kEars) * std::size_t(p) + 2 * std::size_t(p);       // ears, output, load
    if (floats > std::size_t(INT32_MAX))
        return vkErrOutOfMemory;
    mStorage.reset(ippsMalloc_32f(static_cast<int>(floats)));
    if (!mStorage || mBanks.buildFade(static_cast<float>(sampleRate), kFadeTimeConstantMs) != vkOk) {
        mStorage.reset();
        return vkErrOutOfMemory;
    }
    std::fill_n(mStorage.get(), floats, 0.0f);
    float* at = mStorage.get();
    auto take = [&at](std::size_t n) { float* start = at; at += n; return start; };
    mInputTime = take(kInputs * 2 * std::size_t(p));
    mInputSpectra = take(kInputs * maxParts * spectrum);
    mFilterSpectra = take(vkxShadowFilterBanks::kBankCount * kInputs * kEars * maxParts * spectrum);
    mSum = take(spectrum);
    mSumTime = take(2 * std::size_t(p));
    for (auto& set : mEarOut)
        for (float*& ear : set)
            ear = take(p);
    for (float*& ear : mOutput)
        ear = take(p);
    mLoadTime = take(2 * std::size_t(p));

    // Split-complex real transforms of 2P points; executed later on other arrays of
    // the same alignment (every offset above is a multiple of 16 floats).
    fftwf_iodim dim{2 * p, 1, 1};
    {
        std::lock_guard lock(fftwPlannerMutex());
        mForward = fftwf_plan_guru_split_dft_r2c(1, &dim, 0, nullptr, mLoadTime, mSum, mSum + stride,
                                                 FFTW_MEASURE);
        mInverse = fftwf_plan_guru_split_dft_c2r(1, &dim, 0, nullptr, mSum, mSum + stride, mSumTime,
                                                 FFTW_MEASURE);
    }
    if (!mForward || !mInverse) {
        release();
        return vkErrOutOfMemory;
    }
    // Planning may have written into the arrays it measured on.
    std::fill_n(mStorage.get(), floats, 0.0f);
    mPartition = p;
    mStride = stride;
    mMaxParts = maxParts;
    mSampleRate = sampleRate;
    std::fill(std::begin(mParts), std::end(mParts), 0);
    mSlot = 0;
    mFill = 0;
    mBanks.clear();
    return vkOk;
}

int CBinauralConvolver::load(const CBinauralFilters& filters)
{
    if (mPartition == 0)
        return vkErrNotConfigured;
    if (filters.isEmpty())
        return vkErrRange;
    if (filters.length() > kMaxTaps)
        return kErrTooLong;
    if (std::abs(filters.sampleRate() - mSampleRate) > 1e-6 * mSampleRate)
        return kErrRate;
    const int p = mPartition;
    const int parts = (filters.length() + p - 1) / p;
    // The inverse transform is unscaled: 1 / 2P goes into the filter spectra.
    const float scale = 1.0f / static_cast<float>(2 * p);
    const int bank = mBanks.claim();
    for (int c = 0; c < kInputs; ++c)
        for (int ear = 0; ear < kEars; ++ear)
            for (int k = 0; k < parts; ++k) {
                const int first = k * p;
                const int count = std::min(p, filters.length() - first);
                std::fill_n(mLoadTime, 2 * p, 0.0f);
                for (int t = 0; t < count; ++t)
                    mLoadTime[t] = filters.filter(c, ear)[first + t] * scale;
                float* spectrum = filterSpectrum(bank, c, ear, k);
                fftwf_execute_split_dft_r2c(mForward, mLoadTime, spectrum, spectrum + mStride);
            }
    mParts[bank] = parts;
    // Shared input spectra: the new set needs no warm-up.
    mBanks.publish(bank, 0);
    return vkOk;
}

void CBinauralConvolver::reset()
{
    if (mPartition == 0)
        return;
    const std::size_t spectrum = 2 * std::size_t(mStride);
    std::fill_n(mInputTime, kInputs * 2 * std::size_t(mPartition), 0.0f);
    std::fill_n(mInputSpectra, kInputs * mMaxParts * spectrum, 0.0f);
    for (float* ear : mOutput)
        std::fill_n(ear, mPartition, 0.0f);
    mSlot = 0;
    mFill = 0;
}

void CBinauralConvolver::run(const float* const* in, float* const* out, int frames)
{
    const int p = mPartition;
    int done = 0;
    while (done < frames) {
        const int n = std::min(frames - done, p - mFill);
        for (int c = 0; c < kInputs; ++c)
            std::copy_n(in[c] + done, n, mInputTime + std::size_t(c) * 2 * p + p + mFill);
        for (int ear = 0; ear < kEars; ++ear)
            std::copy_n(mOutput[ear] + mFill, n, out[ear] + done);
        mFill += n;
        done += n;
        if (mFill == p) {
            runPartition();
            mFill = 0;
        }
    }
}

void CBinauralConvolver::runPartition()
{
    const int p = mPartition;
    mSlot = (mSlot + 1) % mMaxParts;
    for (int c = 0; c < kInputs; ++c) {
        float* time = mInputTime + std::size_t(c) * 2 * p;
        float* spectrum = inputSpectrum(c, mSlot);
        fftwf_execute_split_dft_r2c(mForward, time, spectrum, spectrum + mStride);
        std::copy_n(time + p, p, time);
    }
    mBanks.beginBlock();
    const vkxShadowFilterBanks::Span span = mBanks.advance(p);
    const int current = mBanks.current();
    for (int ear = 0; ear < kEars; ++ear) {
        if (current < 0) {
            std::fill_n(mOutput[ear], p, 0.0f);
            continue;
        }
        convolveEar(current, ear, mEarOut[0][ear]);
        if (span.fading)
            convolveEar(mBanks.next(), ear, mEarOut[1][ear]);
        mBanks.mix(span, mEarOut[0][ear], mEarOut[span.fading ? 1 : 0][ear], mOutput[ear], p);
    }
    mBanks.endBlock(span);
}

void CBinauralConvolver::convolveEar(int bank, int ear, float* out)
{
    const int bins = mPartition + 1;
    float* __restrict sumRe = mSum;
    float* __restrict sumIm = mSum + mStride;
    std::fill_n(sumRe, bins, 0.0f);
    std::fill_n(sumIm, bins, 0.0f);
    for (int c = 0; c < kInputs; ++c)
        for (int k = 0; k < mParts[bank]; ++k) {
            const float* x = inputSpectrum(c, (mSlot - k + mMaxParts) % mMaxParts);
            const float* h = filterSpectrum(bank, c, ear, k);
            const float* __restrict xr = x;
            const float* __restrict xi = x + mStride;
            const float* __restrict hr = h;
            const float* __restrict hi = h + mStride;
            for (int b = 0; b < bins; ++b) {
                sumRe[b] += xr[b] * hr[b] - xi[b] * hi[b];
                sumIm[b] += xr[b] * hi[b] + xi[b] * hr[b];
            }
        }
    fftwf_execute_split_dft_c2r(mInverse, sumRe, sumIm, mSumTime);
    // Overlap-save: the second half is the partition's linear convolution.
    std::copy_n(mSumTime + mPartition, mPartition, out);
}
