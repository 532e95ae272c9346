// The application core headless: start-up without a driver, with another driver, with the
// box's driver and the emulated box; rebuilds while the stream runs; calibration from the
// box reaching the graph; settings that the program cannot use.

#include "emulation/CEmulatedHardware.h"
#include "app/CBeamPanel.h"
#include "app/CZircApp.h"
#include "app/COptionPages.h"
#include "app/CZrOptions.h"
#include "box/CZibControl.h"
#include "graph/CAudioGraph.h"
#include "device/vkHost.h"
#include "stages/vkLevelSource.h"
#include "tests/app/AppTestSupport.h"
#include "tests/device/CFakeDriver.h"
#include "widgets/CInputVolume.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QTest>

#include <cmath>

using apptest::WorkingDirectory;

namespace {
const QString kNoDevice = QStringLiteral("No ASIO device available.\nPlease try connecting the hardware or try rebooting");
const QString kIni = QStringLiteral("vantoria.ini");

class AppTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        app.reset();
        hostInit();
    }
    // An ini file with emulation off and the given settings otherwise.
    static void realHardware(CZircSettings s = CZircSettings::defaults())
    {
        s.mEmulateHardware = false;
        s.write(kIni);
    }
    void runBlocks(int count)
    {
        for (int i = 0; i < count; ++i)
            fake.driver()->callback(i & 1);
    }

    WorkingDirectory dir;
    DialogAnswers dialogs;
    CFakeBackend fake;
    std::unique_ptr<CZircApp> app;
};
} // namespace

TEST_F(AppTest, WithoutADriverTheWindowStillOpensOnFiles)
{
    fake.config.names.clear();
    CZircSettings s;
    s.mInputMode = 0;
    realHardware(s);
    app = std::make_unique<CZircApp>();

    EXPECT_EQ(dialogs.warningTexts(), QStringList{kNoDevice});
    EXPECT_EQ(dialogs.warnings[0].title, QStringLiteral("Vantoria"));
    EXPECT_EQ(app->session().settings().mInputMode, 1);
    EXPECT_EQ(app->session().device().mSampleRate, 44100.0f);
    EXPECT_EQ(app->session().device().mBlockLength, 8192);
    EXPECT_EQ(app->windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, )"));
    EXPECT_EQ(app->session().box()->mPortState.load(), 0);
    EXPECT_EQ(app->session().emulation(), nullptr);
    EXPECT_EQ(app->session().graphResult(), 0);
    EXPECT_EQ(app->session().graph()->inputMode(), CAudioGraph::inputFile);
    app->start();
    app->stop();
    EXPECT_FALSE(app->session().graph()->isStarted());

    // The hardware page turns emulation back on for the next start.
    app->optionsWindow()->hardwarePage()->emulationBox()->click();
    QCloseEvent close;
    QApplication::sendEvent(app.get(), &close);
    EXPECT_TRUE(CZircSettings::load(kIni).mEmulateHardware);
}

TEST_F(AppTest, AnotherDriverHasNoCalibrationWordAndNumberedOutputs)
{
    fake.config.names = {"Fake Driver"};
    fake.config.inputs = 8;
    fake.config.outputs = 24;
    dialogs.itemAnswer = QStringLiteral("Fake Driver");
    CZircSettings s;
    s.mInputMode = 0;
    s.mNumOutputChannels = 3;
    s.mOutputChannelOffset = 4;
    s.mMonitorChannelOffset = 5;
    realHardware(s);
    app = std::make_unique<CZircApp>();

    EXPECT_TRUE(dialogs.warnings.empty());
    EXPECT_EQ(app->session().device().mDevice, QStringLiteral("Fake Driver"));
    EXPECT_EQ(app->windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, )"));
    EXPECT_EQ(app->session().settings().mInputMode, 1); // 8 inputs cannot beamform live
    EXPECT_EQ(app->session().device().mOutputs.channels, (std::vector<int>{4, 5, 6}));
    EXPECT_EQ(app->session().graph()->monitorOutput(0), 1);
    EXPECT_EQ(app->session().graph()->monitorOutput(1), 2);
    // The driver pages are offered, set to the settings.
    ASSERT_NE(app->optionsWindow()->outputPage(), nullptr);
    EXPECT_EQ(app->optionsWindow()->zibOutputPage(), nullptr);
}

TEST_F(AppTest, ChangingOutputsWhileRunningStopsRebuildsAndStarts)
{
    fake.config.names = {"Fake Driver"};
    fake.config.inputs = 32;
    fake.config.outputs = 18;
    dialogs.itemAnswer = QStringLiteral("Fake Driver");
    CZircSettings s;
    s.mInputMode = 0;
    realHardware(s);
    app = std::make_unique<CZircApp>();
    ASSERT_EQ(app->session().graphResult(), 0);
    EXPECT_EQ(app->session().settings().mInputMode, 0);

    app->start();
    ASSERT_TRUE(hostIsRunning());
    runBlocks(4);
    const CAudioGraph* before = app->session().graph();

    // Rebuilding a running stream in any other order is refused by the driver layer,
    // and the refusal would show as a warning.
    app->updateOutputChannels(4, 10);
    EXPECT_TRUE(dialogs.warnings.empty());
    EXPECT_TRUE(hostIsRunning());
    EXPECT_NE(app->session().graph(), before);
    EXPECT_TRUE(app->session().graph()->isStarted());
    EXPECT_EQ(app->session().device().mOutputs.channels, (std::vector<int>{10, 11, 12, 13, 0, 1}));
    EXPECT_EQ(app->session().device().mNumDriverOutputs, 6);
    runBlocks(4);

    app->stop();
    app->updateMonitorChannels(1, 12);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_EQ(app->session().device().mOutputs.channels, (std::vector<int>{10, 11, 12, 13}));
    EXPECT_EQ(app->session().graph()->monitorOutput(0), 2);
    EXPECT_TRUE(dialogs.warnings.empty());
}

