#pragma once
// A head tracker's quaternion (w, x, y, z) as yaw, pitch and roll in degrees. The
// quaternion is the head's rotation in the AmbiX frame (x front, y left, z up): it takes a
// direction fixed to the head to the same direction in the room, the rotation that
// CRotation3::fromYawPitchRoll builds from the three angles (R = Rz(yaw) Ry(-pitch)
// Rx(roll); yaw > 0 turns the head to the left). This is the one place where a quaternion
// becomes angles. Pure function: any thread.

struct CYawPitchRoll {
    float yaw = 0.0f;
    float pitch = 0.0f;
    float roll = 0.0f;
};

// False (and `out` untouched) when a component is not finite or the quaternion has no
// length to normalise; otherwise the angles of the normalised quaternion, yaw and roll in
// -180..180, pitch in -90..90 (at +-90 the roll is folded into the yaw).
bool yawPitchRollFromQuaternion(double w, double x, double y, double z, CYawPitchRoll& out);
