// The whole program as a user runs it, headless on the emulated hardware: Play, a beam
// steered by a mouse drag on the azimuth display, a pattern changed, both sinks recorded
// and read back by sox, Stop, and the close with the beam-track question; a wave file of
// another channel count played straight through; the array's sink off in file mode.

#include "app/CHpSelection.h"
#include "app/CMainWindowLayout.h"
#include "tests/app/MainWindowFixture.h"
#include "tests/support/SoxWave.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CInputVolume.h"
#include "widgets/COnOffButton.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>

namespace {
const QString kIni = QStringLiteral("vantoria.ini");
const QString kQuestion =
    QStringLiteral("The beam track settings have been modified.\nDo you want to save your changes?");

using MainWindowTest = MainWindowFixture;
} // namespace

TEST_F(MainWindowTest, PlaySteerRecordStopAndClose)
{
    ASSERT_NO_FATAL_FAILURE(open());
    auto* splitter = app->centralWidget()->findChild<QSplitter*>();
    if (!splitter)
        splitter = qobject_cast<QSplitter*>(app->centralWidget());
    ASSERT_NE(splitter, nullptr);
    const QList<int> sizes = splitter->sizes();
    EXPECT_NEAR(sizes[1], sizes[0] * 0.6, 1.0) << sizes[0] << " : " << sizes[1];
    EXPECT_TRUE(app->transport()->button(CAudioTransport::StopButton)->isChecked());
    CBeamSelection* tracks = app->beamSelection();
    ASSERT_EQ(tracks->numTracks(), 2);
    EXPECT_EQ(app->azimuthDisplay()->numTracks(), 2);
    EXPECT_EQ(app->elevationDisplay()->numTracks(), 2);
    EXPECT_EQ(app->session().graph()->numBeams(), 2);

    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    EXPECT_TRUE(QTest::qWaitFor([&] { return app->windowTitle().endsWith(QStringLiteral(", calibrated)")); }, 3000))
        << app->windowTitle().toStdString();

    // A click picks the second track; a drag on the azimuth display steers it and its beam.
    pick(1);
    const int active = tracks->activeTrack();
    ASSERT_EQ(active, 1);
    EXPECT_EQ(app->azimuthDisplay()->activeIndex(), 1);
    drag(30, 120);
    EXPECT_NE(tracks->phi(active), 0);
    EXPECT_NEAR(graphPhi(active), static_cast<float>(tracks->phi(active)), 0.5f);
    EXPECT_NEAR(app->azimuthDisplay()->plot(active)->mPhi, tracks->phi(active), 0.5);

    // Another pattern: the display shows its polar response.
    const int other = tracks->patternIndex(active) == 0 ? 1 : 0;
    tracks->track(active)->patternBox()->setCurrentIndex(other);
    ASSERT_EQ(tracks->patternIndex(active), other);
    std::vector<float> response(static_cast<std::size_t>(app->session().graph()->maxPolarPoints()));
    app->session().graph()->patternResponse(other, tracks->parameterIndex(active), response.data(), nullptr);
    const tBeamPlot* plot = app->azimuthDisplay()->plot(active);
    ASSERT_GT(plot->mNumPoints, 1);
    for (int i = 0; i < plot->mNumPoints; ++i)
        ASSERT_FLOAT_EQ(plot->mResponse[static_cast<std::size_t>(i)], response[static_cast<std::size_t>(i)]) << i;

    // Both sinks for about a second.
    CRecordingSinkSelection* sinks = app->recordingSinks();
    sinks->sinkSwitch(0)->setChecked(true);
    sinks->sinkSwitch(1)->setChecked(true);
    press(CAudioTransport::RecordButton);
    EXPECT_FALSE(sinks->isEnabled());
    QTest::qWait(1000);
    press(CAudioTransport::RecordButton);
    EXPECT_TRUE(sinks->isEnabled());
    press(CAudioTransport::StopButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(dialogs.warnings.empty());

    // Each sink shows the name of the file it wrote.
    const QString mic = dir.file(sinks->fileLabel(0)->text());
    const QString out = dir.file(sinks->fileLabel(1)->text());
    EXPECT_TRUE(sinks->fileLabel(0)->text().startsWith(QStringLiteral("mic")));
    EXPECT_TRUE(sinks->fileLabel(1)->text().startsWith(QStringLiteral("out")));
    EXPECT_EQ(soxInfo(mic, "-c"), 32);
    EXPECT_EQ(soxInfo(out, "-c"), tracks->numTracks()); // one channel per beam
    // The stream is paced by the emulated clock; the event loop decides when the second
    // press lands, so a generous window around one second of frames.
    for (const QString& file : {mic, out}) {
        EXPECT_EQ(soxInfo(file, "-r"), 44100) << file.toStdString();
        const long frames = soxInfo(file, "-s");
        EXPECT_GT(frames, 44100 / 2) << file.toStdString();
        EXPECT_LT(frames, 44100 * 3) << file.toStdString();
    }

    // What the widgets show is what the ini file keeps; the changed tracks are asked about.
    app->hpSelection()->buttons()->button(2)->click();
    app->outputVolume()->setVolume(-6.0f);
    dialogs.buttons = {QMessageBox::Cancel};
    EXPECT_TRUE(app->close());
    ASSERT_EQ(dialogs.questions.size(), 1u);
    EXPECT_EQ(dialogs.questions[0].title, QStringLiteral("Vantoria"));
    EXPECT_EQ(dialogs.questions[0].text, kQuestion);
    EXPECT_TRUE(dialogs.fileRequests.empty()); // Cancel saves no tracks
    const CZircSettings written = CZircSettings::load(kIni);
    EXPECT_EQ(written.mFcHp, 2);
    EXPECT_FLOAT_EQ(written.mOutputMasterVolume, -6.0f);
    EXPECT_EQ(written.mPreampVolume, app->inputVolume()->preampVolume());
    EXPECT_EQ(written.mInputMode, 0);
    EXPECT_TRUE(written.mBeamTrackSettings.isEmpty());
}

TEST_F(MainWindowTest, SavingTheTracksAtCloseKeepsTheirFileForTheNextStart)
{
    ASSERT_NO_FATAL_FAILURE(open());
    CBeamSelection* tracks = app->beamSelection();
    tracks->addButton()->click();
    ASSERT_EQ(app->session().graph()->numBeams(), 3);
    pick(2);
    drag(170, 200);
    const int phi = tracks->phi(2);
    EXPECT_NE(phi, 0);
    EXPECT_EQ(graphPhi(2), static_cast<float>(phi));
    ASSERT_TRUE(tracks->isDirty());

    dialogs.buttons = {QMessageBox::Save};
    dialogs.fileAnswer = dir.file(QStringLiteral("three.vts"));
    EXPECT_TRUE(app->close());
    EXPECT_EQ(dialogs.questions.size(), 1u);
    const QString saved = CZircSettings::load(kIni).mBeamTrackSettings;
    ASSERT_FALSE(saved.isEmpty());
    ASSERT_TRUE(QFileInfo::exists(saved));

    // The next start loads them, and the graph and both displays follow.
    app.reset();
    hostInit();
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_EQ(app->beamSelection()->numTracks(), 3);
    EXPECT_EQ(app->session().graph()->numBeams(), 3);
    EXPECT_EQ(app->azimuthDisplay()->numTracks(), 3);
    EXPECT_EQ(app->beamSelection()->phi(2), phi);
    EXPECT_EQ(graphPhi(2), static_cast<float>(phi));
    // Nothing changed this time: no question.
    EXPECT_TRUE(app->close());
    EXPECT_EQ(dialogs.questions.size(), 1u);
}

TEST_F(MainWindowTest, AFileOfSixteenChannelsPlaysStraightThroughWithTheBeamWidgetsOff)
{
    const QString sixteen = dir.file(QStringLiteral("sixteen.wav"));
    const QString full = dir.file(QStringLiteral("full.wav"));
    ASSERT_TRUE(makeSoxSine(sixteen, 16, 2));
    ASSERT_TRUE(makeSoxSine(full, 32, 2));
    ASSERT_NO_FATAL_FAILURE(open());
    const std::initializer_list<QWidget*> beamWidgets = {app->beamSelection(), app->azimuthDisplay(),
                                                         app->elevationDisplay(), app->outputVolume(),
                                                         app->recordingSinks()};

    app->inputSource()->modeButton(CInputSourceSelection::File)->click();
    EXPECT_EQ(app->session().graph()->inputMode(), CAudioGraph::inputFile);
    EXPECT_FALSE(app->inputVolume()->isEnabled());
    dialogs.fileAnswer = sixteen;
    app->inputSource()->loadButton()->click();
    EXPECT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingStraight);
    for (QWidget* w : beamWidgets)
        EXPECT_FALSE(w->isEnabled()) << w->metaObject()->className();
    EXPECT_EQ(app->navigator()->numSamples(), 2 * 44100);

    // Played, the navigator follows the file; paused it stands, and Play goes on from there.
    press(CAudioTransport::PlayButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return app->navigator()->currentSample() > 4410; }, 3000));
    press(CAudioTransport::PauseButton);
    QTest::qWait(200);
    const int paused = app->navigator()->currentSample();
    QTest::qWait(300);
    EXPECT_EQ(app->navigator()->currentSample(), paused);
    press(CAudioTransport::PlayButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return app->navigator()->currentSample() > paused + 4410; }, 3000));
    press(CAudioTransport::StopButton);
    EXPECT_FALSE(hostIsRunning());

    // Live is beamformed again; back in file mode the same file goes straight through.
    app->inputSource()->modeButton(CInputSourceSelection::Live)->click();
    EXPECT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingBeamforming);
    EXPECT_TRUE(app->beamSelection()->isEnabled());
    app->inputSource()->modeButton(CInputSourceSelection::File)->click();
    EXPECT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingStraight);
    EXPECT_FALSE(app->beamSelection()->isEnabled());

    // A file of the array's 32 channels is beamformed: the beam widgets come back on.
    dialogs.fileAnswer = full;
    app->inputSource()->loadButton()->click();
    EXPECT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingBeamforming);
    for (QWidget* w : beamWidgets)
        EXPECT_TRUE(w->isEnabled()) << w->metaObject()->className();

    app->inputSource()->modeButton(CInputSourceSelection::Live)->click();
    EXPECT_EQ(app->session().graph()->inputMode(), CAudioGraph::inputLive);
    EXPECT_TRUE(app->inputVolume()->isEnabled());
    EXPECT_TRUE(dialogs.warnings.empty());
    app->close();
    const CZircSettings written = CZircSettings::load(kIni);
    EXPECT_EQ(written.mInputMode, 0);
    EXPECT_EQ(written.mSensorFile, full);
}

