#pragma once
// A row of vertical level bars, one per channel: the envelope as a bar, the peak as a line
// above it, and the highest peak since the last reset as a number on top. Numbers and
// channel labels never run into their neighbours: a number shows one decimal where that
// fits its column, else whole decibels, else nothing; the channel labels take the largest
// font that fits. The scale is a
// square-root law in decibels, P = 100 - 10 sqrt(-dB): 0 dB at the top, -25 dB halfway,
// -9 dB at 70 where the bar turns red, -100 dB at the bottom.
//
// Ten times a second the meter takes the levels of a level stage (lock-free: the stage
// never waits for it) and advances its own fall; painting draws a pixmap made once per
// layout and the cached bars.

#include <QBasicTimer>
#include <QFont>
#include <QFontMetricsF>
#include <QLineF>
#include <QPixmap>
#include <QRectF>
#include <QWidget>

#include <array>
#include <vector>

class vkLevelSource;

class CLevelMeter : public QWidget {
    Q_OBJECT
public:
    static constexpr int kPeriodMs = 100;
    static constexpr int kGridLines = 11;

    explicit CLevelMeter(int channels, QWidget* parent = nullptr);
    ~CLevelMeter() override;

    // Gives 1 and changes nothing below one channel; else starts the meter anew, 0.
    int setChannels(int channels);
    // Not owned; null stops the reading and lets the bars fall.
    void setSource(vkLevelSource* source);
    int channels() const { return mChannels; }

    // The law: meter position 0..100 of a linear level, limited to 1e-5..1.
    static float position(float linear);
    // One timer step: read the source, smooth, compute positions. Public so that a host
    // that drives the meter itself (and the tests) can step it without the timer.
    void advance();
    // Feeds levels as a read of the source would (envelopes, then peaks), then advances.
    void advanceWith(const float* envelopes, const float* peaks);

    float barPosition(int channel) const;
    float peakPosition(int channel) const;
    float holdDb(int channel) const;
    float redLine() const { return mRedLine; }
    float alpha() const { return mAlpha; }
    // Widget rectangle of a channel's bar at full height, and of its number.
    QRectF barArea(int channel) const;
    QRectF numberArea(int channel) const;
    // The number drawn over a channel (centred in its numberArea); empty when none fits.
    QString numberText(int channel) const;
    const QFont& numberFont() const { return mNumberFont; }
    // Pixel size of the channel labels under the bars; 0 when none fits its column.
    int labelPixelSize() const { return mLabelPixels; }
    // Least room left between the texts of neighbouring columns.
    static constexpr double kTextGap = 2.0;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void timerEvent(QTimerEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    static void lawOfLinear(float* values, int count);
    void smooth();
    void layOut();
    void drawBackground();
    void fitLabelFont();
    bool fitsColumn(const QFontMetricsF& metrics, const QString& text) const;
    bool validChannel(int channel) const { return channel >= 0 && channel < mChannels; }

    vkLevelSource* mSource = nullptr;
    float mAlpha = 1.0f;
    float mRedLine = 70.0f;
    int mChannels = 0;
    std::vector<float> mValues;
    std::vector<float> mSmoothed;
    std::vector<float> mPositions;
    std::vector<float> mPeakDb;
    std::vector<float> mHoldDb;
    QBasicTimer mTimer;
    QPixmap mBackground;
    double mLeft = 10, mTop = 10;
    double mGap = 0, mColumnWidth = 0, mBarHeight = 0;
    double mOriginX = 0, mOriginY = 0;
    double mScaleY = 0;
    std::vector<QRectF> mBars;
    std::vector<QRectF> mNumberRects;
    std::vector<QLineF> mPeakLines;
    QLineF mPeakLine;
    std::array<float, kGridLines> mGridPositions{};
    QFont mNumberFont;
    QFontMetricsF mNumberMetrics;
    int mLabelPixels = 0;
};
