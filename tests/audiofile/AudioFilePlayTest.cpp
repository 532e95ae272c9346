// Playing through the ring: every sample format arrives at full scale 1.0, channels map
// onto the outputs, and the transport (end of file, seek, pause, stop, start sample)
// lands where a user expects it.

#include "tests/audiofile/AudioFileHarness.h"
#include "tests/support/AllocationCounter.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace wavetest;

namespace {

constexpr int rate = 8000;
constexpr int frames = 1024; // 7 blocks a second: 35 blocks, 35840 frames a buffer

struct SourceFormat {
    int tag, bytes;
};

// The value a file sample of this format stands for, by the conversion law of playing:
// the integer over 2^(bits - 1), 8-bit samples unsigned; float samples as they are.
float expectedSample(std::int64_t frame, int channel, SourceFormat format)
{
    if (format.tag == waveTagFloat)
        return gridSample(frame, channel);
    const int bits = 8 * format.bytes;
    const std::int64_t span = std::int64_t(1) << bits;
    std::int64_t code = (frame * 7919 + std::int64_t(channel) * 104729 + 12345) % span;
    if (format.bytes > 1)
        code -= span / 2;
    return float(double(code) / double(span / 2));
}

QByteArray sourceBytes(std::int64_t first, std::int64_t count, int channels, SourceFormat format)
{
    QByteArray bytes;
    for (std::int64_t frame = first; frame < first + count; ++frame)
        for (int c = 0; c < channels; ++c) {
            const float value = expectedSample(frame, c, format);
            if (format.tag == waveTagFloat) {
                bytes.append(reinterpret_cast<const char*>(&value), 4);
                continue;
            }
            const std::int64_t half = std::int64_t(1) << (8 * format.bytes - 1);
            const std::int64_t code = std::llround(double(value) * double(half));
            for (int b = 0; b < format.bytes; ++b)
                bytes.append(char((code >> (8 * b)) & 0xFF));
        }
    return bytes;
}

void writeSource(const QString& path, std::int64_t count, int channels, SourceFormat format)
{
    CWaveFile wave;
    ASSERT_EQ(wave.create(path, channels, rate, format.tag, format.bytes, 0), waveOk);
    for (std::int64_t first = 0; first < count; first += 10000)
        wave.writeSamples(sourceBytes(first, std::min<std::int64_t>(10000, count - first), channels, format));
}

struct Player {
    explicit Player(int outputs)
        : out(outputs, frames)
    {
        application();
        node.setFormat(vkAudioInterface(), vkAudioInterface::timeDomain(outputs, float(rate), frames));
    }
    // One block; with the disk thread, waits (running events) until the block side has
    // its buffer, as the position shows.
    void pull()
    {
        const std::int32_t before = node.position();
        node.process(nullptr, out.data(), frames);
        if (node.position() != before || node.position() > std::int32_t(node.fileFrames()))
            return;
        ASSERT_TRUE(runEventsUntil([&] {
            node.process(nullptr, out.data(), frames);
            return node.position() != before;
        }));
    }
    // Index of the first output sample of the last block that isn't the file's frame
    // `first` onward (zero past `fileFrames` or past the file's channels); -1 when none.
    int firstMismatch(std::int64_t first, int fileChannels, SourceFormat format, std::int64_t fileFrames) const
    {
        for (std::size_t c = 0; c < out.samples.size(); ++c)
            for (int i = 0; i < frames; ++i) {
                const std::int64_t frame = first + i;
                const bool silent = int(c) >= fileChannels || frame >= fileFrames;
                const float expected = silent ? 0.0f : expectedSample(frame, int(c), format);
                if (out.samples[c][std::size_t(i)] != expected)
                    return int(c) * frames + i;
            }
        return -1;
    }

    CAudioFile node;
    Block out;
};

struct FormatTest : testing::TestWithParam<std::tuple<SourceFormat, bool>> {};

} // namespace

