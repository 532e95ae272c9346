#pragma once
// How the engine's 16 equalised mode signals become AmbiX channels: one gain per channel,
// written down once here and used by the encoder alone.
//
// Frames. The array's angles are theta, the polar angle from its top (the axis the
// capsule table calls z), and phi, the azimuth round it from capsule 0's meridian, both
// in the right-handed frame of array/CapsuleGeometry.h: x = sin theta cos phi,
// y = sin theta sin phi, z = cos theta. With the array upright, its phi = 0 facing the
// front and phi = 90 to the left, that frame is the AmbiX frame itself:
//
//                 z  up (theta = 0, elevation 90)
//                 |
//                 |     y  left (phi = 90, azimuth 90)
//                 |    /
//                 |   /
//                 |  /
//                 | /
//                 +--------------- x  front (theta = 90, phi = 0: azimuth 0, elevation 0)
//
//   azimuth = phi (counter-clockwise seen from above), elevation = 90 - theta.
// Any other mounting is a rotation applied after this conversion (CShRotation).
//
// Modes. The decomposition projects the capsules on v_k, the real part (m >= 0) or the
// imaginary part (m < 0) of the orthonormal complex harmonic of degree n, order |m|, with
// the Condon-Shortley phase (beamformer/tables/EbfMatrix.h):
//   v_k = sqrt((2n+1)/(4 pi) (n-|m|)!/(n+|m|)!) (-1)^|m| P_n^|m|(cos theta) {cos|m|phi, sin|m|phi},
// with P free of that phase. Its row weights (1/(4 pi) for m = 0, 1/(8 pi) else, over
// the row's own energy) make a plane wave from d give mode k = E_n(f) v_k(d) s(t): for
// m != 0 the real part's half energy and the half weight cancel. Each order's equaliser
// undoes that order's fall-off on the rigid sphere relative to the pressure at the
// centre, so E_n is 1 for every order between the high-pass and aliasing (kModeGain; on
// the modelled sphere W is within 0.1 dB of it, EncoderSphereTest), apart from the
// phases that CDegreeFilters' alignment evens out and an advance of up to radius / c
// that every mode shares (the side facing the wave hears it first).
//
// AmbiX SN3D channel k is sqrt((2 - delta_m0) (n-|m|)!/(n+|m|)!) P_n^|m|(sin el) {cos, sin}:
//   SN3D_k = v_k * sqrt(4 pi / (2n+1)) * sqrt(2 - delta_m0) * (-1)^m,
// so the gain from mode k to channel k is that factor over kModeGain; N3D takes a further
// sqrt(2n + 1). Pure functions: any thread.

#include "ambisonics/CShRotation.h"
#include "ambisonics/SphericalHarmonics.h"

// E_n: the equalised modes' gain for a plane wave below aliasing, relative to v_k(d)
// times the wave's pressure at the sphere's centre.
inline constexpr double kModeGain = 1.0;

// The gain that takes mode k (0..15) to AmbiX channel k in the given normalisation.
double ambixGainOfMode(int k, AmbiNorm norm);

// The array's own angles in degrees (theta from its top, 0..180; phi round it, 0..360) of
// a direction given by azimuth and elevation in the AmbiX frame, for an array mounted by
// `mounting` (the rotation from the array's frame to the AmbiX frame): the conversion
// above, undone after undoing the mounting. At the poles phi is 0.
struct ArrayAngles {
    double theta;
    double phi;
};
ArrayAngles arrayAnglesFromAmbix(double azimuthDegrees, double elevationDegrees, const CRotation3& mounting);
