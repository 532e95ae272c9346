// The engine's filters are linear phase, so they run folded: every order, equaliser,
// crossover and mode filter is symmetric bit for bit, and through a filter state it gives
// the plain kernel's stream within the bound of a changed summation order, on every
// instruction set.

#include "beamformer/CZircFactory.h"
#include "beamformer/CZrPattern.h"
#include "beamformer/tables/EbfModeFilters.h"
#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace {

struct NamedFilter {
    std::string name;
    std::vector<float> taps;
};

std::vector<NamedFilter> engineFilters()
{
    std::vector<NamedFilter> filters;
    const CZircFactory factory;
    for (int i = 0; i < kPatternCount; ++i) {
        const auto& p = *dynamic_cast<const CZrPattern*>(factory.pattern(i));
        const std::string name(p.mName, strnlen(p.mName, sizeof p.mName));
        const auto add = [&](const std::string& what, const float* taps, int length) {
            if (length > 0)
                filters.push_back({name + " " + what, std::vector<float>(taps, taps + length)});
        };
        for (int q = 0; q < p.mNumParameters; ++q) {
            for (int n = 0; n < p.mNumOrders; ++n)
                add("order " + std::to_string(n) + " row " + std::to_string(q), p.modalRow(q, n), p.modalLengths(q)[n]);
            add("equaliser row " + std::to_string(q), p.eqRow(q), p.mEqFirLength[q]);
        }
        add("low crossover", p.mLowCrossover, p.mCrossoverTaps);
        add("high crossover", p.mHighCrossover, p.mCrossoverTaps);
    }
    for (int n = 0; n < 4; ++n)
        filters.push_back({"mode filter " + std::to_string(n),
            std::vector<float>(kEbfModeFilters[n], kEbfModeFilters[n] + kEbfModeFilterLengths[n])});
    return filters;
}

bool symmetricBitForBit(const std::vector<float>& taps)
{
    for (std::size_t i = 0, j = taps.size() - 1; i < j; ++i, --j)
        if (std::bit_cast<std::uint32_t>(taps[i]) != std::bit_cast<std::uint32_t>(taps[j]))
            return false;
    return true;
}

TEST(PatternFoldedFilters, EveryEngineFilterIsSymmetricAndRunsFoldedWithinTheBound)
{
    const std::vector<NamedFilter> filters = engineFilters();
    const std::vector<float> x = vk::test::randomFloats(1500, 5);
    const std::vector<int> cuts = vk::test::randomCuts(1500, 512, 6);
    for (const NamedFilter& f : filters) {
        SCOPED_TRACE(f.name);
        EXPECT_TRUE(symmetricBitForBit(f.taps));
        const vk::test::PlainStream plain =
            vk::test::plainStream(f.taps, std::vector<float>(f.taps.size() - 1, 0.0f), x);
        vk::test::forEachInstructionSet([&] {
            IppsFIRState_32f* fir = nullptr;
            ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, f.taps.data(), static_cast<int>(f.taps.size()), nullptr), ippStsNoErr);
            std::vector<float> y(x.size());
            int at = 0;
            for (const int n : cuts) {
                ASSERT_EQ(ippsFIR_32f(x.data() + at, y.data() + at, n, fir), ippStsNoErr);
                at += n;
            }
            ippsFIRFree_32f(fir);
            for (std::size_t s = 0; s < y.size(); ++s)
                ASSERT_NEAR(y[s], plain.y[s], vk::test::reorderTolerance(y[s], plain.y[s], f.taps.size(), plain.magnitude[s]))
                    << "sample " << s;
        });
    }
}

} // namespace