TEST_P(FormatTest, PlaysEverySampleOfTheFileInOrder)
{
    const auto [format, useThread] = GetParam();
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "source.wav");
    constexpr std::int64_t fileFrames = 80000; // two buffers and a part
    writeSource(path, fileFrames, 2, format);
    Player player(2);
    ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
    player.node.startFile(useThread);
    for (std::int64_t first = 0; first < fileFrames + frames; first += frames) {
        SCOPED_TRACE(first);
        if (!useThread)
            player.node.checkQueue();
        player.pull();
        ASSERT_EQ(player.firstMismatch(first, 2, format, fileFrames), -1);
    }
    // Past the end the position rests at the first block boundary behind the file.
    const std::int32_t rest = std::int32_t((fileFrames / frames + 1) * frames);
    EXPECT_EQ(player.node.position(), rest);
    player.pull();
    EXPECT_EQ(player.node.position(), rest);
    EXPECT_EQ(player.firstMismatch(rest, 2, format, fileFrames), -1);
}

INSTANTIATE_TEST_SUITE_P(Formats, FormatTest,
                         testing::Combine(testing::Values(SourceFormat{1, 1}, SourceFormat{1, 2},
                                                          SourceFormat{1, 3}, SourceFormat{1, 4},
                                                          SourceFormat{3, 4}),
                                          testing::Bool()));

TEST(Playing, ScalesFollowTheSampleFormat)
{
    QTemporaryDir dir;
    Player player(1);
    for (const auto& [format, scale] : {std::pair{SourceFormat{1, 4}, 2147483648.0f},
                                        std::pair{SourceFormat{1, 2}, 32768.0f},
                                        std::pair{SourceFormat{3, 4}, 1.0f}}) {
        const QString path = scratchPath(dir, format.tag == 3 ? "float.wav" : "int.wav");
        writeSource(path, 100, 1, format);
        ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
        EXPECT_EQ(player.node.ring().scale(), scale);
        EXPECT_EQ(player.node.ring().inverseScale(), 1.0f / scale);
    }
}

TEST(Playing, FileChannelsMapOntoTheOutputs)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "three.wav");
    const SourceFormat format{1, 3};
    writeSource(path, 5000, 3, format);
    for (int outputs : {2, 3, 5}) {
        SCOPED_TRACE(outputs);
        Player player(outputs);
        for (auto& channel : player.out.samples)
            std::fill(channel.begin(), channel.end(), 0.5f);
        ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
        player.node.startFile(false);
        player.pull();
        player.pull();
        // Surplus file channels go to the spare sink, surplus outputs are zeroed.
        EXPECT_EQ(player.firstMismatch(frames, 3, format, 5000), -1);
    }
}

TEST(Playing, TheTransportLandsWhereAUserExpects)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "transport.wav");
    const SourceFormat format{1, 2};
    constexpr std::int64_t fileFrames = 50000;
    writeSource(path, fileFrames, 1, format);
    Player player(1);
    ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
    player.node.startFile(true);
    player.pull();

    // A seek beyond the end lands on the end.
    player.node.seekFile(900000);
    EXPECT_EQ(player.node.position(), fileFrames);

    // A seek while paused plays the new place on resume.
    player.node.seekFile(1000);
    player.pull();
    player.node.pauseFile();
    player.node.seekFile(20000);
    EXPECT_EQ(player.node.transport(), CAudioFile::transportPaused);
    player.node.process(nullptr, player.out.data(), frames);
    EXPECT_EQ(player.firstMismatch(0, 0, format, 0), -1); // paused: silence
    player.node.startFile(true);
    player.pull();
    EXPECT_EQ(player.firstMismatch(20000, 1, format, fileFrames), -1);

    // "startsample" up to the file's length; a stop rewinds to it.
    const std::int32_t start = 30000;
    EXPECT_EQ(player.node.setObjectParameter(0, 1, &start, 1, vkTypeInt), 0);
    player.pull();
    player.node.stopFile();
    EXPECT_EQ(player.node.position(), start);
    player.node.startFile(true);
    player.pull();
    EXPECT_EQ(player.firstMismatch(start, 1, format, fileFrames), -1);

    const std::int32_t atEnd = std::int32_t(fileFrames), pastEnd = atEnd + 1;
    EXPECT_EQ(player.node.setStartSample(atEnd), 0);
    EXPECT_EQ(player.node.setStartSample(pastEnd), vkErrRange);
    EXPECT_EQ(player.node.setObjectParameter(0, 1, &pastEnd, 1, vkTypeInt), 0); // refused, silently
    std::int32_t got = 0;
    EXPECT_EQ(player.node.getObjectParameter(0, 1, &got, 1, vkTypeInt), 0);
    EXPECT_EQ(got, atEnd);
}

