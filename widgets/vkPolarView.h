#pragma once
// What the two beam displays share: the angle arithmetic of the mouse, the mapping from
// the window's units to widget pixels, and the scale of spokes, ticks and numbers.

#include <QPointF>
#include <QRectF>
#include <QTransform>

#include <functional>
#include <optional>

class QPainter;

namespace vkPolarView {

// Angle of a window point in degrees, 0 on the positive x axis, rising anticlockwise on
// the screen (window y runs downward), in 0..360. None at the centre.
std::optional<float> mouseAngle(QPoint windowPoint);

// The inverse of a display's mouse mapping, for a program that steers by clicks: the whole
// window point whose mouse angle `gives` the wanted value, as near radius 38 (inside
// either display's rim) as the lattice allows, within 48 units each way (inside either
// display's window). A click lands there exactly when the widget has two pixels or more a
// unit (see clickPoint).
std::optional<QPoint> windowPointWhere(const std::function<bool(float)>& gives);

// The widget pixel of `windowPoint` under `toWidget`, when a click there maps back to it.
std::optional<QPoint> clickPoint(const QTransform& toWidget, std::optional<QPoint> windowPoint);

// Azimuth kept inside 0..360 by whole turns; exactly 360 stays 360.
double wrapAzimuth(double phi);

// The transform from window units to widget pixels for a viewport and a window.
QTransform windowToWidget(const QRectF& viewport, const QRectF& window);

// Spokes every 30 degrees, ticks every 5, numbers every 90, from 0 up to `last` degrees;
// the painter turns by `turn` degrees after each mark. The pen and font are the caller's.
void drawScale(QPainter& painter, int last, int turn);

} // namespace vkPolarView
