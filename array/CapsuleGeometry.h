#pragma once
// Directions of the array's 32 capsules, capsule s being input channel s. Angles are in
// degrees: theta is the polar angle from the array's axis (90 on the equator), phi the
// azimuth round it. These measured angles differ from the ideal face centres of the
// solid by up to 0.04 degrees; the decomposition matrix is built from them.

inline constexpr int kCapsuleCount = 32;

struct CapsuleDirection {
    double theta;
    double phi;
};

struct UnitVector {
    double x;
    double y;
    double z; // along the array's axis
};

extern const CapsuleDirection kCapsuleDirections[kCapsuleCount];

// The unit vector of a direction given in degrees, in the capsules' frame.
UnitVector unitVectorFromAngles(double thetaDegrees, double phiDegrees);

// The unit vector of capsule s, 0 <= s < kCapsuleCount.
UnitVector capsuleUnitVector(int capsule);
