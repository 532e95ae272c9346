// Highway implementations of the inner loops declared in IppsKernels.h. This file is
// compiled once per instruction set (foreach_target); the entry points at the end pick
// the best one for the running processor.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/primitives/IppsKernels.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "core/primitives/IppsKernels.h"

#include <algorithm>
#include <utility>

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

// The correlation folded for coefficients that read the same backwards: the two inputs
// that meet one coefficient are added first, then multiplied once, so each multiply-add
// does the work of two and the additions run on the separate add units.
//
// Lanes run over outputs, and a pass takes kFoldGroup taps spaced one vector apart along
// the whole span of outputs, keeping the sums of the span in memory (L1). Tap p then
// meets forward input vector m + p and mirrored input vector m - p of output vector m,
// so a window of kFoldGroup vectors of each kind slides along the outputs: each step
// loads one forward and one mirrored vector for kFoldGroup pairs of taps. Keeping the
// sums in registers instead (as firBlock does) leaves too few registers for the two
// windows, and the kernel then spends its time loading inputs, which are mostly
// unaligned and cost two loads when they cross a cache line.
constexpr std::size_t kFoldGroup = 4;
constexpr std::size_t kFoldSpan = 512;

// Loads an input vector into a register the compiler must keep: otherwise it folds the
// load into each addition that uses the vector, which multiplies the loads.
template <class D>
HWY_INLINE hn::Vec<D> loadKept(D d, const double* p)
{
    hn::Vec<D> v = hn::LoadU(d, p);
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSSE3
    asm("" : "+x"(v.raw));
#endif
    return v;
}

// One step of foldedPass, for output vector m in slot U = m % G of the windows: forward
// vector m + p sits in forward[(U + p) % G], mirrored vector m - p in
// mirrored[(U + G - p) % G]. Unrolled G steps at a time, the slots are constants and the
// windows slide without moving a register. With more, the step then loads the vectors
// that the next one needs into the slots that this one no longer does.
template <std::size_t U, std::size_t G, class D, class V>
HWY_INLINE void foldedStep(D d, const V (&tap)[G], V (&forward)[G], V (&mirrored)[G], const double* x, const double* y,
                           double* sums, std::size_t m, bool more)
{
    const std::size_t lanes = hn::Lanes(d);
    V sum = hn::Load(d, sums + m * lanes);
#pragma GCC unroll 16
    for (std::size_t p = 0; p < G; ++p)
        sum = hn::MulAdd(tap[p], hn::Add(forward[(U + p) % G], mirrored[(U + G - p) % G]), sum);
    hn::Store(sum, d, sums + m * lanes);
    if (more) {
        forward[U] = loadKept(d, x + (m + G) * lanes);
        mirrored[(U + 1) % G] = loadKept(d, y + (m + 1) * lanes);
    }
}

// sums[m] += sum over p < G of taps[p] * (x[(m + p) lanes] + y[(m - p) lanes]), read as
// vectors, for m < vectors. Reads x up to vector vectors + G - 2 and y up to vectors - 1.
template <std::size_t G, class D>
HWY_INLINE void foldedPass(D d, const double* x, const double* y, const double* taps, double* sums, std::size_t vectors)
{
    using V = hn::Vec<D>;
    const std::size_t lanes = hn::Lanes(d);
    V tap[G];
    V forward[G];
    V mirrored[G];
#pragma GCC unroll 16
    for (std::size_t p = 0; p < G; ++p) {
        tap[p] = hn::Set(d, taps[p]);
        forward[p] = loadKept(d, x + p * lanes);
        mirrored[(G - p) % G] = loadKept(d, y - p * lanes);
    }
    std::size_t m = 0;
    for (; m + G < vectors; m += G)
        [&]<std::size_t... U>(std::index_sequence<U...>) {
            (foldedStep<U>(d, tap, forward, mirrored, x, y, sums, m + U, true), ...);
        }(std::make_index_sequence<G>{});
    // The last one to G vectors, loading nothing past the inputs they need.
    [&]<std::size_t... U>(std::index_sequence<U...>) {
        ((m + U < vectors ? foldedStep<U>(d, tap, forward, mirrored, x, y, sums, m + U, m + U + 1 < vectors) : void()),
         ...);
    }(std::make_index_sequence<G>{});
}

// Tap u of the folded filter: the pairs first, then for an odd length the middle tap,
// which meets one input: as a pair of that input with itself and half the tap, exactly
// (doubling and halving are exact in double). Its mirror index, tapsLen - 1 - u, is u.
HWY_INLINE double foldedTap(const double* coefs, std::size_t pairs, std::size_t u)
{
    return u < pairs ? coefs[u] : 0.5 * coefs[u];
}

