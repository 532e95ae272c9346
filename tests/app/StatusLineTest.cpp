// The status line under the window: the device, rate, block and latency after start-up,
// the audio thread's load while the emulated hardware runs, and a missed callback in the
// count; and nothing but a plain note without a device.

#include "app/CStatusLine.h"
#include "app/CZircApp.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/app/robustness/FakeDriverSession.h"

#include <QRegularExpression>
#include <QTest>

namespace {

class StatusLineTest : public FakeDriverSession {
protected:
    QString line() const { return app->statusLine()->text(); }
    // The figure after `label` in the line; -1 when it is not there.
    int figure(const QString& label) const
    {
        const QRegularExpressionMatch m = QRegularExpression(label + QStringLiteral(" (\\d+)")).match(line());
        return m.hasMatch() ? m.captured(1).toInt() : -1;
    }
    // Lets the window's timer run a few times.
    static void ticks(int count) { QTest::qWait(count * CZircApp::kTimerMs); }
};

TEST_F(StatusLineTest, ShowsTheEmulatedDeviceAndItsLoadWhileRunning)
{
    fake.config.names.clear();
    app = std::make_unique<CZircApp>(); // no ini file: the emulated hardware
    ASSERT_EQ(app->statusBar(), app->statusLine());
    ASSERT_TRUE(app->session().device().isOpen());
    EXPECT_TRUE(line().startsWith(app->session().device().mDevice)) << line().toStdString();
    EXPECT_TRUE(line().contains(QStringLiteral("44100 Hz"))) << line().toStdString();
    EXPECT_GT(app->session().device().mBlockLength, 0);
    EXPECT_EQ(figure(QStringLiteral("block")), app->session().device().mBlockLength);
    // The emulated box holds one block on the way in and one on the way out.
    EXPECT_EQ(figure(QStringLiteral("latency")), CStatusLine::kBeamformerLatency + 2 * app->session().device().mBlockLength);
    EXPECT_EQ(figure(QStringLiteral("missed callbacks")), 0);

    app->start();
    ASSERT_TRUE(hostIsRunning());
    // The graph does real work each block, so the published load leaves zero.
    ASSERT_TRUE(QTest::qWaitFor([] { return hostLoad() > 0.0f; }, 3000));
    ticks(3);
    const int load = figure(QStringLiteral("DSP"));
    EXPECT_GE(load, 0) << line().toStdString();
    EXPECT_LE(load, 100);
    app->stop();
    EXPECT_TRUE(dialogs.warnings.empty());
}

TEST_F(StatusLineTest, CountsACallbackThatCameWhileTheLastWasRunning)
{
    ASSERT_NO_FATAL_FAILURE(open());
    EXPECT_TRUE(line().startsWith(QStringLiteral("Fake Driver"))) << line().toStdString();

    app->start();
    ASSERT_TRUE(hostIsRunning());
    fake.driver()->callback(0);
    ticks(2);
    EXPECT_EQ(figure(QStringLiteral("missed callbacks")), 0);

    // The guard says a callback is still inside the graph as the driver calls again.
    hostState().mBusy.store(0);
    fake.driver()->callback(1);
    hostState().mBusy.store(-1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return figure(QStringLiteral("missed callbacks")) == 1; }, 1000))
        << line().toStdString();
    fake.driver()->callback(1);
    ticks(2);
    EXPECT_EQ(figure(QStringLiteral("missed callbacks")), 1) << "the guard is open again";
    app->stop();
}

TEST_F(StatusLineTest, SaysSoWithoutAnAudioDevice)
{
    fake.config.names.clear();
    CZircSettings s = CZircSettings::defaults();
    s.mEmulateHardware = false;
    s.write(QStringLiteral("vantoria.ini"));
    app = std::make_unique<CZircApp>();
    ticks(2);
    EXPECT_EQ(line(), QStringLiteral("No audio device"));
}

} // namespace
