// A recording whose disk fills up: the write that fails ends the take's writing, and the
// file keeps every whole frame written before it, read back by libsndfile with a header
// that agrees with its length. The full disk is a file size limit on the process.

#include "tests/audiofile/AudioFileHarness.h"
#include "tests/audiofile/FileSizeLimit.h"
#include "tests/audiofile/RecordedWave.h"

#include <QFileInfo>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cerrno>
#include <cstring>
#include <optional>

using namespace wavetest;

namespace {

constexpr int rate = 48000;
constexpr int frames = 1024;
constexpr qint64 header = CWaveFile::recordingHeaderSize;

// Every sample libsndfile reads, as 24-bit codes, frame after frame.
std::vector<std::int32_t> sndfileCodes(const QString& path, SF_INFO& info)
{
    info = SF_INFO{};
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    if (!file)
        return {};
    std::vector<std::int32_t> samples(std::size_t(info.frames * info.channels));
    sf_readf_int(file, samples.data(), info.frames);
    sf_close(file);
    for (std::int32_t& s : samples)
        s >>= 8; // libsndfile puts 24-bit samples in the top bytes
    return samples;
}

// The file holds `expectedFrames` frames of the grid signal, and its header says so.
void expectValidTake(const QString& path, int channels, std::int64_t expectedFrames)
{
    const RecordedWave wave = readRecordedWave(path);
    EXPECT_EQ(wave.channels, channels);
    EXPECT_EQ(wave.frames, expectedFrames);
    EXPECT_TRUE(wave.sizesAgree);
    SF_INFO info;
    EXPECT_EQ(firstGridMismatch(sndfileCodes(path, info), channels), -1);
}

struct DiskFull : testing::TestWithParam<bool> {
    QTemporaryDir dir;
    QString path = scratchPath(dir, "take.wav");
    bool useThread = GetParam();
};

} // namespace

TEST_P(DiskFull, ARefusedWriteEndsTheTakeAtItsLastWholeFrameEvenWhenRoomComesBack)
{
    Recorder rec(2, rate, frames);
    const qint64 bufferBytes = qint64(rec.blocksPerBuffer) * frames * 2 * 3;
    // Room for the first buffer and a little more, not ending on a frame.
    const qint64 room = bufferBytes + 1003;
    std::optional<FileSizeLimit> limit(std::in_place, rlim_t(header + room));
    ASSERT_TRUE(limit->active());
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(useThread);
    rec.feed(2 * rec.blocksPerBuffer + 5);
    ASSERT_TRUE(runEventsUntil([&] { return !rec.node.writeError().isEmpty(); }));
    EXPECT_EQ(rec.node.writeError(), QString::fromLocal8Bit(std::strerror(EFBIG)));

    // With room again, the blocks that follow must not land behind a gap.
    limit.reset();
    rec.feed(rec.blocksPerBuffer);
    ASSERT_TRUE(runEventsUntil([&] { return rec.node.ring().queuedBuffers() == 0; }));
    rec.node.stopFile();
    EXPECT_FALSE(rec.node.writeError().isEmpty()) << "the failure stays known after the stop";
    expectValidTake(path, 2, room / 6);
}

INSTANTIATE_TEST_SUITE_P(DiskThread, DiskFull, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(MainThread, DiskFull, testing::Values(false));

TEST(DiskFullAtTheEnd, NoRoomForThePadByteCostsTheLastFrameOfAnOddSize)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "odd.wav");
    Recorder rec(3, rate, frames); // 9 bytes a frame
    const std::int64_t fit = 1001;  // an odd count of frames ends the data on an odd byte
    {
        const FileSizeLimit limit(rlim_t(header + fit * 9));
        ASSERT_TRUE(limit.active());
        ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
        rec.node.startFile(false);
        rec.feed(2);
        rec.node.stopFile(); // the partial buffer is written here, and fails
    }
    EXPECT_FALSE(rec.node.writeError().isEmpty());
    expectValidTake(path, 3, fit - 1);
}

TEST(DiskFullAtTheEnd, NoRoomForTheHeaderLeavesNoFileAndTheNextTakeRecords)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "none.wav");
    Recorder rec(2, rate, frames);
    {
        const FileSizeLimit limit(rlim_t(header / 2));
        ASSERT_TRUE(limit.active());
        EXPECT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), CAudioFile::fileErrCreate);
    }
    EXPECT_FALSE(QFileInfo::exists(path));

    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    EXPECT_TRUE(rec.node.writeError().isEmpty()) << "a new take starts without the old failure";
    rec.node.startFile(true);
    rec.feed(3);
    rec.node.stopFile();
    expectValidTake(path, 2, 3 * frames);
}
