#pragma once
// The beams seen from above: for each track its polar response in decibels, rotated to
// the track's azimuth, over a grid of rings and spokes. A curve is built only when a
// response is set; painting only rotates stored polygons. The mouse steers the active
// track: a click makes it jump to the mouse, a drag turns it by as much as the mouse turns
// round the centre. The only output is phiChanged with a whole-degree angle.
//
// Behind the curves the sound map can be shown as a colour backdrop: for each azimuth the
// loudest level over the polar angle, on a dB scale. A double click near a peak's azimuth
// asks for the active beam to be put on that peak (mapPeakChosen, both angles); the
// context menu switches the map and its method.

#include "widgets/vkMapBackdrop.h"

#include <QColor>
#include <QPointF>
#include <QTransform>
#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

// One track's curve. The response holds linear magnitudes at equal steps over the full
// circle, the first in the beam's direction and the last repeating the first; the points
// are the closed curve in window units with the beam's direction on the positive x axis.
struct tBeamPlot {
    QColor mColor = Qt::blue;
    double mPhi = 0.0;
    int mNumPoints = 0;
    std::vector<float> mResponse;
    std::vector<QPointF> mPoints;
    float mFloor = 0.01f;
    float mDbRange = 40.0f;

    // Rebuilds the curve from a response; 1 (curve unchanged) for fewer than two points
    // or when scratch memory is short.
    int setResponse(const float* response, int numPoints);
};

class CBeamDisplayAzimuth : public QWidget {
    Q_OBJECT
public:
    explicit CBeamDisplayAzimuth(int maxTracks = 18, double range = 40.0, QWidget* parent = nullptr);
    ~CBeamDisplayAzimuth() override;

    // 1 when full; 2 when memory fails; 1 when the curve cannot be built (the plot is
    // added without one); else 0.
    int addPlot(const float* R, int numPoints, QColor color);
    void removeActivePlot();

    int numTracks() const { return mNumTracks; }
    int activeIndex() const { return mActive; }
    const tBeamPlot* plot(int index) const;
    // How many curves were built since construction; painting and steering build none.
    long curveBuilds() const { return mCurveBuilds; }

    // The rim spans 80 of the 100 units: the least size keeps it 200 px across.
    QSize sizeHint() const override { return {400, 400}; }
    QSize minimumSizeHint() const override { return {250, 250}; }
    // Widget pixel of a point in window units (100 by 100, centre at 0, rim at radius 40).
    QPointF toWidget(QPointF window) const;
    // Where a click sets the active track's azimuth to `phi` whole degrees; none when the
    // display is too small for a click to be that exact.
    std::optional<QPoint> clickPointFor(int phi) const;
    const vkMapBackdrop& soundMap() const { return mMap; }

signals:
    void phiChanged(int angle);
    void mapPeakChosen(int theta, int phi);
    void mapShownChanged(bool shown);
    void mapMusicChanged(bool music);

public slots:
    void setActivePattern(int patternIndex);
    void setColor(int index, QColor color);
    void setPhi(int index, int phi);
    void setPattern(int index, const float* R, int numPoints);
    void setColor(QColor color);
    void setPhi(int phi);
    void setPattern(const float* R, int numPoints);
    // The latest map; an empty frame (silence) shows no colours.
    void setMapFrame(const SoundMapFrame& frame);
    // Why there is no map (empty: there is one); drawn in place of the dB scale.
    void setMapNote(const QString& note);
    // These two emit their change signal when the value changes.
    void setMapShown(bool shown);
    void setMapMusic(bool music);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    // A double click this close to a peak's azimuth picks it.
    static constexpr double kPickDegrees = 10.0;

    void drawMap(class QPainter& painter, const QRect& rim) const;
    bool validIndex(int index) const { return index >= 0 && index < mNumTracks; }
    tBeamPlot* active() const { return validIndex(mActive) ? mPlots[mActive].get() : nullptr; }
    bool steering() const { return active() != nullptr; }
    std::optional<float> angleAt(const QMouseEvent* event) const;
    void emitPhi();
    QTransform transform() const;

    double mRange;
    int mStartAngle = 90;
    int mDirection = -1;
    int mMaxTracks;
    int mNumTracks = 0;
    int mActive = -1;
    std::vector<std::unique_ptr<tBeamPlot>> mPlots;
    float mPressAngle = 0.0f;
    bool mPressed = false;
    bool mDragged = false;
    long mCurveBuilds = 0;
    vkMapBackdrop mMap;
};
