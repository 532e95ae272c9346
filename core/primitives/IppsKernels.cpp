// Highway implementations of the inner loops declared in IppsKernels.h. This file is
// compiled once per instruction set (foreach_target); the entry points at the end pick
// the best one for the running processor.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/primitives/IppsKernels.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "core/primitives/IppsKernels.h"

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace vk::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// dst[i] = op(a[i], b[i], c[i]): whole vectors first, then the remainder one lane at a
// time with the same operation. Operands an operation ignores are never really loaded.
template <class Op>
HWY_INLINE void elementLoop(const float* a, const float* b, const float* c, float* dst, std::size_t n,
                            const Op& op)
{
    const hn::ScalableTag<float> d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(op(d, hn::LoadU(d, a + i), hn::LoadU(d, b + i), hn::LoadU(d, c + i)), d, dst + i);
    const hn::CappedTag<float, 1> d1;
    for (; i < n; ++i)
        hn::StoreU(op(d1, hn::LoadU(d1, a + i), hn::LoadU(d1, b + i), hn::LoadU(d1, c + i)), d1, dst + i);
}

struct AddOp {
    template <class D, class V> HWY_INLINE V operator()(D, V x, V y, V) const { return hn::Add(x, y); }
};
struct MulOp {
    template <class D, class V> HWY_INLINE V operator()(D, V x, V y, V) const { return hn::Mul(x, y); }
};
// Fused where the target has it: the product is not rounded on its own.
struct AddProductOp {
    template <class D, class V> HWY_INLINE V operator()(D, V x, V y, V acc) const { return hn::MulAdd(x, y, acc); }
};
struct AbsOp {
    template <class D, class V> HWY_INLINE V operator()(D, V x, V, V) const { return hn::Abs(x); }
};
struct AddCOp {
    float val;
    template <class D, class V> HWY_INLINE V operator()(D d, V x, V, V) const { return hn::Add(x, hn::Set(d, val)); }
};
struct MulCOp {
    float val;
    template <class D, class V> HWY_INLINE V operator()(D d, V x, V, V) const { return hn::Mul(x, hn::Set(d, val)); }
};
struct SubCRevOp {
    float val;
    template <class D, class V> HWY_INLINE V operator()(D d, V x, V, V) const { return hn::Sub(hn::Set(d, val), x); }
};
struct AddProductCOp {
    float val;
    template <class D, class V> HWY_INLINE V operator()(D d, V x, V, V acc) const
    {
        return hn::MulAdd(x, hn::Set(d, val), acc);
    }
};

void AddKernel(const float* a, const float* b, float* dst, std::size_t n) { elementLoop(a, b, a, dst, n, AddOp{}); }
void MulKernel(const float* a, const float* b, float* dst, std::size_t n) { elementLoop(a, b, a, dst, n, MulOp{}); }
void AddProductKernel(const float* a, const float* b, float* srcDst, std::size_t n)
{
    elementLoop(a, b, srcDst, srcDst, n, AddProductOp{});
}
void AbsKernel(const float* src, float* dst, std::size_t n) { elementLoop(src, src, src, dst, n, AbsOp{}); }
void AddCKernel(float val, float* srcDst, std::size_t n) { elementLoop(srcDst, srcDst, srcDst, srcDst, n, AddCOp{val}); }
void MulCKernel(const float* src, float val, float* dst, std::size_t n) { elementLoop(src, src, src, dst, n, MulCOp{val}); }
void SubCRevKernel(const float* src, float val, float* dst, std::size_t n)
{
    elementLoop(src, src, src, dst, n, SubCRevOp{val});
}
void AddProductCKernel(const float* src, float val, float* srcDst, std::size_t n)
{
    elementLoop(src, src, srcDst, srcDst, n, AddProductCOp{val});
}

// Element-wise conversion: whole vectors, then single lanes with the same code.
template <class DFrom, class DTo, class Op>
HWY_INLINE void convertLoop(const hn::TFromD<DFrom>* src, hn::TFromD<DTo>* dst, std::size_t n, const Op& op)
{
    const DFrom dFrom;
    const DTo dTo;
    const std::size_t lanes = hn::Lanes(dFrom);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(op(dTo, hn::LoadU(dFrom, src + i)), dTo, dst + i);
    const hn::CappedTag<hn::TFromD<DFrom>, 1> dFrom1;
    const hn::Rebind<hn::TFromD<DTo>, decltype(dFrom1)> dTo1;
    for (; i < n; ++i)
        hn::StoreU(op(dTo1, hn::LoadU(dFrom1, src + i)), dTo1, dst + i);
}

