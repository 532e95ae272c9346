#pragma once
// The beams seen from the side: a half disc with a needle per track at its polar angle,
// 0 at the top, 90 to the right, 180 at the bottom. The mouse steers the active track:
// a click sets the angle under the mouse, a drag turns the needle with the mouse and
// holds at 0 and 180; presses on the left half are ignored. The only output is
// thetaChanged with a whole-degree angle.
//
// Behind the needles the sound map can be shown over the polar angle, cut along the half
// plane of the active beam's azimuth (setMapPlane), on a dB scale. A double click near a
// peak asks for the active beam to be put on it (mapPeakChosen, both angles); the
// context menu switches the map and its method.

#include "widgets/vkMapBackdrop.h"

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

    // The disc spans 80 of the 100 units of height: the least size keeps it 200 px
    // across, in a display 200 px wide. The hint is the half disc's 3 to 5 at the height
    // of the azimuth display's hint.
    QSize sizeHint() const override { return {240, 400}; }
    QSize minimumSizeHint() const override { return {200, 250}; }
    // Widget pixel of a point in window units (60 by 100 from (-10, -50), rim at 40).
    QPointF toWidget(QPointF window) const;
    // Where a click sets the active track's polar angle to `theta` whole degrees; none
    // when the display is too small for a click to be that exact.
    std::optional<QPoint> clickPointFor(int theta) const;
    // The polar angle of a mouse angle: 90 less it, the lower half taken as negative.
    static float thetaOfAngle(float mouseAngle) { return 90.0f - (mouseAngle > 180.0f ? mouseAngle - 360.0f : mouseAngle); }
    const vkMapBackdrop& soundMap() const { return mMap; }
    int mapPlane() const { return mMapPlane; }

signals:
    void thetaChanged(int angle);
    void mapPeakChosen(int theta, int phi);
    void mapShownChanged(bool shown);
    void mapMusicChanged(bool music);

public slots:
    void setActivePattern(int patternIndex);
    void setColor(int index, QColor color);
    void setTheta(int index, int theta);
    void setColor(QColor color);
    void setTheta(int theta);
    // The latest map; an empty frame (silence) shows no colours.
    void setMapFrame(const SoundMapFrame& frame);
    // Why there is no map (empty: there is one); drawn in place of the dB scale.
    void setMapNote(const QString& note);
    // The azimuth of the half plane shown: the active beam's.
    void setMapPlane(int phi);
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
    // A double click this close to a peak (on the sphere) picks it.
    static constexpr double kPickDegrees = 15.0;

    void drawMap(class QPainter& painter) const;
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
    vkMapBackdrop mMap;
    int mMapPlane = 0;
};
