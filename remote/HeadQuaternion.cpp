#include "remote/HeadQuaternion.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
// Below this length a quaternion carries no direction worth normalising.
constexpr double kMinLength = 1e-9;
// |sin pitch| above this: yaw and roll turn about the same axis; the roll is folded into
// the yaw, which keeps the matrix the same.
constexpr double kGimbalSine = 1.0 - 1e-12;
constexpr double kDegrees = 180.0 / std::numbers::pi;
} // namespace

bool yawPitchRollFromQuaternion(double w, double x, double y, double z, CYawPitchRoll& out)
{
    if (!std::isfinite(w) || !std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        return false;
    const double length = std::sqrt(w * w + x * x + y * y + z * z);
    if (!(length > kMinLength) || !std::isfinite(length))
        return false;
    w /= length;
    x /= length;
    y /= length;
    z /= length;

    // The rotation matrix's entries that the angles are read from. With
    // R = Rz(yaw) Ry(-pitch) Rx(roll), its bottom row is (sin p, cos p sin r, cos p cos r)
    // and its first column (cos y cos p, sin y cos p, sin p).
    const double r00 = 1.0 - 2.0 * (y * y + z * z);
    const double r01 = 2.0 * (x * y - w * z);
    const double r10 = 2.0 * (x * y + w * z);
    const double r11 = 1.0 - 2.0 * (x * x + z * z);
    const double r20 = 2.0 * (x * z - w * y);
    const double r21 = 2.0 * (y * z + w * x);
    const double r22 = 1.0 - 2.0 * (x * x + y * y);

    const double sinPitch = std::clamp(r20, -1.0, 1.0);
    double yaw = 0.0;
    double roll = 0.0;
    if (std::abs(sinPitch) < kGimbalSine) {
        yaw = std::atan2(r10, r00);
        roll = std::atan2(r21, r22);
    } else {
        yaw = std::atan2(-r01, r11);
    }
    out.yaw = static_cast<float>(yaw * kDegrees);
    out.pitch = static_cast<float>(std::asin(sinPitch) * kDegrees);
    out.roll = static_cast<float>(roll * kDegrees);
    return true;
}
