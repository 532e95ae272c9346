#pragma once
// The graph's high-pass choices: four coefficient sets of three biquad sections each
// (b0 b1 b2 a0 a1 a2 per section). Set 0 passes through; sets 1 to 3 are sixth-order
// Butterworth high-passes at 80, 160 and 320 Hz, designed for 44100 Hz and used as they
// are at any rate (at 48000 Hz the corners lie 48000/44100 higher).

#include <array>

constexpr int vkHighpassSetCount = 4;
constexpr int vkHighpassSections = 3;
constexpr int vkHighpassTaps = 6 * vkHighpassSections;
constexpr float vkHighpassDesignRate = 44100.0f;

using vkHighpassTapArray = std::array<double, vkHighpassTaps>;

// The stored sets, index as setHighpass takes it; single-precision accuracy.
extern const vkHighpassTapArray vkHighpassSets[vkHighpassSetCount];
// Nominal corner of each set in Hz; 0 for the pass-through.
extern const int vkHighpassCorners[vkHighpassSetCount];

// The design behind the stored sets: bilinear transform, K = tan(pi fc / rate), sections
// in the order Q = 0.517638, 0.707107, 1.931852, numerators 1 -2 1 with the whole gain
// on the first section.
vkHighpassTapArray vkDesignButterworthHighpass(double corner, double rate);
