#pragma once
// The colour scale of the sound map, shared by the displays and the rendered picture:
// dark blue through purple and orange to pale yellow, brightness rising steadily so that
// the order of levels reads the same in grey.

#include <cstdint>

struct SoundMapRgb {
    std::uint8_t r, g, b;
};

// `level` from 0 (bottom of the scale) to 1 (top); values outside are clamped.
SoundMapRgb soundMapColour(float level);