struct IntToFloatOp {
    template <class D, class V> HWY_INLINE auto operator()(D d, V x) const { return hn::ConvertTo(d, x); }
};

// Scale, round, then saturate: rounding is monotonic and the limits are integers, so
// this equals saturating first. A float at or above 2^31 cannot be converted, which is
// why the upper limit is applied as a mask rather than a clamp.
struct FloatToIntOp {
    float factor;
    float lo;
    float hi;
    std::int32_t hiInt;
    bool nearest;
    template <class DI, class V> HWY_INLINE auto operator()(DI di, V x) const
    {
        const hn::Rebind<float, DI> df;
        V scaled = hn::IfThenZeroElse(hn::IsNaN(x), hn::Mul(x, hn::Set(df, factor)));
        V rounded = nearest ? hn::Round(scaled) : hn::Trunc(scaled);
        const auto tooHigh = rounded >= hn::Set(df, hi);
        rounded = hn::IfThenZeroElse(tooHigh, hn::Max(rounded, hn::Set(df, lo)));
        return hn::IfThenElse(hn::RebindMask(di, tooHigh), hn::Set(di, hiInt), hn::ConvertTo(di, rounded));
    }
};

struct PromoteOp {
    template <class D, class V> HWY_INLINE auto operator()(D d, V x) const { return hn::PromoteTo(d, x); }
};

void Int32ToFloatKernel(const std::int32_t* src, float* dst, std::size_t n)
{
    using DI = hn::ScalableTag<std::int32_t>;
    convertLoop<DI, hn::Rebind<float, DI>>(src, dst, n, IntToFloatOp{});
}

void FloatToInt32Kernel(const float* src, std::int32_t* dst, std::size_t n, float factor, std::int32_t lo,
                        std::int32_t hi, bool nearest)
{
    using DF = hn::ScalableTag<float>;
    const FloatToIntOp op{factor, static_cast<float>(lo), static_cast<float>(hi), hi, nearest};
    convertLoop<DF, hn::Rebind<std::int32_t, DF>>(src, dst, n, op);
}

void FloatToDoubleKernel(const float* src, double* dst, std::size_t n)
{
    using DD = hn::ScalableTag<double>;
    convertLoop<hn::Rebind<float, DD>, DD>(src, dst, n, PromoteOp{});
}

// A packed 24-bit sample, low byte first, sign-extended through the top byte.
HWY_INLINE std::int32_t int24At(const std::uint8_t* b)
{
    const auto bits = std::uint32_t{b[0]} << 8 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 24;
    return static_cast<std::int32_t>(bits) >> 8;
}

// Four samples per 128-bit block: their twelve bytes go to the top three bytes of four
// 32-bit lanes, and an arithmetic shift brings them down with their sign. The low byte
// the shuffle leaves there is shifted out. A load takes sixteen bytes, so the vector
// loop stops while four bytes past the group still belong to the source.
void Int24ToFloatKernel(const std::uint8_t* src, float* dst, std::size_t n)
{
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::Full128<std::uint8_t> d8;
    const hn::Full128<std::int32_t> di;
    const hn::Full128<float> df;
    alignas(16) static constexpr std::uint8_t kSpread[16] = {0, 0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11};
    const auto spread = hn::Load(d8, kSpread);
    for (; (i + 4) * 3 + 4 <= n * 3; i += 4) {
        const auto bytes = hn::TableLookupBytes(hn::LoadU(d8, src + 3 * i), spread);
        hn::StoreU(hn::ConvertTo(df, hn::ShiftRight<8>(hn::BitCast(di, bytes))), df, dst + i);
    }
#endif
    for (; i < n; ++i)
        dst[i] = static_cast<float>(int24At(src + 3 * i));
}

