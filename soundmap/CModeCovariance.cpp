#include "soundmap/CModeCovariance.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Second-order Butterworth sections (b0 b1 b2 a0 a1 a2), bilinear transform.
void butterworth(double cornerHz, double sampleRate, bool highPass, double* section)
{
    const double w = 2.0 * std::numbers::pi * cornerHz / sampleRate;
    const double alpha = std::sin(w) / std::numbers::sqrt2; // Q = 1/sqrt(2)
    const double c = std::cos(w);
    const double b1 = highPass ? -(1.0 + c) : 1.0 - c;
    const double b0 = highPass ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
    const double taps[6] = {b0, b1, b0, 1.0 + alpha, -2.0 * c, 1.0 - alpha};
    std::copy(taps, taps + 6, section);
}

} // namespace

CModeCovariance::CModeCovariance(double sampleRate, int periodFrames)
    : mPeriod(std::max(1, periodFrames))
{
    mValid = buildFilters(sampleRate);
}

CModeCovariance::~CModeCovariance()
{
    for (IppsIIRState64f_32f* state : mBand)
        if (state)
            ippsIIRFree64f_32f(state);
    ippsFree(mFiltered);
}

bool CModeCovariance::buildFilters(double sampleRate)
{
    if (!(sampleRate > 2.0 * kLowEdge))
        return false;
    double sections[12];
    butterworth(kLowEdge, sampleRate, true, sections);
    butterworth(std::min(kHighEdge, 0.45 * sampleRate), sampleRate, false, sections + 6);
    for (IppsIIRState64f_32f*& state : mBand)
        if (ippsIIRInitAlloc64f_BiQuad_32f(&state, sections, 2, nullptr) != ippStsNoErr)
            return false;
    mFiltered = ippsMalloc_32f(kModes * kChunk);
    return mFiltered != nullptr;
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
    for (IppsIIRState64f_32f* state : mBand)
        if (state)
            ippsIIRSetDlyLine64f_32f(state, nullptr);
    mWrite = 0;
    mRead = 2;
    mPublished = 0;
    mMiddle.store(1, std::memory_order_release);
}

// Chunks of kChunk: band-pass every mode, then sum up to the period's end, publish, go on.
void CModeCovariance::feedModes(const float* const* modes, int count, int frames)
{
    if (count < kModes || !modes || !mValid)
        return;
    for (int offset = 0; offset < frames; offset += kChunk) {
        const int length = std::min(kChunk, frames - offset);
        for (int k = 0; k < kModes; ++k)
            ippsIIR64f_32f(modes[k] + offset, mFiltered + k * kChunk, length, mBand[k]);
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

// Four partial sums a pair keep the additions independent, so they pipeline.
void CModeCovariance::accumulate(int begin, int end)
{
    double* sums = mSlots[mWrite].sums;
    int entry = 0;
    for (int i = 0; i < kModes; ++i) {
        const float* x = mFiltered + i * kChunk;
        for (int j = i; j < kModes; ++j, ++entry) {
            const float* y = mFiltered + j * kChunk;
            double part[4] = {};
            int t = begin;
            for (; t + 4 <= end; t += 4)
                for (int l = 0; l < 4; ++l)
                    part[l] += double(x[t + l]) * double(y[t + l]);
            for (; t < end; ++t)
                part[0] += double(x[t]) * double(y[t]);
            sums[entry] += (part[0] + part[1]) + (part[2] + part[3]);
        }
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
