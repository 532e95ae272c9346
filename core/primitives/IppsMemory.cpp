// Aligned allocation, zeroing and copying.

#include "core/primitives/IppsChecks.h"
#include "core/primitives/ipps.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace {

constexpr std::align_val_t kAlignment{32};

void* allocateAligned(std::size_t bytes) { return ::operator new(bytes, kAlignment, std::nothrow); }

template <typename T>
IppStatus zeroVector(T* dst, int len)
{
    if (const IppStatus st = vk::ipps::checkVector(len, dst))
        return st;
    std::memset(dst, 0, sizeof(T) * static_cast<std::size_t>(len));
    return ippStsNoErr;
}

// Overlap is tolerated, although callers pass separate vectors.
template <typename T>
IppStatus copyVector(const T* src, T* dst, int len)
{
    if (const IppStatus st = vk::ipps::checkVector(len, src, dst))
        return st;
    std::memmove(dst, src, sizeof(T) * static_cast<std::size_t>(len));
    return ippStsNoErr;
}

} // namespace

Ipp8u* ippsMalloc_8u(int len)
{
    if (len < 1)
        return nullptr;
    return static_cast<Ipp8u*>(allocateAligned(static_cast<std::size_t>(len)));
}

Ipp32f* ippsMalloc_32f(int len)
{
    if (len < 1)
        return nullptr;
    return static_cast<Ipp32f*>(allocateAligned(sizeof(Ipp32f) * static_cast<std::size_t>(len)));
}

void ippsFree(void* ptr) { ::operator delete(ptr, kAlignment, std::nothrow); }

IppStatus ippsZero_8u(Ipp8u* dst, int len) { return zeroVector(dst, len); }
IppStatus ippsZero_32s(Ipp32s* dst, int len) { return zeroVector(dst, len); }
IppStatus ippsZero_32f(Ipp32f* dst, int len) { return zeroVector(dst, len); }

IppStatus ippsCopy_32f(const Ipp32f* src, Ipp32f* dst, int len) { return copyVector(src, dst, len); }

IppStatus ippsCopy_64f(const Ipp64f* src, Ipp64f* dst, int len) { return copyVector(src, dst, len); }

IppStatus ippsCopy_32fc(const Ipp32fc* src, Ipp32fc* dst, int len)
{
    static_assert(sizeof(Ipp32fc) == sizeof(Ipp64f));
    return copyVector(src, dst, len);
}
