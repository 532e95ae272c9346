#pragma once
// The small horizontal bar that shows a track's volume in a table row: a scale of -20 to
// 20 dB, a fill growing from the middle, and the value as text. It only displays.

#include <QWidget>

class CHVolumeSlider : public QWidget {
    Q_OBJECT
public:
    explicit CHVolumeSlider(QWidget* parent = nullptr);

    void setVolume(float volume);
    float volume() const { return mVolume; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    // The layout of the last paint, for the table that hosts the bar.
    QRectF barRect() const { return mBarRect; }
    // The fill of the present volume, in widget pixels.
    QRectF fillRect() const;
    double margin() const { return mMargin; }
    int layoutHeight() const { return mHeight; }
    double barHeight() const { return mBarHeight; }
    double fillHeight() const { return mFillHeight; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void layOut();
    double pixelsPerDb() const { return 2 * mHalfLength / (mMax - mMin); }

    float mVolume = 0.0f;
    int mHeight = 32;
    int mWidth = 60;
    double mMargin = 5;
    double mBarHeight = 12;
    double mFillHeight = 10;
    float mMin = -20.0f;
    float mMax = 20.0f;
    float mTickStep = 10.0f;
    QRectF mBarRect;
    int mLastWidth = 0;
    int mLastHeight = 0;
    double mCentreX = 0;
    double mHalfLength = 0;
    double mBaseY = 0;
};
