// Vector arithmetic on floats. The plain element-wise operations run on the vectorised
// kernels; the rest are element loops with their own rules for zero, NaN and infinity.

#include "core/primitives/IppsChecks.h"
#include "core/primitives/IppsKernels.h"
#include "core/primitives/ipps.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

using vk::ipps::checkVector;

namespace {

std::size_t count(int len) { return static_cast<std::size_t>(len); }

template <typename Fn>
IppStatus forEachInPlace(Ipp32f* srcDst, int len, Fn fn)
{
    if (const IppStatus st = checkVector(len, srcDst))
        return st;
    for (int i = 0; i < len; ++i)
        srcDst[i] = fn(srcDst[i]);
    return ippStsNoErr;
}

// Threshold: NaN compares false and stays.
float raiseTo(float x, float level) { return x < level ? level : x; }
float lowerTo(float x, float level) { return x > level ? level : x; }

// Scaling with the special cases: by 1 a copy, by 0 zeros (NaN and infinity included).
void scale(const Ipp32f* src, Ipp32f val, Ipp32f* dst, int len)
{
    if (val == 0.0f)
        std::memset(dst, 0, sizeof(float) * count(len));
    else if (val == 1.0f && src != dst)
        std::memmove(dst, src, sizeof(float) * count(len));
    else if (val != 1.0f)
        vk::kernels::mulC(src, val, dst, count(len));
}

// Status of the logarithm: the kind of the first zero or sign-bit argument.
IppStatus lnStatus(const Ipp32f* src, int len)
{
    for (int i = 0; i < len; ++i) {
        if (std::isnan(src[i]))
            continue;
        if (src[i] == 0.0f && !std::signbit(src[i]))
            return ippStsLnZeroArg;
        if (std::signbit(src[i]))
            return ippStsLnNegArg;
    }
    return ippStsNoErr;
}

// Zero gives -infinity; any sign bit set (-0 too) gives NaN; NaN stays.
float lnOf(float x)
{
    if (std::isnan(x))
        return x;
    if (std::signbit(x))
        return std::numeric_limits<float>::quiet_NaN();
    return std::log(x);
}

} // namespace

IppStatus ippsAdd_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src1, src2, dst))
        return st;
    vk::kernels::add(src1, src2, dst, count(len));
    return ippStsNoErr;
}

IppStatus ippsAdd_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len) { return ippsAdd_32f(src, srcDst, srcDst, len); }

IppStatus ippsAddC_32f_I(Ipp32f val, Ipp32f* srcDst, int len)
{
    if (const IppStatus st = checkVector(len, srcDst))
        return st;
    if (val != 0.0f)
        vk::kernels::addC(val, srcDst, count(len));
    return ippStsNoErr;
}

IppStatus ippsAddProduct_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* srcDst, int len)
{
    if (const IppStatus st = checkVector(len, src1, src2, srcDst))
        return st;
    vk::kernels::addProduct(src1, src2, srcDst, count(len));
    return ippStsNoErr;
}

IppStatus ippsAddProductC_32f(const Ipp32f* src, Ipp32f val, Ipp32f* srcDst, int len)
{
    if (const IppStatus st = checkVector(len, src, srcDst))
        return st;
    vk::kernels::addProductC(src, val, srcDst, count(len));
    return ippStsNoErr;
}

IppStatus ippsMul_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src1, src2, dst))
        return st;
    vk::kernels::mul(src1, src2, dst, count(len));
    return ippStsNoErr;
}

IppStatus ippsMul_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len) { return ippsMul_32f(src, srcDst, srcDst, len); }

IppStatus ippsMulC_32f(const Ipp32f* src, Ipp32f val, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    scale(src, val, dst, len);
    return ippStsNoErr;
}

IppStatus ippsMulC_32f_I(Ipp32f val, Ipp32f* srcDst, int len) { return ippsMulC_32f(srcDst, val, srcDst, len); }

