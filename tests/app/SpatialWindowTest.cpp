// The window's Ambisonics, binaural and OSC controls on the emulated hardware: the
// options go through the ini and come back, the Ambisonics sink and the binaural monitor
// reach the session, a refused SOFA file is said once while the set in force stays, and
// OSC messages move the beam the window shows.

#include "app/CBinauralOptions.h"
#include "app/COptionPages.h"
#include "app/CMountingOptions.h"
#include "app/CSpatialControl.h"
#include "app/CStatusLine.h"
#include "app/CZrOptions.h"
#include "tests/app/MainWindowFixture.h"
#include "tests/remote/OscLoopback.h"
#include "tests/support/SoxWave.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

namespace {
const QString kKemar = QStringLiteral("/usr/share/libmysofa/default.sofa");

void type(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, text);
    QTest::keyClick(box, Qt::Key_Return);
}

// A click on a check box's indicator, at its left edge.
void tick(QCheckBox* box) { QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2)); }

// A port no other test holds, found by opening a server there and letting it go.
int freePort()
{
    COscServer probe({}, 1);
    const int port = oscloop::startOnFreePort(probe);
    probe.stop();
    return port;
}
} // namespace

class SpatialWindowTest : public MainWindowFixture {
protected:
    CBinauralOptions* page() const { return app->optionsWindow()->binauralPage(); }
    CMountingOptions* mounting() const { return app->optionsWindow()->mountingOptions(); }
    // The first ear responses are designed on a worker after start-up.
    bool waitForEars() const
    {
        return QTest::qWaitFor([&] { return !app->session().values().hrtfPath().empty(); }, 20000);
    }
};

TEST_F(SpatialWindowTest, OptionsGoThroughTheIniAndComeBack)
{
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitForEars());
    EXPECT_EQ(page()->hrtfFile(), kKemar);
    EXPECT_FALSE(page()->oscBox()->isChecked());
    EXPECT_FALSE(app->spatialControl()->remote().running());

    app->optionsWindow()->show();
    app->optionsWindow()->tabs()->setCurrentWidget(app->optionsWindow()->hardwarePage());
    mounting()->presetBox()->setFocus();
    QTest::keyClick(mounting()->presetBox(), Qt::Key_Down);  // "upside down"
    EXPECT_FLOAT_EQ(app->session().values().mounting().roll, 180.0f);
    app->optionsWindow()->tabs()->setCurrentWidget(page());
    type(page()->headBox(0), QStringLiteral("25"));
    EXPECT_FLOAT_EQ(app->session().values().head().yaw, 25.0f);
    const int port = freePort();
    ASSERT_NE(port, 0);
    type(page()->portBox(), QString::number(port));
    tick(page()->oscBox());
    ASSERT_TRUE(app->spatialControl()->remote().running());
    EXPECT_EQ(app->spatialControl()->remote().port(), port);
    dialogs.buttons = {QMessageBox::Cancel};
    ASSERT_TRUE(app->close());
    app.reset();

    const CZircSettings kept = CZircSettings::load(dir.file(QStringLiteral("vantoria.ini")));
    EXPECT_FLOAT_EQ(kept.mMountingRoll, 180.0f);
    EXPECT_FLOAT_EQ(kept.mHeadYaw, 25.0f);
    EXPECT_TRUE(kept.mOscEnabled);
    EXPECT_EQ(kept.mOscPort, port);
    EXPECT_EQ(kept.mHrtfFile, kKemar);

    ASSERT_NO_FATAL_FAILURE(open());
    EXPECT_EQ(mounting()->presetBox()->currentIndex(), CMountingOptions::UpsideDown);
    EXPECT_FLOAT_EQ(app->session().values().mounting().roll, 180.0f);
    EXPECT_DOUBLE_EQ(page()->headBox(0)->value(), 25.0);
    EXPECT_FLOAT_EQ(app->session().values().head().yaw, 25.0f);
    EXPECT_TRUE(page()->oscBox()->isChecked());
    EXPECT_EQ(page()->portBox()->value(), port);
    EXPECT_TRUE(app->spatialControl()->remote().running());
    EXPECT_TRUE(dialogs.warnings.empty()) << dialogs.warningTexts().join('\n').toStdString();
}

