#include "app/CHpSelection.h"
#include "app/CMainWindowLayout.h"
#include "resources/vkResources.h"
#include "tests/widgets/WidgetTestSupport.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CInputVolume.h"
#include "widgets/CLevelMeter.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"

#include <QDir>
#include <QLayout>
#include <QSpacerItem>
#include <QDockWidget>
#include <QMenuBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QSplitter>

#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Counts the menu slots it receives.
struct MenuReceiver : QObject {
    int options = 0;
    int about = 0;
    void showOptions() { ++options; }
    void showAbout() { ++about; }
};

// A narrow beam, ((1 + cos t) / 2)^2 over the full circle in 5 degree steps.
std::vector<float> beamResponse()
{
    std::vector<float> r(73);
    for (int i = 0; i < 73; ++i)
        r[i] = static_cast<float>(std::pow((1.0 + std::cos(i * 5.0 * std::numbers::pi / 180.0)) / 2.0, 2));
    return r;
}

// The main window with the real widgets, made as the application makes them.
struct MainWindowLayout : ::testing::Test {
    QMainWindow window;
    MenuReceiver receiver;
    CAudioTransport* transport = new CAudioTransport(vkResources::path(), 0x17, 1);
    CAudioFileNavigator* navigator = new CAudioFileNavigator;
    CLevelMeter* inputMeter = new CLevelMeter(32);
    CLevelMeter* outputMeter = new CLevelMeter(18);
    CVolumeUnit* outputVolume = CMainWindowLayout::makeMasterVolume();
    CInputSourceSelection* inputSource = new CInputSourceSelection(vkResources::path());
    CRecordingSinkSelection* recordingSinks = new CRecordingSinkSelection({"input", "output"});
    CInputVolume* inputVolume = new CInputVolume;
    CMonitorUnit* monitor = new CMonitorUnit(32, 24);
    CBeamDisplayAzimuth* azimuth = new CBeamDisplayAzimuth(18, 40);
    CBeamDisplayElevation* elevation = new CBeamDisplayElevation(18);
    CBeamSelection* beams = new CBeamSelection(vkResources::path(), 18, 15, 255);
    CHpSelection* highpass = new CHpSelection;

    void SetUp() override
    {
        highpass->setup({"off", "80 Hz", "160 Hz", "320 Hz"}, 0);
        beams->setPatternAndParameterLists({"omni", "cardioid", "hypercardioid"},
                                           {{"0"}, {"-6", "0", "6"}, {"-6", "0", "6"}});
        CMainWindowLayout::arrange(window, {navigator, inputMeter, outputMeter, inputVolume, outputVolume,
                                            highpass, monitor, beams, inputSource, transport, recordingSinks,
                                            azimuth, elevation});
        CMainWindowLayout::buildMenus(window, &receiver, &MenuReceiver::showOptions, &MenuReceiver::showAbout);
        CMainWindowLayout::setIcon(window);
    }

    // Steered beam tracks, shown in the list and on both displays.
    void addBeams(const std::vector<std::pair<int, int>>& directions)
    {
        const std::vector<float> response = beamResponse();
        for (const auto& [phi, theta] : directions) {
            beams->addBeam();
            const int index = beams->numTracks() - 1;
            beams->setPhi(index, phi);
            beams->setTheta(index, theta);
            azimuth->addPlot(response.data(), static_cast<int>(response.size()), beams->color(index));
            azimuth->setPhi(index, phi);
            elevation->addTrack(beams->color(index));
            elevation->setTheta(index, theta);
        }
    }

    // At the size the layout asks for; the offscreen screen alone would cut it to 800 by 600.
    bool show()
    {
        window.resize(window.sizeHint());
        window.show();
        const bool exposed = QTest::qWaitForWindowExposed(&window);
        QApplication::processEvents();
        return exposed;
    }

    QDockWidget* dock(const char* name) const
    {
        return window.findChild<QDockWidget*>(QString::fromLatin1(name), Qt::FindDirectChildrenOnly);
    }
    QRect frame(const char* name) const { return dock(name)->geometry(); }
    QScrollArea* beamScrollArea() const { return qobject_cast<QScrollArea*>(dock("Beam Tracks")->widget()); }
};

struct DockExpectation {
    const char* name;
    Qt::DockWidgetArea area;
    Qt::DockWidgetAreas allowed;
};

