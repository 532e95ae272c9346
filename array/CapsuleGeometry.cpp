#include "array/CapsuleGeometry.h"

#include <cmath>
#include <numbers>

const CapsuleDirection kCapsuleDirections[kCapsuleCount] = {
    {69.13, 0.00},    {89.99, 31.72},   {110.91, 0.00},   {89.99, 328.27},  // 0-3
    {31.73, 359.98},  {54.73, 45.00},   {90.00, 69.13},   {125.27, 45.00},  // 4-7
    {148.27, 0.01},   {125.27, 315.00}, {90.00, 290.91},  {54.73, 315.00},  // 8-11
    {20.90, 90.00},   {58.27, 90.01},   {121.72, 90.01},  {159.10, 90.00},  // 12-15
    {69.09, 180.00},  {89.99, 211.73},  {110.91, 180.00}, {89.99, 148.27},  // 16-19
    {31.73, 179.98},  {54.73, 225.00},  {90.00, 249.09},  {125.27, 225.00}, // 20-23
    {148.27, 180.01}, {125.27, 135.00}, {90.00, 110.91},  {54.73, 135.00},  // 24-27
    {20.90, 270.00},  {58.26, 270.00},  {121.72, 270.01}, {159.10, 270.00}, // 28-31
};

UnitVector unitVectorFromAngles(double thetaDegrees, double phiDegrees)
{
    constexpr double kRadians = std::numbers::pi / 180.0;
    const double theta = thetaDegrees * kRadians;
    const double phi = phiDegrees * kRadians;
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

UnitVector capsuleUnitVector(int capsule)
{
    const CapsuleDirection& d = kCapsuleDirections[capsule];
    return unitVectorFromAngles(d.theta, d.phi);
}
