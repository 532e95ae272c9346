#pragma once
// What the two beam displays share: the angle arithmetic of the mouse, the mapping from
// the window's units to widget pixels, and the scale of spokes, ticks and numbers.

#include <QPointF>
#include <QRectF>
#include <QTransform>

#include <optional>

class QPainter;

namespace vkPolarView {

// Angle of a window point in degrees, 0 on the positive x axis, rising anticlockwise on
// the screen (window y runs downward), in 0..360. None at the centre.
std::optional<float> mouseAngle(QPoint windowPoint);

// Azimuth kept inside 0..360 by whole turns; exactly 360 stays 360.
double wrapAzimuth(double phi);

// The transform from window units to widget pixels for a viewport and a window.
QTransform windowToWidget(const QRectF& viewport, const QRectF& window);

// Spokes every 30 degrees, ticks every 5, numbers every 90, from 0 up to `last` degrees;
// the painter turns by `turn` degrees after each mark. The pen and font are the caller's.
void drawScale(QPainter& painter, int last, int turn);

} // namespace vkPolarView
