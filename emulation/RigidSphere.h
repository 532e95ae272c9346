#pragma once
// Sound pressure on the surface of a rigid sphere in a plane wave: the physics behind the
// emulated array. Pure functions, used at set-up only.

#include <complex>

namespace rigid_sphere {

constexpr double kSpeedOfSound = 343.0; // m/s, air at about 20 degrees C

// Radius of the modelled array. The first-order modal equaliser of the decomposition
// undoes exactly the first-order response of a rigid sphere of 42 mm relative to order
// zero (within 0.05 dB from 100 Hz to 8 kHz), so this is the sphere it was made for.
constexpr double kDefaultRadius = 0.042; // m

// Surface pressure at a point of the sphere, relative to the free-field pressure that the
// plane wave would have at the sphere's centre, for ka = 2*pi*f*radius/c and the cosine of
// the angle between the point and the direction the wave comes from. Engineering time
// convention exp(+j*omega*t): a point facing the source leads the centre in phase.
std::complex<double> surfacePressure(double ka, double cosAngle);

} // namespace rigid_sphere
