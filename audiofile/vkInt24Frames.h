#pragma once
// Interleaved 24-bit PCM frames (low byte first, the top byte carries the sign) to one
// float array per channel, scaled by `factor`: channels[c][f] = float(code) * factor for
// the code of channel c in frame f. Decoding, scaling and the move into the channels are
// one pass; each sample is rounded as converting, then multiplying gives (the code is
// exact in a float). Reads exactly the frames * count * 3 bytes of `frames` and nothing
// past them.
//
// Audio thread: no allocation, no lock, no I/O.

#include <cstdint>

void vkInt24FramesToChannels(const std::uint8_t* frames, float* const* channels, int frameCount, int channelCount,
                             float factor);
