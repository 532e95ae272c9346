#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using vk::test::randomCuts;
using vk::test::randomFloats;

// y[t] = sum of taps[i] * x[t - i] straight from the definition, in double, with zeros
// before the first sample; also the sum of the magnitudes of the terms.
struct Reference {
    std::vector<double> y;
    std::vector<double> magnitude;
};

Reference convolve(const std::vector<float>& taps, const std::vector<float>& x)
{
    Reference r{std::vector<double>(x.size()), std::vector<double>(x.size())};
    for (std::size_t t = 0; t < x.size(); ++t)
        for (std::size_t i = 0; i < taps.size() && i <= t; ++i) {
            const double term = static_cast<double>(taps[i]) * x[t - i];
            r.y[t] += term;
            r.magnitude[t] += std::fabs(term);
        }
    return r;
}

void expectMatches(const Reference& ref, const std::vector<float>& got, std::size_t from = 0)
{
    for (std::size_t t = from; t < got.size(); ++t)
        ASSERT_NEAR(got[t], ref.y[t], vk::test::sumTolerance(ref.y[t], ref.magnitude[t])) << "sample " << t;
}

// Runs the state over x in the given cuts, in place or not.
std::vector<float> runInBlocks(
    IppsFIRState_32f* fir, const std::vector<float>& x, const std::vector<int>& cuts, bool inPlace)
{
    std::vector<float> y = x;
    int at = 0;
    for (int n : cuts) {
        const IppStatus st =
            inPlace ? ippsFIR_32f_I(y.data() + at, n, fir) : ippsFIR_32f(x.data() + at, y.data() + at, n, fir);
        EXPECT_EQ(st, ippStsNoErr);
        at += n;
    }
    return y;
}

class IppsFirLengths : public ::testing::TestWithParam<int> { };

TEST_P(IppsFirLengths, MatchesDirectConvolutionWhereverTheBlocksAreCut)
{
    const int taps = GetParam();
    const std::vector<float> h = randomFloats(static_cast<std::size_t>(taps), 11u + taps);
    const std::vector<float> x = randomFloats(9000, 12u + taps);
    const Reference ref = convolve(h, x);

    IppsFIRState_32f* owned = nullptr;
    ASSERT_EQ(ippsFIRInitAlloc_32f(&owned, h.data(), taps, nullptr), ippStsNoErr);
    expectMatches(ref, runInBlocks(owned, x, randomCuts(9000, 4096, 1), false));
    EXPECT_EQ(ippsFIRFree_32f(owned), ippStsNoErr);

    // The same filter built in a caller's buffer at an odd address, run in place.
    int size = 0;
    ASSERT_EQ(ippsFIRGetStateSize_32f(taps, &size), ippStsNoErr);
    std::vector<Ipp8u> buffer(static_cast<std::size_t>(size) + 1);
    IppsFIRState_32f* inBuffer = nullptr;
    ASSERT_EQ(ippsFIRInit_32f(&inBuffer, h.data(), taps, nullptr, buffer.data() + 1), ippStsNoErr);
    expectMatches(ref, runInBlocks(inBuffer, x, randomCuts(9000, 4096, 2), true));
    EXPECT_EQ(ippsFIRFree_32f(inBuffer), ippStsNoErr); // the buffer stays the caller's
}

TEST(IppsFir, EveryInstructionSetFiltersAlike)
{
    const std::vector<float> h = randomFloats(251, 13);
    const std::vector<float> x = randomFloats(3000, 14);
    const Reference ref = convolve(h, x);
    const std::vector<int> cuts = randomCuts(3000, 1024, 15);
    vk::test::forEachInstructionSet([&] {
        IppsFIRState_32f* fir = nullptr;
        ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, h.data(), 251, nullptr), ippStsNoErr);
        expectMatches(ref, runInBlocks(fir, x, cuts, false));
        ippsFIRFree_32f(fir);
    });
}

INSTANTIATE_TEST_SUITE_P(Taps, IppsFirLengths, ::testing::Values(1, 3, 31, 251, 631));

// Building in a caller's buffer and running long blocks stay off the heap, with the plain
// kernel and with the folded one that symmetric taps take.
TEST(IppsFir, BuildsAndRunsLongFiltersWithoutAllocating)
{
    for (const std::vector<float>& h : {randomFloats(631, 3), vk::test::symmetricTaps(631, 3)}) {
        std::vector<float> y = randomFloats(8192, 4);
        int size = 0;
        ASSERT_EQ(ippsFIRGetStateSize_32f(631, &size), ippStsNoErr);
        std::vector<Ipp8u> buffer(static_cast<std::size_t>(size));
        IppsFIRState_32f* fir = nullptr;
        AllocationCounter counter;
        ASSERT_EQ(ippsFIRInit_32f(&fir, h.data(), 631, nullptr, buffer.data()), ippStsNoErr);
        EXPECT_EQ(ippsFIR_32f(y.data(), y.data(), 8192, fir), ippStsNoErr);
        EXPECT_EQ(ippsFIRSetDlyLine_32f(fir, nullptr), ippStsNoErr);
        EXPECT_EQ(counter.count(), 0u);
    }
}

