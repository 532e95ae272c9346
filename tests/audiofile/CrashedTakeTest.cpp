// Takes that outlive their program. A durable take reads back in other programs after
// every write; a recording process killed at random moments leaves a file libsndfile and
// sox read to its last buffer. Takes a crash left unfinished, made by hand from finished
// ones the way a killed recorder leaves them (placeholder or stale sizes, a partial
// frame, a trailing chunk cut off), are repaired; libsndfile and sox check the result. A
// take that is also damaged is refused and its bytes stay as they were.

#include "audiofile/CUnfinishedTake.h"
#include "tests/audiofile/AudioFileHarness.h"
#include "tests/audiofile/RecordedWave.h"
#include "tests/support/SndfileWave.h"
#include "tests/support/SoxWave.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

using namespace wavetest;

namespace {

constexpr int rate = 48000;
constexpr int block = 1023;
constexpr qint64 header = CWaveFile::recordingHeaderSize;

// A finished take of `blocks` blocks of the grid signal, recorded through the node.
void recordTake(const QString& path, int channels, int blocks, int peakBlock = 0)
{
    Recorder rec(channels, rate, block);
    ASSERT_EQ(rec.node.setPeakBlockSize(peakBlock), 0);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(false);
    rec.feed(blocks);
    rec.node.stopFile();
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(const QString& path, qint64 at, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.seek(at));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

void append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray u32(std::uint32_t value)
{
    QByteArray bytes;
    waveBytes::putU32(bytes, value);
    return bytes;
}

// The RIFF and data sizes a crash before the first commit leaves: four spaces each.
void placeholderSizes(const QString& path)
{
    overwrite(path, 4, "    ");
    overwrite(path, header - 4, "    ");
}

// libsndfile reads `frames` frames of the grid signal, sox the same count, and the
// header's sizes agree with the file's length.
void expectFinishedGrid(const QString& path, int channels, std::int64_t frames)
{
    SF_INFO info;
    const std::vector<float> samples = sndfile_wave::readInterleaved(path, info);
    ASSERT_EQ(info.channels, channels);
    ASSERT_EQ(info.frames, frames);
    EXPECT_EQ(soxFrames(path), frames);
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (samples[i] != gridSample(std::int64_t(i) / channels, int(i % std::size_t(channels))))
            FAIL() << "sample " << i << " differs";
    const QByteArray bytes = contents(path);
    EXPECT_EQ(waveBytes::u32(bytes, 4), std::uint32_t(bytes.size() - 8));
    EXPECT_EQ(waveBytes::u32(bytes, header - 4), std::uint32_t(frames * channels * 3));
}

} // namespace

TEST(UnfinishedTake, PlaceholderSizesAreRepairedToEveryWholeFrameTheFileHolds)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    recordTake(path, 3, 5); // 5115 frames of 9 bytes: odd data, a pad byte follows
    const std::int64_t frames = 5 * block;
    // What a killed recorder leaves: no sizes yet, no pad byte, part of a next frame.
    QFile::resize(path, header + frames * 9);
    placeholderSizes(path);
    append(path, gridBytes24(frames, 1, 3).left(5));
    EXPECT_NE(soxFrames(path), frames) << "sox takes the placeholder for a size";

    CUnfinishedTake take(path);
    ASSERT_EQ(take.state(), CUnfinishedTake::stateUnfinished);
    EXPECT_EQ(take.frames(), frames);
    ASSERT_TRUE(take.repair()) << take.reason().toStdString();
    expectFinishedGrid(path, 3, frames);
    EXPECT_EQ(QFileInfo(path).size(), header + frames * 9 + 1);
    EXPECT_EQ(CUnfinishedTake(path).state(), CUnfinishedTake::stateFinished);
}

TEST(UnfinishedTake, FramesWrittenAfterTheLastCommitAreKept)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    recordTake(path, 2, 4);
    const std::int64_t committed = 4 * block, later = 777;
    append(path, gridBytes24(committed, int(later), 2) + gridBytes24(committed + later, 1, 2).left(4));
    CUnfinishedTake take(path);
    ASSERT_EQ(take.state(), CUnfinishedTake::stateUnfinished);
    ASSERT_TRUE(take.repair());
    expectFinishedGrid(path, 2, committed + later);
}

