#include "widgets/CAudioFileNavigator.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>
#include <QTime>

#include <algorithm>

namespace {
// Tick spacing in seconds for files shorter than the given length; the last row reaches
// the scale's limit of 20 hours.
struct TickRow {
    double below;
    int every;
};
constexpr TickRow kTickRows[] = {{10, 1},     {20, 2},      {30, 5},      {60, 10},    {120, 20},
                                 {300, 30},   {600, 60},    {1200, 120},  {1800, 300}, {3600, 600},
                                 {7200, 1200}, {18000, 1800}, {36000, 3600}};
constexpr double kMaxSeconds = 72000;
constexpr int kLongestTick = 7200;

int tickSpacing(double seconds)
{
    for (const TickRow& row : kTickRows)
        if (seconds < row.below)
            return row.every;
    return kLongestTick;
}

QString clockText(double seconds, const char* format)
{
    return QTime(0, 0).addSecs(static_cast<int>(seconds)).toString(QLatin1String(format));
}
} // namespace

CAudioFileNavigator::CAudioFileNavigator(QWidget* parent) : QWidget(parent)
{
    mTimeFont.setPointSize(20);
    mTimeWidth = QFontMetrics(mLabelFont).horizontalAdvance(QStringLiteral("00:00:00"));
    mTimeText = clockText(0, "hh:mm:ss");
}

QStringList CAudioFileNavigator::labels() const
{
    return QStringList(mLabels.begin(), mLabels.begin() + mNumLabels);
}

int CAudioFileNavigator::setFs(int fs)
{
    if (fs < 1)
        return 1;
    mFs = fs;
    return 0;
}

int CAudioFileNavigator::setNumSamples(int numSamples)
{
    if (numSamples < 0)
        return 1;
    mHasFile = numSamples != 0;
    if (!mHasFile)
        numSamples = static_cast<int>(10 * mFs);
    const double seconds = numSamples / mFs;
    if (seconds > kMaxSeconds)
        return 2;

    mNumSamples = numSamples;
    mEnd = numSamples;
    mStart = 0;
    mCurrent = 0;
    mTickSamples = static_cast<int>(tickSpacing(seconds) * mFs);
    makeLabels(seconds);
    mTimeText = clockText(mCurrent / mFs, "hh:mm:ss");
    mSection = QRectF(0, 0, mNumSamples, 1);
    mPlayed = QRectF(0, 0, 0, 1);
    repaint();
    return 0;
}

void CAudioFileNavigator::makeLabels(double seconds)
{
    mNumLabels = 0;
    double time = 0;
    for (int sample = 0; sample < mNumSamples && mNumLabels < kMaxLabels - 1; sample += mTickSamples) {
        mLabels[mNumLabels++] = clockText(time, "h:mm:ss");
        time += mTickSamples / mFs;
    }
    mLabels[mNumLabels++] = clockText(seconds, "h:mm:ss");
}

void CAudioFileNavigator::setCurrentSample(int currentSample)
{
    mCurrent = currentSample;
    if (currentSample <= mEnd) {
        mPastEnd = false;
    } else if (!mPastEnd) {
        mPastEnd = true;
        if (mLoop)
            emit seek(mStart);
        else
            emit stop();
    } else {
        // The latch opens again, so the end test fires on every second report past the end.
        mPastEnd = false;
    }
    mPlayed.setRight(currentSample);
    mTimeText = clockText(currentSample / mFs, "hh:mm:ss");
    update();
}

double CAudioFileNavigator::xOfSample(double sample) const
{
    return margin() + sample * plotWidth() / std::max(mNumSamples, 1);
}

int CAudioFileNavigator::sampleAt(int x) const
{
    const double plot = plotWidth();
    if (plot <= 0)
        return 0;
    return static_cast<int>((x - margin()) * mNumSamples / plot);
}

