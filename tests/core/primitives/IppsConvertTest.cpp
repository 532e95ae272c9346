#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Long enough that the values pass through whole vectors and the single-lane tail.
template <typename T>
std::vector<T> repeated(std::initializer_list<T> values, int times = 9)
{
    std::vector<T> v;
    for (int i = 0; i < times; ++i)
        v.insert(v.end(), values);
    return v;
}

TEST(IppsConvert, SixteenBitRoundsTiesToEvenAfterSaturating)
{
    vk::test::forEachInstructionSet([] {
        const std::vector<float> src = repeated({2.5f, 3.5f, -2.5f, 40000.0f, -40000.0f, 32767.4f, -32768.6f, kNaN});
        std::vector<Ipp16s> dst(src.size());
        const int n = static_cast<int>(src.size());
        ASSERT_EQ(ippsConvert_32f16s_Sfs(src.data(), dst.data(), n, ippRndNear, 0), ippStsNoErr);
        const std::vector<Ipp16s> nearest = repeated<Ipp16s>({2, 4, -2, 32767, -32768, 32767, -32768, 0});
        EXPECT_EQ(dst, nearest);
        ASSERT_EQ(ippsConvert_32f16s_Sfs(src.data(), dst.data(), n, ippRndZero, 0), ippStsNoErr);
        const std::vector<Ipp16s> truncated = repeated<Ipp16s>({2, 3, -2, 32767, -32768, 32767, -32768, 0});
        EXPECT_EQ(dst, truncated);
    });
}

TEST(IppsConvert, ScaleIsAPowerOfTwoClampedToItsRange)
{
    const float src[3] = {0.5f, -0.25f, 1.0f};
    Ipp16s dst[3];
    ippsConvert_32f16s_Sfs(src, dst, 3, ippRndNear, -15); // times 32768: full scale
    EXPECT_EQ(dst[0], 16384);
    EXPECT_EQ(dst[1], -8192);
    EXPECT_EQ(dst[2], 32767);
    const float big[1] = {1e30f};
    Ipp32s out[1];
    ippsConvert_32f32s_Sfs(big, out, 1, ippRndNear, 1000); // clamped to 127: 1e30 / 2^127
    EXPECT_EQ(out[0], static_cast<Ipp32s>(std::nearbyint(1e30 / std::ldexp(1.0, 127))));
}

TEST(IppsConvert, ThirtyTwoBitSaturatesAtBothEnds)
{
    vk::test::forEachInstructionSet([] {
        const std::vector<float> src =
            repeated({2147483648.0f, 2147483520.0f, -2147483648.0f, -3e9f, 1e20f, 0.5f, 1.5f, -1.5f, kNaN});
        std::vector<Ipp32s> dst(src.size());
        ippsConvert_32f32s_Sfs(src.data(), dst.data(), static_cast<int>(src.size()), ippRndNear, 0);
        const std::vector<Ipp32s> expected =
            repeated<Ipp32s>({INT32_MAX, 2147483520, INT32_MIN, INT32_MIN, INT32_MAX, 0, 2, -2, 0});
        EXPECT_EQ(dst, expected);
    });
}

TEST(IppsConvert, TwentyFourBitPacksLowByteFirstWithSign)
{
    const float src[5] = {8388606.5f, 8388607.0f, -1.0f, 9e6f, -9e6f};
    Ipp8u bytes[15];
    ASSERT_EQ(ippsConvert_32f24s_Sfs(src, bytes, 5, 0), ippStsNoErr);
    const Ipp8u expected[15] = {
        0xFE, 0xFF, 0x7F, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x80};
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(bytes[i], expected[i]) << "byte " << i;

    float back[5];
    ASSERT_EQ(ippsConvert_24s32f(bytes, back, 5), ippStsNoErr);
    EXPECT_EQ(back[0], 8388606.0f);
    EXPECT_EQ(back[2], -1.0f);
    EXPECT_EQ(back[4], -8388608.0f);
}

TEST(IppsConvert, EightBitIsUnsignedAndIntegersBecomeFloats)
{
    const float src[5] = {-3.0f, 0.4f, 127.5f, 128.5f, 300.0f};
    Ipp8u dst[5];
    ippsConvert_32f8u_Sfs(src, dst, 5, ippRndNear, 0);
    EXPECT_EQ(std::vector<int>(dst, dst + 5), (std::vector<int>{0, 0, 128, 128, 255}));
    float back[5];
    ippsConvert_8u32f(dst, back, 5);
    EXPECT_EQ(back[4], 255.0f);

    // Integers to float: exact up to 24 bits, else rounded once with ties to even.
    const Ipp16s shorts[2] = {-32768, 32767};
    ippsConvert_16s32f(shorts, back, 2);
    EXPECT_EQ(back[0], -32768.0f);
    const Ipp32s wide[3] = {INT32_MAX, INT32_MIN, 16777217};
    ippsConvert_32s32f(wide, back, 3);
    EXPECT_EQ(back[0], 2147483648.0f);
    EXPECT_EQ(back[1], -2147483648.0f);
    EXPECT_EQ(back[2], 16777216.0f);
}

// Every code, from both ends of the range and random ones, at every offset of a group
// of four and with every tail length: the shuffle must pick the right three bytes.
TEST(IppsConvert, TwentyFourBitReadsEveryCodeExactlyOnEveryInstructionSet)
{
    std::mt19937 gen(24);
    std::uniform_int_distribution<std::int32_t> code(-8388608, 8388607);
    std::vector<std::int32_t> codes = {0, 1, -1, 8388607, -8388608, 0x123456, -0x123456, 255, 256, -256};
    while (codes.size() < 203)
        codes.push_back(code(gen));
    std::vector<Ipp8u> bytes;
    for (const std::int32_t c : codes)
        for (int k = 0; k < 3; ++k)
            bytes.push_back(static_cast<Ipp8u>(static_cast<std::uint32_t>(c) >> (8 * k)));
    vk::test::forEachInstructionSet([&] {
        for (int first : {0, 1, 2, 3}) {
            for (int len : {1, 4, 5, 7, 8, 199}) {
                std::vector<float> out(len + 1, 7.0f);
                ASSERT_EQ(ippsConvert_24s32f(bytes.data() + 3 * first, out.data(), len), ippStsNoErr);
                for (int i = 0; i < len; ++i)
                    ASSERT_EQ(out[i], static_cast<float>(codes[first + i])) << "first " << first << " index " << i;
                EXPECT_EQ(out[len], 7.0f) << "written past the end, length " << len;
            }
        }
    });
}

} // namespace
