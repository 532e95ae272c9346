// Conversions between float samples and integer PCM. Every conversion to integer goes
// through one vectorised kernel (scale, saturate, round) in short chunks on the stack;
// the narrow formats then only repack the results.

#include "core/primitives/IppsChecks.h"
#include "core/primitives/IppsKernels.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

using vk::ipps::checkVector;

namespace {

constexpr int kStackChunk = 256;

// 2^-scale with scale clamped to -127..127, as a float.
float scaleFactor(int scale) { return std::ldexp(1.0f, -std::clamp(scale, -127, 127)); }

// Runs the integer kernel over src in chunks and hands each chunk to store(values, offset, n).
template <typename Store>
void toIntegers(const Ipp32f* src, int len, int scale, std::int32_t lo, std::int32_t hi, bool nearest, Store store)
{
    std::int32_t values[kStackChunk];
    const float factor = scaleFactor(scale);
    for (int done = 0; done < len;) {
        const int n = std::min(kStackChunk, len - done);
        vk::kernels::floatToInt32(src + done, values, static_cast<std::size_t>(n), factor, lo, hi, nearest);
        store(values, done, n);
        done += n;
    }
}

template <typename Int>
IppStatus toNarrow(const Ipp32f* src, Int* dst, int len, IppRoundMode rnd, int scale, std::int32_t lo, std::int32_t hi)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    toIntegers(src, len, scale, lo, hi, rnd == ippRndNear, [dst](const std::int32_t* v, int offset, int n) {
        for (int i = 0; i < n; ++i)
            dst[offset + i] = static_cast<Int>(v[i]);
    });
    return ippStsNoErr;
}

template <typename Int>
IppStatus fromNarrow(const Int* src, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<float>(src[i]);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsConvert_8u32f(const Ipp8u* src, Ipp32f* dst, int len) { return fromNarrow(src, dst, len); }

IppStatus ippsConvert_16s32f(const Ipp16s* src, Ipp32f* dst, int len) { return fromNarrow(src, dst, len); }

// Low byte first; the top byte carries the sign.
IppStatus ippsConvert_24s32f(const Ipp8u* src, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    vk::kernels::int24ToFloat(src, dst, static_cast<std::size_t>(len));
    return ippStsNoErr;
}

IppStatus ippsConvert_32s32f(const Ipp32s* src, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    vk::kernels::int32ToFloat(src, dst, static_cast<std::size_t>(len));
    return ippStsNoErr;
}

IppStatus ippsConvert_32f8u_Sfs(const Ipp32f* src, Ipp8u* dst, int len, IppRoundMode rnd, int scale)
{
    return toNarrow(src, dst, len, rnd, scale, 0, 255);
}

IppStatus ippsConvert_32f16s_Sfs(const Ipp32f* src, Ipp16s* dst, int len, IppRoundMode rnd, int scale)
{
    return toNarrow(src, dst, len, rnd, scale, -32768, 32767);
}

IppStatus ippsConvert_32f24s_Sfs(const Ipp32f* src, Ipp8u* dst, int len, int scale)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    toIntegers(src, len, scale, -8388608, 8388607, true, [dst](const std::int32_t* v, int offset, int n) {
        for (int i = 0; i < n; ++i) {
            Ipp8u* b = dst + 3 * (offset + i);
            const auto bits = static_cast<std::uint32_t>(v[i]);
            b[0] = static_cast<Ipp8u>(bits);
            b[1] = static_cast<Ipp8u>(bits >> 8);
            b[2] = static_cast<Ipp8u>(bits >> 16);
        }
    });
    return ippStsNoErr;
}

IppStatus ippsConvert_32f32s_Sfs(const Ipp32f* src, Ipp32s* dst, int len, IppRoundMode rnd, int scale)
{
    return toNarrow(src, dst, len, rnd, scale, INT32_MIN, INT32_MAX);
}