TEST(UnfinishedTake, ATakeCutOffWhileItsPeakEnvelopeWasWrittenKeepsItsSamples)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    recordTake(path, 2, 6, 300);
    const qint64 dataEnd = header + 6 * block * 6;
    ASSERT_EQ(contents(path).mid(int(dataEnd), 4), "levl");
    // Killed while writing the envelope: the chunk is cut, the RIFF size is the old one.
    QFile::resize(path, dataEnd + 60);
    overwrite(path, 4, u32(std::uint32_t(dataEnd - 8)));
    CUnfinishedTake take(path);
    ASSERT_EQ(take.state(), CUnfinishedTake::stateUnfinished);
    ASSERT_TRUE(take.repair());
    expectFinishedGrid(path, 2, 6 * block);
    EXPECT_EQ(QFileInfo(path).size(), dataEnd);
}

TEST(UnfinishedTake, AnUnfinishedTakeThatIsAlsoDamagedIsRefusedAndLeftAsItIs)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    struct Case {
        const char* name;
        std::function<void(const QString&)> damage;
        const char* reason;
    };
    const Case cases[] = {
        {"no frame size", [](const QString& p) { overwrite(p, 48 + 8 + 2, QByteArray(2, '\0')); }, "format"},
        {"cut inside the header", [](const QString& p) { QFile::resize(p, 60); }, "runs past the end"},
        {"no data chunk", [](const QString& p) { overwrite(p, header - 8, "xxxx"); }, "runs past the end"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(path);
        recordTake(path, 2, 3);
        placeholderSizes(path);
        c.damage(path);
        const QByteArray before = contents(path);
        CUnfinishedTake take(path);
        EXPECT_EQ(take.state(), CUnfinishedTake::stateDamaged);
        EXPECT_TRUE(take.reason().contains(QString::fromLatin1(c.reason))) << take.reason().toStdString();
        EXPECT_FALSE(take.repair());
        EXPECT_EQ(contents(path), before);
    }
}

TEST(UnfinishedTake, AFolderListsItsUnfinishedAndDamagedTakesOnly)
{
    QTemporaryDir dir;
    recordTake(scratchPath(dir, "a_finished.wav"), 2, 2);
    recordTake(scratchPath(dir, "b_unfinished.wav"), 2, 2);
    placeholderSizes(scratchPath(dir, "b_unfinished.wav"));
    recordTake(scratchPath(dir, "c_damaged.wav"), 2, 2);
    placeholderSizes(scratchPath(dir, "c_damaged.wav"));
    QFile::resize(scratchPath(dir, "c_damaged.wav"), 40);
    {
        QFile text(scratchPath(dir, "d_notes.wav"));
        ASSERT_TRUE(text.open(QIODevice::WriteOnly));
        text.write("not a wave file at all");
    }
    const std::vector<CUnfinishedTake> takes = CUnfinishedTake::find(dir.path());
    ASSERT_EQ(takes.size(), 2u);
    EXPECT_TRUE(takes[0].path().endsWith("b_unfinished.wav"));
    EXPECT_EQ(takes[0].state(), CUnfinishedTake::stateUnfinished);
    EXPECT_TRUE(takes[1].path().endsWith("c_damaged.wav"));
    EXPECT_EQ(takes[1].state(), CUnfinishedTake::stateDamaged);
}

TEST(UnfinishedTake, PastFourGiBTheRepairWritesRf64Sizes)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "huge.wav");
    recordTake(path, 2, 1);
    // A sparse file: the samples beyond the first block are zeros that cost no disk.
    const std::int64_t frames = (std::int64_t(1) << 32) / 6 + 1000;
    ASSERT_TRUE(QFile::resize(path, header + frames * 6 + 3));
    placeholderSizes(path);
    CUnfinishedTake take(path);
    ASSERT_EQ(take.state(), CUnfinishedTake::stateUnfinished);
    ASSERT_TRUE(take.repair());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray head = file.read(header);
    EXPECT_EQ(head.left(4), "RF64");
    EXPECT_EQ(head.mid(12, 4), "ds64");
    EXPECT_EQ(waveBytes::u64(head, 28), std::uint64_t(frames * 6));
    SF_INFO info{};
    SNDFILE* sndfile = sf_open(QFile::encodeName(path).constData(), SFM_READ, &info);
    ASSERT_NE(sndfile, nullptr) << sf_strerror(nullptr);
    sf_close(sndfile);
    EXPECT_EQ(info.frames, frames);
    EXPECT_EQ(QFileInfo(path).size(), header + frames * 6);
}

