#include "widgets/CLevelMeter.h"

#include "core/primitives/ipps.h"
#include "stages/vkLevelSource.h"

#include <QMouseEvent>
#include <QPainter>
#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr float kFloor = 1e-5f;
constexpr float kGridDb[CLevelMeter::kGridLines] = {-100, -80, -60, -50, -40, -30, -20, -15, -10, -5, 0};
const QColor kRed(220, 50, 20);
const QColor kGreen(0, 200, 100);
const QColor kText(100, 100, 100);
constexpr int kNumberPixels = 8;
constexpr int kScalePixels = 8;
constexpr int kSideMargin = 2;
// Channel labels shrink from the first size to the last before they are left out.
constexpr int kLabelPixels[] = {10, 9, 8, 7};

QFont pixelFont(int pixels)
{
    QFont font;
    font.setPixelSize(pixels);
    return font;
}
} // namespace

CLevelMeter::CLevelMeter(int channels, QWidget* parent)
    : QWidget(parent), mNumberFont(pixelFont(kNumberPixels)), mNumberMetrics(mNumberFont)
{
    setChannels(channels);
    float redLine = 0.354813389f; // -9 dB
    lawOfLinear(&redLine, 1);
    mRedLine = redLine;
    mTimer.start(kPeriodMs, this);
}

CLevelMeter::~CLevelMeter()
{
    mTimer.stop();
}

int CLevelMeter::setChannels(int channels)
{
    if (channels < 1)
        return 1;
    mChannels = channels;
    mValues.assign(2 * channels, 0.0f);
    mSmoothed.assign(2 * channels, 0.0f);
    mPositions.assign(2 * channels, 0.0f);
    mPeakDb.assign(channels, -100.0f);
    mHoldDb.assign(channels, -100.0f);
    mBars.assign(channels, QRectF());
    mNumberRects.assign(channels, QRectF());
    mPeakLines.assign(channels, QLineF());
    layOut();
    updateGeometry();
    update();
    return 0;
}

void CLevelMeter::setSource(vkLevelSource* source)
{
    mSource = source;
    if (source)
        mAlpha = 0.1f / (source->releaseTime() + 0.1f);
    else
        std::fill(mValues.begin(), mValues.end(), 0.0f);
}

QSize CLevelMeter::sizeHint() const { return {mChannels * 15 + 50, 180}; }
// Columns of 13 px and a little: room for two digits of a hold and the widest label.
QSize CLevelMeter::minimumSizeHint() const { return {mChannels * 13 + 2 * kSideMargin + 42, 140}; }

void CLevelMeter::lawOfLinear(float* values, int count)
{
    ippsLn_32f_I(values, count);
    ippsMulC_32f_I(-1.0f, values, count);
    ippsSqrt_32f_I(values, count);
    ippsMulC_32f_I(29.472f, values, count);
    ippsSubCRev_32f_I(100.0f, values, count);
}

float CLevelMeter::position(float linear)
{
    float value = std::clamp(linear, kFloor, 1.0f);
    lawOfLinear(&value, 1);
    return value;
}

void CLevelMeter::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != mTimer.timerId())
        return QWidget::timerEvent(event);
    advance();
}

void CLevelMeter::advance()
{
    if (mSource) {
        // Channels the source has not (a graph being rebuilt, fewer channels) fall.
        const int read = std::max(0, mSource->takeLevels(mValues.data() + mChannels, mValues.data(), mChannels));
        std::fill(mValues.begin() + read, mValues.begin() + mChannels, 0.0f);
        std::fill(mValues.begin() + mChannels + read, mValues.end(), 0.0f);
    }
    smooth();
    update();
}

void CLevelMeter::advanceWith(const float* envelopes, const float* peaks)
{
    std::copy_n(envelopes, mChannels, mValues.begin());
    std::copy_n(peaks, mChannels, mValues.begin() + mChannels);
    smooth();
    update();
}

