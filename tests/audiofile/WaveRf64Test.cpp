// RF64 on real files past 4 GiB, through the real writer and reader. The files are sparse
// (a seek over the middle of the data), so they cost almost no disk.

#include "audiofile/CWaveFile.h"
#include "tests/audiofile/WaveTestSupport.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

using namespace wavetest;

namespace {

QByteArray header(const QString& path, int bytes)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.read(bytes);
}

// Bytes the file really occupies on the disk.
qint64 diskUse(const QString& path)
{
    struct stat info {};
    return ::stat(path.toLocal8Bit().constData(), &info) == 0 ? qint64(info.st_blocks) * 512 : -1;
}

// A file of `frames` frames of which only the first and last ten are written.
void writeSparse(const QString& path, int channels, int bytesPerSample, std::int32_t frames, bool bext = false)
{
    CWaveFile wave;
    ASSERT_EQ(wave.create(path, channels, 48000, waveTagPcm, bytesPerSample, 0), waveOk);
    wave.setWriteBext(bext);
    wave.writeSamples(gridBytes24(0, 10, channels).left(10 * channels * bytesPerSample));
    ASSERT_TRUE(wave.seekFrames(frames - 10));
    wave.writeSamples(gridBytes24(frames - 10, 10, channels).left(10 * channels * bytesPerSample));
    wave.close();
}

} // namespace

TEST(Rf64, ARecordingPastFourGiBBecomesRf64AndReadsBack)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "huge.wav");
    constexpr int channels = 32;
    constexpr std::int32_t frames = 45000000; // 96 bytes a frame: 4.32e9 bytes of data
    const std::uint64_t dataSize = std::uint64_t(frames) * channels * 3;
    writeSparse(path, channels, 3, frames);
    const qint64 length = QFileInfo(path).size();
    ASSERT_EQ(std::uint64_t(length), 104 + dataSize);
    EXPECT_LT(diskUse(path), 1 << 20);

    const QByteArray head = header(path, 104);
    EXPECT_EQ(head.left(4), QByteArray("RF64"));
    EXPECT_EQ(waveBytes::u32(head, 4), 0xFFFFFFFFu);
    EXPECT_EQ(head.mid(12, 4), QByteArray("ds64"));
    EXPECT_EQ(waveBytes::u32(head, 16), 28u);
    EXPECT_EQ(waveBytes::u64(head, 20), std::uint64_t(length) - 8);
    EXPECT_EQ(waveBytes::u64(head, 28), dataSize);
    EXPECT_EQ(waveBytes::u64(head, 36), std::uint64_t(frames));
    EXPECT_EQ(waveBytes::u32(head, 100), 0xFFFFFFFFu);

    CWaveFile reader;
    int c, rate, tag, bytes, levl;
    ASSERT_EQ(reader.openExisting(path, c, rate, tag, bytes, levl), waveOk);
    EXPECT_EQ(reader.dataSize(), dataSize); // from ds64
    EXPECT_EQ(reader.numFrames(), frames);
    ASSERT_TRUE(reader.seekFrames(frames - 10));
    QByteArray tail(10 * channels * 3 + 6, '\x7f');
    EXPECT_EQ(reader.readSamples(tail), 10 * channels * 3);
    EXPECT_EQ(tail.left(10 * channels * 3), gridBytes24(frames - 10, 10, channels));
    reader.close();

    // libsndfile opens it as RF64 and finds the tail where we put it.
    SF_INFO info{};
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.frames, frames);
    EXPECT_EQ(info.channels, channels);
    EXPECT_EQ(info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_RF64);
    ASSERT_EQ(sf_seek(file, frames - 10, SEEK_SET), frames - 10);
    std::vector<int> samples(10 * channels);
    EXPECT_EQ(sf_readf_int(file, samples.data(), 10), 10);
    sf_close(file);
    for (int i = 0; i < 10 * channels; ++i)
        ASSERT_EQ(samples[std::size_t(i)] >> 8, std::int32_t(gridSample(frames - 10 + i / channels, i % channels)
                                                             * 8388608.0f));
    // sox 14.4.2 is left out here: past 4 GiB it seeks by a truncated offset and reads
    // the whole file through, which takes minutes on any file of this size.
}

TEST(Rf64, TheSwitchComesAtARiffSizeOf0xFFFFFFFF)
{
    QTemporaryDir dir;
    // Two channels of one byte: the RIFF size is 96 plus the data size.
    const std::int32_t largestPlain = std::int32_t((0xFFFFFFFEu - 96) / 2);
    struct Case {
        const char* what;
        std::int32_t frames;
        bool bext;
        bool rf64;
    } cases[] = {
        {"RIFF size 0xFFFFFFFE", largestPlain, false, false},
        {"RIFF size 0x100000000", largestPlain + 1, false, true},
        {"over by the trailing bext chunk alone", largestPlain - 50, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const QString path = scratchPath(dir, "edge.wav");
        writeSparse(path, 2, 1, c.frames, c.bext);
        const std::uint64_t dataSize = std::uint64_t(c.frames) * 2;
        const QByteArray head = header(path, 104);
        const std::uint64_t riffSize = std::uint64_t(QFileInfo(path).size()) - 8;
        EXPECT_EQ(head.left(4), QByteArray(c.rf64 ? "RF64" : "RIFF"));
        EXPECT_EQ(head.mid(12, 4), QByteArray(c.rf64 ? "ds64" : "junk"));
        EXPECT_EQ(waveBytes::u32(head, 4), c.rf64 ? 0xFFFFFFFFu : std::uint32_t(riffSize));
        EXPECT_EQ(waveBytes::u32(head, 100), c.rf64 ? 0xFFFFFFFFu : std::uint32_t(dataSize));
        EXPECT_EQ(waveBytes::u64(head, 20), c.rf64 ? riffSize : 0u);
        CWaveFile reader;
        int channels, rate, tag, bytes, levl;
        ASSERT_EQ(reader.openExisting(path, channels, rate, tag, bytes, levl), waveOk);
        EXPECT_EQ(reader.dataSize(), dataSize);
        EXPECT_EQ(reader.numFrames(), c.frames);
        QFile::remove(path);
    }
}
