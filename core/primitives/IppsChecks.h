#pragma once
// Argument checks shared by the operations: a null required pointer comes before a bad
// length, so every operation answers the same way to the same mistake.

#include "core/primitives/ipps.h"

namespace vk::ipps {

template <typename... Ptr>
constexpr bool anyNull(const Ptr*... ptrs)
{
    return ((ptrs == nullptr) || ...);
}

// ippStsNullPtrErr, then ippStsSizeErr for len < 1, else ippStsNoErr.
template <typename... Ptr>
constexpr IppStatus checkVector(int len, const Ptr*... ptrs)
{
    if (anyNull(ptrs...))
        return ippStsNullPtrErr;
    return len < 1 ? ippStsSizeErr : ippStsNoErr;
}

} // namespace vk::ipps