void CLevelMeter::smooth()
{
    const int n = mChannels, all = 2 * n;
    ippsThreshold_LT_32f_I(mValues.data(), all, kFloor);
    ippsThreshold_GT_32f_I(mValues.data(), all, 1.0f);
    // The envelope has its own ballistics and is shown as it is; only when the signal has
    // gone does the bar glide down instead of dropping at once.
    for (int i = 0; i < n; ++i) {
        float& s = mSmoothed[i];
        const float v = mValues[i];
        s = (s > kFloor && v == kFloor) ? s + (v - s) * mAlpha : v;
    }
    // A peak rises at once and falls exponentially.
    for (int j = n; j < all; ++j) {
        float& s = mSmoothed[j];
        const float v = mValues[j];
        s = s > v ? s + (v - s) * mAlpha : v;
    }
    ippsLn_32f(mSmoothed.data(), mPositions.data(), all);
    ippsMulC_32f(mPositions.data() + n, 8.685889f, mPeakDb.data(), n);
    ippsMulC_32f_I(-1.0f, mPositions.data(), all);
    ippsSqrt_32f_I(mPositions.data(), all);
    ippsMulC_32f_I(29.472f, mPositions.data(), all);
    ippsSubCRev_32f_I(100.0f, mPositions.data(), all);
    // The rounded law puts the floor a hair below 0; an empty bar has no height at all.
    ippsThreshold_LT_32f_I(mPositions.data(), all, 0.0f);
    for (int i = 0; i < n; ++i) {
        mHoldDb[i] = std::max(mHoldDb[i], mPeakDb[i]);
        mBars[i].setTop(-mPositions[i]);
        mBars[i].setBottom(0.0);
        mPeakLines[i] = mPeakLine.translated(i * mColumnWidth, -mPositions[n + i]);
    }
}

float CLevelMeter::barPosition(int channel) const { return validChannel(channel) ? mPositions[channel] : 0.0f; }
float CLevelMeter::peakPosition(int channel) const
{
    return validChannel(channel) ? mPositions[mChannels + channel] : 0.0f;
}
float CLevelMeter::holdDb(int channel) const { return validChannel(channel) ? mHoldDb[channel] : -100.0f; }

QRectF CLevelMeter::barArea(int channel) const
{
    if (!validChannel(channel))
        return {};
    const double left = mOriginX + mBars[channel].left();
    return QRectF(left, mOriginY - mBarHeight, mBars[channel].width(), mBarHeight);
}

QRectF CLevelMeter::numberArea(int channel) const
{
    if (!validChannel(channel))
        return {};
    return mNumberRects[channel].translated(mOriginX, mOriginY);
}

bool CLevelMeter::fitsColumn(const QFontMetricsF& metrics, const QString& text) const
{
    return std::max(metrics.horizontalAdvance(text), metrics.boundingRect(text).width()) + kTextGap
           <= mColumnWidth;
}

// The hold is shown as decibels below full scale, never as "-0.0".
QString CLevelMeter::numberText(int channel) const
{
    if (!validChannel(channel))
        return {};
    const float below = std::max(0.0f, -mHoldDb[channel]);
    for (int decimals : {1, 0}) {
        QString text = QString::number(below, 'f', decimals);
        if (fitsColumn(mNumberMetrics, text))
            return text;
    }
    return {};
}

// The widest label is the highest channel number; labels share one size.
void CLevelMeter::fitLabelFont()
{
    const QString widest = QString::number(mChannels);
    for (int pixels : kLabelPixels) {
        mLabelPixels = pixels;
        if (fitsColumn(QFontMetricsF(pixelFont(pixels)), widest))
            return;
    }
    mLabelPixels = 0;
}

void CLevelMeter::resizeEvent(QResizeEvent*)
{
    layOut();
}

void CLevelMeter::layOut()
{
    const int n = mChannels;
    const double w = width(), h = height();
    // The frame keeps a small margin to the widget's sides, so that the columns get the
    // width when the meter is narrow.
    mLeft = kSideMargin;
    mTop = 10;
    mColumnWidth = std::max(0.0, (w - 2 * kSideMargin - 40) / n);
    mBarHeight = std::max(0.0, h - 50);
    if (4 * mColumnWidth > mBarHeight) {
        // A column is at most a quarter of the bars' height; centre the narrower block.
        mColumnWidth = mBarHeight / 4;
        mLeft = (w - n * mColumnWidth - 40) / 2;
    }
    mGap = 0.1 * mColumnWidth;
    mOriginX = mLeft + 20;
    mOriginY = h - 25;
    mScaleY = mBarHeight * 0.01;
    for (int i = 0; i < kGridLines; ++i)
        mGridPositions[i] = kGridDb[i];
    ippsMulC_32f_I(-1.0f, mGridPositions.data(), kGridLines);
    ippsSqrt_32f_I(mGridPositions.data(), kGridLines);
    ippsMulC_32f_I(10.0f, mGridPositions.data(), kGridLines);
    ippsSubCRev_32f_I(100.0f, mGridPositions.data(), kGridLines);

    mPeakLine = QLineF(2 * mGap, 0, mColumnWidth - 2 * mGap, 0);
    for (int i = 0; i < n; ++i) {
        mBars[i] = QRectF(i * mColumnWidth + 2 * mGap, -mPositions[i], mColumnWidth - 4 * mGap, mPositions[i]);
        mNumberRects[i] = QRectF(i * mColumnWidth, -mBarHeight - 15, mColumnWidth, 15);
        mPeakLines[i] = mPeakLine.translated(i * mColumnWidth, -mPositions[n + i]);
    }
    fitLabelFont();
    drawBackground();
}