// Divides rather than multiplying by the reciprocal, so each result is rounded once.
IppStatus ippsDivC_32f_I(Ipp32f val, Ipp32f* srcDst, int len)
{
    if (const IppStatus st = checkVector(len, srcDst))
        return st;
    if (val == 0.0f)
        return ippStsDivByZeroErr;
    return forEachInPlace(srcDst, len, [val](float x) { return x / val; });
}

IppStatus ippsSubCRev_32f(const Ipp32f* src, Ipp32f val, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    vk::kernels::subCRev(src, val, dst, count(len));
    return ippStsNoErr;
}

IppStatus ippsSubCRev_32f_I(Ipp32f val, Ipp32f* srcDst, int len) { return ippsSubCRev_32f(srcDst, val, srcDst, len); }

IppStatus ippsAbs_32f(const Ipp32f* src, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    vk::kernels::abs(src, dst, count(len));
    return ippStsNoErr;
}

// Starts from the first element; a later NaN never compares greater, so it is passed over.
IppStatus ippsMax_32f(const Ipp32f* src, int len, Ipp32f* max)
{
    if (const IppStatus st = checkVector(len, src, max))
        return st;
    *max = vk::kernels::max(src, count(len));
    return ippStsNoErr;
}

IppStatus ippsVectorSlope_32f(Ipp32f* dst, int len, Ipp32f offset, Ipp32f slope)
{
    if (const IppStatus st = checkVector(len, dst))
        return st;
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<float>(static_cast<double>(offset) + static_cast<double>(slope) * i);
    return ippStsNoErr;
}

IppStatus ippsThreshold_LT_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    for (int i = 0; i < len; ++i)
        dst[i] = raiseTo(src[i], level);
    return ippStsNoErr;
}

IppStatus ippsThreshold_LT_32f_I(Ipp32f* srcDst, int len, Ipp32f level)
{
    return ippsThreshold_LT_32f(srcDst, srcDst, len, level);
}

IppStatus ippsThreshold_GT_32f_I(Ipp32f* srcDst, int len, Ipp32f level)
{
    return forEachInPlace(srcDst, len, [level](float x) { return lowerTo(x, level); });
}

IppStatus ippsLn_32f(const Ipp32f* src, Ipp32f* dst, int len)
{
    if (const IppStatus st = checkVector(len, src, dst))
        return st;
    const IppStatus warning = lnStatus(src, len);
    for (int i = 0; i < len; ++i)
        dst[i] = lnOf(src[i]);
    return warning;
}

IppStatus ippsLn_32f_I(Ipp32f* srcDst, int len) { return ippsLn_32f(srcDst, srcDst, len); }

IppStatus ippsSqrt_32f_I(Ipp32f* srcDst, int len)
{
    if (const IppStatus st = checkVector(len, srcDst))
        return st;
    IppStatus warning = ippStsNoErr;
    for (int i = 0; i < len; ++i) {
        if (srcDst[i] < 0.0f) {
            srcDst[i] = std::numeric_limits<float>::quiet_NaN();
            warning = ippStsSqrtNegArg;
        } else {
            srcDst[i] = std::sqrt(srcDst[i]);
        }
    }
    return warning;
}

// std::exp overflows to +infinity from ln(FLT_MAX) = 88.7228391 up.
IppStatus ippsExp_32f_I(Ipp32f* srcDst, int len)
{
    return forEachInPlace(srcDst, len, [](float x) { return std::exp(x); });
}

IppStatus ippsPolarToCart_32f(const Ipp32f* mag, const Ipp32f* phase, Ipp32f* re, Ipp32f* im, int len)
{
    if (const IppStatus st = checkVector(len, mag, phase, re, im))
        return st;
    for (int i = 0; i < len; ++i) {
        const double m = mag[i];
        const double p = phase[i];
        re[i] = static_cast<float>(m * std::cos(p));
        im[i] = static_cast<float>(m * std::sin(p));
    }
    return ippStsNoErr;
}