// The G * lanes folded taps from k on, as lanes passes of G taps each.
template <std::size_t G, class D>
HWY_INLINE void foldedGroup(D d, const double* w, const double* coefs, std::size_t tapsLen, std::size_t k, double* sums,
                            std::size_t vectors)
{
    const std::size_t lanes = hn::Lanes(d);
    for (std::size_t r = 0; r < lanes; ++r) {
        double taps[G];
        for (std::size_t p = 0; p < G; ++p)
            taps[p] = foldedTap(coefs, tapsLen / 2, k + r + p * lanes);
        foldedPass<G>(d, w + k + r, w + tapsLen - 1 - k - r, taps, sums, vectors);
    }
}

// Up to four folded taps that are not spaced one vector apart: those left over after the
// groups. sums[m] += taps[t] * (x[t] + y[t]) at vector m,
// loading both inputs of every pair at every step.
struct LoosePairs {
    static constexpr std::size_t kMax = 4;
    const double* x[kMax];
    const double* y[kMax];
    double taps[kMax];
    std::size_t count = 0;
};

template <std::size_t T, class D>
HWY_INLINE void loosePass(D d, const LoosePairs& pairs, double* sums, std::size_t vectors)
{
    using V = hn::Vec<D>;
    const std::size_t lanes = hn::Lanes(d);
    V tap[T];
#pragma GCC unroll 16
    for (std::size_t t = 0; t < T; ++t)
        tap[t] = hn::Set(d, pairs.taps[t]);
    for (std::size_t m = 0; m < vectors; ++m) {
        const std::size_t at = m * lanes;
        V sum = hn::Load(d, sums + at);
#pragma GCC unroll 16
        for (std::size_t t = 0; t < T; ++t)
            sum = hn::MulAdd(tap[t], hn::Add(hn::LoadU(d, pairs.x[t] + at), hn::LoadU(d, pairs.y[t] + at)), sum);
        hn::Store(sum, d, sums + at);
    }
}

template <class D>
HWY_INLINE void loosePass(D d, const LoosePairs& pairs, double* sums, std::size_t vectors)
{
    switch (pairs.count) {
    case 4: return loosePass<4>(d, pairs, sums, vectors);
    case 3: return loosePass<3>(d, pairs, sums, vectors);
    case 2: return loosePass<2>(d, pairs, sums, vectors);
    case 1: return loosePass<1>(d, pairs, sums, vectors);
    default: return;
    }
}

// sums[s] = the folded correlation for s < vectors * lanes.
template <class D>
HWY_INLINE void foldedSpan(D d, const double* w, const double* coefs, std::size_t tapsLen, double* sums,
                           std::size_t vectors)
{
    static_assert(kFoldGroup == 4, "the groups left over below take up to three taps");
    const std::size_t lanes = hn::Lanes(d);
    std::fill_n(sums, vectors * lanes, 0.0);
    const std::size_t folded = (tapsLen + 1) / 2;
    std::size_t k = 0;
    for (; k + kFoldGroup * lanes <= folded; k += kFoldGroup * lanes)
        foldedGroup<kFoldGroup>(d, w, coefs, tapsLen, k, sums, vectors);
    // A group of one tap row loads more per tap than the loose taps below do.
    const std::size_t groups = (folded - k) / lanes;
    if (groups == 3)
        foldedGroup<3>(d, w, coefs, tapsLen, k, sums, vectors);
    else if (groups == 2)
        foldedGroup<2>(d, w, coefs, tapsLen, k, sums, vectors);
    if (groups >= 2)
        k += groups * lanes;
    LoosePairs loose;
    for (; k < folded; ++k) {
        loose.x[loose.count] = w + k;
        loose.y[loose.count] = w + tapsLen - 1 - k;
        loose.taps[loose.count] = foldedTap(coefs, tapsLen / 2, k);
        if (++loose.count == LoosePairs::kMax) {
            loosePass(d, loose, sums, vectors);
            loose.count = 0;
        }
    }
    loosePass(d, loose, sums, vectors);
}

void FirCorrelateSymmetricKernel(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n)
{
    const hn::CappedTag<double, 8> d;
    const hn::Rebind<float, decltype(d)> df;
    const std::size_t lanes = hn::Lanes(d);
    HWY_ALIGN double sums[kFoldSpan];
    for (std::size_t s = 0; s < n; s += kFoldSpan) {
        const std::size_t span = std::min(kFoldSpan, n - s);
        foldedSpan(d, w + s, coefs, tapsLen, sums, span / lanes);
        for (std::size_t i = 0; i < span; i += lanes)
            hn::StoreU(hn::DemoteTo(df, hn::Load(d, sums + i)), df, out + s + i);
    }
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
HWY_EXPORT(FirCorrelateSymmetricKernel);
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
void firCorrelateSymmetric(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(FirCorrelateSymmetricKernel)(w, coefs, tapsLen, out, roundUpFirOutputs(n));
}

void firMultiRate(const double* w, const MultiRateLayout& layout, std::int64_t first, float* out, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(FirMultiRateKernel)(w, layout, first, out, n);
}

} // namespace vk::kernels
#endif
