// Recording through the ring: what reaches the file when a take stops at awkward
// moments, when the disk side falls behind, and the peak envelope. Blocks are fed on the
// test's thread. The disk side keeps up only where a test lets it: the disk thread is
// held until the take stops or the test opens its gate, and the main thread's hand-over
// timer runs only where a test runs the event loop.

#include "tests/audiofile/AudioFileHarness.h"
#include "tests/support/AllocationCounter.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

using namespace wavetest;

namespace {

constexpr int rate = 48000;
constexpr int frames = 1024; // 46 blocks a second, 230 a buffer

struct RecordingTest : testing::TestWithParam<bool> {
    QTemporaryDir dir;
    QString path = scratchPath(dir, "take.wav");
    bool useThread = GetParam();

    // A recorder whose disk thread is held; the hand-over timer needs no hold.
    void hold(Recorder& rec) const
    {
        if (useThread)
            rec.holdDisk();
    }

    void expectTake(std::int64_t frames, int channels = 2)
    {
        int fileChannels = 0;
        const std::vector<std::int32_t> codes = readCodes24(path, fileChannels);
        ASSERT_EQ(fileChannels, channels);
        EXPECT_EQ(std::int64_t(codes.size()), frames * channels);
        EXPECT_EQ(firstGridMismatch(codes, channels), -1);
    }
};

} // namespace

TEST_P(RecordingTest, AStopInTheFirstBufferWritesThatPartOnly)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(10);
    EXPECT_EQ(rec.node.position(), 10 * frames);
    rec.stop();
    expectTake(10 * frames);
}

TEST_P(RecordingTest, AStopExactlyAtABufferEndWritesNothingMore)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(rec.blocksPerBuffer);
    EXPECT_TRUE(rec.node.ring().unfinishedPart().isEmpty());
    EXPECT_EQ(rec.node.ring().queuedBuffers(), 1);
    rec.stop();
    expectTake(std::int64_t(rec.blocksPerBuffer) * frames);
}

TEST_P(RecordingTest, ARecordingWithoutABlockLeavesNoFile)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.stop();
    EXPECT_FALSE(QFileInfo::exists(path));
}

TEST_P(RecordingTest, FullBuffersStillWaitingAtTheStopGoAheadOfThePartialOne)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(2 * rec.blocksPerBuffer + 17); // no event loop: two buffers wait for hand-over
    EXPECT_EQ(rec.node.ring().queuedBuffers(), 2);
    rec.stop();
    expectTake((2 * std::int64_t(rec.blocksPerBuffer) + 17) * frames);
}

TEST_P(RecordingTest, AStalledDiskSideDropsBlocksButKeepsAValidFile)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    const std::int64_t ringFrames = 4 * std::int64_t(rec.blocksPerBuffer) * frames;
    rec.feed(4 * rec.blocksPerBuffer);
    EXPECT_EQ(rec.node.position(), ringFrames);
    rec.offer(50); // the whole ring waits: these are dropped, uncounted
    EXPECT_EQ(rec.node.position(), ringFrames);
    // The disk side catching up doesn't resume the take: the file stays continuous.
    rec.gate.open();
    ASSERT_TRUE(runEventsUntil([&] { return rec.node.ring().queuedBuffers() == 0; }));
    rec.offer(50);
    EXPECT_EQ(rec.node.position(), ringFrames);
    rec.stop();
    expectTake(ringFrames); // each buffer once, none twice
}

TEST_P(RecordingTest, APausedTakeDoesNotGrow)
{
    Recorder rec(2, rate, frames);
    hold(rec);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(5);
    rec.node.pauseFile();
    EXPECT_EQ(rec.node.transport(), CAudioFile::transportPaused);
    rec.offer(3); // blocks played while paused are never taken
    rec.node.startFile(useThread);
    rec.feed(4);
    rec.stop();
    expectTake(9 * frames);
}

TEST_P(RecordingTest, ASwitchOfTheDiskSideMidTakeKeepsTheOrder)
{
    Recorder rec(2, rate, frames);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(rec.blocksPerBuffer + 3);
    rec.node.checkQueue();
    rec.node.startFile(!useThread); // a second start changes the disk side only
    EXPECT_EQ(rec.node.transport(), CAudioFile::transportRunning);
    rec.feed(2 * rec.blocksPerBuffer);
    rec.node.checkQueue();
    rec.stop();
    expectTake((3 * std::int64_t(rec.blocksPerBuffer) + 3) * frames);
}

INSTANTIATE_TEST_SUITE_P(DiskThread, RecordingTest, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(MainThread, RecordingTest, testing::Values(false));

TEST(Recording, ProcessNeitherAllocatesNorTouchesTheFile)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "quiet.wav");
    Recorder rec(4, rate, frames);
    rec.holdDisk();
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(true);
    {
        AllocationCounter counter;
        rec.feed(3 * rec.blocksPerBuffer + 5); // across buffer ends and hand-over points
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_EQ(QFileInfo(path).size(), CWaveFile::recordingHeaderSize);
    rec.stop();
    EXPECT_EQ(QFileInfo(path).size(), CWaveFile::recordingHeaderSize + (3 * 230 + 5) * frames * 4 * 3);
}

