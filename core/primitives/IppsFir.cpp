// FIR filters with history, single- and multi-rate.
//
// A state is one block of memory: this header, the taps as doubles, and a work line that
// holds the input history followed by one chunk of new input, also as doubles. Blocks of
// any length are cut into chunks, so a state never needs more memory than it was built
// with, and the result does not depend on where the caller cuts the stream.

#include "core/primitives/IppsChecks.h"
#include "core/primitives/IppsKernels.h"
#include "core/primitives/IppsStateTag.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

using vk::ipps::StateTag;

struct IppsFIRState_32f {
    StateTag tag = StateTag::Fir;
    void* allocation = nullptr; // what ippsFIRFree_32f releases; null inside a caller's buffer
    int tapsLen = 0;
    int upFactor = 1;
    int upPhase = 0;
    int downFactor = 1;
    int downPhase = 0;
    int historyLen = 0; // input samples kept between calls
    int chunkInputs = 0; // input samples taken per pass through the work line
    bool symmetric = false; // single rate with taps that read the same backwards: run folded
    double* coefs = nullptr; // single rate: taps reversed; multi-rate: see polyphaseTaps
    double* work = nullptr; // historyLen samples of history, then one chunk of input
    float* outputs = nullptr; // single rate: results of a chunk that ends inside a granule, to be copied out

    bool multiRate() const { return upFactor != 1 || downFactor != 1; }
};

namespace {

constexpr std::size_t kHeaderAlign = 64;
constexpr std::size_t kHeaderBytes = (sizeof(IppsFIRState_32f) + kHeaderAlign - 1) / kHeaderAlign * kHeaderAlign;
constexpr int kChunk = 512;
static_assert(kChunk % vk::kernels::kFirOutputGranule == 0, "the kernel rounds a chunk up to whole granules");

struct Geometry {
    int historyLen;
    int chunkInputs;
    std::size_t coefBytes;
    std::size_t workBytes;
    std::size_t outputBytes;

