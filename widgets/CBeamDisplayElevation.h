#pragma once
// The beams seen from the side: a half disc with a needle per track at its polar angle,
// 0 at the top, 90 to the right, 180 at the bottom. The mouse steers the active track:
// a click sets the angle under the mouse, a drag turns the needle with the mouse and
// holds at 0 and 180; presses on the left half are ignored. The only output is
// thetaChanged with a whole-degree angle.

#include <QColor>
#include <QTransform>
#include <QWidget>

#include <optional>
#include <vector>

class CBeamDisplayElevation : public QWidget {
    Q_OBJECT
public:
    explicit CBeamDisplayElevation(int maxTracks = 18, QWidget* parent = nullptr);

    // Adds nothing when full; the new track stands at 0 until setTheta.
    void addTrack(QColor color);
    void removeActiveTrack();

    int numTracks() const { return mNumTracks; }
    int activeIndex() const { return mActiveTrack; }
    float theta(int index) const;

    QSize sizeHint() const override { return {250, 300}; }
    QSize minimumSizeHint() const override { return {50, 100}; }
    // Widget pixel of a point in window units (60 by 100 from (-10, -50), rim at 40).
    QPointF toWidget(QPointF window) const;

signals:
    void thetaChanged(int angle);

public slots:
    void setActivePattern(int patternIndex);
    void setColor(int index, QColor color);
    void setTheta(int index, int theta);
    void setColor(QColor color);
    void setTheta(int theta);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    bool validIndex(int index) const { return index >= 0 && index < mNumTracks; }
    bool steering() const { return validIndex(mActiveTrack); }
    std::optional<float> angleAt(const QMouseEvent* event) const;
    QTransform transform() const;
    void drawNeedle(class QPainter& painter, int index, double width) const;
    void emitTheta();

    int mMaxTracks;
    int mNumTracks = 0;
    int mActiveTrack = -1;
    std::vector<float> mTheta;
    std::vector<QColor> mColors;
    float mPressAngle = 0.0f;
    bool mPressed = false;
    bool mDragged = false;
};
