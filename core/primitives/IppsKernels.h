#pragma once
// Vectorised inner loops behind the ipps operations. Each picks the widest instruction
// set of the running processor on its first call (SSE4, AVX2, AVX-512 on x86-64; NEON on
// arm64). Arguments are already checked: pointers valid, n >= 1.
// Audio thread: no allocation, no lock, no I/O.

#include <cstddef>
#include <cstdint>

namespace vk::kernels {

// Element-wise float arithmetic; dst may be one of the sources (same index only).
void add(const float* a, const float* b, float* dst, std::size_t n);
void addC(float val, float* srcDst, std::size_t n);
void addProduct(const float* a, const float* b, float* srcDst, std::size_t n);
void addProductC(const float* src, float val, float* srcDst, std::size_t n);
void mul(const float* a, const float* b, float* dst, std::size_t n);
void mulC(const float* src, float val, float* dst, std::size_t n);
void subCRev(const float* src, float val, float* dst, std::size_t n);
void abs(const float* src, float* dst, std::size_t n);

// dst = src as float, rounded once.
void int32ToFloat(const std::int32_t* src, float* dst, std::size_t n);
// dst = packed 24-bit samples (three bytes each, low byte first, signed) as float.
void int24ToFloat(const std::uint8_t* src, float* dst, std::size_t n);

// The largest element, the first of equal ones; NaN only when src[0] is NaN.
float max(const float* src, std::size_t n);

// dst = src * factor, saturated to [lo, hi], then rounded to nearest (ties to even) or
// towards zero. NaN gives 0.
void floatToInt32(
    const float* src, std::int32_t* dst, std::size_t n, float factor, std::int32_t lo, std::int32_t hi, bool nearest);

// dst = src widened to double.
void floatToDouble(const float* src, double* dst, std::size_t n);

// FIR as a correlation in double precision, rounded once to float:
//   out[s] = sum over k < tapsLen of coefs[k] * w[s + k]
// The kernel computes whole granules of outputs, s < roundUpFirOutputs(n), so out must
// have room for that many and w must hold tapsLen - 1 + roundUpFirOutputs(n) values.
// Outputs past n read whatever lies beyond the first n inputs and are to be ignored.
constexpr std::size_t kFirOutputGranule = 128;
constexpr std::size_t roundUpFirOutputs(std::size_t n)
{
    return (n + kFirOutputGranule - 1) / kFirOutputGranule * kFirOutputGranule;
}
void firCorrelate(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n);

// The same correlation for coefficients that read the same backwards, coefs[k] ==
// coefs[tapsLen - 1 - k], with the same contract: the two inputs that meet one
// coefficient are added before they are multiplied. Only the summation order differs from
// firCorrelate, so the double sums differ by at most about tapsLen * 2^-53 times the sum
// of |coefs[k] * w[s + k]|, and the float results by one float ulp more.
void firCorrelateSymmetric(const double* w, const double* coefs, std::size_t tapsLen, float* out, std::size_t n);

// Multi-rate FIR on polyphase coefficients, rounded once to float. Output q sits at
// position e = first + q * down of the zero-stuffed stream, in which w[p] stands at p * up;
// it is the dot product of the phaseLen coefficients of phase e % up with the phaseLen
// inputs that end at w[e / up].
struct MultiRateLayout {
    const double* poly; // up phases of phaseLen coefficients, each in input order
    std::size_t phaseLen;
    std::int64_t up;
    std::int64_t down;
};
void firMultiRate(const double* w, const MultiRateLayout& layout, std::int64_t first, float* out, std::size_t n);

} // namespace vk::kernels
