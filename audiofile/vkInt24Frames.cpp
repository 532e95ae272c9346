// Compiled once per instruction set (foreach_target); the entry point at the end calls
// the best kernel for the running processor.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "audiofile/vkInt24Frames.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "audiofile/vkInt24Frames.h"
#include "core/primitives/HwyBlocks-inl.h"

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace vk::int24::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
namespace blocks = vk::blocks::HWY_NAMESPACE;

HWY_INLINE std::int32_t codeAt(const std::uint8_t* b)
{
    const auto bits = std::uint32_t{b[0]} << 8 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 24;
    return static_cast<std::int32_t>(bits) >> 8;
}

#if HWY_TARGET != HWY_SCALAR
// Four channels, c to c + 3, of 4 x blocks frames from f on. Row r holds in block b the
// channels of frame f + 4b + r: twelve bytes go to the top three bytes of four 32-bit
// lanes, an arithmetic shift brings them down with their sign, then they are converted
// and scaled. A 4 x 4 transpose inside every block turns the rows into one vector per
// channel with its frames in order, stored at once. Each load takes sixteen bytes, four
// past the group: the caller keeps a frame behind the tile.
template <class DF>
HWY_INLINE void decodeTile(DF df, const std::uint8_t* src, std::size_t rowBytes, float* const* channels,
                           std::size_t c, std::size_t f, float factor)
{
    const hn::Repartition<std::uint8_t, DF> d8;
    const hn::Repartition<std::int32_t, DF> di;
    alignas(16) static constexpr std::uint8_t kSpread[16] = {0, 0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11};
    const auto spread = hn::LoadDup128(d8, kSpread);
    const auto scale = hn::Set(df, factor);
    const std::uint8_t* first = src + f * rowBytes + 3 * c;
    const auto row = [&](std::size_t r) {
        const auto at = [&](std::size_t b) { return first + r * rowBytes + b * 4 * rowBytes; };
        const auto bytes = hn::TableLookupBytes(blocks::LoadBlocks(d8, at), spread);
        return hn::Mul(hn::ConvertTo(df, hn::ShiftRight<8>(hn::BitCast(di, bytes))), scale);
    };
    auto v0 = row(0), v1 = row(1), v2 = row(2), v3 = row(3);
    blocks::Transpose4x4InBlocks(df, v0, v1, v2, v3);
    hn::StoreU(v0, df, channels[c] + f);
    hn::StoreU(v1, df, channels[c + 1] + f);
    hn::StoreU(v2, df, channels[c + 2] + f);
    hn::StoreU(v3, df, channels[c + 3] + f);
}

// Whole tiles from frame `from` on, while a frame stays behind the tile; gives the first
// frame left over. The bytes of the tile a few tiles ahead are asked for while this one
// is decoded: a block comes from a ring far larger than the caches, and the decoder would
// otherwise wait on memory for most of its time.
template <class DF>
HWY_INLINE std::size_t decodeTiles(DF df, const std::uint8_t* src, float* const* channels, std::size_t frames,
                                   std::size_t count, float factor, std::size_t from)
{
    constexpr std::size_t tile = hn::MaxLanes(DF());
    constexpr std::size_t ahead = 4 * tile;
    constexpr std::size_t cacheLine = 64;
    const std::size_t rowBytes = 3 * count;
    std::size_t f = from;
    for (; f + tile < frames; f += tile) {
        if (f + ahead + tile <= frames)
            for (std::size_t b = 0; b < tile * rowBytes; b += cacheLine)
                __builtin_prefetch(src + (f + ahead) * rowBytes + b);
        for (std::size_t c = 0; c + 4 <= count; c += 4)
            decodeTile(df, src, rowBytes, channels, c, f, factor);
    }
    return f;
}
#endif

HWY_INLINE void decodeOne(const std::uint8_t* src, float* const* channels, std::size_t count, std::size_t f,
                          std::size_t c, float factor)
{
    channels[c][f] = static_cast<float>(codeAt(src + 3 * (f * count + c))) * factor;
}

// Full-width tiles, then tiles of four frames, then single samples: the channels beyond
// the last group of four in the tiled frames, and every channel of the frames after them.
void Int24FramesKernel(const std::uint8_t* src, float* const* channels, std::size_t frames, std::size_t count,
                       float factor)
{
    std::size_t tiled = 0;
#if HWY_TARGET != HWY_SCALAR
    if (count >= 4) {
        tiled = decodeTiles(hn::ScalableTag<float>(), src, channels, frames, count, factor, 0);
        tiled = decodeTiles(hn::FixedTag<float, 4>(), src, channels, frames, count, factor, tiled);
    }
#endif
    for (std::size_t f = 0; f < tiled; ++f)
        for (std::size_t c = count - count % 4; c < count; ++c)
            decodeOne(src, channels, count, f, c, factor);
    for (std::size_t f = tiled; f < frames; ++f)
        for (std::size_t c = 0; c < count; ++c)
            decodeOne(src, channels, count, f, c, factor);
}

} // namespace vk::int24::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace vk::int24 {
HWY_EXPORT(Int24FramesKernel);
} // namespace vk::int24

void vkInt24FramesToChannels(const std::uint8_t* frames, float* const* channels, int frameCount, int channelCount,
                             float factor)
{
    if (!frames || !channels || frameCount < 1 || channelCount < 1)
        return;
    HWY_DYNAMIC_DISPATCH(vk::int24::Int24FramesKernel)
    (frames, channels, std::size_t(frameCount), std::size_t(channelCount), factor);
}

#endif // HWY_ONCE
