#pragma once
// The vector and filter operations that every signal object of the system is written
// against. Each operation but the allocators and ippsFree returns an IppStatus:
// 0 success, negative an error (nothing was changed), positive a warning (work done).
// Checks run first and in order: a null required pointer gives ippStsNullPtrErr, then a
// length below 1 gives ippStsSizeErr (filters use their own count codes).
//
// Audio thread: the vector, conversion and filter operations never allocate, lock or
// wait; only the allocators and the *InitAlloc / *Free operations touch the heap.

#include <cstdint>

using Ipp8u = std::uint8_t;
using Ipp16s = std::int16_t;
using Ipp32s = std::int32_t;
using Ipp32f = float;
using Ipp64f = double;
using IppStatus = int;

// One complex sample of two floats; copied as an 8-byte element.
struct Ipp32fc {
    Ipp32f re;
    Ipp32f im;
};

enum IppStatusCode : int {
    ippStsNoErr = 0,
    ippStsSizeErr = -6,
    ippStsNullPtrErr = -8,
    ippStsMemAllocErr = -9,
    ippStsDivByZeroErr = -10,
    ippStsContextMatchErr = -17,
    ippStsIIROrderErr = -25,
    ippStsFIRLenErr = -26,
    ippStsFIRMRPhaseErr = -28,
    ippStsFIRMRFactorErr = -29,
    ippStsSqrtNegArg = 3,
    ippStsLnZeroArg = 7,
    ippStsLnNegArg = 8,
};

// Rounding modes of the conversions to integer.
enum IppRoundMode : int {
    ippRndZero = 0,
    ippRndNear = 1,
};

// Opaque filter states. Both kinds start with a common tag, so an operation handed the
// wrong kind answers ippStsContextMatchErr instead of misreading it.
struct IppsFIRState_32f;
struct IppsIIRState64f_32f;

// Memory: 32-byte aligned; null for len < 1 or when memory is short.
Ipp8u* ippsMalloc_8u(int len);
Ipp32f* ippsMalloc_32f(int len);
void ippsFree(void* ptr);

IppStatus ippsZero_8u(Ipp8u* dst, int len);
IppStatus ippsZero_32s(Ipp32s* dst, int len);
IppStatus ippsZero_32f(Ipp32f* dst, int len);
IppStatus ippsCopy_32f(const Ipp32f* src, Ipp32f* dst, int len);
IppStatus ippsCopy_64f(const Ipp64f* src, Ipp64f* dst, int len);
IppStatus ippsCopy_32fc(const Ipp32fc* src, Ipp32fc* dst, int len);

// Vector arithmetic.
IppStatus ippsAdd_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);
IppStatus ippsAdd_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len);
IppStatus ippsAddC_32f_I(Ipp32f val, Ipp32f* srcDst, int len);
IppStatus ippsAddProduct_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* srcDst, int len);
IppStatus ippsAddProductC_32f(const Ipp32f* src, Ipp32f val, Ipp32f* srcDst, int len);
IppStatus ippsMul_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);
IppStatus ippsMul_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len);
IppStatus ippsMulC_32f(const Ipp32f* src, Ipp32f val, Ipp32f* dst, int len);
IppStatus ippsMulC_32f_I(Ipp32f val, Ipp32f* srcDst, int len);
IppStatus ippsDivC_32f_I(Ipp32f val, Ipp32f* srcDst, int len);
IppStatus ippsSubCRev_32f(const Ipp32f* src, Ipp32f val, Ipp32f* dst, int len);
IppStatus ippsSubCRev_32f_I(Ipp32f val, Ipp32f* srcDst, int len);
IppStatus ippsAbs_32f(const Ipp32f* src, Ipp32f* dst, int len);
IppStatus ippsMax_32f(const Ipp32f* src, int len, Ipp32f* max);
IppStatus ippsVectorSlope_32f(Ipp32f* dst, int len, Ipp32f offset, Ipp32f slope);
IppStatus ippsThreshold_LT_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level);
IppStatus ippsThreshold_LT_32f_I(Ipp32f* srcDst, int len, Ipp32f level);
IppStatus ippsThreshold_GT_32f_I(Ipp32f* srcDst, int len, Ipp32f level);
IppStatus ippsLn_32f(const Ipp32f* src, Ipp32f* dst, int len);
IppStatus ippsLn_32f_I(Ipp32f* srcDst, int len);
IppStatus ippsSqrt_32f_I(Ipp32f* srcDst, int len);
IppStatus ippsExp_32f_I(Ipp32f* srcDst, int len);
IppStatus ippsPolarToCart_32f(const Ipp32f* mag, const Ipp32f* phase, Ipp32f* re, Ipp32f* im, int len);

