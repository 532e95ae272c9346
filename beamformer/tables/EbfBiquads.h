#pragma once
// Modal equalisers of the decomposition: one biquad cascade per order, the same for every
// mode of that order. Six coefficients a section, b0 b1 b2 a0 a1 a2 with a0 = 1; a
// section computes b0 x[t] + b1 x[t-1] + b2 x[t-2] - a1 y[t-1] - a2 y[t-2]. The
// coefficients are made for 44.1 kHz and are not adapted to the actual rate.

struct EbfBiquadSet {
    const double* sections[4]; // per order, numSections[n] * 6 coefficients
    int numSections[4];
};

// Set A, in use by the node: undoes each order's fall-off on the sphere, with a common
// high-pass below about 30 Hz and a common lift towards the top of the band.
extern const EbfBiquadSet kEbfBiquadsA;

// Set B, for filter mode 1, where the mode filters follow the biquads.
extern const EbfBiquadSet kEbfBiquadsB;
