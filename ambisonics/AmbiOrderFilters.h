#pragma once
// The encoder's two per-order filters as biquad cascades (b0 b1 b2 a0 a1 a2 a section),
// from the tables of tables/AmbiFilterTables.h. Pure functions: any thread.
//
// Order alignment (always on): the modal equalisers of orders 2 and 3 stop integrating at
// a corner (noise), which leaves them lagging or leading order 0 by tens of degrees up to
// 2 kHz; this filter brings them onto order 0's response down to about 200 Hz (order 2)
// and 400 Hz (order 3), with a high-pass at 60 and 100 Hz below that.
//
// Above aliasing (optional): the equalisers' lift at the top undoes the plane-wave
// fall-off of order 0, but above about 9 kHz aliasing refills every mode, so the
// diffuse-field response of every order rises (W by 16 dB at 16 kHz). A high shelf and a
// peak per order bring each order's diffuse-field power back to its ideal share, which
// keeps W flat to 16 kHz and stops the higher orders rising. Plane waves from the front
// lose the same top as the diffuse field: the trade every encoder above aliasing makes.

#include <vector>

// Degree n's alignment; empty for degrees 0 and 1.
std::vector<double> alignmentSections(int degree);
// Degree n's diffuse-field correction at the given rate: two sections, or a pass-through
// above the rate's Nyquist frequency.
std::vector<double> diffuseSections(int degree, double sampleRate);