TEST(Playing, APlayerThatOutrunsTheDiskWaitsInSilenceAndResumesInPlace)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "outrun.wav");
    const SourceFormat format{1, 3};
    constexpr std::int64_t fileFrames = 200000; // more than the ring holds
    writeSource(path, fileFrames, 1, format);
    Player player(1);
    ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
    player.node.startFile(false); // primes all four buffers, then nothing is handed over
    const std::int64_t ringFrames = 4 * 35 * frames;
    for (std::int64_t first = 0; first < ringFrames; first += frames)
        player.node.process(nullptr, player.out.data(), frames);
    EXPECT_EQ(player.node.position(), ringFrames);
    for (auto& channel : player.out.samples)
        std::fill(channel.begin(), channel.end(), 0.5f);
    player.node.process(nullptr, player.out.data(), frames);
    EXPECT_EQ(player.node.position(), ringFrames);
    EXPECT_EQ(player.firstMismatch(0, 0, format, 0), -1); // silence, not stale samples
    player.node.checkQueue();
    player.node.process(nullptr, player.out.data(), frames);
    EXPECT_EQ(player.firstMismatch(ringFrames, 1, format, fileFrames), -1);
}

TEST(Playing, ProcessNeverAllocatesAcrossBuffers)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "long.wav");
    writeSource(path, 150000, 4, SourceFormat{1, 3});
    Player player(4);
    ASSERT_EQ(player.node.openFile(path, CAudioFile::modePlaying), 0);
    player.node.startFile(false);
    std::size_t allocations = 0;
    for (int b = 0; b < 140; ++b) {
        player.node.checkQueue();
        AllocationCounter counter;
        player.node.process(nullptr, player.out.data(), frames);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(player.node.position(), 140 * frames);
}

TEST(Playing, OpeningGivesTheDocumentedCodes)
{
    QTemporaryDir dir;
    const QString garbage = scratchPath(dir, "garbage.wav");
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("RIFF\x10\0\0\0WAVEfmt \x04\0\0\0abcd");
    file.close();
    const QString alaw = scratchPath(dir, "alaw.wav");
    {
        QFile a(alaw);
        ASSERT_TRUE(a.open(QIODevice::WriteOnly));
        a.write(riff(chunk("fmt ", fmtBody(6, 1, 8000, 8)) + chunk("data", QByteArray(800, '\x55'))));
    }

    Player player(2);
    EXPECT_EQ(player.node.openFile(garbage, CAudioFile::modePlaying), CAudioFile::fileErrOpen);
    EXPECT_EQ(player.node.mode(), CAudioFile::modeNoFile);
    EXPECT_EQ(player.node.openFile(alaw, 7), CAudioFile::fileErrOpen);
    EXPECT_EQ(player.node.openFile(alaw, CAudioFile::modeRecording), CAudioFile::fileErrNoChannels);
    // Neither PCM nor float: refused, but open and read as integers.
    EXPECT_EQ(player.node.openFile(alaw, CAudioFile::modePlaying), CAudioFile::fileErrFormatTag);
    EXPECT_EQ(player.node.fileFrames(), 800);
    EXPECT_EQ(player.node.mode(), CAudioFile::modePlaying);

    // A ring for 65535 channels of 32 bits is refused, and the node stays safe to run.
    const QString wide = scratchPath(dir, "wide.wav");
    {
        QFile w(wide);
        ASSERT_TRUE(w.open(QIODevice::WriteOnly));
        w.write(riff(chunk("fmt ", fmtBody(1, 65535, 48000, 32)) + chunk("data", QByteArray(64, '\1'))));
    }
    EXPECT_EQ(player.node.openFile(wide, CAudioFile::modePlaying), vkErrOutOfMemory);
    player.node.startFile(false);
    EXPECT_EQ(player.node.process(nullptr, player.out.data(), frames), vkOk);

    Player noOutputs(0);
    EXPECT_EQ(noOutputs.node.openFile(alaw, CAudioFile::modePlaying), CAudioFile::fileErrNoChannels);
}

