#pragma once
// Rotations of the sound field in the spherical-harmonic domain, AmbiX frame (see
// SphericalHarmonics.h).
//
// A rotation R of space maps each direction d to R d. Its spherical-harmonic matrix M is
// block diagonal by degree and satisfies Y(R d) = M Y(d) for the real harmonics Y: a scene
// encoded in the frame where a source lies at d comes out, multiplied by M, as the scene
// in which it lies at R d. Each block is orthogonal and the same for SN3D and N3D (the two
// differ by one factor per degree). The blocks are built by the recurrence of Ivanic and
// Ruedenberg (J. Phys. Chem. 1996, with the corrections of 1998) from the order-1 block,
// which is R itself written in the channel order Y, Z, X.
//
// Yaw, pitch and roll, in degrees, are turns of the body (array or head) in the AmbiX
// frame, applied in that order about its own axes (z, then the new y, then the new x):
//   yaw   > 0 turns the front to the left (azimuth grows),
//   pitch > 0 tilts the front upwards (elevation grows),
//   roll  > 0 lifts the left side (right side down).
// rotationFromYawPitchRoll gives the R that takes a direction in the body's frame to the
// same direction in the outer frame: R = Rz(yaw) Ry(-pitch) Rx(roll). Upside down is a
// roll of 180. A head that turned by R hears a source of the scene at R^T d (transpose()).
// Value types; building one computes a few hundred products: any thread, no allocation.

#include "ambisonics/SphericalHarmonics.h"

// A rotation of 3-space: out = m * in, row-major, AmbiX axes x, y, z.
struct CRotation3 {
    double m[3][3];

    static CRotation3 identity();
    // The rotation of a body turned by yaw, pitch and roll (degrees), see above.
    static CRotation3 fromYawPitchRoll(double yawDegrees, double pitchDegrees,
                                       double rollDegrees);
    AmbiVector apply(const AmbiVector& d) const;
    // this * other: other first, then this.
    CRotation3 operator*(const CRotation3& other) const;
    CRotation3 transpose() const;
};

class CShRotation {
public:
    // The identity.
    CShRotation();
    // The harmonic rotation of r up to kAmbiMaxOrder.
    explicit CShRotation(const CRotation3& r);

    // Element (row, column) of the full kAmbiMaxChannels square matrix, ACN indices; zero
    // between different degrees.
    double at(int row, int column) const { return mMatrix[row][column]; }
    // out = M in over the first (order+1)^2 channels; in and out must not overlap.
    void apply(const double* in, double* out, int order) const;

private:
    double mMatrix[kAmbiMaxChannels][kAmbiMaxChannels];
};
