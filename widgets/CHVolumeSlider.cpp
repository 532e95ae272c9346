#include "widgets/CHVolumeSlider.h"

#include "widgets/vkRound.h"

#include <QPainter>

CHVolumeSlider::CHVolumeSlider(QWidget* parent) : QWidget(parent) {}

void CHVolumeSlider::setVolume(float volume)
{
    if (volume == mVolume)
        return;
    mVolume = volume;
    update();
}

QSize CHVolumeSlider::sizeHint() const { return {mWidth + 100, mHeight + 10}; }
QSize CHVolumeSlider::minimumSizeHint() const { return {mWidth, mHeight}; }

void CHVolumeSlider::layOut()
{
    const int w = width(), h = height();
    if (w == mLastWidth && h == mLastHeight)
        return;
    mLastWidth = w;
    mLastHeight = h;
    mCentreX = w * 0.5;
    mHalfLength = (w - 10) * 0.5;
    if (h < mHeight) {
        const double e = h - 10;
        if (e > 12) {
            mMargin = (e - 12) * 0.5;
            mBarHeight = 12;
            mFillHeight = 10;
        } else {
            mMargin = 1;
            mBarHeight = e - 2;
            mFillHeight = e - 4;
        }
        mHeight = static_cast<int>(2 * mMargin + mBarHeight + 10);
    }
    mBaseY = (mHeight + h) * 0.5 - mMargin;
    mBarRect = QRectF(mCentreX - mHalfLength, mBaseY - mBarHeight, 2 * mHalfLength, mBarHeight);
}

QRectF CHVolumeSlider::fillRect() const
{
    return QRectF(mCentreX, mBaseY - mFillHeight - 1, mVolume * pixelsPerDb(), mFillHeight);
}

void CHVolumeSlider::paintEvent(QPaintEvent*)
{
    layOut();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double left = mBarRect.left(), top = mBarRect.top();
    const double d = mTickStep * pixelsPerDb();
    // Five ticks over -20..20 whatever the tick step says, as the scale always had.
    const int ticks = vkRound(0.1 * (mMax - mMin)) + 1;
    QFont font;
    font.setPixelSize(8);
    painter.setFont(font);
    for (int i = 0; i < ticks; ++i) {
        painter.drawText(QRectF(left - 8 + i * d, top - 10, 16, 8), Qt::AlignHCenter | Qt::AlignBottom,
                         QString::number(i * mTickStep + mMin, 'f', 0));
        painter.drawLine(QLineF(left + i * d, top - 2, left + i * d, top));
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(210, 210, 210));
    painter.drawRect(mBarRect);
    painter.setBrush(QColor(0, 250, 0, 100));
    painter.drawRect(fillRect().normalized());

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(palette().windowText(), 0.5));
    QFont valueFont;
    valueFont.setPixelSize(std::max(1, static_cast<int>(mBarHeight - 2)));
    painter.setFont(valueFont);
    painter.drawText(mBarRect, Qt::AlignCenter, QString::number(mVolume, 'f', 1) + QStringLiteral(" dB"));
}
