#pragma once
// Every filter state begins with one of these tags, so an operation handed a state of
// another kind answers ippStsContextMatchErr instead of misreading it. A state's tag is
// cleared when it is freed.

#include <cstdint>
#include <cstring>

namespace vk::ipps {

enum class StateTag : std::uint32_t {
    None = 0,
    Fir = 0x46495231u, // "FIR1"
    Iir = 0x42513634u, // "BQ64"
};

// The tag at the start of any state, read without assuming which kind it is.
inline StateTag stateTagOf(const void* state)
{
    StateTag tag;
    std::memcpy(&tag, state, sizeof tag);
    return tag;
}

} // namespace vk::ipps