TEST(IppsFir, DelayLineIsClearedOrLoadedOldestFirst)
{
    const std::vector<float> h = randomFloats(7, 5);
    const std::vector<float> x = randomFloats(40, 6);
    IppsFIRState_32f* fir = nullptr;
    ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, h.data(), 7, nullptr), ippStsNoErr);
    std::vector<float> y(40);
    ippsFIR_32f(x.data(), y.data(), 40, fir);

    // Cleared: the next outputs depend on the new input alone.
    ASSERT_EQ(ippsFIRSetDlyLine_32f(fir, nullptr), ippStsNoErr);
    const std::vector<float> fresh(x.begin() + 20, x.end());
    std::vector<float> z(fresh.size());
    ippsFIR_32f(fresh.data(), z.data(), 20, fir);
    expectMatches(convolve(h, fresh), z);

    // Loaded with the six samples before x[20]: the same as having run straight through.
    ASSERT_EQ(ippsFIRSetDlyLine_32f(fir, x.data() + 14), ippStsNoErr);
    ippsFIR_32f(fresh.data(), z.data(), 20, fir);
    const Reference whole = convolve(h, x);
    for (int t = 0; t < 20; ++t)
        EXPECT_NEAR(z[t], whole.y[20 + t], vk::test::sumTolerance(whole.y[20 + t], whole.magnitude[20 + t]));
    ippsFIRFree_32f(fir);
}

// Zero stuffing, filtering and decimation written out literally, in double.
std::vector<double> multiRateReference(const std::vector<float>& taps, const std::vector<float>& x, int up, int upPhase,
    int down, int downPhase, std::size_t outputs)
{
    std::vector<double> stuffed(x.size() * static_cast<std::size_t>(up), 0.0);
    for (std::size_t m = 0; m < x.size(); ++m)
        stuffed[m * up + upPhase] = x[m];
    std::vector<double> y(outputs);
    for (std::size_t k = 0; k < outputs; ++k) {
        const std::size_t n = k * down + downPhase;
        for (std::size_t i = 0; i < taps.size() && i <= n; ++i)
            y[k] += taps[i] * stuffed[n - i];
    }
    return y;
}

struct MultiRateCase {
    int taps, up, upPhase, down, downPhase;
};

class IppsFirMultiRate : public ::testing::TestWithParam<MultiRateCase> { };

TEST_P(IppsFirMultiRate, MatchesZeroStuffingFilterAndDecimation)
{
    const MultiRateCase c = GetParam();
    // Short enough that the literal zero-stuffed stream stays small.
    const int iterations = std::min(1500, 2'000'000 / (c.up * c.down));
    const std::vector<float> h = randomFloats(static_cast<std::size_t>(c.taps), 7);
    const std::vector<float> x = randomFloats(static_cast<std::size_t>(iterations * c.down), 8);
    const std::vector<int> cuts = randomCuts(iterations, std::min(iterations, 700), 9);
    const std::size_t outputs = static_cast<std::size_t>(iterations * c.up);
    const std::vector<double> ref = multiRateReference(h, x, c.up, c.upPhase, c.down, c.downPhase, outputs);
    vk::test::forEachInstructionSet([&] {
        IppsFIRState_32f* fir = nullptr;
        ASSERT_EQ(
            ippsFIRMRInitAlloc_32f(&fir, h.data(), c.taps, c.up, c.upPhase, c.down, c.downPhase, nullptr), ippStsNoErr);
        std::vector<float> y(outputs + 1, 123.0f);
        int done = 0;
        for (int n : cuts) {
            ASSERT_EQ(ippsFIR_32f(x.data() + done * c.down, y.data() + done * c.up, n, fir), ippStsNoErr);
            done += n;
        }
        EXPECT_EQ(y.back(), 123.0f) << "wrote past numIters * upFactor outputs";
        for (std::size_t k = 0; k < outputs; ++k)
            ASSERT_NEAR(y[k], ref[k], 1e-5) << "output " << k;
        ippsFIRFree_32f(fir);
    });
}

INSTANTIATE_TEST_SUITE_P(Factors, IppsFirMultiRate,
    ::testing::Values(MultiRateCase{31, 1, 0, 2, 0}, MultiRateCase{31, 2, 0, 1, 0}, MultiRateCase{64, 3, 1, 2, 1},
        MultiRateCase{17, 2, 1, 3, 2}, MultiRateCase{320, 147, 0, 160, 0}, MultiRateCase{5, 1, 0, 1, 0}));

