#include "widgets/CBeamDisplayElevation.h"

#include "widgets/vkPolarView.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {
const QRectF kWindow(-10, -50, 60, 100);
const QRectF kDisc(-40, -40, 80, 80);

QPen gridPen(const QWidget* w, double width)
{
    return QPen(w->palette().windowText(), width, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}
} // namespace

CBeamDisplayElevation::CBeamDisplayElevation(int maxTracks, QWidget* parent)
    : QWidget(parent), mMaxTracks(std::max(0, maxTracks)), mTheta(mMaxTracks, 0.0f), mColors(mMaxTracks, Qt::black)
{
}

void CBeamDisplayElevation::addTrack(QColor color)
{
    if (mNumTracks >= mMaxTracks)
        return;
    mTheta[mNumTracks] = 0.0f;
    mColors[mNumTracks] = color;
    ++mNumTracks;
    update();
}

void CBeamDisplayElevation::removeActiveTrack()
{
    if (!validIndex(mActiveTrack))
        return;
    std::move(mTheta.begin() + mActiveTrack + 1, mTheta.begin() + mNumTracks, mTheta.begin() + mActiveTrack);
    std::move(mColors.begin() + mActiveTrack + 1, mColors.begin() + mNumTracks, mColors.begin() + mActiveTrack);
    --mNumTracks;
    mTheta[mNumTracks] = 0.0f;
    mColors[mNumTracks] = Qt::black;
    mActiveTrack = -1;
    update();
}

float CBeamDisplayElevation::theta(int index) const { return validIndex(index) ? mTheta[index] : 0.0f; }

void CBeamDisplayElevation::setActivePattern(int patternIndex)
{
    mActiveTrack = validIndex(patternIndex) ? patternIndex : -1;
    update();
}

void CBeamDisplayElevation::setColor(int index, QColor color)
{
    if (validIndex(index))
        mColors[index] = color;
    update();
}

void CBeamDisplayElevation::setTheta(int index, int theta)
{
    if (validIndex(index))
        mTheta[index] = static_cast<float>(std::clamp(theta, 0, 180));
    update();
}

void CBeamDisplayElevation::setColor(QColor color) { setColor(mActiveTrack, color); }
void CBeamDisplayElevation::setTheta(int theta) { setTheta(mActiveTrack, theta); }

QTransform CBeamDisplayElevation::transform() const
{
    // Keeps the proportion 3 to 5, centred.
    const double w = std::min<double>(width(), 0.6 * height());
    const double h = w * 1.6666666666666667;
    const QRectF viewport(static_cast<int>((width() - w) / 2), static_cast<int>((height() - h) / 2), w, h);
    return vkPolarView::windowToWidget(viewport, kWindow);
}

QPointF CBeamDisplayElevation::toWidget(QPointF window) const
{
    return transform().map(window);
}

void CBeamDisplayElevation::drawNeedle(QPainter& p, int index, double width) const
{
    p.save();
    QPen pen = gridPen(this, width);
    pen.setColor(mColors[index]);
    p.setPen(pen);
    p.setBrush(mColors[index]);
    p.rotate(mTheta[index]);
    p.drawLine(QLineF(0, 0, 0, -40));
    const QPointF head[3] = {{1, -36}, {-1, -36}, {0, -40}};
    p.drawConvexPolygon(head, 3);
    p.restore();
}

void CBeamDisplayElevation::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setTransform(transform());
    p.setPen(gridPen(this, 0.75));
    p.setBrush(Qt::white);
    p.drawPie(kDisc, -90 * 16, 180 * 16);
    if (mMap.drawsMap())
        drawMap(p);

    QFont font;
    font.setPixelSize(8);
    p.setFont(font);
    p.setPen(gridPen(this, 0.25));
    p.setBrush(Qt::NoBrush);
    p.save();
    vkPolarView::drawScale(p, 180, 5);
    p.restore();

    for (int i = 0; i < mNumTracks; ++i)
        if (i != mActiveTrack)
            drawNeedle(p, i, 0.75);
    if (validIndex(mActiveTrack))
        drawNeedle(p, mActiveTrack, 1.5);
    if (!isEnabled()) {
        p.setPen(gridPen(this, 0.75));
        p.setBrush(QColor(200, 200, 200, 125));
        p.drawPie(kDisc, -90 * 16, 180 * 16);
    }
    mMap.drawLegend(p, *this);
}