    // Room to align the header wherever the memory starts, then the parts.
    std::size_t total() const { return kHeaderAlign - 1 + kHeaderBytes + coefBytes + workBytes + outputBytes; }
};

// The single-rate kernel computes whole output granules; a chunk is a whole number of
// them, so its reads stay inside the work line. The multi-rate form keeps
// ceil(tapsLen / upFactor) inputs, which covers every tap for any phase, and as many
// coefficients per phase.
Geometry geometryFor(int tapsLen, int upFactor, int downFactor)
{
    const auto taps = static_cast<std::size_t>(tapsLen);
    if (upFactor == 1 && downFactor == 1) {
        const std::size_t line = taps - 1 + kChunk;
        return {tapsLen - 1, kChunk, taps * sizeof(double), line * sizeof(double), kChunk * sizeof(float)};
    }
    const auto history = static_cast<int>((std::int64_t{tapsLen} + upFactor - 1) / upFactor);
    const int chunk = std::max(1, kChunk / downFactor) * downFactor;
    const std::size_t line = static_cast<std::size_t>(history) + static_cast<std::size_t>(chunk);
    const std::size_t coefs = static_cast<std::size_t>(history) * static_cast<std::size_t>(upFactor);
    return {history, chunk, coefs * sizeof(double), line * sizeof(double), 0};
}

bool fitsInt(const Geometry& g) { return g.total() <= static_cast<std::size_t>(INT_MAX); }

void loadHistory(IppsFIRState_32f& s, const Ipp32f* dly)
{
    const auto line = static_cast<std::size_t>(s.historyLen) + static_cast<std::size_t>(s.chunkInputs);
    std::fill_n(s.work, line, 0.0);
    if (dly)
        std::copy_n(dly, s.historyLen, s.work);
}

// Phase f of the multi-rate filter holds the taps f, f + up, f + 2 up, ... that meet
// successive older inputs, stored oldest input first so that a phase runs over the work
// line forwards. Phases are padded with zeros to historyLen taps.
void polyphaseTaps(IppsFIRState_32f& s, const Ipp32f* taps)
{
    const int phaseLen = s.historyLen;
    for (int f = 0; f < s.upFactor; ++f)
        for (int m = 0; m < phaseLen; ++m) {
            const std::int64_t tap = f + std::int64_t{phaseLen - 1 - m} * s.upFactor;
            s.coefs[std::int64_t{f} * phaseLen + m] = tap < s.tapsLen ? taps[tap] : 0.0;
        }
}

// Bit for bit, so that folding never merges two taps that differ, not even in the sign
// of a zero.
bool isSymmetric(const Ipp32f* taps, int tapsLen)
{
    for (int i = 0, j = tapsLen - 1; i < j; ++i, --j)
        if (std::bit_cast<std::uint32_t>(taps[i]) != std::bit_cast<std::uint32_t>(taps[j]))
            return false;
    return true;
}

// Lays the state out in memory that holds geometry.total() bytes.
IppsFIRState_32f* buildState(void* memory, const Ipp32f* taps, int tapsLen, int upFactor, int upPhase, int downFactor,
    int downPhase, const Ipp32f* dly)
{
    const Geometry g = geometryFor(tapsLen, upFactor, downFactor);
    auto base = reinterpret_cast<std::uintptr_t>(memory);
    base = (base + kHeaderAlign - 1) / kHeaderAlign * kHeaderAlign;
    auto* s = new (reinterpret_cast<void*>(base)) IppsFIRState_32f;
    auto* bytes = reinterpret_cast<unsigned char*>(base) + kHeaderBytes;
    s->tapsLen = tapsLen;
    s->upFactor = upFactor;
    s->upPhase = upPhase;
    s->downFactor = downFactor;
    s->downPhase = downPhase;
    s->historyLen = g.historyLen;
    s->chunkInputs = g.chunkInputs;
    s->coefs = reinterpret_cast<double*>(bytes);
    s->work = reinterpret_cast<double*>(bytes + g.coefBytes);
    s->outputs = g.outputBytes ? reinterpret_cast<float*>(bytes + g.coefBytes + g.workBytes) : nullptr;
    if (s->multiRate())
        polyphaseTaps(*s, taps);
    else
        std::reverse_copy(taps, taps + tapsLen, s->coefs);
    s->symmetric = !s->multiRate() && isSymmetric(taps, tapsLen);
    loadHistory(*s, dly);
    return s;
}

IppStatus allocateState(IppsFIRState_32f** pp, const Ipp32f* taps, int tapsLen, int upFactor, int upPhase,
    int downFactor, int downPhase, const Ipp32f* dly)
{
    const Geometry g = geometryFor(tapsLen, upFactor, downFactor);
    Ipp8u* memory = fitsInt(g) ? ippsMalloc_8u(static_cast<int>(g.total())) : nullptr;
    if (!memory)
        return ippStsMemAllocErr;
    IppsFIRState_32f* s = buildState(memory, taps, tapsLen, upFactor, upPhase, downFactor, downPhase, dly);
    s->allocation = memory;
    *pp = s;
    return ippStsNoErr;
}

bool isFirState(const IppsFIRState_32f* state) { return vk::ipps::stateTagOf(state) == StateTag::Fir; }

// Drops the inputs just consumed, keeping the newest historyLen as history.
void advanceHistory(IppsFIRState_32f& s, int consumed)
{
    std::memmove(s.work, s.work + consumed, sizeof(double) * static_cast<std::size_t>(s.historyLen));
}

void runSingleRate(IppsFIRState_32f& s, const Ipp32f* src, Ipp32f* dst, int len)
{
    for (int done = 0; done < len;) {
        const int n = std::min(s.chunkInputs, len - done);
        vk::kernels::floatToDouble(src + done, s.work + s.historyLen, static_cast<std::size_t>(n));
        const auto correlate = s.symmetric ? vk::kernels::firCorrelateSymmetric : vk::kernels::firCorrelate;
        // The kernel writes whole granules of outputs: straight into dst when the chunk is
        // made of them (the chunk's input is in the work line by then), else through the
        // state's own buffer.
        const auto outputs = static_cast<std::size_t>(n);
        const bool direct = vk::kernels::roundUpFirOutputs(outputs) == outputs;
        correlate(s.work, s.coefs, static_cast<std::size_t>(s.tapsLen), direct ? dst + done : s.outputs, outputs);
        if (!direct)
            std::memcpy(dst + done, s.outputs, sizeof(float) * outputs);
        advanceHistory(s, n);
        done += n;
    }
}

// Each iteration consumes downFactor inputs and produces upFactor outputs.
void runMultiRate(IppsFIRState_32f& s, const Ipp32f* src, Ipp32f* dst, int numIters)
{
    const int itersPerChunk = s.chunkInputs / s.downFactor;
    const vk::kernels::MultiRateLayout layout{
        s.coefs, static_cast<std::size_t>(s.historyLen), s.upFactor, s.downFactor};
    // Position of a chunk's first output in the zero-stuffed stream, counted so that the
    // oldest kept input stands at 0.
    const std::int64_t firstPosition = std::int64_t{s.historyLen} * s.upFactor + s.downPhase - s.upPhase;
    for (int done = 0; done < numIters;) {
        const int iters = std::min(itersPerChunk, numIters - done);
        const int inputs = iters * s.downFactor;
        vk::kernels::floatToDouble(src + static_cast<std::ptrdiff_t>(done) * s.downFactor, s.work + s.historyLen,
            static_cast<std::size_t>(inputs));
        Ipp32f* out = dst + static_cast<std::ptrdiff_t>(done) * s.upFactor;
        const auto outputs = static_cast<std::size_t>(std::int64_t{iters} * s.upFactor);
        vk::kernels::firMultiRate(s.work, layout, firstPosition, out, outputs);
        advanceHistory(s, inputs);
        done += iters;
    }
}

IppStatus runFilter(const Ipp32f* src, Ipp32f* dst, int numIters, IppsFIRState_32f* state)
{
    if (const IppStatus st = vk::ipps::checkVector(numIters, src, dst, state))
        return st;
    if (!isFirState(state))
        return ippStsContextMatchErr;
    if (state->multiRate())
        runMultiRate(*state, src, dst, numIters);
    else
        runSingleRate(*state, src, dst, numIters);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsFIRGetStateSize_32f(int tapsLen, int* size)
{
    if (!size)
        return ippStsNullPtrErr;
    if (tapsLen < 1)
        return ippStsFIRLenErr;
    const Geometry g = geometryFor(tapsLen, 1, 1);
    if (!fitsInt(g))
        return ippStsFIRLenErr;
    *size = static_cast<int>(g.total());
    return ippStsNoErr;
}

IppStatus ippsFIRInit_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, const Ipp32f* dly, Ipp8u* buffer)
{
    if (vk::ipps::anyNull(ppState, taps, buffer))
        return ippStsNullPtrErr;
    if (tapsLen < 1 || !fitsInt(geometryFor(tapsLen, 1, 1)))
        return ippStsFIRLenErr;
    *ppState = buildState(buffer, taps, tapsLen, 1, 0, 1, 0, dly);
    return ippStsNoErr;
}

IppStatus ippsFIRInitAlloc_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, const Ipp32f* dly)
{
    if (vk::ipps::anyNull(ppState, taps))
        return ippStsNullPtrErr;
    if (tapsLen < 1)
        return ippStsFIRLenErr;
    return allocateState(ppState, taps, tapsLen, 1, 0, 1, 0, dly);
}

