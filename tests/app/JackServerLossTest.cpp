// The JACK server killed (SIGKILL) under a take, as a crash of the server would end it:
// the window stops the stream, the takes are whole wave files of every block that ran,
// one message names the server, the status line says there is no device, and once a
// new server runs Play opens it without a restart of the program.

#include "app/CStatusLine.h"
#include "app/CZircApp.h"
#include "audiofile/CAudioFile.h"
#include "graph/CAudioGraph.h"
#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/app/AppTestSupport.h"
#include "tests/support/DummyJackServer.h"
#include "tests/support/SoxWave.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <optional>

using apptest::WorkingDirectory;

namespace {
class JackServerLoss : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.emplace();
        ASSERT_TRUE(server->running()) << "jackd did not start or does not answer";
        CZircSettings s;
        s.mEmulateHardware = false;
        s.write(QStringLiteral("vantoria.ini"));
        dialogs.itemAnswer = QString::fromLatin1(CJackDriver::kName);
    }
    void TearDown() override
    {
        app.reset();
        hostInit();
    }
    void press(CAudioTransport::Button which) { app->transport()->button(which)->click(); }
    bool down(CAudioTransport::Button which) const { return app->transport()->button(which)->isChecked(); }
    QString line() const { return app->statusLine()->text(); }
    int blocks() const { return hostState().mBlockCount.load(); }

    WorkingDirectory dir;
    DialogAnswers dialogs;
    std::optional<DummyJackServer> server;
    std::unique_ptr<CZircApp> app;
};
} // namespace

TEST_F(JackServerLoss, ATakeKeepsEveryFrameUpToTheLossAndPlayReachesTheNextServer)
{
    app = std::make_unique<CZircApp>();
    ASSERT_EQ(app->session().device().mDevice, QString::fromLatin1(CJackDriver::kName));
    ASSERT_EQ(app->session().graphResult(), 0);
    // Recording from the stream's first block, so that the takes hold every block it ran.
    QStringList takes;
    for (int sink : {CAudioGraph::sinkArray, CAudioGraph::sinkBeams})
        app->recordingSinks()->sinkSwitch(sink)->setChecked(true);
    press(CAudioTransport::RecordButton);
    for (int sink : {CAudioGraph::sinkArray, CAudioGraph::sinkBeams})
        takes << dir.file(app->recordingSinks()->fileLabel(sink)->text());
    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    ASSERT_TRUE(QTest::qWaitFor([&] { return blocks() >= 40; }, 10000));

    server->killHard();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !dialogs.warnings.empty(); }, 5000)) << "nobody noticed";
    const long frames = long(blocks()) * app->session().device().mBlockLength;
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::StopButton));
    EXPECT_FALSE(down(CAudioTransport::PlayButton));
    EXPECT_FALSE(down(CAudioTransport::RecordButton));
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    const QString serverName = QString::fromLocal8Bit(qgetenv("JACK_DEFAULT_SERVER"));
    EXPECT_EQ(dialogs.warnings[0].text,
              QStringLiteral("The audio device \"JACK Audio Connection Kit\" is gone: the JACK server \"%1\" has "
                             "stopped.\nThe stream has stopped; a take in progress is finished in its file with "
                             "everything recorded until then.\nPress Play to open it again once it is back.")
                  .arg(serverName));
    EXPECT_EQ(line(), QStringLiteral("No audio device"));
    for (const QString& take : takes)
        EXPECT_EQ(soxFrames(take), frames) << take.toStdString();
    EXPECT_EQ(soxInfo(takes[0], "-c"), CAudioGraph::kInputChannels);

    // No server: Play says so and leaves the transport stopped.
    press(CAudioTransport::PlayButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::StopButton));
    ASSERT_EQ(dialogs.warnings.size(), 2u);
    EXPECT_TRUE(dialogs.warnings[1].text.contains(QStringLiteral("is still not available: No JACK server")))
        << dialogs.warnings[1].text.toStdString();

    server.emplace();
    ASSERT_TRUE(server->running());
    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::PlayButton));
    EXPECT_TRUE(QTest::qWaitFor([&] { return blocks() >= 20; }, 10000)) << "the new server runs the stream";
    EXPECT_TRUE(QTest::qWaitFor([&] { return line().startsWith(QString::fromLatin1(CJackDriver::kName)); }, 1000))
        << line().toStdString();
    press(CAudioTransport::StopButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_EQ(dialogs.warnings.size(), 2u);
}
