#pragma once
// The encoder's per-order filters, made by tools/ambi_design/design_ambi_filters.py (see
// there for the model and the method).

// Order alignment: per degree a biquad cascade (b0 b1 b2 a0 a1 a2 a section, a0 = 1) made
// for 44.1 kHz like the modal equalisers it follows, that brings degree n's equalised
// response onto degree 0's; null (no filter) for degrees 0 and 1, which agree already.
struct AmbiAlignmentSet {
    const double* sections[4];
    int numSections[4];
};
extern const AmbiAlignmentSet kAmbiAlignment;

// Diffuse-field correction above aliasing, per degree: a high shelf and a peak (centre
// in Hz, gain in dB, Q), made into biquads at the actual rate.
struct AmbiDiffuseShape {
    double shelfHz, shelfDb, shelfQ;
    double peakHz, peakDb, peakQ;
};
extern const AmbiDiffuseShape kAmbiDiffuseShapes[4];
