#pragma once
// The position in a file: the current time as text, a time scale, and a bar that shows
// the selected section pale and the part played deep. A drag on the bar selects a
// section, a click inside it jumps there, and a position reported past the section's end
// sends the player back to the section's start.

#include <QFont>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <array>

class CAudioFileNavigator : public QWidget {
    Q_OBJECT
public:
    static constexpr int kMaxLabels = 11;

    explicit CAudioFileNavigator(QWidget* parent = nullptr);

    // Short: the window gives the height that its strips leave to the beam displays.
    QSize sizeHint() const override { return {600, 80}; }
    QSize minimumSizeHint() const override { return {400, 60}; }

    bool hasFile() const { return mHasFile; }
    int start() const { return mStart; }
    int end() const { return mEnd; }
    int numSamples() const { return mNumSamples; }
    int currentSample() const { return mCurrent; }
    int tickSamples() const { return mTickSamples; }
    QStringList labels() const;
    QString timeText() const { return mTimeText; }
    QRectF section() const { return mSection; }
    QRectF played() const { return mPlayed; }

    // Pixel geometry of the bar at the present size, for hosts and tests.
    double margin() const { return mMargin * width(); }
    double plotWidth() const { return width() - 2 * margin(); }
    // The x of a sample, the inverse of the mouse mapping.
    double xOfSample(double sample) const;
    // Whether the last paint drew the label before the last one.
    bool secondLastLabelShown() const { return mSecondLastShown; }

signals:
    void updateStartSample(int position);
    void seek(int position);
    void stop();

public slots:
    void setCurrentSample(int currentSample);
    // 1 for a rate below 1, else 0.
    int setFs(int fs);
    // 1 for a negative count, 2 for more than 20 hours (the old scale stands), else 0.
    // A count of 0 means no file: an empty scale of ten seconds that ignores the mouse.
    int setNumSamples(int numSamples);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void makeLabels(double seconds);
    void paintScale(class QPainter& painter, double margin, double tick);
    void paintTicks(QPainter& painter, double margin, double tick);
    int sampleAt(int x) const;
    // The section's end for the mouse at x during or at the end of a drag.
    void dragTo(int x);

    bool mHasFile = false;
    int mStart = 0;
    int mEnd = 0;
    bool mLoop = true;
    int mNumSamples = 0;
    double mFs = 1.0;
    int mCurrent = 0;
    bool mPastEnd = false;
    bool mPressed = false;
    bool mDragging = false;
    int mPressX = 0;
    double mMargin = 0.05;
    int mTickSamples = 1;
    int mNumLabels = 0;
    std::array<QString, kMaxLabels> mLabels;
    int mTimeWidth = 0;
    QFont mTimeFont;
    QFont mLabelFont;
    QString mTimeText;
    QRectF mSection;
    QRectF mPlayed;
    bool mSecondLastShown = false;
};
