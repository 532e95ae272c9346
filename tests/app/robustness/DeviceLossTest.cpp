// A driver that asks for a reset, or whose device is gone, while a take runs: the window
// notices on its own timer, the takes end as wave files of every block recorded, the
// stream stops, one message names the device and what happened, and Play goes on: at
// once when the driver loaded again, once the device is back when it did not.

#include "app/CStatusLine.h"
#include "device/vkHostState.h"
#include "tests/app/robustness/FakeDriverSession.h"
#include "tests/audiofile/RecordedWave.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QLabel>

namespace {

class DeviceLoss : public FakeDriverSession {
protected:
    // Both sinks on, the stream running, `blocks` blocks recorded.
    void record(int blocks)
    {
        ASSERT_NO_FATAL_FAILURE(open());
        for (int sink : {0, 1})
            app->recordingSinks()->sinkSwitch(sink)->setChecked(true);
        press(CAudioTransport::PlayButton);
        ASSERT_TRUE(hostIsRunning());
        press(CAudioTransport::RecordButton);
        takes.clear();
        for (int sink : {0, 1})
            takes << dir.file(app->recordingSinks()->fileLabel(sink)->text());
        runBlocks(blocks);
    }
    // What a driver reports when its device needs a reset or has gone, at any moment.
    void askForReset() { fake.driver()->callbacks()->asioMessage(kAsioResetRequest, 0, nullptr, nullptr); }
    bool waitForMessage() { return QTest::qWaitFor([this] { return !dialogs.warnings.empty(); }, 3000); }
    void expectStoppedWithTakes(int blocks)
    {
        EXPECT_FALSE(hostIsRunning());
        EXPECT_TRUE(down(CAudioTransport::StopButton));
        EXPECT_FALSE(down(CAudioTransport::PlayButton));
        EXPECT_FALSE(down(CAudioTransport::RecordButton));
        EXPECT_TRUE(app->recordingSinks()->isEnabled());
        for (const QString& take : takes) {
            const RecordedWave wave = readRecordedWave(take);
            EXPECT_EQ(wave.frames, std::int64_t(blocks) * blockLength()) << take.toStdString();
            EXPECT_TRUE(wave.sizesAgree) << take.toStdString();
        }
    }
    QString line() const { return app->statusLine()->text(); }

    QStringList takes;
};

} // namespace

TEST_F(DeviceLoss, AResetRequestFinishesTheTakesAndPlayGoesOnWithTheDriverLoadedAgain)
{
    ASSERT_NO_FATAL_FAILURE(record(40));
    const int created = fake.created();
    askForReset();
    ASSERT_TRUE(waitForMessage());
    expectStoppedWithTakes(40);
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    const QString& text = dialogs.warnings[0].text;
    EXPECT_TRUE(text.startsWith(QStringLiteral("The audio device \"Fake Driver\" asked to be reset and has been opened again.")))
        << text.toStdString();
    EXPECT_EQ(fake.created(), created + 1) << "the driver was loaded anew";
    EXPECT_TRUE(app->session().device().isOpen());
    EXPECT_TRUE(line().startsWith(QStringLiteral("Fake Driver"))) << line().toStdString();

    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::PlayButton));
    const int before = hostState().mBlockCount.load();
    runBlocks(5);
    EXPECT_EQ(hostState().mBlockCount.load() - before, 5);
    QTest::qWait(3 * CZircApp::kTimerMs);
    EXPECT_EQ(dialogs.warnings.size(), 1u) << "one message for one reset";
}

TEST_F(DeviceLoss, ADeviceGoneLeavesNoDeviceUntilPlayFindsItBack)
{
    ASSERT_NO_FATAL_FAILURE(record(30));
    fake.config.initFails = true; // the device went away: the driver says so and will not load again
    askForReset();
    ASSERT_TRUE(waitForMessage());
    expectStoppedWithTakes(30);
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    EXPECT_EQ(dialogs.warnings[0].text,
              QStringLiteral("The audio device \"Fake Driver\" is gone: fake device missing.\nThe stream has "
                             "stopped; a take in progress is finished in its file with everything recorded until "
                             "then.\nPress Play to open it again once it is back."))
        << dialogs.warnings[0].text.toStdString();
    EXPECT_FALSE(app->session().device().isOpen());
    EXPECT_EQ(line(), QStringLiteral("No audio device"));

    press(CAudioTransport::PlayButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::StopButton));
    ASSERT_EQ(dialogs.warnings.size(), 2u);
    EXPECT_EQ(dialogs.warnings[1].text,
              QStringLiteral("The audio device \"Fake Driver\" is still not available: fake device missing."));

    fake.config.initFails = false;
    press(CAudioTransport::PlayButton);
    ASSERT_TRUE(hostIsRunning());
    EXPECT_TRUE(down(CAudioTransport::PlayButton));
    EXPECT_TRUE(line().startsWith(QStringLiteral("Fake Driver"))) << line().toStdString();
    EXPECT_EQ(app->session().device().mBlockLength, blockLength());
    // The graph runs on the device again: a take records every block.
    press(CAudioTransport::RecordButton);
    takes.clear();
    for (int sink : {0, 1})
        takes << dir.file(app->recordingSinks()->fileLabel(sink)->text());
    runBlocks(12);
    press(CAudioTransport::RecordButton);
    press(CAudioTransport::StopButton);
    expectStoppedWithTakes(12);
    EXPECT_EQ(dialogs.warnings.size(), 2u);
}
