// A wave file removed from the disk while it plays: the open file stays readable, so the
// stream plays it to its end, the part read after the removal as the part before, and
// goes on as it would have: back to the start, read again from the removed file.

#include "graph/CAudioGraph.h"
#include "audiofile/CAudioFile.h"
#include "tests/app/robustness/FakeDriverSession.h"
#include "tests/support/SoxWave.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CInputSourceSelection.h"

#include <QFile>
#include <QPushButton>
#include <QRadioButton>

#include <cmath>

namespace {

constexpr int kRate = 44100;
// Longer than the player's ring of four five-second buffers, so that the end of the file
// is read from the disk after the removal.
constexpr int kSeconds = 25;

// Mean square of output 0 over the blocks whose start lies in a stretch of the file.
struct Level {
    double sum = 0.0;
    long samples = 0;
    void add(const std::int32_t* block, int frames)
    {
        for (int i = 0; i < frames; ++i) {
            const double x = block[i] / 2147483648.0;
            sum += x * x;
        }
        samples += frames;
    }
    double rms() const { return samples ? std::sqrt(sum / samples) : 0.0; }
};

using PlaybackFaults = FakeDriverSession;

} // namespace

TEST_F(PlaybackFaults, AFileRemovedWhilePlayingPlaysToItsEndAndRoundAgain)
{
    const QString path = dir.file(QStringLiteral("take.wav"));
    ASSERT_TRUE(makeSoxSine(path, 2, kSeconds, {QStringLiteral("vol"), QStringLiteral("0.5")}));
    ASSERT_NO_FATAL_FAILURE(open());
    app->inputSource()->modeButton(CInputSourceSelection::File)->click();
    dialogs.fileAnswer = path;
    app->inputSource()->loadButton()->click();
    const int frames = kSeconds * kRate;
    ASSERT_EQ(app->navigator()->numSamples(), frames);
    const CSession& session = app->session();

    press(CAudioTransport::PlayButton);
    runBlocks(10);
    ASSERT_TRUE(QFile::remove(path));

    // Early blocks came from the ring primed before the removal, late ones were read
    // after it.
    // A position that stands still (a read that never came) ends the loop at its limit.
    const int limit = 2 * frames / blockLength();
    Level early, late;
    for (int n = 0; session.playbackPosition() < frames && n < limit && runBlock(); ++n) {
        const int at = session.playbackPosition() - blockLength();
        if (at > kRate && at < 4 * kRate)
            early.add(lastOutput(0), blockLength());
        else if (at > 21 * kRate && at < 24 * kRate)
            late.add(lastOutput(0), blockLength());
    }
    EXPECT_GE(session.playbackPosition(), frames);
    EXPECT_GT(early.rms(), 0.1);
    EXPECT_NEAR(late.rms(), early.rms(), 0.01 * early.rms());

    // Past the end the navigator goes back to the start (its loop is on unless switched
    // off), and the start is read again from the removed file.
    ASSERT_TRUE(runBlocksUntil([&] { return session.playbackPosition() < kRate; }, 500));
    Level again;
    for (int n = 0; session.playbackPosition() < 4 * kRate && n < limit && runBlock(); ++n) {
        if (session.playbackPosition() - blockLength() > kRate)
            again.add(lastOutput(0), blockLength());
    }
    EXPECT_NEAR(again.rms(), early.rms(), 0.01 * early.rms());
    press(CAudioTransport::StopButton);
    EXPECT_FALSE(hostIsRunning());
    EXPECT_TRUE(dialogs.warnings.empty());
}
