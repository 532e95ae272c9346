#pragma once
// The low-pass filters of the rate conversion: one row per conversion factor, each a
// symmetric linear-phase FIR stored in vkRateFilterLength floats, zero behind its taps.
// Frequencies are relative to the higher of the two rates. Designed by
// tools/rate_filters/design_rate_filters.py.

constexpr int vkRateFilterRows = 4;
constexpr int vkRateFilterLength = 251;

extern const int vkRateFilterFactor[vkRateFilterRows];
extern const int vkRateFilterTaps[vkRateFilterRows];
extern const float vkRateFilterTable[vkRateFilterRows][vkRateFilterLength];