// In the order of creation.
const DockExpectation kDocks[] = {
    {"File Navigation", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Input Levels", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Output Levels", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Input Volume", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Output Volume", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Highpass", Qt::TopDockWidgetArea, Qt::TopDockWidgetArea},
    {"Monitor Source", Qt::TopDockWidgetArea, Qt::LeftDockWidgetArea},
    {"Beam Tracks", Qt::LeftDockWidgetArea, Qt::RightDockWidgetArea},
    {"Input Source", Qt::BottomDockWidgetArea, Qt::LeftDockWidgetArea},
    {"Audio Transport", Qt::BottomDockWidgetArea, Qt::BottomDockWidgetArea},
    {"Recording Source", Qt::BottomDockWidgetArea, Qt::LeftDockWidgetArea},
};

} // namespace

TEST_F(MainWindowLayout, ElevenFixedDocksStandInTheirAreasWithTheirWidgets)
{
    const QList<QDockWidget*> docks = window.findChildren<QDockWidget*>(Qt::FindDirectChildrenOnly);
    ASSERT_EQ(docks.size(), static_cast<qsizetype>(std::size(kDocks)));
    for (qsizetype i = 0; i < docks.size(); ++i) {
        const DockExpectation& expected = kDocks[i];
        SCOPED_TRACE(expected.name);
        EXPECT_EQ(docks[i]->objectName(), QString::fromLatin1(expected.name));
        EXPECT_EQ(docks[i]->windowTitle(), QString::fromLatin1(expected.name));
        EXPECT_EQ(docks[i]->features(), QDockWidget::NoDockWidgetFeatures);
        EXPECT_EQ(docks[i]->allowedAreas(), expected.allowed);
        EXPECT_EQ(window.dockWidgetArea(docks[i]), expected.area);
        EXPECT_FALSE(docks[i]->isFloating());
    }
    EXPECT_TRUE(window.isDockNestingEnabled());
    EXPECT_EQ(window.corner(Qt::TopLeftCorner), Qt::TopDockWidgetArea);
    EXPECT_EQ(window.corner(Qt::TopRightCorner), Qt::TopDockWidgetArea);
    EXPECT_EQ(window.corner(Qt::BottomLeftCorner), Qt::BottomDockWidgetArea);
    EXPECT_EQ(window.corner(Qt::BottomRightCorner), Qt::BottomDockWidgetArea);

    EXPECT_EQ(dock("File Navigation")->widget(), navigator);
    EXPECT_EQ(dock("Input Levels")->widget(), inputMeter);
    EXPECT_EQ(dock("Output Levels")->widget(), outputMeter);
    EXPECT_EQ(dock("Input Volume")->widget(), inputVolume);
    EXPECT_EQ(outputVolume->parentWidget(), dock("Output Volume")->widget());
    EXPECT_EQ(dock("Highpass")->widget(), highpass);
    EXPECT_EQ(dock("Monitor Source")->widget(), monitor);
    ASSERT_NE(beamScrollArea(), nullptr);
    EXPECT_EQ(beamScrollArea()->widget(), beams);
    EXPECT_EQ(dock("Input Source")->widget(), inputSource);
    EXPECT_EQ(dock("Audio Transport")->widget(), transport);
    EXPECT_EQ(dock("Recording Source")->widget(), recordingSinks);
}

TEST_F(MainWindowLayout, ShownWindowHasNavigationOverARowAndTracksDownTheLeft)
{
    ASSERT_TRUE(show());
    const QRect centre = window.centralWidget()->geometry();

    // The navigation spans the row beneath it.
    EXPECT_LE(frame("File Navigation").bottom(), frame("Input Levels").top());
    EXPECT_LE(frame("File Navigation").left(), frame("Input Levels").left());
    EXPECT_GE(frame("File Navigation").right(), frame("Monitor Source").right());
    const char* const row[] = {"Input Levels", "Output Levels", "Input Volume",
                               "Output Volume", "Highpass", "Monitor Source"};
    for (size_t i = 1; i < std::size(row); ++i) {
        SCOPED_TRACE(row[i]);
        EXPECT_EQ(frame(row[i]).top(), frame(row[0]).top());
        EXPECT_LT(frame(row[i - 1]).right(), frame(row[i]).left());
    }
    EXPECT_LE(frame("Input Levels").bottom(), centre.top());

    // Beam tracks between the top and bottom areas, left of the displays.
    EXPECT_LT(frame("Beam Tracks").right(), centre.left());
    EXPECT_GT(frame("Beam Tracks").top(), frame("Input Levels").bottom());
    EXPECT_LT(frame("Beam Tracks").bottom(), frame("Input Source").top());

    const char* const bottom[] = {"Input Source", "Audio Transport", "Recording Source"};
    for (size_t i = 1; i < std::size(bottom); ++i) {
        SCOPED_TRACE(bottom[i]);
        EXPECT_EQ(frame(bottom[i]).top(), frame(bottom[0]).top());
        EXPECT_LT(frame(bottom[i - 1]).right(), frame(bottom[i]).left());
    }
    EXPECT_GE(frame("Input Source").top(), centre.bottom());
}

