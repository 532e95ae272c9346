#pragma once
// Real spherical harmonics in the AmbiX frame: x front, y left, z up; azimuth counter-
// clockwise from the front (seen from above), elevation up from the horizontal plane.
// Channels in ACN order (channel n*n + n + m for degree n, index m), no Condon-Shortley
// phase: the order-1 channels are Y (ACN 1), Z (ACN 2), X (ACN 3), each +1 in SN3D for a
// unit vector along its own axis.
//
// SN3D: the cos/sin-weighted associated Legendre functions scaled by
//   sqrt((2 - delta(m,0)) (n-|m|)! / (n+|m|)!),
// so every channel peaks at most at 1 and W = 1. N3D is SN3D times sqrt(2n + 1): the
// harmonics are then orthonormal with respect to the mean over the sphere (4 pi = 1).
// Pure functions: any thread.

inline constexpr int kAmbiMaxOrder = 3;
inline constexpr int kAmbiMaxChannels = (kAmbiMaxOrder + 1) * (kAmbiMaxOrder + 1);

enum class AmbiNorm { kSn3d, kN3d };

// A direction in the AmbiX frame (need not be of unit length: only its direction counts).
struct AmbiVector {
    double x;
    double y;
    double z;
};

constexpr int ambiChannelCount(int order) { return (order + 1) * (order + 1); }
constexpr int acnChannel(int degree, int index) { return degree * degree + degree + index; }
// The degree n of ACN channel c.
constexpr int acnDegree(int channel)
{
    int n = 0;
    while ((n + 1) * (n + 1) <= channel) ++n;
    return n;
}

// The unit vector of an azimuth and an elevation in degrees.
AmbiVector ambiVectorFromAngles(double azimuthDegrees, double elevationDegrees);

// The factor that takes an SN3D channel of degree n to N3D: sqrt(2n + 1).
double n3dFromSn3d(int degree);

// The harmonics of direction d up to order (0..kAmbiMaxOrder) into out[0..(order+1)^2),
// ACN order. A zero vector gives W alone. Computed from the Cartesian components, so the
// poles and the 0/360 seam need no special case.
void realSphericalHarmonics(const AmbiVector& d, int order, AmbiNorm norm, double* out);