IppStatus ippsFIRMRInitAlloc_32f(IppsFIRState_32f** ppState, const Ipp32f* taps, int tapsLen, int upFactor, int upPhase,
    int downFactor, int downPhase, const Ipp32f* dly)
{
    if (vk::ipps::anyNull(ppState, taps))
        return ippStsNullPtrErr;
    if (tapsLen < 1)
        return ippStsFIRLenErr;
    if (upFactor < 1 || downFactor < 1)
        return ippStsFIRMRFactorErr;
    if (upPhase < 0 || upPhase >= upFactor || downPhase < 0 || downPhase >= downFactor)
        return ippStsFIRMRPhaseErr;
    return allocateState(ppState, taps, tapsLen, upFactor, upPhase, downFactor, downPhase, dly);
}

IppStatus ippsFIRFree_32f(IppsFIRState_32f* state)
{
    if (!state)
        return ippStsNullPtrErr;
    if (!isFirState(state))
        return ippStsContextMatchErr;
    if (void* memory = state->allocation) {
        state->tag = StateTag::None;
        ippsFree(memory);
    }
    return ippStsNoErr;
}

// The inverse of the layouts that buildState writes: reversed single-rate taps, or the
// phases of polyphaseTaps.
IppStatus ippsFIRGetTaps_32f(const IppsFIRState_32f* state, Ipp32f* taps)
{
    if (!state || !taps)
        return ippStsNullPtrErr;
    if (!isFirState(state))
        return ippStsContextMatchErr;
    const IppsFIRState_32f& s = *state;
    if (!s.multiRate()) {
        for (int i = 0; i < s.tapsLen; ++i)
            taps[i] = static_cast<Ipp32f>(s.coefs[s.tapsLen - 1 - i]);
        return ippStsNoErr;
    }
    const int phaseLen = s.historyLen;
    for (int i = 0; i < s.tapsLen; ++i) {
        const int f = i % s.upFactor;
        const int m = phaseLen - 1 - i / s.upFactor;
        taps[i] = static_cast<Ipp32f>(s.coefs[std::int64_t{f} * phaseLen + m]);
    }
    return ippStsNoErr;
}

// dly, when given, holds the kept input history oldest first: tapsLen - 1 samples for a
// single-rate state, ceil(tapsLen / upFactor) for a multi-rate one.
IppStatus ippsFIRSetDlyLine_32f(IppsFIRState_32f* state, const Ipp32f* dly)
{
    if (!state)
        return ippStsNullPtrErr;
    if (!isFirState(state))
        return ippStsContextMatchErr;
    loadHistory(*state, dly);
    return ippStsNoErr;
}

IppStatus ippsFIR_32f(const Ipp32f* src, Ipp32f* dst, int numIters, IppsFIRState_32f* state)
{
    return runFilter(src, dst, numIters, state);
}

// A multi-rate state that writes more than it reads would overwrite input it has not
// read yet, so in place it is refused as a state of the wrong kind.
IppStatus ippsFIR_32f_I(Ipp32f* srcDst, int numIters, IppsFIRState_32f* state)
{
    if (srcDst && numIters >= 1 && state && isFirState(state) && state->upFactor > state->downFactor)
        return ippStsContextMatchErr;
    return runFilter(srcDst, srcDst, numIters, state);
}
