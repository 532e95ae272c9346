#include "widgets/vkPolarView.h"

#include <QPainter>

#include <cmath>

namespace vkPolarView {

std::optional<float> mouseAngle(QPoint p)
{
    const double x = p.x(), y = p.y();
    if (x == 0.0 && y == 0.0)
        return std::nullopt;
    constexpr double kDegrees = 57.295776;
    double t = x == 0.0 ? (y < 0.0 ? 90.0 : -90.0) : std::atan(-y / x) * kDegrees;
    if (x < 0.0)
        t += 180.0;
    if (t < 0.0)
        t += 360.0;
    return static_cast<float>(t);
}

std::optional<QPoint> windowPointWhere(const std::function<bool(float)>& gives)
{
    constexpr int kReach = 48;
    constexpr double kRadius = 38.0;
    std::optional<QPoint> best;
    double bestDistance = kReach;
    for (int x = -kReach; x <= kReach; ++x)
        for (int y = -kReach; y <= kReach; ++y) {
            const double distance = std::abs(std::hypot(x, y) - kRadius);
            const std::optional<float> angle = mouseAngle(QPoint(x, y));
            if (distance < bestDistance && angle && gives(*angle)) {
                best = QPoint(x, y);
                bestDistance = distance;
            }
        }
    return best;
}

// With two pixels or more a unit, the pixel of a unit's centre maps back to that unit.
std::optional<QPoint> clickPoint(const QTransform& toWidget, std::optional<QPoint> windowPoint)
{
    const double pixelsPerUnit = toWidget.map(QPointF(1.0, 0.0)).x() - toWidget.map(QPointF(0.0, 0.0)).x();
    if (!windowPoint || pixelsPerUnit < 2.0)
        return std::nullopt;
    return toWidget.map(QPointF(*windowPoint)).toPoint();
}

double wrapAzimuth(double phi)
{
    if (!std::isfinite(phi))
        return 0.0;
    phi = std::fmod(phi, 720.0); // bounds the loops below; whole turns change nothing
    while (phi > 360.0)
        phi -= 360.0;
    while (phi < 0.0)
        phi += 360.0;
    return phi;
}

QTransform windowToWidget(const QRectF& viewport, const QRectF& window)
{
    QTransform t;
    t.translate(viewport.x(), viewport.y());
    t.scale(viewport.width() / window.width(), viewport.height() / window.height());
    t.translate(-window.x(), -window.y());
    return t;
}

void drawScale(QPainter& painter, int last, int turn)
{
    for (int a = 0; a <= last; a += 5) {
        if (a % 30 == 0)
            painter.drawLine(QLineF(0, 0, 0, -40));
        else
            painter.drawLine(QLineF(0, -38, 0, -40));
        if (a % 90 == 0)
            painter.drawText(QRect(QPoint(-15, -50), QPoint(14, -41)), Qt::AlignCenter, QString::number(a));
        painter.rotate(turn);
    }
}

} // namespace vkPolarView
