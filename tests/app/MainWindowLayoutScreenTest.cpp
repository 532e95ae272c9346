// The whole window at the sizes of ordinary screens, from a small laptop's 1280x720 up to
// 1920x1080: every control shown whole and apart from the others, every dock title whole,
// both beam displays with a disc of 200 px or more that takes whole-degree clicks, the
// level meters' numbers clear of each other, the beam track list reachable by scrolling.

#include "tests/app/MainWindowFixture.h"
#include "tests/widgets/LevelMeterProbe.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CLevelMeter.h"

#include "widgets/COnOffButton.h"

#include <QDockWidget>
#include <QStyle>
#include <QStyleOptionDockWidget>
#include <QScrollArea>
#include <QScrollBar>

#include <vector>

namespace {

QRect inWindow(const QWidget* w, const QWidget* window)
{
    return QRect(w->mapTo(window, QPoint(0, 0)), w->size());
}

bool insideScrolledList(const QWidget* w)
{
    for (const QWidget* p = w->parentWidget(); p; p = p->parentWidget())
        if (const auto* area = qobject_cast<const QScrollArea*>(p->parentWidget()); area && area->viewport() == p)
            return true;
    return false;
}

// What the user sees and handles: every shown widget without shown children of its own.
std::vector<QWidget*> leaves(QWidget* window)
{
    std::vector<QWidget*> found;
    for (QWidget* w : window->findChildren<QWidget*>()) {
        if (!w->isVisibleTo(window) || w->isWindow())
            continue;
        const QList<QWidget*> children = w->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        if (std::none_of(children.begin(), children.end(), [window](QWidget* c) { return c->isVisibleTo(window); }))
            found.push_back(w);
    }
    return found;
}

QString describe(const QWidget* w)
{
    QString text = QString::fromLatin1(w->metaObject()->className());
    for (const QWidget* p = w; p; p = p->parentWidget())
        if (!p->objectName().isEmpty() && !p->objectName().startsWith(QLatin1String("qt_")))
            return text + QLatin1String(" in ") + p->objectName();
    return text;
}

// The rim's diameter in widget pixels between two opposite rim points.
double across(QPointF a, QPointF b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

} // namespace

class MainWindowOnScreen : public MainWindowFixture, public ::testing::WithParamInterface<QSize> {
protected:
    void openAtScreenSize()
    {
        open(GetParam());
        QApplication::processEvents();
        app->beamSelection()->addButton()->click();
    }
};

TEST_P(MainWindowOnScreen, EveryControlIsShownWholeAndApartFromTheOthers)
{
    openAtScreenSize();
    ASSERT_EQ(app->size(), GetParam());
    const QRect window = app->rect();
    const std::vector<QWidget*> shown = leaves(app.get());
    ASSERT_GT(shown.size(), 50u);
    for (size_t i = 0; i < shown.size(); ++i) {
        QWidget* w = shown[i];
        SCOPED_TRACE(describe(w).toStdString());
        const QRect r = inWindow(w, app.get());
        EXPECT_FALSE(r.isEmpty());
        if (insideScrolledList(w))
            continue; // the list's own rows: reached by scrolling, below
        EXPECT_TRUE(window.contains(r)) << r.x() << "," << r.y() << " " << r.width() << "x" << r.height();
        for (const QWidget* p = w->parentWidget(); p != app.get(); p = p->parentWidget()) {
            EXPECT_TRUE(inWindow(p, app.get()).contains(r)) << "cut by " << describe(p).toStdString();
        }
        for (size_t j = i + 1; j < shown.size(); ++j) {
            const bool overlap = !insideScrolledList(shown[j]) && r.intersects(inWindow(shown[j], app.get()));
            EXPECT_FALSE(overlap) << "overlaps " << describe(shown[j]).toStdString();
        }
    }
}

// The style draws a dock's title elided to the text area of its bar, as here.
TEST_P(MainWindowOnScreen, EveryDockShowsItsWholeTitle)
{
    openAtScreenSize();
    for (QDockWidget* dock : app->findChildren<QDockWidget*>()) {
        QStyleOptionDockWidget option;
        option.initFrom(dock);
        option.title = dock->windowTitle();
        option.rect = QRect(0, 0, dock->width(), 20);
        const QRect text = dock->style()->subElementRect(QStyle::SE_DockWidgetTitleBarText, &option, dock);
        EXPECT_EQ(option.fontMetrics.elidedText(option.title, Qt::ElideRight, text.width()), option.title);
    }
}

TEST_P(MainWindowOnScreen, BothDisplaysHaveADiscOfTwoHundredPixelsAndTakeWholeDegreeClicks)
{
    openAtScreenSize();
    const CBeamDisplayAzimuth* azimuth = app->azimuthDisplay();
    const CBeamDisplayElevation* elevation = app->elevationDisplay();
    EXPECT_GE(azimuth->width(), 200);
    EXPECT_GE(elevation->width(), 200);
    EXPECT_GE(across(azimuth->toWidget({-40, 0}), azimuth->toWidget({40, 0})), 200.0);
    EXPECT_GE(across(elevation->toWidget({0, -40}), elevation->toWidget({0, 40})), 200.0);
    for (const QPointF rim : {QPointF(-40, 0), QPointF(40, 0), QPointF(0, -40), QPointF(0, 40)})
        EXPECT_TRUE(azimuth->rect().contains(azimuth->toWidget(rim).toPoint()));
    for (const QPointF rim : {QPointF(0, -40), QPointF(40, 0), QPointF(0, 40)})
        EXPECT_TRUE(elevation->rect().contains(elevation->toWidget(rim).toPoint()));

    // The user steers the new track with the mouse, a click on each display.
    for (const auto& [phi, theta] : {std::pair{30, 90}, std::pair{150, 60}, std::pair{270, 120}}) {
        steer(2, phi, theta);
        EXPECT_EQ(app->beamSelection()->phi(2), phi);
        EXPECT_EQ(app->beamSelection()->theta(2), theta);
    }
}

TEST_P(MainWindowOnScreen, MeterNumbersAndLabelsStayClearOfTheirNeighbours)
{
    openAtScreenSize();
    for (CLevelMeter* meter : {app->inputMeter(), app->outputMeter()}) {
        SCOPED_TRACE(meter->channels());
        meter->setSource(nullptr);
        const std::vector<float> holds = widgettest::holdsOfEveryWidth(meter->channels());
        meter->advanceWith(holds.data(), holds.data());
        const widgettest::MeterTextProbe probe = widgettest::probeMeterTexts(*meter);
        EXPECT_EQ(probe.touching, 0);
        EXPECT_EQ(probe.unseen, 0);
        // Whole decibels at least, for all but silence and single digits with a decimal.
        EXPECT_GT(probe.shown, meter->channels() / 2);
        EXPECT_GT(meter->labelPixelSize(), 0);
    }
}

TEST_P(MainWindowOnScreen, EighteenTracksScrollIntoViewOneByOne)
{
    openAtScreenSize();
    while (app->beamSelection()->numTracks() < 18)
        app->beamSelection()->addButton()->click();
    auto* area = qobject_cast<QScrollArea*>(app->findChild<QDockWidget*>("Beam Tracks")->widget());
    ASSERT_NE(area, nullptr);
    QApplication::processEvents();
    EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
    const QRect view = area->viewport()->rect();
    for (int track : {17, 0, 9}) {
        QWidget* row = app->beamSelection()->track(track);
        area->ensureWidgetVisible(row, 0, 0);
        QApplication::processEvents();
        EXPECT_TRUE(view.contains(QRect(row->mapTo(area->viewport(), QPoint(0, 0)), row->size()))) << track;
    }
}

INSTANTIATE_TEST_SUITE_P(OrdinaryScreens, MainWindowOnScreen,
                         ::testing::Values(QSize(1280, 720), QSize(1366, 768), QSize(1920, 1080)),
                         [](const auto& info) {
                             return std::to_string(info.param.width()) + "x" + std::to_string(info.param.height());
                         });
