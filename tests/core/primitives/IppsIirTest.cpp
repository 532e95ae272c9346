#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

using vk::test::randomCuts;
using vk::test::randomFloats;

using Sections = std::vector<std::array<double, 6>>; // b0 b1 b2 a0 a1 a2

// A stable cascade: a low-pass, a resonant peak and a high shelf of sorts, a0 not 1.
Sections testCascade()
{
    return {{0.02, 0.04, 0.02, 1.0, -1.56, 0.64}, {2.0, -3.2, 1.4, 2.0, -3.4, 1.62}, {1.3, -0.9, 0.1, 0.5, -0.3, 0.05}};
}

// Direct form I, each section from its difference equation in double: a different
// arrangement of the same arithmetic as the state under test.
std::vector<double> directFormOne(const Sections& sections, const std::vector<float>& x)
{
    std::vector<double> signal(x.begin(), x.end());
    for (const auto& c : sections) {
        std::vector<double> out(signal.size());
        for (std::size_t t = 0; t < signal.size(); ++t) {
            auto at = [&](const std::vector<double>& v, std::size_t back) { return t >= back ? v[t - back] : 0.0; };
            out[t] = (c[0] * signal[t] + c[1] * at(signal, 1) + c[2] * at(signal, 2) - c[4] * at(out, 1) -
                         c[5] * at(out, 2)) /
                c[3];
        }
        signal = out;
    }
    return signal;
}

std::vector<double> flatten(const Sections& sections)
{
    std::vector<double> taps;
    for (const auto& c : sections)
        taps.insert(taps.end(), c.begin(), c.end());
    return taps;
}

TEST(IppsIir, MatchesDifferenceEquationsWhereverTheBlocksAreCut)
{
    const Sections cascade = testCascade();
    const std::vector<double> taps = flatten(cascade);
    const std::vector<float> x = randomFloats(10000, 21);
    const std::vector<double> ref = directFormOne(cascade, x);

    IppsIIRState64f_32f* iir = nullptr;
    ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, taps.data(), 3, nullptr), ippStsNoErr);
    std::vector<float> y = x;
    int at = 0;
    bool inPlace = false;
    const std::vector<int> cuts = randomCuts(10000, 4096, 22);
    AllocationCounter counter;
    for (int n : cuts) {
        const IppStatus st =
            inPlace ? ippsIIR64f_32f_I(y.data() + at, n, iir) : ippsIIR64f_32f(x.data() + at, y.data() + at, n, iir);
        ASSERT_EQ(st, ippStsNoErr);
        at += n;
        inPlace = !inPlace;
    }
    EXPECT_EQ(counter.count(), 0u);
    // One rounding to float at the end; the double arithmetic of the two forms differs
    // far below that for a cascade this well damped.
    for (std::size_t t = 0; t < x.size(); ++t)
        ASSERT_NEAR(y[t], ref[t], std::ldexp(std::fabs(ref[t]), -23) + 1e-9) << "sample " << t;
    EXPECT_EQ(ippsIIRFree64f_32f(iir), ippStsNoErr);
}

TEST(IppsIir, ScalingASectionByItsA0ChangesNothing)
{
    const std::vector<float> x = randomFloats(300, 23);
    const double unit[6] = {0.3, 0.2, 0.1, 1.0, -0.5, 0.2};
    const double doubled[6] = {0.6, 0.4, 0.2, 2.0, -1.0, 0.4};
    std::vector<float> a(300), b(300);
    for (auto [taps, out] : {std::pair{unit, &a}, std::pair{doubled, &b}}) {
        IppsIIRState64f_32f* iir = nullptr;
        ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, taps, 1, nullptr), ippStsNoErr);
        ippsIIR64f_32f(x.data(), out->data(), 300, iir);
        ippsIIRFree64f_32f(iir);
    }
    EXPECT_EQ(a, b);
}

TEST(IppsIir, NewTapsKeepTheHistoryAndANullHistoryClearsIt)
{
    const Sections cascade = testCascade();
    const std::vector<double> taps = flatten(cascade);
    const std::vector<float> x = randomFloats(200, 24);
    IppsIIRState64f_32f* iir = nullptr;
    ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, taps.data(), 3, nullptr), ippStsNoErr);
    std::vector<float> y(200);
    ippsIIR64f_32f(x.data(), y.data(), 100, iir);
    ASSERT_EQ(ippsIIRSetTaps64f_32f(taps.data(), iir), ippStsNoErr);
    ippsIIR64f_32f(x.data() + 100, y.data() + 100, 100, iir);
    const std::vector<double> ref = directFormOne(cascade, x);
    EXPECT_NEAR(y[150], ref[150], 1e-6);

    // Cleared history: an impulse gives b0 / a0 of the product of the sections.
    ASSERT_EQ(ippsIIRSetDlyLine64f_32f(iir, nullptr), ippStsNoErr);
    float impulse = 1.0f;
    ippsIIR64f_32f_I(&impulse, 1, iir);
    EXPECT_FLOAT_EQ(impulse, static_cast<float>(0.02 * 1.0 * 2.6));

    ippsIIRFree64f_32f(iir);
}

TEST(IppsIir, ChecksComeInOrderAndRefuseZeroLeadingCoefficients)
{
    const double good[6] = {1, 0, 0, 1, 0, 0};
    const double zeroA0[12] = {1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0};
    const double zeroB0[6] = {0, 1, 0, 1, 0, 0};
    IppsIIRState64f_32f* iir = nullptr;
    EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(nullptr, good, 1, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, nullptr, 0, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, good, 0, nullptr), ippStsIIROrderErr);
    EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, zeroA0, 2, nullptr), ippStsDivByZeroErr);
    EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, zeroB0, 1, nullptr), ippStsDivByZeroErr);
    EXPECT_EQ(iir, nullptr);

    ASSERT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, good, 1, nullptr), ippStsNoErr);
    EXPECT_EQ(ippsIIRSetTaps64f_32f(zeroB0, iir), ippStsDivByZeroErr);
    EXPECT_EQ(ippsIIRSetTaps64f_32f(nullptr, iir), ippStsNullPtrErr);
    float v[2] = {3, 4};
    EXPECT_EQ(ippsIIR64f_32f_I(v, 2, iir), ippStsNoErr);
    EXPECT_EQ(v[0], 3.0f) << "refused taps must not have replaced the old ones";
    EXPECT_EQ(ippsIIR64f_32f(nullptr, v, 0, iir), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIR64f_32f_I(v, 0, iir), ippStsSizeErr);
    EXPECT_EQ(ippsIIR64f_32f_I(v, 2, nullptr), ippStsNullPtrErr);

    const float firTaps[2] = {1, 1};
    IppsFIRState_32f* fir = nullptr;
    ASSERT_EQ(ippsFIRInitAlloc_32f(&fir, firTaps, 2, nullptr), ippStsNoErr);
    auto* wrongKind = reinterpret_cast<IppsIIRState64f_32f*>(fir);
    EXPECT_EQ(ippsIIR64f_32f_I(v, 2, wrongKind), ippStsContextMatchErr);
    EXPECT_EQ(ippsIIRFree64f_32f(wrongKind), ippStsContextMatchErr);
    ippsFIRFree_32f(fir);
    EXPECT_EQ(ippsIIRFree64f_32f(nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRFree64f_32f(iir), ippStsNoErr);
}

} // namespace