TEST(IppsFir, GivesBackTheTapsItRunsWhateverTheLayout)
{
    // Single rate (reversed taps) and multi-rate (phases padded with zeros) store the taps
    // differently; both must read back bit for bit.
    const int factors[][2] = {{1, 1}, {1, 2}, {3, 2}, {147, 160}};
    for (const auto& [up, down] : factors) {
        for (int length : {1, 5, 320}) {
            const std::vector<float> h = randomFloats(static_cast<std::size_t>(length), 40u + length);
            IppsFIRState_32f* fir = nullptr;
            ASSERT_EQ(ippsFIRMRInitAlloc_32f(&fir, h.data(), length, up, 0, down, 0, nullptr), ippStsNoErr);
            std::vector<float> read(h.size(), -99.0f);
            ASSERT_EQ(ippsFIRGetTaps_32f(fir, read.data()), ippStsNoErr);
            EXPECT_EQ(read, h) << length << " taps, up " << up << ", down " << down;
            ippsFIRFree_32f(fir);
        }
    }
    const float taps[3] = {1, 2, 3};
    IppsFIRState_32f* fir = nullptr;
    ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, taps, 3, nullptr), ippStsNoErr);
    float read[3] = {};
    EXPECT_EQ(ippsFIRGetTaps_32f(nullptr, read), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRGetTaps_32f(fir, nullptr), ippStsNullPtrErr);
    ippsFIRFree_32f(fir);
    const double section[6] = {1, 0, 0, 1, 0, 0};
    IppsIIRState64f_32f* iir = nullptr;
    ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, section, 1, nullptr), ippStsNoErr);
    EXPECT_EQ(ippsFIRGetTaps_32f(reinterpret_cast<IppsFIRState_32f*>(iir), read), ippStsContextMatchErr);
    EXPECT_EQ(read[0], 0.0f);
    ippsIIRFree64f_32f(iir);
}

TEST(IppsFir, ChecksComeInOrderAndErrorsChangeNothing)
{
    const float taps[3] = {1, 2, 3};
    IppsFIRState_32f* fir = nullptr;
    int size = 0;
    EXPECT_EQ(ippsFIRGetStateSize_32f(3, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRGetStateSize_32f(0, &size), ippStsFIRLenErr);
    EXPECT_EQ(ippsFIRInitAlloc_32f(nullptr, taps, 3, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRInitAlloc_32f(&fir, nullptr, 0, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRInitAlloc_32f(&fir, taps, 0, nullptr), ippStsFIRLenErr);
    EXPECT_EQ(ippsFIRInit_32f(&fir, taps, 3, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRMRInitAlloc_32f(&fir, taps, 0, 0, 0, 1, 0, nullptr), ippStsFIRLenErr);
    EXPECT_EQ(ippsFIRMRInitAlloc_32f(&fir, taps, 3, 0, 0, 1, 0, nullptr), ippStsFIRMRFactorErr);
    EXPECT_EQ(ippsFIRMRInitAlloc_32f(&fir, taps, 3, 2, 2, 1, 0, nullptr), ippStsFIRMRPhaseErr);
    EXPECT_EQ(ippsFIRMRInitAlloc_32f(&fir, taps, 3, 1, 0, 2, -1, nullptr), ippStsFIRMRPhaseErr);
    EXPECT_EQ(fir, nullptr) << "a failed initialiser handed out a state";

    ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, taps, 3, nullptr), ippStsNoErr);
    float src[4] = {1, 1, 1, 1};
    float dst[4] = {7, 7, 7, 7};
    EXPECT_EQ(ippsFIR_32f(nullptr, dst, 0, fir), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIR_32f(src, dst, 4, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIR_32f(src, dst, 0, fir), ippStsSizeErr);
    EXPECT_EQ(dst[0], 7.0f);

    const double section[6] = {1, 0, 0, 1, 0, 0};
    IppsIIRState64f_32f* iir = nullptr;
    ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, section, 1, nullptr), ippStsNoErr);
    auto* wrongKind = reinterpret_cast<IppsFIRState_32f*>(iir);
    EXPECT_EQ(ippsFIRFree_32f(wrongKind), ippStsContextMatchErr);
    EXPECT_EQ(ippsFIR_32f(src, dst, 4, wrongKind), ippStsContextMatchErr);
    EXPECT_EQ(ippsFIRSetDlyLine_32f(wrongKind, nullptr), ippStsContextMatchErr);
    EXPECT_EQ(dst[0], 7.0f);
    EXPECT_EQ(ippsIIRFree64f_32f(iir), ippStsNoErr);

    EXPECT_EQ(ippsFIRFree_32f(nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFIRFree_32f(fir), ippStsNoErr);

    // In place, a state that writes more than it reads would overwrite unread input.
    ASSERT_EQ(ippsFIRMRInitAlloc_32f(&fir, taps, 3, 2, 0, 1, 0, nullptr), ippStsNoErr);
    EXPECT_EQ(ippsFIR_32f_I(dst, 2, fir), ippStsContextMatchErr);
    EXPECT_EQ(dst[0], 7.0f);
    ippsFIRFree_32f(fir);
}

} // namespace
