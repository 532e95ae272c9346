// Per-instruction-set helpers for kernels that work on the 128-bit blocks of a vector:
// a vector gathered block by block from separate addresses, and a 4 x 4 transpose of
// 32-bit lanes inside every block. Included, after "hwy/highway.h", by sources compiled
// once per instruction set (foreach_target); the guard below is Highway's toggle, which
// lets every target's pass include it again.
// Audio thread: no allocation, no lock, no I/O.

#if defined(VK_PRIMITIVES_HWY_BLOCKS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VK_PRIMITIVES_HWY_BLOCKS_INL_H_
#undef VK_PRIMITIVES_HWY_BLOCKS_INL_H_
#else
#define VK_PRIMITIVES_HWY_BLOCKS_INL_H_
#endif

#include "hwy/highway.h"

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace vk::blocks::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
// Block b of the vector holds the sixteen bytes at blockAt(first + b).
template <class D, class BlockAt>
HWY_INLINE hn::Vec<D> LoadBlocks(D d, const BlockAt& blockAt, std::size_t first = 0)
{
    constexpr std::size_t kBlockLanes = 16 / sizeof(hn::TFromD<D>);
    if constexpr (hn::MaxLanes(D()) <= kBlockLanes) {
        return hn::LoadU(d, blockAt(first));
    } else {
        const hn::Half<D> dh;
        constexpr std::size_t lowBlocks = hn::MaxLanes(dh) / kBlockLanes;
        return hn::Combine(d, LoadBlocks(dh, blockAt, first + lowBlocks), LoadBlocks(dh, blockAt, first));
    }
}

// In every block, the four rows v0 .. v3 of four 32-bit lanes become the four columns:
// afterwards lane k of vj holds what lane j of vk held.
template <class D>
HWY_INLINE void Transpose4x4InBlocks(D d, hn::Vec<D>& v0, hn::Vec<D>& v1, hn::Vec<D>& v2, hn::Vec<D>& v3)
{
    static_assert(sizeof(hn::TFromD<D>) == 4, "four lanes of 32 bits per block");
    const hn::Repartition<std::uint64_t, D> d64;
    const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d, v0, v1));
    const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d, v2, v3));
    const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d, v0, v1));
    const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d, v2, v3));
    v0 = hn::BitCast(d, hn::InterleaveLower(d64, low01, low23));
    v1 = hn::BitCast(d, hn::InterleaveUpper(d64, low01, low23));
    v2 = hn::BitCast(d, hn::InterleaveLower(d64, high01, high23));
    v3 = hn::BitCast(d, hn::InterleaveUpper(d64, high01, high23));
}
#endif

} // namespace vk::blocks::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif // VK_PRIMITIVES_HWY_BLOCKS_INL_H_ toggle
