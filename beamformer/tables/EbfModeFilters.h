#pragma once
// Mode filters of the decomposition's filter mode 1: one linear-phase FIR per order, the
// same taps for every mode of that order. Orders 0 and 1 pass unchanged (a single tap of
// 1.0); orders 2 and 3 are high-pass filters. The taps are made by
// tools/ebf_design/design_mode_filters.py and are fixed for 44.1 kHz.

// Taps per order; the longest filter sets the common delay of (631 - 1) / 2 samples.
inline constexpr int kEbfModeFilterLengths[4] = {1, 1, 631, 409};
inline constexpr int kEbfModeFilterDelay = (kEbfModeFilterLengths[2] - 1) / 2;

// kEbfModeFilters[n] holds kEbfModeFilterLengths[n] taps.
extern const float* const kEbfModeFilters[4];
