#pragma once
// Time-domain filters from a plane-wave source to a point on the rigid sphere, designed
// by frequency sampling of the analytic response. Set-up only.

#include <vector>

namespace capsule_filter {

// Length of every capsule filter; its bulk delay is half of it, so the sphere's centre
// hears the wave kTaps / 2 samples after it enters the filter.
constexpr int kTaps = 128;
constexpr int kBulkDelay = kTaps / 2;

// The FIR whose response is the sphere's surface pressure at a point whose direction has
// the given cosine to the source's direction, delayed by kBulkDelay samples and shaped by a
// Hann window (the response is a few tens of samples long; the window only smooths it).
std::vector<float> design(double cosAngle, double radius, double sampleRate);

} // namespace capsule_filter