TEST_F(MainWindowLayout, DisplaysOpenSideBySideAtOneHundredToSixtyAndKeepTheirShares)
{
    ASSERT_TRUE(show());
    auto* splitter = qobject_cast<QSplitter*>(window.centralWidget());
    ASSERT_NE(splitter, nullptr);
    EXPECT_EQ(splitter->orientation(), Qt::Horizontal);
    ASSERT_EQ(splitter->count(), 2);
    EXPECT_EQ(splitter->widget(0), azimuth);
    EXPECT_EQ(splitter->widget(1), elevation);

    // The splitter shares its width out in whole pixels: one pixel of rounding either way,
    // when opened and after the window has grown.
    for (int grow : {0, 400}) {
        window.resize(window.width() + grow, window.height());
        QApplication::processEvents();
        const QList<int> sizes = splitter->sizes();
        EXPECT_NEAR(sizes[1], sizes[0] * 60.0 / 100.0, 1.0) << grow << ": " << sizes[0] << " : " << sizes[1];
    }
}

TEST_F(MainWindowLayout, WindowGoesDownToAnOrdinaryLaptopScreenKeepingItsLeastSizes)
{
    ASSERT_TRUE(show());
    EXPECT_LE(window.minimumSizeHint().width(), 1280);
    EXPECT_LE(window.minimumSizeHint().height(), 720);
    window.resize(1280, 720);
    QApplication::processEvents();
    ASSERT_EQ(window.size(), QSize(1280, 720));
    for (QWidget* w : std::initializer_list<QWidget*>{inputMeter, outputMeter, azimuth, elevation}) {
        EXPECT_GE(w->width(), w->minimumSizeHint().width()) << w->metaObject()->className();
        EXPECT_GE(w->height(), w->minimumSizeHint().height()) << w->metaObject()->className();
    }
    EXPECT_GE(dock("Output Volume")->widget()->width(), 80);
    // The master fader stands centred in its holder.
    const QRect holder = dock("Output Volume")->widget()->rect();
    EXPECT_NEAR(outputVolume->geometry().center().x(), holder.center().x(), 1);
    EXPECT_NEAR(outputVolume->geometry().center().y(), holder.center().y(), 1);
    EXPECT_EQ(beamScrollArea()->minimumWidth(), beams->minimumWidth() + 40);
    EXPECT_GE(beamScrollArea()->width(), beams->minimumWidth() + 40);
}

// Screens of laptops and desktops, one beside another and one smaller than the window can
// be: the window with its frame stays on the screen where it can.
TEST(MainWindowOpening, WindowOpensAtItsSizeWhereItFitsAndElseFillsTheScreen)
{
    const QSize wanted(1370, 880), least(1270, 690);
    const QMargins frame = CMainWindowLayout::kFrameMargins;
    const int frameWidth = frame.left() + frame.right(), frameHeight = frame.top() + frame.bottom();
    struct Case {
        QRect available;
        QSize expected;
    };
    const Case cases[] = {
        {QRect(0, 0, 1920, 1050), wanted},
        {QRect(1920, 0, 1920, 1050), wanted},
        {QRect(0, 0, 1600, 970), wanted},
        {QRect(0, 27, 1366, 741), QSize(1366 - frameWidth, 741 - frameHeight)},
        {QRect(0, 0, 1280, 690), QSize(1280 - frameWidth, least.height())},
        {QRect(0, 0, 800, 600), least},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.available.x() << "," << c.available.y() << " " << c.available.width()
                                        << "x" << c.available.height());
        const QRect opened = CMainWindowLayout::openingGeometry(wanted, least, c.available);
        EXPECT_EQ(opened.size(), c.expected);
        const QRect outer = opened.marginsAdded(frame);
        EXPECT_GE(outer.left(), c.available.left());
        EXPECT_GE(outer.top(), c.available.top());
        if (outer.width() <= c.available.width() && outer.height() <= c.available.height()) {
            EXPECT_TRUE(c.available.contains(outer));
            EXPECT_NEAR(outer.center().x(), c.available.center().x(), 1);
            EXPECT_NEAR(outer.center().y(), c.available.center().y(), 1);
        }
    }
}

