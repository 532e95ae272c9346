// Biquad cascades in direct form II transposed, all arithmetic in double.

#include "core/primitives/IppsChecks.h"
#include "core/primitives/IppsStateTag.h"
#include "core/primitives/ipps.h"

#include <cstddef>
#include <new>

using vk::ipps::StateTag;

namespace {

// One section, its coefficients divided by a0.
struct Section {
    double b0, b1, b2, a1, a2;
    double d0, d1;
};

constexpr int kCoefsPerSection = 6;

bool sectionsValid(const Ipp64f* taps, int numBq)
{
    for (int i = 0; i < numBq; ++i) {
        const Ipp64f* t = taps + i * kCoefsPerSection;
        if (t[0] == 0.0 || t[3] == 0.0)
            return false;
    }
    return true;
}

} // namespace

struct IppsIIRState64f_32f {
    StateTag tag = StateTag::Iir;
    int numBq = 0;
    Section* sections = nullptr; // numBq of them, right behind this header

    void setTaps(const Ipp64f* taps)
    {
        for (int i = 0; i < numBq; ++i) {
            const Ipp64f* t = taps + i * kCoefsPerSection;
            Section& s = sections[i];
            s.b0 = t[0] / t[3];
            s.b1 = t[1] / t[3];
            s.b2 = t[2] / t[3];
            s.a1 = t[4] / t[3];
            s.a2 = t[5] / t[3];
        }
    }

    void setHistory(const Ipp64f* dly)
    {
        for (int i = 0; i < numBq; ++i) {
            sections[i].d0 = dly ? dly[2 * i] : 0.0;
            sections[i].d1 = dly ? dly[2 * i + 1] : 0.0;
        }
    }

    float step(double x)
    {
        for (int i = 0; i < numBq; ++i) {
            Section& s = sections[i];
            const double y = s.b0 * x + s.d0;
            s.d0 = s.b1 * x + s.d1 - s.a1 * y;
            s.d1 = s.b2 * x - s.a2 * y;
            x = y;
        }
        return static_cast<float>(x);
    }
};

namespace {

constexpr std::size_t kHeaderBytes =
    (sizeof(IppsIIRState64f_32f) + alignof(Section) - 1) / alignof(Section) * alignof(Section);

IppStatus checkState(const IppsIIRState64f_32f* state)
{
    if (!state)
        return ippStsNullPtrErr;
    return vk::ipps::stateTagOf(state) == StateTag::Iir ? ippStsNoErr : ippStsContextMatchErr;
}

IppStatus runCascade(const Ipp32f* src, Ipp32f* dst, int len, IppsIIRState64f_32f* state)
{
    if (const IppStatus st = vk::ipps::checkVector(len, src, dst, state))
        return st;
    if (const IppStatus st = checkState(state))
        return st;
    for (int i = 0; i < len; ++i)
        dst[i] = state->step(src[i]);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsIIRInitAlloc64f_BiQuad_32f(
    IppsIIRState64f_32f** ppState, const Ipp64f* taps, int numBq, const Ipp64f* dly)
{
    if (vk::ipps::anyNull(ppState, taps))
        return ippStsNullPtrErr;
    if (numBq < 1)
        return ippStsIIROrderErr;
    if (!sectionsValid(taps, numBq))
        return ippStsDivByZeroErr;
    const std::size_t bytes = kHeaderBytes + sizeof(Section) * static_cast<std::size_t>(numBq);
    Ipp8u* memory = bytes <= 0x7fffffffu ? ippsMalloc_8u(static_cast<int>(bytes)) : nullptr;
    if (!memory)
        return ippStsMemAllocErr;
    auto* state = new (memory) IppsIIRState64f_32f;
    state->numBq = numBq;
    state->sections = new (memory + kHeaderBytes) Section[static_cast<std::size_t>(numBq)];
    state->setTaps(taps);
    state->setHistory(dly);
    *ppState = state;
    return ippStsNoErr;
}

IppStatus ippsIIRFree64f_32f(IppsIIRState64f_32f* state)
{
    if (const IppStatus st = checkState(state))
        return st;
    state->tag = StateTag::None;
    ippsFree(state);
    return ippStsNoErr;
}

IppStatus ippsIIR64f_32f(const Ipp32f* src, Ipp32f* dst, int len, IppsIIRState64f_32f* state)
{
    return runCascade(src, dst, len, state);
}

IppStatus ippsIIR64f_32f_I(Ipp32f* srcDst, int len, IppsIIRState64f_32f* state)
{
    return runCascade(srcDst, srcDst, len, state);
}

IppStatus ippsIIRSetTaps64f_32f(const Ipp64f* taps, IppsIIRState64f_32f* state)
{
    if (!taps)
        return ippStsNullPtrErr;
    if (const IppStatus st = checkState(state))
        return st;
    if (!sectionsValid(taps, state->numBq))
        return ippStsDivByZeroErr;
    state->setTaps(taps);
    return ippStsNoErr;
}

IppStatus ippsIIRSetDlyLine64f_32f(IppsIIRState64f_32f* state, const Ipp64f* dly)
{
    if (const IppStatus st = checkState(state))
        return st;
    state->setHistory(dly);
    return ippStsNoErr;
}
