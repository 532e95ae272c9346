#pragma once
// Steering gains of the modal beamformer, one entry per whole degree, made by
// tools/mbf_tables/make_steering_tables.py.

// Rows k = n*n + n + m (n = 0..3, m = -n..n), columns polar angle 0..180:
// sqrt((n-|m|)!/(n+|m|)!) P(n,|m|)(cos theta), Condon-Shortley phase included.
// Rows for +m and -m are equal.
constexpr int kMbfElevationRows = 16;
constexpr int kMbfElevationColumns = 181;
extern const float kMbfElevation[kMbfElevationRows][kMbfElevationColumns];

// Rows 2 sin(k phi) (row 2(k-1)) and 2 cos(k phi) (row 2k-1) for k = 1..3, columns
// azimuth 0..359.
constexpr int kMbfAzimuthRows = 6;
constexpr int kMbfAzimuthColumns = 360;
extern const float kMbfAzimuth[kMbfAzimuthRows][kMbfAzimuthColumns];
