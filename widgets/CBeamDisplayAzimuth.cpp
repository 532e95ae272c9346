#include "widgets/CBeamDisplayAzimuth.h"

#include "core/primitives/ipps.h"
#include "widgets/vkPolarView.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>
#include <new>
#include <numbers>

namespace {
// 40 * 20 / ln 10: with a range of 40 dB one window unit is one decibel.
constexpr float kDbPerLn = 347.436f;
constexpr double kRim = 40.0;
const QRectF kWindow(-50, -50, 100, 100);

// Scratch arrays for one curve, freed when the computation ends.
struct Scratch {
    explicit Scratch(int n) : m(ippsMalloc_32f(n)), a(ippsMalloc_32f(n)), x(ippsMalloc_32f(n)), y(ippsMalloc_32f(n)) {}
    ~Scratch()
    {
        for (float* p : {m, a, x, y})
            ippsFree(p);
    }
    bool ok() const { return m && a && x && y; }
    float *m, *a, *x, *y;
};

QPen gridPen(const QWidget* w, double width)
{
    return QPen(w->palette().windowText(), width, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}
} // namespace

int tBeamPlot::setResponse(const float* response, int numPoints)
{
    if (!response || numPoints < 2)
        return 1;
    Scratch s(numPoints);
    if (!s.ok())
        return 1;
    mResponse.assign(response, response + numPoints);
    mNumPoints = numPoints;
    const int n = numPoints;
    ippsThreshold_LT_32f(mResponse.data(), s.m, n, mFloor);
    ippsLn_32f_I(s.m, n);
    ippsMulC_32f_I(1.0f / mDbRange * kDbPerLn, s.m, n);
    ippsAddC_32f_I(static_cast<float>(kRim), s.m, n);
    ippsVectorSlope_32f(s.a, n, 0.0f, static_cast<float>(2.0 * std::numbers::pi / (n - 1)));
    ippsPolarToCart_32f(s.m, s.a, s.x, s.y, n - 1);
    mPoints.resize(n);
    for (int i = 0; i < n - 1; ++i)
        mPoints[i] = QPointF(s.x[i], -s.y[i]);
    mPoints[n - 1] = mPoints[0];
    return 0;
}

CBeamDisplayAzimuth::CBeamDisplayAzimuth(int maxTracks, double range, QWidget* parent)
    : QWidget(parent), mRange(range > 0 ? range : 40.0), mMaxTracks(std::max(0, maxTracks)),
      mPlots(static_cast<std::size_t>(mMaxTracks))
{
}

CBeamDisplayAzimuth::~CBeamDisplayAzimuth() = default;

const tBeamPlot* CBeamDisplayAzimuth::plot(int index) const
{
    return validIndex(index) ? mPlots[index].get() : nullptr;
}

int CBeamDisplayAzimuth::addPlot(const float* R, int numPoints, QColor color)
{
    if (mNumTracks >= mMaxTracks)
        return 1;
    std::unique_ptr<tBeamPlot> plot(new (std::nothrow) tBeamPlot);
    if (!plot)
        return 2;
    plot->mColor = color;
    const int result = plot->setResponse(R, numPoints);
    mCurveBuilds += result == 0;
    mPlots[mNumTracks++] = std::move(plot);
    update();
    return result;
}

void CBeamDisplayAzimuth::removeActivePlot()
{
    if (!active())
        return;
    for (int i = mActive; i + 1 < mNumTracks; ++i)
        mPlots[i] = std::move(mPlots[i + 1]);
    mPlots[--mNumTracks].reset();
    mActive = -1;
    update();
}

void CBeamDisplayAzimuth::setActivePattern(int patternIndex)
{
    mActive = validIndex(patternIndex) ? patternIndex : -1;
    update();
}

void CBeamDisplayAzimuth::setColor(int index, QColor color)
{
    if (validIndex(index))
        mPlots[index]->mColor = color;
    update();
}

void CBeamDisplayAzimuth::setPhi(int index, int phi)
{
    if (validIndex(index))
        mPlots[index]->mPhi = vkPolarView::wrapAzimuth(phi);
    update();
}

void CBeamDisplayAzimuth::setPattern(int index, const float* R, int numPoints)
{
    if (validIndex(index) && mPlots[index]->setResponse(R, numPoints) == 0)
        ++mCurveBuilds;
    update();
}

void CBeamDisplayAzimuth::setColor(QColor color) { setColor(mActive, color); }
void CBeamDisplayAzimuth::setPhi(int phi) { setPhi(mActive, phi); }
void CBeamDisplayAzimuth::setPattern(const float* R, int numPoints) { setPattern(mActive, R, numPoints); }

QTransform CBeamDisplayAzimuth::transform() const
{
    const int side = std::min(width(), height());
    const QRectF viewport((width() - side) / 2, (height() - side) / 2, side, side);
    return vkPolarView::windowToWidget(viewport, kWindow);
}

QPointF CBeamDisplayAzimuth::toWidget(QPointF window) const
{
    return transform().map(window);
}

std::optional<QPoint> CBeamDisplayAzimuth::clickPointFor(int phi) const
{
    const auto gives = [phi](float angle) { return int(vkPolarView::wrapAzimuth(angle)) == phi; };
    return vkPolarView::clickPoint(transform(), vkPolarView::windowPointWhere(gives));
}

void CBeamDisplayAzimuth::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setTransform(transform());
    const QRect rim(QPoint(-40, -40), QPoint(39, 39));

