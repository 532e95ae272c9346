#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include "hwy/targets.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

namespace {

using vk::test::randomFloats;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(IppsMemory, AllocatesAlignedCountedMemoryAndRefusesEmptyRequests)
{
    EXPECT_EQ(ippsMalloc_32f(0), nullptr);
    EXPECT_EQ(ippsMalloc_8u(-1), nullptr);
    ippsFree(nullptr);
    AllocationCounter counter;
    for (int len : {1, 3, 1000}) {
        Ipp8u* bytes = ippsMalloc_8u(len);
        Ipp32f* floats = ippsMalloc_32f(len);
        ASSERT_NE(bytes, nullptr);
        ASSERT_NE(floats, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 32, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(floats) % 32, 0u);
        ippsFree(bytes);
        ippsFree(floats);
    }
    EXPECT_EQ(counter.count(), 6u);
}

// Every vector operation: a null pointer wins over a bad length, and nothing is written.
TEST(IppsVector, NullPointerIsCheckedBeforeLengthAndErrorsTouchNothing)
{
    float a[4] = {1, 2, 3, 4};
    float b[4] = {5, 6, 7, 8};
    Ipp32s ints[4] = {};
    Ipp8u bytes[12] = {};
    Ipp16s shorts[4] = {};
    double wide[4] = {};
    Ipp32fc complex[4] = {};
    using Op = std::function<IppStatus(float* p, int len)>;
    const std::vector<Op> ops = {
        [&](float* p, int n) { return ippsZero_32f(p, n); },
        [&](float* p, int n) { return ippsZero_8u(p ? bytes : nullptr, n); },
        [&](float* p, int n) { return ippsZero_32s(p ? ints : nullptr, n); },
        [&](float* p, int n) { return ippsCopy_32f(b, p, n); },
        [&](float* p, int n) { return ippsCopy_64f(wide, p ? wide : nullptr, n); },
        [&](float* p, int n) { return ippsCopy_32fc(p ? complex : nullptr, complex, n); },
        [&](float* p, int n) { return ippsAdd_32f(b, b, p, n); },
        [&](float* p, int n) { return ippsAdd_32f_I(b, p, n); },
        [&](float* p, int n) { return ippsAddC_32f_I(1, p, n); },
        [&](float* p, int n) { return ippsAddProduct_32f(b, b, p, n); },
        [&](float* p, int n) { return ippsAddProductC_32f(b, 2, p, n); },
        [&](float* p, int n) { return ippsMul_32f(b, b, p, n); },
        [&](float* p, int n) { return ippsMul_32f_I(b, p, n); },
        [&](float* p, int n) { return ippsMulC_32f(b, 2, p, n); },
        [&](float* p, int n) { return ippsMulC_32f_I(2, p, n); },
        [&](float* p, int n) { return ippsDivC_32f_I(2, p, n); },
        [&](float* p, int n) { return ippsSubCRev_32f(b, 2, p, n); },
        [&](float* p, int n) { return ippsSubCRev_32f_I(2, p, n); },
        [&](float* p, int n) { return ippsAbs_32f(b, p, n); },
        [&](float* p, int n) { return ippsMax_32f(b, n, p); },
        [&](float* p, int n) { return ippsVectorSlope_32f(p, n, 1, 1); },
        [&](float* p, int n) { return ippsThreshold_LT_32f(b, p, n, 6); },
        [&](float* p, int n) { return ippsThreshold_LT_32f_I(p, n, 6); },
        [&](float* p, int n) { return ippsThreshold_GT_32f_I(p, n, 0); },
        [&](float* p, int n) { return ippsLn_32f(b, p, n); },
        [&](float* p, int n) { return ippsLn_32f_I(p, n); },
        [&](float* p, int n) { return ippsSqrt_32f_I(p, n); },
        [&](float* p, int n) { return ippsExp_32f_I(p, n); },
        [&](float* p, int n) { return ippsPolarToCart_32f(b, b, b, p, n); },
        [&](float* p, int n) { return ippsConvert_8u32f(bytes, p, n); },
        [&](float* p, int n) { return ippsConvert_16s32f(shorts, p, n); },
        [&](float* p, int n) { return ippsConvert_24s32f(bytes, p, n); },
        [&](float* p, int n) { return ippsConvert_32s32f(ints, p, n); },
        [&](float* p, int n) { return ippsConvert_32f8u_Sfs(p, bytes, n, ippRndNear, 0); },
        [&](float* p, int n) { return ippsConvert_32f16s_Sfs(p, shorts, n, ippRndNear, 0); },
        [&](float* p, int n) { return ippsConvert_32f24s_Sfs(p, bytes, n, 0); },
        [&](float* p, int n) { return ippsConvert_32f32s_Sfs(p, ints, n, ippRndNear, 0); },
    };
    for (std::size_t i = 0; i < ops.size(); ++i) {
        EXPECT_EQ(ops[i](nullptr, 0), ippStsNullPtrErr) << "operation " << i;
        EXPECT_EQ(ops[i](nullptr, 4), ippStsNullPtrErr) << "operation " << i;
        EXPECT_EQ(ops[i](a, 0), ippStsSizeErr) << "operation " << i;
        EXPECT_EQ(ops[i](a, -3), ippStsSizeErr) << "operation " << i;
        EXPECT_EQ(a[0], 1.0f) << "operation " << i;
    }
    EXPECT_EQ(ippsDivC_32f_I(0, a, 4), ippStsDivByZeroErr);
    EXPECT_EQ(a[0], 1.0f);
}

// Lengths that leave a remainder after whole vectors of every width.
TEST(IppsVector, ElementWiseArithmeticAgreesWithDoublePrecision)
{
    vk::test::forEachInstructionSet([] {
        for (int len : {1, 7, 33, 1029}) {
            const std::vector<float> a = randomFloats(len, 31);
            const std::vector<float> b = randomFloats(len, 32);
            const std::vector<float> c = randomFloats(len, 33);
            std::vector<float> out(len), acc = c;
            ippsAdd_32f(a.data(), b.data(), out.data(), len);
            for (int i = 0; i < len; ++i)
                ASSERT_EQ(out[i], static_cast<float>(double(a[i]) + b[i]));
            ippsMul_32f(a.data(), b.data(), out.data(), len);
            for (int i = 0; i < len; ++i)
                ASSERT_EQ(out[i], static_cast<float>(double(a[i]) * b[i]));
            // Accumulations: one rounding with a fused multiply-add, two without one.
            ippsAddProductC_32f(a.data(), 0.3f, acc.data(), len);
            for (int i = 0; i < len; ++i)
                ASSERT_NEAR(acc[i], double(a[i]) * 0.3f + c[i], 1.2e-7);
            acc = c;
            ippsAddProduct_32f(a.data(), b.data(), acc.data(), len);
            for (int i = 0; i < len; ++i)
                ASSERT_NEAR(acc[i], double(a[i]) * b[i] + c[i], 1.2e-7);
        }
    });
}

TEST(IppsVector, ScalingAndOffsetHonourTheirSpecialValues)
{
    std::vector<float> v = {kNaN, kInf, -kInf, 2.0f};
    std::vector<float> out(4, 9.0f);
    ippsMulC_32f(v.data(), 0.0f, out.data(), 4);
    EXPECT_EQ(out, std::vector<float>(4, 0.0f));
    ippsMulC_32f(v.data(), 1.0f, out.data(), 4);
    EXPECT_TRUE(std::isnan(out[0]));
    EXPECT_EQ(out[1], kInf);
    ippsMulC_32f_I(0.0f, v.data(), 4);
    EXPECT_EQ(v, std::vector<float>(4, 0.0f));

    // Adding zero must leave even a negative zero alone, which x + 0 would not.
    float negZero[1] = {-0.0f};
    ippsAddC_32f_I(0.0f, negZero, 1);
    EXPECT_TRUE(std::signbit(negZero[0]));
    ippsMulC_32f_I(1.0f, negZero, 1);
    EXPECT_TRUE(std::signbit(negZero[0]));
}

// Comparisons with NaN are false: a NaN stays where it is and is never the maximum,
// unless it is where the search starts.
TEST(IppsVector, MaxAndThresholdsPassOverNaN)
{
    const float later[4] = {1.0f, kNaN, 3.0f, -2.0f};
    const float first[3] = {kNaN, 5.0f, 1.0f};
    float m = 0;
    ASSERT_EQ(ippsMax_32f(later, 4, &m), ippStsNoErr);
    EXPECT_EQ(m, 3.0f);
    ippsMax_32f(first, 3, &m);
    EXPECT_TRUE(std::isnan(m));

    float lt[4] = {0.5f, 1.0f, 2.0f, kNaN};
    ippsThreshold_LT_32f_I(lt, 4, 1.0f);
    EXPECT_EQ(std::vector<float>(lt, lt + 3), (std::vector<float>{1.0f, 1.0f, 2.0f}));
    EXPECT_TRUE(std::isnan(lt[3]));
    float gt[4] = {0.5f, 1.0f, 2.0f, kNaN};
    ippsThreshold_GT_32f_I(gt, 4, 1.0f);
    EXPECT_EQ(std::vector<float>(gt, gt + 3), (std::vector<float>{0.5f, 1.0f, 1.0f}));
    EXPECT_TRUE(std::isnan(gt[3]));
}

TEST(IppsVector, LogarithmReportsTheFirstBadArgument)
{
    float v[3] = {1.0f, 0.0f, -1.0f};
    EXPECT_EQ(ippsLn_32f_I(v, 3), ippStsLnZeroArg);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(v[1], -kInf);
    EXPECT_TRUE(std::isnan(v[2]));
    float w[3] = {-1.0f, 0.0f, kNaN};
    float out[3];
    EXPECT_EQ(ippsLn_32f(w, out, 3), ippStsLnNegArg);
    EXPECT_TRUE(std::isnan(out[0]));
    EXPECT_EQ(out[1], -kInf);
    EXPECT_TRUE(std::isnan(out[2]));
    float negZero[2] = {kNaN, -0.0f};
    EXPECT_EQ(ippsLn_32f_I(negZero, 2), ippStsLnNegArg);
    EXPECT_TRUE(std::isnan(negZero[1]));
}

TEST(IppsVector, SquareRootAndExponentialAtTheirLimits)
{
    float s[4] = {4.0f, -1.0f, 0.0f, kNaN};
    EXPECT_EQ(ippsSqrt_32f_I(s, 4), ippStsSqrtNegArg);
    EXPECT_EQ(s[0], 2.0f);
    EXPECT_TRUE(std::isnan(s[1]));
    EXPECT_EQ(s[2], 0.0f);
    EXPECT_TRUE(std::isnan(s[3]));

    float e[3] = {0.0f, 88.72284f, 88.7228f};
    EXPECT_EQ(ippsExp_32f_I(e, 3), ippStsNoErr);
    EXPECT_EQ(e[0], 1.0f);
    EXPECT_EQ(e[1], kInf);
    EXPECT_TRUE(std::isfinite(e[2]));
}

TEST(IppsVector, OperationsOnTheAudioPathDoNotAllocate)
{
    std::vector<float> a = randomFloats(4096, 41), b = randomFloats(4096, 42);
    std::vector<Ipp32s> ints(4096);
    hwy::SetSupportedTargetsForTest(0); // the instruction set is chosen anew, as at start-up
    AllocationCounter counter;
    ippsAddProductC_32f(a.data(), 0.5f, b.data(), 4096);
    ippsMul_32f_I(a.data(), b.data(), 4096);
    ippsMulC_32f(a.data(), 3.0f, b.data(), 4096);
    ippsAdd_32f_I(a.data(), b.data(), 4096);
    ippsConvert_32f32s_Sfs(a.data(), ints.data(), 4096, ippRndNear, -20);
    ippsConvert_32s32f(ints.data(), b.data(), 4096);
    EXPECT_EQ(counter.count(), 0u);
}

// The maximum is the first of equal elements, so its bits (the sign of a zero) are
// those of one particular element, wherever it falls among whole vectors and the tail.
TEST(IppsVector, MaxFindsTheFirstLargestElementOnEveryInstructionSet)
{
    struct Case {
        std::vector<float> values;
        int at; // index of the element whose bits the result must have
    };
    std::vector<Case> cases;
    for (int len : {1, 5, 16, 37, 1029}) {
        for (int at : {0, len / 2, len - 1}) {
            std::vector<float> v = randomFloats(len, 40 + len, 100.0f);
            for (float& x : v)
                x = -std::fabs(x) - 1.0f;
            v[at] = 50.0f;
            if (at + 1 < len)
                v[len - 1] = kNaN;
            cases.push_back({v, at});
            // A zero maximum: -0 first, +0 later, both kept apart by NaN and negatives.
            std::vector<float> z(len, -3.0f);
            z[at] = -0.0f;
            for (int k = at + 1; k < len; k += 3)
                z[k] = k % 2 ? 0.0f : kNaN;
            cases.push_back({z, at});
        }
    }
    cases.push_back({{-kInf, -kInf, -kInf}, 0});
    vk::test::forEachInstructionSet([&] {
        for (const Case& c : cases) {
            float m = 1.0f;
            ASSERT_EQ(ippsMax_32f(c.values.data(), static_cast<int>(c.values.size()), &m), ippStsNoErr);
            const float want = c.values[c.at];
            EXPECT_EQ(std::bit_cast<std::uint32_t>(m), std::bit_cast<std::uint32_t>(want))
                << "length " << c.values.size() << " at " << c.at;
        }
    });
}

} // namespace
