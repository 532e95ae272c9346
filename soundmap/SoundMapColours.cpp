#include "soundmap/SoundMapColours.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr SoundMapRgb kStops[] = {
    {0, 0, 4}, {40, 11, 84}, {101, 21, 110}, {159, 42, 99}, {212, 72, 66}, {245, 125, 21}, {250, 193, 39}, {252, 255, 164},
};
constexpr int kSegments = int(std::size(kStops)) - 1;

std::uint8_t mix(std::uint8_t a, std::uint8_t b, float f)
{
    return std::uint8_t(std::lround(a + (b - a) * f));
}

} // namespace

SoundMapRgb soundMapColour(float level)
{
    const float x = std::clamp(std::isfinite(level) ? level : 0.0f, 0.0f, 1.0f) * kSegments;
    const int i = std::min(int(x), kSegments - 1);
    const float f = x - float(i);
    return {mix(kStops[i].r, kStops[i + 1].r, f), mix(kStops[i].g, kStops[i + 1].g, f), mix(kStops[i].b, kStops[i + 1].b, f)};
}