// The first element that no later one exceeds, as a scan that replaces its maximum only
// by a greater value gives: a NaN is passed over unless it comes first. Lanes keep their
// own running maximum by the same rule, so none holds a NaN; only the sign of a zero
// maximum depends on order, and a second pass finds the first zero for it.
float MaxKernel(const float* src, std::size_t n)
{
    float m = src[0];
    if (m != m)
        return m;
    const hn::ScalableTag<float> d;
    const std::size_t lanes = hn::Lanes(d);
    auto m0 = hn::Set(d, m), m1 = m0;
    std::size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const auto x0 = hn::LoadU(d, src + i);
        const auto x1 = hn::LoadU(d, src + i + lanes);
        m0 = hn::IfThenElse(hn::Gt(x0, m0), x0, m0);
        m1 = hn::IfThenElse(hn::Gt(x1, m1), x1, m1);
    }
    m0 = hn::IfThenElse(hn::Gt(m1, m0), m1, m0);
    // The lanes are reduced by the same scan rather than MaxOfLanes: Highway's emulated
    // target starts that reduction from the lowest finite value, which turns an all -inf
    // input into -FLT_MAX.
    HWY_ALIGN float lane[HWY_MAX_BYTES / sizeof(float)];
    hn::Store(m0, d, lane);
    for (std::size_t k = 0; k < lanes; ++k)
        if (lane[k] > m)
            m = lane[k];
    for (; i < n; ++i)
        if (src[i] > m)
            m = src[i];
    if (m != 0.0f)
        return m;
    return *std::find(src, src + n, 0.0f);
}

// FIR correlation, lanes over output samples, in double. A block of kOut vectors of
// outputs is kept in registers. Taps are taken in groups of kGroup, spaced one vector
// apart: a loaded input vector then serves up to kGroup accumulators, which keeps the
// loads per multiply-add well below one.
constexpr std::size_t kOut = 8;
constexpr std::size_t kGroup = 4;

template <class D>
HWY_INLINE void firBlock(D d, const double* w, const double* coefs, std::size_t tapsLen, float* out)
{
    using V = hn::Vec<D>;
    const std::size_t lanes = hn::Lanes(d);
    V acc[kOut];
#pragma GCC unroll 16
    for (std::size_t j = 0; j < kOut; ++j)
        acc[j] = hn::Zero(d);

    std::size_t k = 0;
    for (; k + kGroup * lanes <= tapsLen; k += kGroup * lanes) {
        for (std::size_t r = 0; r < lanes; ++r) {
            const double* x = w + k + r;
            const double* c = coefs + k + r;
            V taps[kGroup];
#pragma GCC unroll 16
            for (std::size_t p = 0; p < kGroup; ++p)
                taps[p] = hn::Set(d, c[p * lanes]);
#pragma GCC unroll 16
            for (std::size_t m = 0; m < kOut + kGroup - 1; ++m) {
                const V v = hn::LoadU(d, x + m * lanes);
#pragma GCC unroll 16
                for (std::size_t p = 0; p < kGroup; ++p) {
                    if (m >= p && m - p < kOut)
                        acc[m - p] = hn::MulAdd(taps[p], v, acc[m - p]);
                }
            }
        }
    }
    for (; k < tapsLen; ++k) {
        const V tap = hn::Set(d, coefs[k]);
#pragma GCC unroll 16
        for (std::size_t j = 0; j < kOut; ++j)
            acc[j] = hn::MulAdd(tap, hn::LoadU(d, w + k + j * lanes), acc[j]);
    }

    const hn::Rebind<float, D> df;
#pragma GCC unroll 16
    for (std::size_t j = 0; j < kOut; ++j)
        hn::StoreU(hn::DemoteTo(df, acc[j]), df, out + j * lanes);
}

void FirCorrelateKernel(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n)
{
    const hn::CappedTag<double, 8> d;
    const std::size_t block = kOut * hn::Lanes(d);
    for (std::size_t s = 0; s < n; s += block)
        firBlock(d, w + s, coefs, tapsLen, out + s);
}