TEST(Playing, ParametersFollowTheTables)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "p.wav");
    writeSource(path, 3000, 1, SourceFormat{1, 2});
    Player player(1);
    EXPECT_EQ(player.node.version(), 10100u);
    const QByteArray name = path.toLocal8Bit();
    ASSERT_LE(name.size(), 33) << "the scratch path must fit the parameter";
    EXPECT_EQ(player.node.setObjectParameter(0, 0, name.constData(), int(name.size()), vkTypeString), 0);
    EXPECT_EQ(player.node.fileFrames(), 3000);
    const QByteArray tooLong(34, 'x');
    EXPECT_EQ(player.node.setObjectParameter(0, 0, tooLong.constData(), 34, vkTypeString), vkErrFileName);
    EXPECT_EQ(player.node.setObjectParameter(0, 2, nullptr, 1, vkTypeInt), vkErrFileParameterId);
    char back[40] = {};
    EXPECT_EQ(player.node.getObjectParameter(0, 0, back, 33, vkTypeString), 0);
    EXPECT_EQ(QByteArray(back), name);
    EXPECT_EQ(player.node.getObjectParameter(0, 2, back, 1, vkTypeInt), vkErrParameterId);

    const bool yes = true;
    EXPECT_EQ(player.node.setChannelParameter(0, 0, &yes, 1, vkTypeBool), 0);
    bool running = false, stopped = true;
    EXPECT_EQ(player.node.getChannelParameter(0, 0, &running, 1, vkTypeBool), 0);
    EXPECT_EQ(player.node.getChannelParameter(0, 1, &stopped, 1, vkTypeBool), 0);
    EXPECT_TRUE(running);
    EXPECT_FALSE(stopped);
    const std::int32_t frame = 1500;
    EXPECT_EQ(player.node.setChannelParameter(0, 3, &frame, 1, vkTypeInt), 0);
    std::int32_t position = 0;
    EXPECT_EQ(player.node.getChannelParameter(0, 3, &position, 1, vkTypeInt), 0);
    EXPECT_EQ(position, frame);
    EXPECT_EQ(player.node.setChannelParameter(0, 3, &frame, 1, vkTypeFloat), vkErrParameterShape);
    EXPECT_EQ(player.node.setChannelParameter(0, 4, &yes, 1, vkTypeBool), vkErrParameterId);
    EXPECT_EQ(player.node.getChannelParameter(0, -1, &running, 1, vkTypeBool), vkErrParameterId);

    // Blocks are whole: another length is refused.
    EXPECT_EQ(player.node.process(nullptr, player.out.data(), frames - 1), vkErrFormat);
    CAudioFile fresh;
    EXPECT_EQ(fresh.process(nullptr, player.out.data(), frames), vkErrNotConfigured);
    EXPECT_EQ(fresh.setFormat(vkAudioInterface::timeDomain(1, rate, 256), vkAudioInterface::timeDomain(1, rate, 512)),
              vkErrFormat);

    // A node with both directions can't take a file name; a started one takes none.
    CAudioFile both;
    both.setFormat(vkAudioInterface::timeDomain(1, rate, frames), vkAudioInterface::timeDomain(1, rate, frames));
    EXPECT_EQ(both.setObjectParameter(0, 0, name.constData(), int(name.size()), vkTypeString),
              CAudioFile::fileErrDirection);
    both.start();
    EXPECT_EQ(both.setObjectParameter(0, 0, name.constData(), int(name.size()), vkTypeString), vkErrStarted);
    EXPECT_EQ(both.setFormat(vkAudioInterface(), vkAudioInterface()), vkErrStarted);
}