TEST_F(MainWindowLayout, BeamTrackListScrollsDownButNeverSideways)
{
    QScrollArea* area = beamScrollArea();
    EXPECT_TRUE(area->widgetResizable());
    addBeams({{0, 90}, {90, 90}});
    ASSERT_TRUE(show());
    EXPECT_FALSE(area->verticalScrollBar()->isVisible());

    // Contents wider than the dock and taller than the window.
    beams->layout()->addItem(new QSpacerItem(area->viewport()->width() + window.width(), 0, QSizePolicy::Fixed));
    while (beams->numTracks() < 18)
        beams->addBeam();
    window.resize(window.width(), window.minimumSizeHint().height());
    EXPECT_TRUE(QTest::qWaitFor([area] { return area->verticalScrollBar()->isVisible(); }));
    EXPECT_FALSE(area->horizontalScrollBar()->isVisible());
    EXPECT_GT(beams->width(), area->viewport()->width());
}

TEST_F(MainWindowLayout, MenusCarryTheirEntriesWithoutShortcutsAndCallTheirSlots)
{
    const QList<QAction*> menus = window.menuBar()->actions();
    ASSERT_EQ(menus.size(), 2);
    const std::pair<QString, QString> expected[] = {{"&Settings", "&Options"}, {"&Help", "&About"}};
    for (qsizetype i = 0; i < menus.size(); ++i) {
        EXPECT_EQ(menus[i]->text(), expected[i].first);
        ASSERT_NE(menus[i]->menu(), nullptr);
        const QList<QAction*> entries = menus[i]->menu()->actions();
        ASSERT_EQ(entries.size(), 1);
        EXPECT_EQ(entries[0]->text(), expected[i].second);
        EXPECT_TRUE(entries[0]->shortcut().isEmpty());
    }
    menus[0]->menu()->actions()[0]->trigger();
    EXPECT_EQ(receiver.options, 1);
    EXPECT_EQ(receiver.about, 0);
    menus[1]->menu()->actions()[0]->trigger();
    EXPECT_EQ(receiver.options, 1);
    EXPECT_EQ(receiver.about, 1);
}

TEST_F(MainWindowLayout, WindowIconIsTheLogo)
{
    const QImage logo(vkResources::picture("velkor.png"));
    ASSERT_FALSE(logo.isNull());
    const QImage icon = window.windowIcon().pixmap(logo.size()).toImage();
    EXPECT_EQ(icon.convertToFormat(QImage::Format_ARGB32_Premultiplied),
              logo.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

// Writes a picture of the arranged window, with three steered beams, for review.
TEST_F(MainWindowLayout, PictureOfTheArrangedWindow)
{
    addBeams({{30, 90}, {150, 60}, {270, 120}});
    ASSERT_TRUE(show());
    const QString path = QDir::current().filePath("main-window.png");
    const QPixmap picture = window.grab();
    EXPECT_EQ(picture.size() / picture.devicePixelRatio(), window.size());
    EXPECT_TRUE(picture.save(path)) << path.toStdString();
}

// The test's screen decides which way the window opens: at its own size where that fits
// with the frame, maximised where only its least size does, else whole at its least size.
TEST_F(MainWindowLayout, ShownOnItsScreenTheWindowOpensByTheScreensRoom)
{
    const QRect available = window.screen()->availableGeometry();
    const QSize room = available.size().shrunkBy(CMainWindowLayout::kFrameMargins);
    const QSize wanted = window.sizeHint(), least = window.minimumSizeHint();
    const QRect expected = CMainWindowLayout::openingGeometry(wanted, least, available);
    CMainWindowLayout::showOnScreen(window);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QApplication::processEvents();
    const auto fits = [room](QSize size) { return size.width() <= room.width() && size.height() <= room.height(); };
    SCOPED_TRACE(testing::Message() << "screen room " << room.width() << "x" << room.height());
    EXPECT_EQ(window.isMaximized(), !fits(wanted) && fits(least));
    if (window.isMaximized()) {
        EXPECT_TRUE(available.contains(window.geometry()));
    } else {
        EXPECT_EQ(window.geometry(), expected);
    }
}