// Dot product in double: four vectors of partial sums, then the remainder.
HWY_INLINE double dot(const double* a, const double* b, std::size_t n)
{
    const hn::ScalableTag<double> d;
    const std::size_t lanes = hn::Lanes(d);
    auto s0 = hn::Zero(d), s1 = hn::Zero(d), s2 = hn::Zero(d), s3 = hn::Zero(d);
    std::size_t i = 0;
    for (; i + 4 * lanes <= n; i += 4 * lanes) {
        s0 = hn::MulAdd(hn::LoadU(d, a + i), hn::LoadU(d, b + i), s0);
        s1 = hn::MulAdd(hn::LoadU(d, a + i + lanes), hn::LoadU(d, b + i + lanes), s1);
        s2 = hn::MulAdd(hn::LoadU(d, a + i + 2 * lanes), hn::LoadU(d, b + i + 2 * lanes), s2);
        s3 = hn::MulAdd(hn::LoadU(d, a + i + 3 * lanes), hn::LoadU(d, b + i + 3 * lanes), s3);
    }
    for (; i + lanes <= n; i += lanes)
        s0 = hn::MulAdd(hn::LoadU(d, a + i), hn::LoadU(d, b + i), s0);
    double sum = hn::GetLane(hn::SumOfLanes(d, hn::Add(hn::Add(s0, s1), hn::Add(s2, s3))));
    for (; i < n; ++i)
        sum += a[i] * b[i];
    return sum;
}

void FirMultiRateKernel(const double* w, const MultiRateLayout& layout, std::int64_t first, float* out, std::size_t n)
{
    const auto phaseLen = static_cast<std::int64_t>(layout.phaseLen);
    for (std::size_t q = 0; q < n; ++q) {
        const std::int64_t e = first + static_cast<std::int64_t>(q) * layout.down;
        const double* coefs = layout.poly + (e % layout.up) * phaseLen;
        out[q] = static_cast<float>(dot(coefs, w + e / layout.up - phaseLen + 1, layout.phaseLen));
    }
}

} // namespace vk::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vk::kernels {

HWY_EXPORT(AddKernel);
HWY_EXPORT(MulKernel);
HWY_EXPORT(AddProductKernel);
HWY_EXPORT(AbsKernel);
HWY_EXPORT(AddCKernel);
HWY_EXPORT(MulCKernel);
HWY_EXPORT(SubCRevKernel);
HWY_EXPORT(AddProductCKernel);
HWY_EXPORT(Int32ToFloatKernel);
HWY_EXPORT(FloatToInt32Kernel);
HWY_EXPORT(FloatToDoubleKernel);
HWY_EXPORT(Int24ToFloatKernel);
HWY_EXPORT(MaxKernel);
HWY_EXPORT(FirCorrelateKernel);
HWY_EXPORT(FirMultiRateKernel);

void add(const float* a, const float* b, float* dst, std::size_t n) { HWY_DYNAMIC_DISPATCH(AddKernel)(a, b, dst, n); }
void mul(const float* a, const float* b, float* dst, std::size_t n) { HWY_DYNAMIC_DISPATCH(MulKernel)(a, b, dst, n); }
void addProduct(const float* a, const float* b, float* srcDst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(AddProductKernel)(a, b, srcDst, n);
}
void abs(const float* src, float* dst, std::size_t n) { HWY_DYNAMIC_DISPATCH(AbsKernel)(src, dst, n); }
void addC(float val, float* srcDst, std::size_t n) { HWY_DYNAMIC_DISPATCH(AddCKernel)(val, srcDst, n); }
void mulC(const float* src, float val, float* dst, std::size_t n) { HWY_DYNAMIC_DISPATCH(MulCKernel)(src, val, dst, n); }
void subCRev(const float* src, float val, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(SubCRevKernel)(src, val, dst, n);
}
void addProductC(const float* src, float val, float* srcDst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(AddProductCKernel)(src, val, srcDst, n);
}
void int32ToFloat(const std::int32_t* src, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(Int32ToFloatKernel)(src, dst, n);
}
void floatToInt32(const float* src, std::int32_t* dst, std::size_t n, float factor, std::int32_t lo, std::int32_t hi,
                  bool nearest)
{
    HWY_DYNAMIC_DISPATCH(FloatToInt32Kernel)(src, dst, n, factor, lo, hi, nearest);
}
void floatToDouble(const float* src, double* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(FloatToDoubleKernel)(src, dst, n);
}
void int24ToFloat(const std::uint8_t* src, float* dst, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(Int24ToFloatKernel)(src, dst, n);
}
float max(const float* src, std::size_t n) { return HWY_DYNAMIC_DISPATCH(MaxKernel)(src, n); }
void firCorrelate(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(FirCorrelateKernel)(w, coefs, tapsLen, out, roundUpFirOutputs(n));
}

void firMultiRate(const double* w, const MultiRateLayout& layout, std::int64_t first, float* out, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(FirMultiRateKernel)(w, layout, first, out, n);
}

} // namespace vk::kernels
#endif