TEST(ExclusiveTake, ARecordingNeverReplacesAFileThatExists)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    recordTake(path, 2, 2);
    const QByteArray before = contents(path);
    Recorder second(2, rate, block);
    EXPECT_EQ(second.node.openFile(path, CAudioFile::modeRecording), CAudioFile::fileErrExists);
    EXPECT_EQ(contents(path), before);
    const QString folder = scratchPath(dir, "nowhere/take.wav");
    EXPECT_EQ(second.node.openFile(folder, CAudioFile::modeRecording), CAudioFile::fileErrCreate);
    EXPECT_FALSE(second.node.openError().isEmpty());
}

TEST(DurableTake, AfterEveryWriteOtherProgramsReadEverySampleWrittenSoFar)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "open.wav");
    CWaveFile wave;
    ASSERT_EQ(wave.create(path, 2, rate, waveTagPcm, 3, 0), waveOk);
    wave.setDurable(true);
    for (int write = 1; write <= 3; ++write) {
        SCOPED_TRACE(write);
        wave.writeSamples(gridBytes24((write - 1) * 1001, 1001, 2));
        // Still open, as a crash would leave it.
        expectFinishedGrid(path, 2, write * 1001);
    }
    wave.close();
    expectFinishedGrid(path, 2, 3 * 1001);
}

// A child process records and is killed with SIGKILL at random moments, as a crash or a
// power cut would end it (the kernel keeps what was written either way).
TEST(CrashedTake, ATakeKilledAtAnyMomentReadsBackWithEveryBufferWritten)
{
    constexpr int channels = 4, childBlock = 512;
    constexpr std::int64_t bufferFrames = std::int64_t(5 * (rate / childBlock)) * childBlock;
    QTemporaryDir dir;
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> moment(0, 900);
    for (int run = 0; run < 24; ++run) {
        SCOPED_TRACE(run);
        const QString path = dir.filePath(QStringLiteral("take%1.wav").arg(run));
        QProcess child;
        child.start(QStringLiteral(VK_TAKE_WRITER),
                    {path, QString::number(channels), QString::number(rate), QString::number(childBlock),
                     QStringLiteral("8")});
        ASSERT_TRUE(child.waitForReadyRead(10000)) << child.readAllStandardError().toStdString();
        std::this_thread::sleep_for(std::chrono::milliseconds(moment(random)));
        ::kill(pid_t(child.processId()), SIGKILL);
        ASSERT_TRUE(child.waitForFinished(10000));
        ASSERT_EQ(child.exitStatus(), QProcess::CrashExit);
        const QList<QByteArray> lines = child.readAllStandardOutput().split('\n');
        ASSERT_GE(lines.size(), 2);
        ASSERT_EQ(lines[0], "started");
        // The last whole line; a line being written when the kill came is cut short.
        const std::int64_t fed = lines.size() > 2 ? lines[lines.size() - 2].toLongLong() : 0;

        SF_INFO info;
        const std::vector<float> samples = sndfile_wave::readInterleaved(path, info);
        ASSERT_EQ(info.channels, channels);
        EXPECT_LE(info.frames, fed + childBlock);
        EXPECT_GE(info.frames, fed - bufferFrames);
        EXPECT_EQ(soxFrames(path), info.frames);
        for (std::size_t i = 0; i < samples.size(); ++i)
            if (samples[i] != gridSample(std::int64_t(i) / channels, int(i % std::size_t(channels))))
                FAIL() << "sample " << i << " differs";

        // The repair keeps every whole frame that reached the file.
        CUnfinishedTake take(path);
        if (take.state() == CUnfinishedTake::stateUnfinished) {
            ASSERT_TRUE(take.repair()) << take.reason().toStdString();
        }
        ASSERT_EQ(take.state(), CUnfinishedTake::stateFinished);
        SF_INFO repaired;
        sndfile_wave::readInterleaved(path, repaired);
        EXPECT_GE(repaired.frames, info.frames);
        EXPECT_LE(repaired.frames, fed + childBlock);
        expectFinishedGrid(path, channels, repaired.frames);
    }
}