TEST_F(SpatialWindowTest, AmbisonicsSinkAndBinauralMonitorReachTheSession)
{
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitForEars());
    CRecordingSinkSelection* sinks = app->recordingSinks();
    QCheckBox* ambisonics = sinks->sinkSwitch(CAudioGraph::sinkAmbisonics);
    ASSERT_NE(ambisonics, nullptr);

    QComboBox* monitor = app->monitor()->channelBox();
    monitor->setFocus();
    QTest::keyClick(monitor, Qt::Key_End);
    EXPECT_EQ(monitor->currentText(), QStringLiteral("binaural"));
    EXPECT_EQ(app->session().graph()->monitorSource(), CAudioGraph::monitorBinaural);
    EXPECT_EQ(app->session().settings().mMonitorSection, CMonitorUnit::BinauralSection);

    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    tick(ambisonics);
    ASSERT_TRUE(ambisonics->isChecked());
    press(CAudioTransport::RecordButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return app->session().takePosition(CAudioGraph::sinkAmbisonics) > 22050; }, 10000));
    press(CAudioTransport::RecordButton);
    press(CAudioTransport::StopButton);
    EXPECT_TRUE(dialogs.warnings.empty()) << dialogs.warningTexts().join('\n').toStdString();

    const QString name = sinks->fileLabel(CAudioGraph::sinkAmbisonics)->text();
    EXPECT_TRUE(name.startsWith(QStringLiteral("ambix"))) << name.toStdString();
    EXPECT_EQ(soxInfo(dir.file(name), "-c"), 16);
    EXPECT_GT(soxInfo(dir.file(name), "-s"), 22050);
    EXPECT_TRUE(app->statusLine()->text().contains(QStringLiteral("binaural +%1 samples")
                                                       .arg(app->session().binauralLatency())))
        << app->statusLine()->text().toStdString();
}

TEST_F(SpatialWindowTest, RefusedSofaFileIsSaidOnceAndTheSetInForceStays)
{
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_TRUE(waitForEars());
    const QString bad = dir.file(QStringLiteral("not-really.sofa"));
    apptest::writeText(bad, "these are not ear responses\n");
    dialogs.fileAnswer = bad;
    page()->chooseButton()->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !dialogs.warnings.empty(); }, 20000));
    QTest::qWait(200);
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    EXPECT_TRUE(dialogs.warnings[0].text.contains(bad)) << dialogs.warnings[0].text.toStdString();
    EXPECT_TRUE(dialogs.warnings[0].text.contains(QStringLiteral("previous set stays")));
    EXPECT_EQ(page()->hrtfFile(), kKemar);
    EXPECT_EQ(QString::fromStdString(app->session().values().hrtfPath()), kKemar);
    EXPECT_EQ(app->session().settings().mHrtfFile, kKemar);
}

TEST_F(SpatialWindowTest, OscMessagesMoveTheBeamAndTheHeadTheWindowShows)
{
    ASSERT_NO_FATAL_FAILURE(open());
    const int port = freePort();
    ASSERT_NE(port, 0);
    type(page()->portBox(), QString::number(port));
    tick(page()->oscBox());
    ASSERT_TRUE(app->spatialControl()->remote().running());
    press(CAudioTransport::PlayButton);

    CBeamSelection* tracks = app->beamSelection();
    const int firstPhi = tracks->phi(0);
    const int firstTheta = tracks->theta(0);
    oscloop::Sender send(port);
    lo_send(send.address(), "/vantoria/beam/2/aed", "fff", 45.0f, 20.0f, 1.0f);
    lo_send(send.address(), "/vantoria/beam/2/pattern", "s", "card1");
    lo_send(send.address(), "/vantoria/ypr", "iii", -30, 0, 0);
    // A beam the window has no track for is refused.
    lo_send(send.address(), "/vantoria/beam/3/aed", "fff", 45.0f, 20.0f, 1.0f);
    ASSERT_TRUE(QTest::qWaitFor([&] { return tracks->phi(1) == 45 && tracks->theta(1) == 70; }, 5000))
        << tracks->phi(1) << " " << tracks->theta(1);
    EXPECT_NEAR(app->azimuthDisplay()->plot(1)->mPhi, 45.0, 0.5);
    EXPECT_NEAR(graphPhi(1), 45.0f, 1e-3f);
    EXPECT_NEAR(graphTheta(1), 70.0f, 1e-3f);
    EXPECT_EQ(tracks->track(1)->patternBox()->currentText(), QStringLiteral("card1"));
    EXPECT_EQ(tracks->patternIndex(1), app->session().values().beam(1).pattern);
    EXPECT_EQ(tracks->phi(0), firstPhi);
    EXPECT_EQ(tracks->theta(0), firstTheta);
    ASSERT_TRUE(QTest::qWaitFor([&] { return page()->headBox(0)->value() == -30.0; }, 5000));
    EXPECT_FLOAT_EQ(app->session().values().head().yaw, -30.0f);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return app->statusLine()->text().contains(QStringLiteral("OSC port %1: 3 messages, 1 malformed").arg(port)); }, 5000))
        << app->statusLine()->text().toStdString();
    press(CAudioTransport::StopButton);
}

TEST_F(SpatialWindowTest, PortInUseIsSaidOnceAndTheBoxGoesOff)
{
    COscServer holder({}, 1);
    const int port = oscloop::startOnFreePort(holder);
    ASSERT_NE(port, 0);
    ASSERT_NO_FATAL_FAILURE(open());
    type(page()->portBox(), QString::number(port));
    tick(page()->oscBox());
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    EXPECT_TRUE(dialogs.warnings[0].text.contains(QStringLiteral("Address already in use")))
        << dialogs.warnings[0].text.toStdString();
    EXPECT_FALSE(page()->oscBox()->isChecked());
    EXPECT_FALSE(app->session().settings().mOscEnabled);
    EXPECT_FALSE(app->spatialControl()->remote().running());
    EXPECT_TRUE(page()->oscStateLabel()->text().startsWith(QStringLiteral("OSC off")));
}