TEST_F(AppTest, SettingsTheProgramCannotUseDoNotStopIt)
{
    fake.config.names.clear();
    CZircSettings s;
    s.mInputMode = 1;
    s.mNumMonitorChannels = -1;
    s.mZibActiveGroups = 0;
    s.mFcHp = 9;
    s.mPreampVolume = 33;
    s.mSensorFile = dir.file(QStringLiteral("gone.wav"));
    realHardware(s);
    app = std::make_unique<CZircApp>();

    const QStringList w = dialogs.warningTexts();
    ASSERT_EQ(w.size(), 2);
    EXPECT_EQ(w[0], kNoDevice);
    EXPECT_TRUE(w[1].startsWith(QStringLiteral("Error loading wave file (erroNo:"))) << w[1].toStdString();
    EXPECT_TRUE(w[1].endsWith(QStringLiteral(").")));
    EXPECT_TRUE(app->session().settings().mSensorFile.isEmpty());
    EXPECT_EQ(app->session().device().mOutputs.numMonitorOutputs, 0);

    QCloseEvent close;
    QApplication::sendEvent(app.get(), &close);
    // What is written is what the widgets show: the highest preamp step, the high-pass off.
    const CZircSettings written = CZircSettings::load(kIni);
    EXPECT_EQ(written.mPreampVolume, app->inputVolume()->preampVolume());
    EXPECT_LT(written.mPreampVolume, 33);
    EXPECT_EQ(written.mFcHp, 0);
    EXPECT_FALSE(written.mEmulateHardware);
}

TEST_F(AppTest, NoOutputsLeaveTheProgramWithoutAGraphButKeepTheSettings)
{
    fake.config.names.clear();
    CZircSettings s;
    s.mNumOutputChannels = -4;
    s.mOutputChannelOffset = 99;
    s.mNumMonitorChannels = 0;
    s.mSensorFile = dir.file(QStringLiteral("take.wav"));
    realHardware(s);
    app = std::make_unique<CZircApp>();

    EXPECT_EQ(dialogs.warningTexts(), QStringList{kNoDevice});
    EXPECT_TRUE(app->session().device().mOutputs.channels.empty());
    EXPECT_GT(app->session().graphResult(), CSession::kGraphOffset);
    app->start();
    app->beamPanel()->updateTheta(0, 40);
    app->setHpIndex(2);
    EXPECT_FALSE(app->session().graph()->isStarted());
    EXPECT_EQ(app->session().settings().mSensorFile, s.mSensorFile);
}

TEST_F(AppTest, EmulatedHardwareIsCalibratedAndRuns)
{
    fake.config.names.clear();
    app = std::make_unique<CZircApp>(); // no ini file: emulation on

    ASSERT_NE(app->session().emulation(), nullptr);
    EXPECT_EQ(app->session().box()->mPortState.load(), 1);
    EXPECT_EQ(app->session().device().mDevice, QStringLiteral("ASIO TCAT Dice EVM Platform"));
    EXPECT_EQ(app->session().device().mZibGroupMask, 7);
    EXPECT_EQ(app->session().device().mNumDriverInputs, 32);
    EXPECT_EQ(app->session().settings().mInputMode, 0);
    EXPECT_EQ(app->windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, not calibrated)"));
    EXPECT_EQ(app->session().device().mOutputs.channels.front(), 8);
    EXPECT_NE(app->optionsWindow()->zibOutputPage(), nullptr);
    EXPECT_TRUE(dialogs.warnings.empty());

    app->start();
    ASSERT_TRUE(hostIsRunning());
    EXPECT_TRUE(QTest::qWaitFor([&] { return app->session().calibrated(); }, 3000));
    EXPECT_EQ(app->windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, calibrated)"));

    // Each capsule's gain makes up its sensitivity error, as the box's block describes it
    // (hundredths of a decibel).
    const CAudioGraph* graph = app->session().graph();
    for (int c = 0; c < 32; ++c) {
        const float expected = std::pow(10.0f, 0.05f * app->session().emulation()->model().capsuleErrorDb(c));
        EXPECT_NEAR(app->session().calibrationGains()[static_cast<std::size_t>(c)], expected, expected * 0.0012f) << c;
        EXPECT_FLOAT_EQ(graph->inputChannelGain(c), app->session().calibrationGains()[static_cast<std::size_t>(c)]) << c;
    }

    // The stream runs: the input level sees the modelled scene.
    float peaks[32] = {};
    float envelopes[32] = {};
    vkLevelSource& level = app->session().levels(CAudioGraph::levelInput);
    EXPECT_TRUE(QTest::qWaitFor([&] {
        level.takeLevels(peaks, envelopes, 32);
        return peaks[0] > 1e-4f;
    }, 3000));
    app->stop();
    EXPECT_FALSE(hostIsRunning());

    // The box's groups in their order, the monitor taking over the headphone group.
    app->updateZibOutputGroups(7, 4);
    std::vector<int> expected;
    for (int c = 16; c < 24; ++c)
        expected.push_back(c);
    for (int c = 8; c < 16; ++c)
        expected.push_back(c);
    expected.insert(expected.end(), {0, 1});
    EXPECT_EQ(app->session().device().mOutputs.channels, expected);
    EXPECT_EQ(app->session().graph()->monitorOutput(0), 16);
    EXPECT_TRUE(app->session().calibrated()); // the new graph has the gains as well
    EXPECT_FLOAT_EQ(app->session().graph()->inputChannelGain(5), app->session().calibrationGains()[5]);
    EXPECT_TRUE(dialogs.warnings.empty());
}
