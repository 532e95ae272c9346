#pragma once
// The graph's high-pass choices: four coefficient sets of three biquad sections each
// (b0 b1 b2 a0 a1 a2 per section). Set 0 passes through; sets 1 to 3 are sixth-order
// Butterworth high-passes at 80, 160 and 320 Hz, designed at the rate the graph runs at,
// so the corners stay where they are named at any rate.

#include <array>

constexpr int vkHighpassSetCount = 4;
constexpr int vkHighpassSections = 3;
constexpr int vkHighpassTaps = 6 * vkHighpassSections;

using vkHighpassTapArray = std::array<double, vkHighpassTaps>;

// Nominal corner of each set in Hz, index as setHighpass takes it; 0 for the pass-through.
extern const int vkHighpassCorners[vkHighpassSetCount];

// The taps of set `index` at `rate` Hz. Set 0, an index out of range and a corner that is
// not below half the rate (a rate of 0, for one) give the pass-through. Control thread:
// a few tangents, nothing stored.
vkHighpassTapArray vkHighpassSet(int index, double rate);

// The design: bilinear transform, K = tan(pi fc / rate), sections in the order
// Q = 0.517638, 0.707107, 1.931852, numerators 1 -2 1 with the whole gain on the first
// section.
vkHighpassTapArray vkDesignButterworthHighpass(double corner, double rate);