TEST(Recording, ThePeakEnvelopeHoldsTheTakesPeaks)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "peaks.wav");
    constexpr int peakBlock = 300; // not a divisor of the block length
    constexpr int blocks = 7;
    application();
    CAudioFile node;
    node.setFormat(vkAudioInterface::timeDomain(3, rate, 256), vkAudioInterface());
    ASSERT_EQ(node.setPeakBlockSize(peakBlock), 0);
    ASSERT_EQ(node.openFile(path, CAudioFile::modeRecording), 0);
    node.startFile(false);
    Block block(3, 256);
    std::vector<float> maxima, minima;
    for (int b = 0; b < blocks; ++b) {
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) {
                const int frame = b * 256 + i;
                const float envelope = 0.9f * float(frame % 700) / 700.0f;
                block.samples[std::size_t(c)][std::size_t(i)] = envelope * std::sin(0.05f * float(frame) + float(c));
            }
        for (int i = 0; i < 256; ++i) {
            const std::size_t peak = std::size_t((b * 256 + i) / peakBlock);
            if (peak >= maxima.size()) {
                maxima.push_back(0.0f);
                minima.push_back(0.0f);
            }
            for (int c = 0; c < 3; ++c) {
                maxima[peak] = std::max(maxima[peak], block.samples[std::size_t(c)][std::size_t(i)]);
                minima[peak] = std::min(minima[peak], block.samples[std::size_t(c)][std::size_t(i)]);
            }
        }
        node.process(block.data(), nullptr, 256);
    }
    node.stopFile();

    CWaveFile wave;
    int channels, fileRate, tag, bytes, levl;
    ASSERT_EQ(wave.openExisting(path, channels, fileRate, tag, bytes, levl), 0);
    EXPECT_EQ(levl, peakBlock);
    const QByteArray peaks = wave.levl().mPeakData;
    ASSERT_EQ(peaks.size(), 2 * 6); // ceil(1792 / 300) peak frames, the last one partial
    for (std::size_t p = 0; p < maxima.size(); ++p) {
        SCOPED_TRACE(p);
        EXPECT_GT(maxima[p], 0.05f);
        EXPECT_EQ(std::uint8_t(peaks[int(2 * p)]), std::uint8_t(maxima[p] * 256.0f));
        EXPECT_EQ(std::uint8_t(peaks[int(2 * p + 1)]), std::uint8_t(-minima[p] * 256.0f));
    }
}

TEST(Recording, ThirtyTwoChannelsForAMinuteThroughTheDiskThreadLoseNoBlock)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "minute.wav");
    constexpr int channels = 32;
    constexpr int block = 512;
#if defined(__SANITIZE_THREAD__)
    // Its bookkeeping makes the minute take minutes; 25 seconds still go round the ring
    // of four 5-second buffers once and a bit.
    constexpr int seconds = 25;
#else
    constexpr int seconds = 60;
#endif
    constexpr int blocks = rate * seconds / block;
    Recorder rec(channels, rate, block);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(true);
    // An audio thread faster than real time that holds back while two buffers wait,
    // as a real-time one would by the clock. The disk thread needs no event loop, and no
    // deadline but the test's own.
    std::thread audio([&] {
        for (int b = 0; b < blocks; ++b) {
            while (rec.node.ring().queuedBuffers() >= 2)
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            rec.feed(1);
        }
    });
    audio.join();
    EXPECT_EQ(rec.node.position(), std::int64_t(blocks) * block);
    rec.node.stopFile();
    int fileChannels = 0;
    const std::vector<std::int32_t> codes = readCodes24(path, fileChannels);
    EXPECT_EQ(fileChannels, channels);
    ASSERT_EQ(std::int64_t(codes.size()), std::int64_t(blocks) * block * channels);
    EXPECT_EQ(firstGridMismatch(codes, channels), -1);
}

TEST(Recording, ADiskTooSlowForTheRingCutsTheTakeWhereItOverflowedAndKeepsAllBefore)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "slow.wav");
    Recorder rec(2, rate, frames);
    // The disk side's first stretch takes until the ring has overflowed (ten seconds at
    // most), so the disk is slower than the feed on any machine; later ones go at once.
    rec.node.setDiskHook([&rec] {
        for (int wait = 0; wait < 10000 && !rec.node.overrun(); ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(true);
    for (int b = 0; b < 8 * rec.blocksPerBuffer && !rec.node.overrun(); ++b)
        rec.feed(1);
    ASSERT_TRUE(rec.node.overrun());
    const std::int32_t cut = rec.node.position();
    EXPECT_GE(cut, 4 * rec.blocksPerBuffer * frames) << "the whole ring was used first";
    rec.offer(40);
    EXPECT_EQ(rec.node.position(), cut);
    EXPECT_TRUE(rec.node.overrun());
    rec.node.stopFile();
    int channels = 0;
    const std::vector<std::int32_t> codes = readCodes24(path, channels);
    EXPECT_EQ(std::int64_t(codes.size()), std::int64_t(cut) * 2);
    EXPECT_EQ(firstGridMismatch(codes, 2), -1);
    // The next take starts whole.
    ASSERT_EQ(rec.node.openFile(scratchPath(dir, "next.wav"), CAudioFile::modeRecording), 0);
    EXPECT_FALSE(rec.node.overrun());
}