void CLevelMeter::drawBackground()
{
    const int n = mChannels;
    mBackground = QPixmap(std::max(1, width()), std::max(1, height()));
    mBackground.fill(palette().color(backgroundRole()));
    QPainter p(&mBackground);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(200, 200, 200));
    const int a = static_cast<int>(n * mColumnWidth + 40), b = static_cast<int>(mBarHeight + 30);
    const double radius = 0.1 * std::min(a, b);
    p.drawRoundedRect(QRect(static_cast<int>(mOriginX - 20), static_cast<int>(mOriginY + 15 - b), a, b), radius,
                      radius, Qt::AbsoluteSize);

    p.setPen(kText);
    p.setBrush(Qt::NoBrush);
    if (mLabelPixels > 0) {
        p.setFont(pixelFont(mLabelPixels));
        for (int i = 0; i < n; ++i)
            p.drawText(QRectF(mOriginX + i * mColumnWidth, mOriginY, mColumnWidth, 15), Qt::AlignCenter,
                       QString::number(i + 1));
    }

    p.translate(mOriginX, mOriginY);
    p.setFont(pixelFont(kScalePixels));
    const int right = static_cast<int>(n * mColumnWidth);
    for (int g = 0; g < kGridLines; ++g) {
        const int y = static_cast<int>(mGridPositions[g] * -mScaleY);
        p.setPen(QPen(QColor(230, 230, 230), 1));
        p.drawLine(0, y, right, y);
        p.setPen(QPen(kText, 1));
        const QString label = QString::number(kGridDb[g], 'g', 6);
        p.drawText(QRectF(-20, y - 7, 20, 15), Qt::AlignCenter, label);
        p.drawText(QRectF(n * mColumnWidth, y - 7, 20, 15), Qt::AlignCenter, label);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(50, 50, 50, 200));
    for (int i = 0; i < n; ++i)
        p.drawRect(QRectF(mGap + i * mColumnWidth, 0, mColumnWidth - 2 * mGap, -mBarHeight));
}

void CLevelMeter::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.drawPixmap(0, 0, mBackground);
    p.translate(mOriginX, mOriginY);
    p.setFont(mNumberFont);
    p.setPen(QPen(kText, 1));
    p.setBrush(Qt::NoBrush);
    for (int i = 0; i < mChannels; ++i)
        p.drawText(mNumberRects[i], Qt::AlignCenter, numberText(i));

    p.scale(1, mScaleY);
    for (int i = 0; i < mChannels; ++i) {
        p.setPen(Qt::NoPen);
        p.setBrush(mPositions[i] >= mRedLine ? kRed : kGreen);
        p.drawRect(mBars[i]);
        p.setBrush(Qt::NoBrush);
        p.setPen(QPen(mPositions[mChannels + i] >= mRedLine ? kRed : kGreen, 1));
        p.drawLine(mPeakLines[i]);
    }
}

void CLevelMeter::mousePressEvent(QMouseEvent* event)
{
    const QPointF at = event->position();
    if (event->button() != Qt::LeftButton || at.y() < mTop || at.y() > mOriginY - mBarHeight || at.x() <= mOriginX
        || mColumnWidth <= 0)
        return;
    int column = 0;
    for (double edge = mOriginX + mColumnWidth; at.x() > static_cast<int>(edge); edge += mColumnWidth)
        ++column;
    if (column < mChannels) {
        mHoldDb[column] = -100.0f;
        update();
    }
}

void CLevelMeter::mouseDoubleClickEvent(QMouseEvent*)
{
    std::fill(mHoldDb.begin(), mHoldDb.end(), -100.0f);
    update();
}