// A file is the array signal already: its sink is off in file mode, through a recording,
// and the user's choice comes back with live input.
TEST_F(MainWindowTest, TheArraySinkIsOffInFileModeAndComesBackLive)
{
    const QString full = dir.file(QStringLiteral("full.wav"));
    ASSERT_TRUE(makeSoxSine(full, 32, 2));
    ASSERT_NO_FATAL_FAILURE(open());
    CRecordingSinkSelection* sinks = app->recordingSinks();
    QCheckBox* array = sinks->sinkSwitch(CAudioGraph::sinkArray);
    QCheckBox* beams = sinks->sinkSwitch(CAudioGraph::sinkBeams);
    EXPECT_TRUE(array->isEnabled());
    array->setChecked(true);
    beams->setChecked(true);

    app->inputSource()->modeButton(CInputSourceSelection::File)->click();
    dialogs.fileAnswer = full;
    app->inputSource()->loadButton()->click();
    ASSERT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingBeamforming);
    ASSERT_TRUE(sinks->isEnabled());
    EXPECT_FALSE(array->isEnabled());
    EXPECT_FALSE(array->isChecked());
    EXPECT_TRUE(array->toolTip().contains(QStringLiteral("live mode only"))) << array->toolTip().toStdString();
    EXPECT_TRUE(beams->isEnabled());
    EXPECT_TRUE(beams->isChecked());

    // The selection is disabled while recording and enabled after; the array's switch
    // stays off, and only the beams' file is written.
    press(CAudioTransport::PlayButton);
    press(CAudioTransport::RecordButton);
    EXPECT_FALSE(sinks->isEnabled());
    QTest::qWait(300);
    press(CAudioTransport::RecordButton);
    press(CAudioTransport::StopButton);
    EXPECT_TRUE(sinks->isEnabled());
    EXPECT_FALSE(array->isEnabled());
    EXPECT_TRUE(sinks->fileLabel(CAudioGraph::sinkArray)->text().isEmpty());
    const QString out = dir.file(sinks->fileLabel(CAudioGraph::sinkBeams)->text());
    EXPECT_EQ(soxInfo(out, "-c"), app->beamSelection()->numTracks());
    EXPECT_TRUE(QDir(dir.path()).entryList({QStringLiteral("mic*")}, QDir::Files).isEmpty());

    app->inputSource()->modeButton(CInputSourceSelection::Live)->click();
    EXPECT_TRUE(array->isEnabled());
    EXPECT_TRUE(array->isChecked());
    EXPECT_TRUE(array->toolTip().isEmpty());
    EXPECT_TRUE(dialogs.warnings.empty());
}

