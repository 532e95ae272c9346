// Channels are taken kSet at a time. A block is cut into tiles of samples that are
// transposed into a buffer of doubles (one row of the set's channels per sample),
// filtered in place row by row, and transposed back. In a row, the vectors of lanes are
// independent cascades, so their chains of dependent operations overlap.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/primitives/CBiquadBank.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "core/primitives/CBiquadBank.h"

#include <algorithm>
#include <cstddef>
#include <new>

#ifndef VK_PRIMITIVES_BIQUAD_BANK_CONSTANTS // this file is read once per instruction set
#define VK_PRIMITIVES_BIQUAD_BANK_CONSTANTS
namespace {
constexpr int kSet = CBiquadBank::kSet;
constexpr int kCoefs = 5; // b0 b1 b2 a1 a2, divided by a0
constexpr int kTile = 128; // samples transposed at a time
} // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace vk::biquads::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Direct form II transposed, written as IppsIir writes it, lane by lane:
//   y = b0 x + d0,  d0 = b1 x + d1 - a1 y,  d1 = b2 x - a2 y.
// This file is compiled without contracting products and sums into fused multiply-adds,
// so that every lane rounds as the one-channel cascade does.
// rows holds frames rows of width channels (a multiple of four); coefs and states hold,
// per section, rows of width values: b0 b1 b2 a1 a2, then d0 d1.
void RunSetKernel(const double* coefs, double* states, int sections, std::size_t width, double* rows, int frames)
{
    const hn::CappedTag<double, 4> d;
    const std::size_t lanes = hn::Lanes(d);
    for (int t = 0; t < frames; ++t)
        for (std::size_t part = 0; part < width; part += lanes) {
            double* row = rows + static_cast<std::size_t>(t) * width + part;
            auto x = hn::LoadU(d, row);
            for (int s = 0; s < sections; ++s) {
                const double* c = coefs + static_cast<std::size_t>(s) * kCoefs * width + part;
                double* z = states + static_cast<std::size_t>(s) * 2 * width + part;
                const auto y = hn::Add(hn::Mul(hn::LoadU(d, c), x), hn::LoadU(d, z));
                const auto d0 = hn::Sub(hn::Add(hn::Mul(hn::LoadU(d, c + width), x), hn::LoadU(d, z + width)),
                    hn::Mul(hn::LoadU(d, c + 3 * width), y));
                const auto d1 = hn::Sub(hn::Mul(hn::LoadU(d, c + 2 * width), x), hn::Mul(hn::LoadU(d, c + 4 * width), y));
                hn::StoreU(d0, d, z);
                hn::StoreU(d1, d, z + width);
                x = y;
            }
            hn::StoreU(x, d, row);
        }
}

} // namespace vk::biquads::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vk::biquads {
HWY_EXPORT(RunSetKernel);
} // namespace vk::biquads

IppStatus CBiquadBank::setCascades(int channels, const double* const sections[], const int numSections[])
{
    if (!sections || !numSections)
        return ippStsNullPtrErr;
    if (channels < 1)
        return ippStsSizeErr;
    for (int c = 0; c < channels; ++c) {
        if (!sections[c])
            return ippStsNullPtrErr;
        if (numSections[c] < 1)
            return ippStsIIROrderErr;
        for (int s = 0; s < numSections[c]; ++s)
            if (sections[c][6 * s] == 0.0 || sections[c][6 * s + 3] == 0.0)
                return ippStsDivByZeroErr;
    }
    const int sets = (channels + kSet - 1) / kSet;
    try {
        std::vector<Set> layout(static_cast<std::size_t>(sets));
        std::size_t coefCount = 0;
        std::size_t stateCount = 0;
        for (int k = 0; k < sets; ++k) {
            Set& set = layout[k];
            set.first = k * kSet;
            set.channels = std::min(kSet, channels - set.first);
            set.width = (set.channels + 3) / 4 * 4;
            for (int c = set.first; c < set.first + set.channels; ++c)
                set.sections = std::max(set.sections, numSections[c]);
            set.coefs = coefCount;
            set.states = stateCount;
            coefCount += static_cast<std::size_t>(set.sections) * kCoefs * set.width;
            stateCount += static_cast<std::size_t>(set.sections) * 2 * set.width;
        }
        // Lanes without a section of their own get b0 = 1 and nothing else: y = x.
        std::vector<double> coefs(coefCount, 0.0);
        for (const Set& set : layout)
            for (int s = 0; s < set.sections; ++s) {
                double* row = coefs.data() + set.coefs + static_cast<std::size_t>(s) * kCoefs * set.width;
                for (int lane = 0; lane < set.width; ++lane) {
                    const int c = set.first + lane;
                    if (lane >= set.channels || s >= numSections[c]) {
                        row[lane] = 1.0;
                        continue;
                    }
                    const double* t = sections[c] + 6 * s;
                    const double normalised[kCoefs] = {t[0] / t[3], t[1] / t[3], t[2] / t[3], t[4] / t[3], t[5] / t[3]};
                    for (int k = 0; k < kCoefs; ++k)
                        row[k * set.width + lane] = normalised[k];
                }
            }
        std::vector<double> states(stateCount, 0.0);
        mSets.swap(layout);
        mCoefs.swap(coefs);
        mStates.swap(states);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    mChannels = channels;
    return ippStsNoErr;
}

void CBiquadBank::process(float* const* data, int count, int frames)
{
    count = std::min(count, mChannels);
    double rows[kTile * kSet];
    for (const Set& set : mSets) {
        const int used = std::min(set.channels, count - set.first);
        if (used <= 0)
            break;
        for (int done = 0; done < frames; done += kTile) {
            const int n = std::min(kTile, frames - done);
            for (int t = 0; t < n; ++t)
                for (int lane = used; lane < set.width; ++lane)
                    rows[t * set.width + lane] = 0.0;
            for (int lane = 0; lane < used; ++lane)
                for (int t = 0; t < n; ++t)
                    rows[t * set.width + lane] = static_cast<double>(data[set.first + lane][done + t]);
            HWY_DYNAMIC_DISPATCH(vk::biquads::RunSetKernel)(mCoefs.data() + set.coefs, mStates.data() + set.states,
                set.sections, static_cast<std::size_t>(set.width), rows, n);
            for (int lane = 0; lane < used; ++lane)
                for (int t = 0; t < n; ++t)
                    data[set.first + lane][done + t] = static_cast<float>(rows[t * set.width + lane]);
        }
    }
}

void CBiquadBank::clearHistory()
{
    std::fill(mStates.begin(), mStates.end(), 0.0);
}
#endif
