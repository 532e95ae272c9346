#include "widgets/COnOffButton.h"

#include <QPainter>

namespace {
struct SchemeColours {
    QColor enabled0, enabled1, disabled0, disabled1;
};

const SchemeColours kSchemes[4] = {
    {{255, 0, 0}, {182, 0, 0}, {255, 105, 105}, {182, 105, 105}},
    {{29, 255, 20}, {29, 182, 20}, {149, 255, 140}, {139, 182, 130}},
    {{250, 250, 20}, {180, 180, 20}, {220, 220, 140}, {150, 150, 130}},
    {{230, 230, 230}, {150, 150, 150}, {150, 150, 150}, {80, 80, 80}},
};

void takeScheme(int scheme, QLinearGradient& enabled, QLinearGradient& disabled)
{
    if (scheme < 0 || scheme > 3)
        return;
    const SchemeColours& s = kSchemes[scheme];
    enabled.setStops({{0.0, s.enabled0}, {1.0, s.enabled1}});
    disabled.setStops({{0.0, s.disabled0}, {1.0, s.disabled1}});
}
} // namespace

COnOffButton::COnOffButton(QWidget* parent) : QPushButton(parent)
{
    setSchemes(Red, Green);
}

void COnOffButton::setSchemes(int onScheme, int offScheme)
{
    takeScheme(onScheme, mOnGradient, mOnDisabledGradient);
    takeScheme(offScheme, mOffGradient, mOffDisabledGradient);
    update();
}

void COnOffButton::setTexts(const QString& onText, const QString& offText)
{
    mOnText = onText;
    mOffText = offText;
    update();
}

void COnOffButton::paintEvent(QPaintEvent*)
{
    const bool on = isChecked();
    QLinearGradient gradient = on ? (isEnabled() ? mOnGradient : mOnDisabledGradient)
                                  : (isEnabled() ? mOffGradient : mOffDisabledGradient);
    const int w = width(), h = height();
    const int ix = static_cast<int>(0.1 * w), iy = static_cast<int>(0.1 * h);
    const int shift = isDown() ? 1 : 0;
    const QRect rect(ix + shift, iy + shift, w - 2 * ix, h - 2 * iy);
    // The light falls from the upper left; x runs with the height and y with the width.
    gradient.setStart(0.4 * h, 0.4 * w);
    gradient.setFinalStop(0.8 * h, 0.8 * w);

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::darkGray);
    painter.setBrush(gradient);
    painter.drawRoundedRect(rect, 50, 50, Qt::RelativeSize);
    painter.setPen(Qt::black);
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.drawText(rect, Qt::AlignCenter, on ? mOnText : mOffText);
}
