// Filters whose taps read the same backwards run folded: the two inputs that share a tap
// are added, then multiplied once. Only the summation order differs from the plain
// kernel, so the results must agree within reorderTolerance, on every instruction set.

#include "core/primitives/IppsKernels.h"
#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using vk::test::plainStream;
using vk::test::randomFloats;
using vk::test::reorderTolerance;
using vk::test::symmetricTaps;

void expectWithinReorderBound(const vk::test::PlainStream& plain, const std::vector<float>& got, std::size_t tapsLen)
{
    ASSERT_EQ(got.size(), plain.y.size());
    for (std::size_t s = 0; s < got.size(); ++s)
        ASSERT_NEAR(got[s], plain.y[s], reorderTolerance(got[s], plain.y[s], tapsLen, plain.magnitude[s]))
            << tapsLen << " taps, sample " << s;
}

// One block through a fresh state, as the kernels see it: zero history, then x.
std::vector<float> throughFreshState(const std::vector<float>& taps, const std::vector<float>& x)
{
    IppsFIRState_32f* fir = nullptr;
    EXPECT_EQ(ippsFIRInitAlloc_32f(&fir, taps.data(), static_cast<int>(taps.size()), nullptr), ippStsNoErr);
    std::vector<float> y(x.size());
    EXPECT_EQ(ippsFIR_32f(x.data(), y.data(), static_cast<int>(x.size()), fir), ippStsNoErr);
    ippsFIRFree_32f(fir);
    return y;
}

// The kernel itself over odd and even lengths around every grouping it makes (whole
// groups of taps, groups left over, loose pairs, the middle tap), and spans of outputs
// both shorter and longer than the one it keeps its sums for.
TEST(IppsFirSymmetric, FoldedKernelAgreesWithThePlainOneOnEveryInstructionSet)
{
    const std::size_t lengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 37, 63, 64, 65, 129, 251, 409, 631};
    vk::test::forEachInstructionSet([&] {
        for (const std::size_t taps : lengths)
            for (const std::size_t n : {std::size_t{128}, std::size_t{640}}) {
                const std::vector<float> h = symmetricTaps(taps, static_cast<unsigned>(taps));
                const std::vector<float> x = randomFloats(n, static_cast<unsigned>(taps + n));
                const std::vector<float> history = randomFloats(taps - 1, static_cast<unsigned>(taps + 1));
                const vk::test::PlainStream plain = plainStream(h, history, x);

                std::vector<double> w(history.begin(), history.end());
                w.insert(w.end(), x.begin(), x.end());
                const std::vector<double> coefs(h.rbegin(), h.rend());
                std::vector<float> folded(n, -1.0f);
                vk::kernels::firCorrelateSymmetric(w.data(), coefs.data(), taps, folded.data(), n);
                expectWithinReorderBound(plain, folded, taps);
            }
    });
}

// A state decides once, when it is built, which kernel runs: the folded one for taps that
// are symmetric, the plain one for taps that are symmetric but for one ulp of one tap.
// The input tells the kernels apart: two inputs of 2^60 and -2^60 meet the two outer
// taps of one output. Folded, they cancel exactly before the small terms are added; the
// plain kernel adds the small terms between them, where they are lost.
TEST(IppsFirSymmetric, OnlyExactlySymmetricTapsTakeTheFoldedKernel)
{
    vk::test::forEachInstructionSet([&] {
        for (const std::size_t taps : {3, 64, 251}) {
            std::vector<float> x = randomFloats(300, static_cast<unsigned>(taps));
            x[40] = std::ldexp(1.0f, 60);
            x[40 + taps - 1] = -x[40];
            std::vector<double> w(taps - 1, 0.0);
            w.insert(w.end(), x.begin(), x.end());
            w.resize(taps - 1 + vk::kernels::roundUpFirOutputs(x.size()), 0.0);
            const auto kernelResult = [&](const std::vector<float>& h, bool folded) {
                const std::vector<double> coefs(h.rbegin(), h.rend());
                std::vector<float> y(vk::kernels::roundUpFirOutputs(x.size()));
                (folded ? vk::kernels::firCorrelateSymmetric : vk::kernels::firCorrelate)(
                    w.data(), coefs.data(), taps, y.data(), x.size());
                y.resize(x.size());
                return y;
            };

            const std::vector<float> symmetric = symmetricTaps(taps, 7);
            ASSERT_NE(kernelResult(symmetric, true), kernelResult(symmetric, false)) << "the input tells them apart";
            EXPECT_EQ(throughFreshState(symmetric, x), kernelResult(symmetric, true)) << taps << " taps";

            std::vector<float> nearly = symmetric;
            nearly.front() = std::nextafter(nearly.front(), 2.0f);
            EXPECT_EQ(throughFreshState(nearly, x), kernelResult(nearly, false)) << taps << " taps";
        }
    });
}

// Through the state: blocks cut anywhere, in place or not, the history cleared or loaded
// between blocks; the stream must stay within the bound of the plain kernel's stream.
TEST(IppsFirSymmetric, FoldedStreamsFollowThePlainOnesAcrossBlocksAndHistoryChanges)
{
    vk::test::forEachInstructionSet([&] {
        for (const int taps : {1, 2, 3, 31, 64, 251, 631}) {
            const std::vector<float> h = symmetricTaps(static_cast<std::size_t>(taps), 21u + taps);
            const std::vector<float> loaded = randomFloats(static_cast<std::size_t>(taps - 1), 22u + taps, 4.0f);
            const std::vector<float> zeros(static_cast<std::size_t>(taps - 1), 0.0f);
            IppsFIRState_32f* fir = nullptr;
            ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, h.data(), taps, nullptr), ippStsNoErr);
            // Three stretches: from the initial silence, after a loaded history, after a
            // cleared one.
            const std::vector<float>* histories[] = {&zeros, &loaded, &zeros};
            for (int stretch = 0; stretch < 3; ++stretch) {
                if (stretch > 0) {
                    ASSERT_EQ(ippsFIRSetDlyLine_32f(fir, stretch == 1 ? loaded.data() : nullptr), ippStsNoErr);
                }
                const std::vector<float> x = randomFloats(1800, 23u + taps + stretch);
                std::vector<float> y = x;
                int at = 0;
                for (const int n : vk::test::randomCuts(1800, 700, 24u + stretch)) {
                    ASSERT_EQ(stretch == 1 ? ippsFIR_32f_I(y.data() + at, n, fir)
                                           : ippsFIR_32f(x.data() + at, y.data() + at, n, fir),
                        ippStsNoErr);
                    at += n;
                }
                expectWithinReorderBound(plainStream(h, *histories[stretch], x), y, static_cast<std::size_t>(taps));
            }
            ippsFIRFree_32f(fir);
        }
    });
}

} // namespace