TEST_F(MainWindowTest, ChangingOutputsWhilePlayingKeepsWhatTheWidgetsShow)
{
    ASSERT_NO_FATAL_FAILURE(open());
    CBeamSelection* tracks = app->beamSelection();
    pick(0);
    drag(10, 60);
    const int phi = tracks->phi(0);
    press(CAudioTransport::PlayButton);
    const CAudioGraph* before = app->session().graph();

    app->updateZibOutputGroups(7, 4);
    ASSERT_NE(app->session().graph(), before);
    EXPECT_TRUE(hostIsRunning());
    EXPECT_TRUE(app->transport()->button(CAudioTransport::PlayButton)->isChecked());
    EXPECT_EQ(app->session().graph()->numBeams(), 2);
    EXPECT_EQ(graphPhi(0), static_cast<float>(phi));
    press(CAudioTransport::StopButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(app->transport()->button(CAudioTransport::StopButton)->isChecked());
}

TEST_F(MainWindowTest, WithoutADriverLiveIsOffWhateverTheIniFileSaid)
{
    fake.config.names.clear();
    CZircSettings s;
    s.mEmulateHardware = false;
    s.mInputMode = 0;
    s.write(kIni);
    app = std::make_unique<CZircApp>();

    EXPECT_FALSE(app->inputSource()->modeButton(CInputSourceSelection::Live)->isEnabled());
    EXPECT_EQ(app->inputSource()->mode(), CInputSourceSelection::File);
    EXPECT_FALSE(app->inputVolume()->isEnabled());
    // Play has no stream to start but the buttons stay usable.
    press(CAudioTransport::PlayButton);
    EXPECT_FALSE(hostIsRunning());
    press(CAudioTransport::StopButton);
    app->close();
    EXPECT_EQ(CZircSettings::load(kIni).mInputMode, 1);
}

TEST_F(MainWindowTest, ARecordingThatCannotBeOpenedIsReportedAndTheStreamGoesOn)
{
    ASSERT_NO_FATAL_FAILURE(open());
    // The sinks write into the working folder; one that has gone takes no file.
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("gone")));
    ASSERT_TRUE(QDir::setCurrent(dir.file(QStringLiteral("gone"))));
    ASSERT_TRUE(QDir(dir.path()).rmdir(QStringLiteral("gone")));
    CRecordingSinkSelection* sinks = app->recordingSinks();
    sinks->sinkSwitch(0)->setChecked(true);
    sinks->sinkSwitch(1)->setChecked(true);
    press(CAudioTransport::PlayButton);
    press(CAudioTransport::RecordButton);

    EXPECT_EQ(dialogs.warningTexts(),
              QStringList({QStringLiteral("Error opening record file!"), QStringLiteral("Error opening record file!")}));
    EXPECT_TRUE(hostIsRunning());
    press(CAudioTransport::RecordButton);
    EXPECT_TRUE(sinks->isEnabled());
    press(CAudioTransport::StopButton);
    QDir::setCurrent(dir.path());
}