    p.setPen(gridPen(this, 0.75));
    p.setBrush(Qt::white);
    p.drawEllipse(rim);
    if (mMap.drawsMap())
        drawMap(p, rim);
    p.setPen(gridPen(this, 0.25));
    p.setBrush(Qt::NoBrush);
    for (int i = 1; i <= static_cast<int>(mRange * 0.1) - 1; ++i) {
        const double r = kRim * (mRange - 10 * i) / mRange;
        p.drawEllipse(QRect(-static_cast<int>(r), -static_cast<int>(r), static_cast<int>(2 * r),
                            static_cast<int>(2 * r)));
    }
    QFont font;
    font.setPixelSize(8);
    p.setFont(font);
    p.save();
    p.rotate(mStartAngle);
    vkPolarView::drawScale(p, 355, mDirection * 5);
    p.restore();

    for (int i = 0; i < mNumTracks; ++i) {
        if (i == mActive)
            continue;
        const tBeamPlot& plot = *mPlots[i];
        p.save();
        QPen pen = gridPen(this, 0.75);
        pen.setColor(plot.mColor);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        p.rotate(plot.mPhi * mDirection);
        p.drawPolygon(plot.mPoints.data(), static_cast<int>(plot.mPoints.size()));
        p.restore();
    }
    if (const tBeamPlot* plot = active()) {
        p.save();
        QPen pen = gridPen(this, 1.5);
        pen.setColor(plot->mColor);
        QColor fill = plot->mColor;
        fill.setAlpha(50);
        p.setPen(pen);
        p.setBrush(fill);
        p.rotate(plot->mPhi * mDirection);
        p.drawConvexPolygon(plot->mPoints.data(), static_cast<int>(plot->mPoints.size()));
        p.restore();
    }
    if (!isEnabled()) {
        p.setPen(gridPen(this, 0.75));
        p.setBrush(QColor(200, 200, 200, 125));
        p.drawEllipse(rim);
    }
    mMap.drawLegend(p, *this);
}

// One wedge per grid azimuth, centred on it; azimuth runs anticlockwise from the right
// as the curves do.
void CBeamDisplayAzimuth::drawMap(QPainter& p, const QRect& rim) const
{
    const std::vector<float> profile = mMap.frame().azimuthProfile();
    const double step = mMap.frame().grid.step();
    p.save();
    p.setRenderHint(QPainter::Antialiasing, false); // no seams between the wedges
    p.setPen(Qt::NoPen);
    for (size_t c = 0; c < profile.size(); ++c) {
        p.setBrush(mMap.colour(profile[c]));
        p.drawPie(QRectF(rim), int(std::lround((double(c) * step - step / 2) * 16)), int(std::lround(step * 16)));
    }
    p.restore();
}

void CBeamDisplayAzimuth::setMapFrame(const SoundMapFrame& frame)
{
    mMap.setFrame(frame);
    update();
}

void CBeamDisplayAzimuth::setMapNote(const QString& note)
{
    mMap.setNote(note);
    update();
}

void CBeamDisplayAzimuth::setMapShown(bool shown)
{
    if (shown == mMap.shown())
        return;
    mMap.setShown(shown);
    update();
    emit mapShownChanged(shown);
}

void CBeamDisplayAzimuth::setMapMusic(bool music)
{
    if (music == mMap.music())
        return;
    mMap.setMusic(music);
    emit mapMusicChanged(music);
}

// The strongest peak whose azimuth is within kPickDegrees of the mouse's; the poles
// have no azimuth to pick them by.
void CBeamDisplayAzimuth::mouseDoubleClickEvent(QMouseEvent* event)
{
    const std::optional<float> a = angleAt(event);
    if (!a || !mMap.drawsMap())
        return;
    for (const SoundMapPeak& peak : mMap.frame().peaks) {
        const double d = std::abs(std::remainder(peak.phi - double(*a), 360.0));
        if (d <= kPickDegrees && peak.theta > 0.0 && peak.theta < 180.0) {
            emit mapPeakChosen(int(std::lround(peak.theta)), int(std::lround(peak.phi)));
            return;
        }
    }
}

void CBeamDisplayAzimuth::contextMenuEvent(QContextMenuEvent* event)
{
    const vkMapBackdrop::Choice choice = mMap.runMenu(this, event->globalPos());
    setMapShown(choice.shown);
    setMapMusic(choice.music);
}

std::optional<float> CBeamDisplayAzimuth::angleAt(const QMouseEvent* event) const
{
    return vkPolarView::mouseAngle(transform().inverted().map(event->position()).toPoint());
}

void CBeamDisplayAzimuth::emitPhi()
{
    emit phiChanged(static_cast<int>(active()->mPhi));
    update();
}

void CBeamDisplayAzimuth::mousePressEvent(QMouseEvent* event)
{
    mPressed = false;
    if (!steering() || event->button() != Qt::LeftButton)
        return;
    const std::optional<float> a = angleAt(event);
    if (!a)
        return; // the centre has no direction
    mPressAngle = *a;
    mPressed = true;
    mDragged = false;
}

void CBeamDisplayAzimuth::mouseMoveEvent(QMouseEvent* event)
{
    const std::optional<float> a = angleAt(event);
    if (!steering() || !mPressed || !a)
        return;
    mDragged = true;
    const float d = *a - mPressAngle;
    mPressAngle = *a;
    tBeamPlot* plot = active();
    plot->mPhi = vkPolarView::wrapAzimuth(plot->mPhi + d);
    emitPhi();
}

void CBeamDisplayAzimuth::mouseReleaseEvent(QMouseEvent* event)
{
    if (!steering() || !mPressed || event->button() != Qt::LeftButton)
        return;
    mPressed = false;
    if (mDragged)
        return;
    active()->mPhi = vkPolarView::wrapAzimuth(mPressAngle);
    emitPhi();
}
