// The 24-bit frame decoder against a byte-by-byte reference in double precision, on every
// instruction set the processor and the build have: codes from the extremes to random
// ones, channel counts around the vector groups, block lengths around the tiles, channels
// at odd addresses, and a block that ends at an unreadable page.

#include "audiofile/vkInt24Frames.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

// The signed code of three bytes, low byte first.
std::int32_t referenceCode(const std::uint8_t* b)
{
    const std::int32_t raw = b[0] | b[1] << 8 | b[2] << 16;
    return raw >= (1 << 23) ? raw - (1 << 24) : raw;
}

// Random codes, with the extremes and the codes around zero at the first frames.
std::vector<std::uint8_t> randomFrames(int frames, int channels, unsigned seed)
{
    std::vector<std::uint8_t> bytes(std::size_t(3 * frames * channels));
    std::mt19937 rng(seed);
    for (auto& b : bytes)
        b = std::uint8_t(rng());
    const std::int32_t edges[] = {-(1 << 23), (1 << 23) - 1, -1, 0, 1};
    for (std::size_t i = 0; i < std::size(edges) && 3 * i < bytes.size(); ++i)
        for (int k = 0; k < 3; ++k)
            bytes[3 * i + std::size_t(k)] = std::uint8_t(edges[i] >> (8 * k));
    return bytes;
}

// Channels one float past an aligned start, with guard values behind their frames.
struct Planar {
    static constexpr float kGuard = -1234.5f;
    Planar(int channels, int frames)
        : frames(frames)
        , storage(std::size_t(channels), std::vector<float>(std::size_t(frames) + 2, kGuard))
    {
        for (auto& c : storage)
            pointers.push_back(c.data() + 1);
    }
    int frames;
    std::vector<std::vector<float>> storage;
    std::vector<float*> pointers;
};

// Every sample against the reference; the guards on both sides untouched.
void expectDecoded(const std::uint8_t* bytes, const Planar& planar, int channels, float factor)
{
    for (int c = 0; c < channels; ++c) {
        const std::vector<float>& s = planar.storage[std::size_t(c)];
        ASSERT_EQ(s.front(), Planar::kGuard) << "channel " << c;
        ASSERT_EQ(s.back(), Planar::kGuard) << "channel " << c;
        for (int f = 0; f < planar.frames; ++f) {
            const double code = referenceCode(bytes + 3 * (f * channels + c));
            ASSERT_EQ(s[std::size_t(f) + 1], float(code * double(factor)))
                << "frame " << f << " channel " << c << " of " << channels;
        }
    }
}

template <typename Check>
void forEachInstructionSet(Check check)
{
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        check();
    }
    hwy::SetSupportedTargetsForTest(0);
}

} // namespace

// A product of two floats is exact in a double, so the double reference rounded once is
// the float product; a factor that is not a power of two checks that rounding.
TEST(Int24Frames, EverySampleMatchesTheReferenceAcrossShapes)
{
    forEachInstructionSet([] {
        const float factors[] = {1.0f / 8388608.0f, 1.0f / 3.0f};
        unsigned seed = 1;
        for (int channels : {1, 3, 4, 5, 8, 13, 32, 33})
            for (int frames : {1, 4, 5, 16, 17, 31, 64, 509, 512})
                for (float factor : factors) {
                    const std::vector<std::uint8_t> bytes = randomFrames(frames, channels, seed++);
                    Planar planar(channels, frames);
                    vkInt24FramesToChannels(bytes.data(), planar.pointers.data(), frames, channels, factor);
                    expectDecoded(bytes.data(), planar, channels, factor);
                }
    });
}

// The block's last byte is the last readable one: a read past it faults.
TEST(Int24Frames, ReadsNothingPastTheBlock)
{
    const long page = sysconf(_SC_PAGESIZE);
    void* map = mmap(nullptr, std::size_t(2 * page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    ASSERT_EQ(mprotect(static_cast<char*>(map) + page, std::size_t(page), PROT_NONE), 0);
    forEachInstructionSet([map, page] {
        for (int channels : {4, 8, 32}) {
            const int frames = 32;
            const std::vector<std::uint8_t> source = randomFrames(frames, channels, 77);
            auto* block = static_cast<std::uint8_t*>(map) + page - source.size();
            std::memcpy(block, source.data(), source.size());
            Planar planar(channels, frames);
            vkInt24FramesToChannels(block, planar.pointers.data(), frames, channels, 1.0f / 8388608.0f);
            expectDecoded(block, planar, channels, 1.0f / 8388608.0f);
        }
    });
    munmap(map, std::size_t(2 * page));
}