void CAudioFileNavigator::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int w = width(), h = height();
    const double margin = mMargin * w;
    const double plot = w - 2 * margin;

    painter.setPen(QColor(50, 50, 50));
    painter.setFont(mTimeFont);
    painter.drawText(QRectF(0, 0, w, h / 2.0), Qt::AlignCenter, mTimeText);

    const QPen linePen(QColor(127, 127, 127), 2);
    const double tick = mNumSamples > 0 ? mTickSamples * plot / mNumSamples : 0;
    if (mHasFile) {
        painter.setPen(linePen);
        paintScale(painter, margin, tick);
    }
    paintTicks(painter, margin, tick);

    painter.setPen(linePen);
    const int left = static_cast<int>(margin), right = static_cast<int>(w - margin);
    painter.drawLine(left, 2 * h / 3, right, 2 * h / 3);
    painter.drawLine(left, 5 * h / 6, right, 5 * h / 6);

    if (mNumSamples <= 0)
        return;
    painter.translate(margin, 2.0 * h / 3);
    painter.scale(plot / mNumSamples, h / 6.0);
    painter.setPen(Qt::NoPen);
    painter.fillRect(mSection, QColor(0, 100, 250, 50));
    painter.fillRect(mPlayed, QColor(0, 100, 250, 200));
}

void CAudioFileNavigator::paintScale(QPainter& painter, double margin, double tick)
{
    const int h = height();
    painter.setFont(mLabelFont);
    const auto label = [&](int index, double x) {
        painter.drawText(QRectF(x, h / 2.0, 2 * margin, h / 6.0), Qt::AlignCenter, mLabels[index]);
    };
    for (int index = 0; index <= mNumLabels - 3; ++index)
        label(index, tick * index);
    // The label before the last stands only where it can't run into the last.
    const int wholeTick = static_cast<int>(tick);
    mSecondLastShown = mNumLabels >= 2 && wholeTick > 0 && static_cast<int>(plotWidth()) % wholeTick > mTimeWidth;
    if (mSecondLastShown)
        label(mNumLabels - 2, tick * (mNumLabels - 2));
    label(mNumLabels - 1, width() - 2 * margin);
}

void CAudioFileNavigator::paintTicks(QPainter& painter, double margin, double tick)
{
    const int w = width(), h = height();
    painter.setPen(QPen(QColor(100, 100, 100), 2));
    if (tick > 0) {
        for (double x = margin; x <= w - margin; x += tick)
            painter.drawLine(QPointF(x, 0.6541666666666667 * h), QPointF(x, 0.6791666666666666 * h));
    }
    painter.drawLine(QPointF(w - margin, 0.6566666666666666 * h), QPointF(w - margin, 0.6766666666666666 * h));
}

void CAudioFileNavigator::mousePressEvent(QMouseEvent* event)
{
    const int y = static_cast<int>(event->position().y());
    const int h = height();
    if (event->button() != Qt::LeftButton || !mHasFile || y < 4 * h / 6 || y > 5 * h / 6)
        return;
    mPressX = static_cast<int>(event->position().x());
    mPressed = true;
}

void CAudioFileNavigator::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton) || !mPressed)
        return;
    if (!mDragging) {
        mStart = std::clamp(sampleAt(mPressX), 0, mNumSamples);
        emit updateStartSample(mStart);
        mCurrent = mStart;
        mSection = QRectF(mStart, 0, 0, 1);
        mPlayed = QRectF(mStart, 0, 0, 1);
        mDragging = true;
    }
    dragTo(static_cast<int>(event->position().x()));
    update();
}

void CAudioFileNavigator::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !mPressed)
        return;
    const int x = static_cast<int>(event->position().x());
    if (mDragging) {
        mDragging = false;
        dragTo(x);
    } else {
        const int sample = sampleAt(x);
        if (sample >= mStart && sample <= mEnd)
            emit seek(sample);
    }
    mPressed = false;
    update();
}

void CAudioFileNavigator::dragTo(int x)
{
    // A press in the side margin maps before the file; the end never falls behind the start.
    const int end = x > mPressX ? sampleAt(x) : mStart;
    mEnd = std::clamp(end, mStart, mNumSamples);
    mSection.setWidth(mEnd - mStart);
}