// Conversion from integer PCM, unscaled.
IppStatus ippsConvert_8u32f(const Ipp8u* src, Ipp32f* dst, int len);
IppStatus ippsConvert_16s32f(const Ipp16s* src, Ipp32f* dst, int len);
IppStatus ippsConvert_24s32f(const Ipp8u* src, Ipp32f* dst, int len);
IppStatus ippsConvert_32s32f(const Ipp32s* src, Ipp32f* dst, int len);

// Conversion to integer PCM: x = src * 2^-scale, saturated, then rounded.
IppStatus ippsConvert_32f8u_Sfs(const Ipp32f* src, Ipp8u* dst, int len, IppRoundMode rnd, int scale);
IppStatus ippsConvert_32f16s_Sfs(const Ipp32f* src, Ipp16s* dst, int len, IppRoundMode rnd, int scale);
IppStatus ippsConvert_32f24s_Sfs(const Ipp32f* src, Ipp8u* dst, int len, int scale);
IppStatus ippsConvert_32f32s_Sfs(const Ipp32f* src, Ipp32s* dst, int len, IppRoundMode rnd, int scale);

// FIR filters with history, single- and multi-rate. Sums run in double; a stream gives
// the same result however it is cut into calls. A history given as dly holds the kept
// input samples oldest first: tapsLen - 1 of them, or ceil(tapsLen / upFactor) for a
// multi-rate state; null means silence. ippsFIRInit_32f builds the state inside the
// caller's buffer of ippsFIRGetStateSize_32f bytes (any alignment) and allocates nothing.
// A multi-rate state that writes more samples than it reads refuses to run in place
// (ippStsContextMatchErr).
IppStatus ippsFIRGetStateSize_32f(int tapsLen, int* size);
IppStatus ippsFIRInit_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, const Ipp32f* dly,
                          Ipp8u* buffer);
IppStatus ippsFIRInitAlloc_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, const Ipp32f* dly);
IppStatus ippsFIRMRInitAlloc_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, int upFactor,
                                 int upPhase, int downFactor, int downPhase, const Ipp32f* dly);
IppStatus ippsFIRFree_32f(IppsFIRState_32f* state);
// Copies the taps a state runs into taps, first tap first (tapsLen floats, as built).
IppStatus ippsFIRGetTaps_32f(const IppsFIRState_32f* state, Ipp32f* taps);
IppStatus ippsFIRSetDlyLine_32f(IppsFIRState_32f* state, const Ipp32f* dly);
IppStatus ippsFIR_32f(const Ipp32f* src, Ipp32f* dst, int numIters, IppsFIRState_32f* state);
IppStatus ippsFIR_32f_I(Ipp32f* srcDst, int numIters, IppsFIRState_32f* state);

// Biquad cascades, direct form II transposed, 64-bit inside. Six coefficients a section:
// b0, b1, b2, a0, a1, a2.
IppStatus ippsIIRInitAlloc64f_BiQuad_32f(IppsIIRState64f_32f** ppState, const Ipp64f* taps, int numBq,
                                         const Ipp64f* dly);
IppStatus ippsIIRFree64f_32f(IppsIIRState64f_32f* state);
IppStatus ippsIIR64f_32f(const Ipp32f* src, Ipp32f* dst, int len, IppsIIRState64f_32f* state);
IppStatus ippsIIR64f_32f_I(Ipp32f* srcDst, int len, IppsIIRState64f_32f* state);
IppStatus ippsIIRSetTaps64f_32f(const Ipp64f* taps, IppsIIRState64f_32f* state);
IppStatus ippsIIRSetDlyLine64f_32f(IppsIIRState64f_32f* state, const Ipp64f* dly);