// One wedge per grid polar angle, centred on it and cut at the half disc's edges; the
// polar angle runs clockwise from the top.
void CBeamDisplayElevation::drawMap(QPainter& p) const
{
    const std::vector<float> profile = mMap.frame().elevationProfile(mMapPlane);
    const double step = mMap.frame().grid.step();
    p.save();
    p.setRenderHint(QPainter::Antialiasing, false); // no seams between the wedges
    p.setPen(Qt::NoPen);
    for (size_t r = 0; r < profile.size(); ++r) {
        const double from = std::max(-90.0, 90.0 - double(r) * step - step / 2);
        const double to = std::min(90.0, 90.0 - double(r) * step + step / 2);
        p.setBrush(mMap.colour(profile[r]));
        p.drawPie(kDisc, int(std::lround(from * 16)), int(std::lround((to - from) * 16)));
    }
    p.restore();
}

void CBeamDisplayElevation::setMapFrame(const SoundMapFrame& frame)
{
    mMap.setFrame(frame);
    update();
}

void CBeamDisplayElevation::setMapNote(const QString& note)
{
    mMap.setNote(note);
    update();
}

void CBeamDisplayElevation::setMapPlane(int phi)
{
    mMapPlane = int(vkPolarView::wrapAzimuth(phi)) % 360;
    update();
}

void CBeamDisplayElevation::setMapShown(bool shown)
{
    if (shown == mMap.shown())
        return;
    mMap.setShown(shown);
    update();
    emit mapShownChanged(shown);
}

void CBeamDisplayElevation::setMapMusic(bool music)
{
    if (music == mMap.music())
        return;
    mMap.setMusic(music);
    emit mapMusicChanged(music);
}

// The peak nearest on the sphere to the direction under the mouse in the shown plane.
void CBeamDisplayElevation::mouseDoubleClickEvent(QMouseEvent* event)
{
    const std::optional<float> a = angleAt(event);
    if (!a || !mMap.drawsMap() || (*a > 90.0f && *a < 270.0f))
        return;
    const double theta = thetaOfAngle(*a);
    const int i = mMap.frame().nearestPeak(theta, mMapPlane, kPickDegrees);
    if (i < 0)
        return;
    const SoundMapPeak& peak = mMap.frame().peaks[size_t(i)];
    emit mapPeakChosen(int(std::lround(peak.theta)), int(std::lround(peak.phi)));
}

void CBeamDisplayElevation::contextMenuEvent(QContextMenuEvent* event)
{
    const vkMapBackdrop::Choice choice = mMap.runMenu(this, event->globalPos());
    setMapShown(choice.shown);
    setMapMusic(choice.music);
}

std::optional<float> CBeamDisplayElevation::angleAt(const QMouseEvent* event) const
{
    return vkPolarView::mouseAngle(transform().inverted().map(event->position()).toPoint());
}

void CBeamDisplayElevation::emitTheta()
{
    emit thetaChanged(static_cast<int>(mTheta[mActiveTrack]));
    update();
}

void CBeamDisplayElevation::mousePressEvent(QMouseEvent* event)
{
    mPressed = false;
    if (!steering() || event->button() != Qt::LeftButton)
        return;
    const std::optional<float> a = angleAt(event);
    if (!a || (*a > 90.0f && *a < 270.0f))
        return; // the centre, or the left half where no beam can point
    mPressAngle = *a;
    mPressed = true;
    mDragged = false;
}

void CBeamDisplayElevation::mouseMoveEvent(QMouseEvent* event)
{
    const std::optional<float> a = angleAt(event);
    if (!steering() || !mPressed || !a)
        return;
    mDragged = true;
    float d = *a - mPressAngle;
    mPressAngle = *a;
    if (d > 180.0f)
        d -= 360.0f;
    if (d < -180.0f)
        d += 360.0f;
    // The polar angle grows clockwise, against the mouse angle.
    mTheta[mActiveTrack] = std::clamp(mTheta[mActiveTrack] - d, 0.0f, 180.0f);
    emitTheta();
}

void CBeamDisplayElevation::mouseReleaseEvent(QMouseEvent* event)
{
    if (!steering() || !mPressed || event->button() != Qt::LeftButton)
        return;
    mPressed = false;
    if (mDragged)
        return;
    mTheta[mActiveTrack] = thetaOfAngle(mPressAngle);
    emitTheta();
}

std::optional<QPoint> CBeamDisplayElevation::clickPointFor(int theta) const
{
    const auto gives = [theta](float angle) { return int(thetaOfAngle(angle)) == theta; };
    return vkPolarView::clickPoint(transform(), vkPolarView::windowPointWhere(gives));
}
