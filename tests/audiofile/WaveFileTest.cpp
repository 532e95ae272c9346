// The wave file layer on its own: the recording header and its patching, the scanner's
// result codes on malformed input read from memory, and the lenient parts of the reader.

#include "audiofile/CWaveFile.h"
#include "tests/audiofile/WaveTestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace wavetest;

namespace {

struct Format {
    int channels = -1, rate = -1, tag = -1, bytes = -1, levl = -1;
};

int scanBytes(CWaveFile& wave, QBuffer& device, const QByteArray& bytes, Format* format = nullptr)
{
    device.setData(bytes);
    device.open(QIODevice::ReadOnly);
    Format local;
    Format& f = format ? *format : local;
    return wave.openDevice(&device, f.channels, f.rate, f.tag, f.bytes, f.levl);
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

} // namespace

TEST(WaveFile, RecordingHeaderIsLaidDownAndPatchedAsDocumented)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "take.wav");
    CWaveFile wave;
    ASSERT_EQ(wave.create(path, 1, 44100, waveTagPcm, 3, 0), waveOk);
    // While recording: blanks in both sizes, the reserve named junk.
    const QByteArray open = readAll(path);
    ASSERT_EQ(open.size(), CWaveFile::recordingHeaderSize);
    EXPECT_EQ(open.mid(0, 16), QByteArray("RIFF    WAVEjunk"));
    EXPECT_EQ(open.mid(96, 8), QByteArray("data    "));

    ASSERT_EQ(wave.writeSamples(QByteArray("\x01\x02\x03", 3)), 3);
    EXPECT_EQ(wave.close(), 0);
    const QByteArray bytes = readAll(path);
    // Three data bytes and one pad byte that the data size doesn't count.
    ASSERT_EQ(bytes.size(), 108);
    EXPECT_EQ(waveBytes::u32(bytes, 4), 100u);
    EXPECT_EQ(bytes.mid(12, 4), QByteArray("junk"));
    EXPECT_EQ(waveBytes::u32(bytes, 16), 28u);
    EXPECT_EQ(bytes.mid(20, 28), QByteArray(28, '\0'));
    EXPECT_EQ(bytes.mid(48, 4), QByteArray("fmt "));
    EXPECT_EQ(waveBytes::u32(bytes, 52), 40u);
    EXPECT_EQ(waveBytes::u16(bytes, 56), 0xFFFEu);
    EXPECT_EQ(waveBytes::u16(bytes, 58), 1u);
    EXPECT_EQ(waveBytes::u32(bytes, 60), 44100u);
    EXPECT_EQ(waveBytes::u32(bytes, 64), 3u * 44100u);
    EXPECT_EQ(waveBytes::u16(bytes, 68), 3u);
    EXPECT_EQ(waveBytes::u16(bytes, 70), 24u);
    EXPECT_EQ(waveBytes::u16(bytes, 72), 22u);
    EXPECT_EQ(waveBytes::u16(bytes, 74), 24u);
    EXPECT_EQ(waveBytes::u32(bytes, 76), 0u);
    EXPECT_EQ(bytes.mid(80, 16).toHex(), QByteArray("0100000000001000800000aa00389b71"));
    EXPECT_EQ(waveBytes::u32(bytes, 100), 3u);
    EXPECT_EQ(bytes.mid(104), QByteArray("\x01\x02\x03\x00", 4));
}

TEST(WaveFile, RecordingWithoutSamplesLeavesNoFile)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "empty.wav");
    {
        CWaveFile wave;
        ASSERT_EQ(wave.create(path, 2, 48000, waveTagPcm, 3, 0), waveOk);
        EXPECT_TRUE(QFileInfo::exists(path));
    } // the destructor finishes the recording
    EXPECT_FALSE(QFileInfo::exists(path));
}

TEST(WaveFile, OpeningRefusesEmptyNamesAndMissingFiles)
{
    CWaveFile wave;
    Format f;
    EXPECT_EQ(wave.create(QString(), 1, 48000, 1, 3, 0), waveErrNoFile);
    EXPECT_EQ(wave.openExisting(QString(), f.channels, f.rate, f.tag, f.bytes, f.levl), waveErrNoFile);
    EXPECT_EQ(wave.openExisting(QStringLiteral("/nonexistent/x.wav"), f.channels, f.rate, f.tag, f.bytes, f.levl),
              waveErrOpen);
    EXPECT_EQ(wave.create(QStringLiteral("/nonexistent/x.wav"), 1, 48000, 1, 3, 0), waveErrOpen);
    EXPECT_EQ(wave.openDevice(nullptr, f.channels, f.rate, f.tag, f.bytes, f.levl), waveErrNoFile);
    EXPECT_FALSE(wave.isOpen());
}

TEST(WaveFile, ReadsBackWhatItWritesInEveryFormat)
{
    QTemporaryDir dir;
    struct Case {
        int tag, bytes, channels;
    };
    for (const Case c : {Case{1, 1, 1}, Case{1, 2, 2}, Case{1, 3, 32}, Case{1, 4, 3}, Case{3, 4, 2}}) {
        SCOPED_TRACE(testing::Message() << "tag " << c.tag << " bytes " << c.bytes << " channels " << c.channels);
        const QString path = scratchPath(dir, "round.wav");
        QByteArray samples(c.bytes * c.channels * 37, '\0');
        for (int i = 0; i < samples.size(); ++i)
            samples[i] = char(i * 13 + 5);
        {
            CWaveFile writer;
            ASSERT_EQ(writer.create(path, c.channels, 44100, c.tag, c.bytes, 0), waveOk);
            writer.writeSamples(samples);
        }
        CWaveFile reader;
        Format f;
        ASSERT_EQ(reader.openExisting(path, f.channels, f.rate, f.tag, f.bytes, f.levl), waveOk);
        EXPECT_EQ(f.channels, c.channels);
        EXPECT_EQ(f.rate, 44100);
        EXPECT_EQ(f.tag, c.tag);
        EXPECT_EQ(f.bytes, c.bytes);
        EXPECT_EQ(reader.numFrames(), 37);
        EXPECT_EQ(reader.dataOffset(), 104u);
        QByteArray back(samples.size(), '\x7f');
        EXPECT_EQ(reader.readSamples(back), samples.size());
        EXPECT_EQ(back, samples);
    }
}

TEST(WaveFile, ScannerGivesEachFailureItsCode)
{
    const QByteArray fmt = chunk("fmt ", fmtBody(1, 2, 48000, 16));
    const QByteArray data = chunk("data", QByteArray(8, '\1'));
    QByteArray truncatedFmt = riff(fmt + data).left(12 + 8 + 10);
    QByteArray fmtHeadOnly = riff(QByteArray("fmt ") + QByteArray::fromHex("10000000"));
    QByteArray badExtension = extensibleBody(2, 48000, 24, 1);
    badExtension[16] = 20;
    struct Case {
        const char* what;
        QByteArray bytes;
        int code;
    } cases[] = {
        {"empty", QByteArray(), waveErrShortRead},
        {"eleven bytes", QByteArray("RIFF\0\0\0\0WAV", 11), waveErrShortRead},
        {"not riff", QByteArray("RIFX\0\0\0\0WAVE", 12), waveErrNotWave},
        {"not wave", QByteArray("RIFF\0\0\0\0AVI ", 12), waveErrNotWave},
        {"header only", QByteArray("RIFF\0\0\0\0WAVE", 12), waveOk},
        {"plain", riff(fmt + data), waveOk},
        {"incomplete chunk head at the end", riff(fmt + data + QByteArray("LIS")), waveOk},
        {"fmt body cut short", truncatedFmt, waveErrShortRead},
        {"fmt size beyond the file", fmtHeadOnly, waveErrShortRead},
        {"fmt of 14 bytes", riff(chunk("fmt ", fmtBody(1, 2, 48000, 16).left(14)) + data), waveErrChunk},
        {"ds64 of 20 bytes", riff(chunk("ds64", QByteArray(20, '\0')) + fmt + data), waveErrChunk},
        {"bext of 600 bytes", riff(fmt + data + chunk("bext", QByteArray(600, ' '))), waveErrChunk},
        {"bext cut short", riff(fmt + data + chunk("bext", QByteArray(700, ' '))).left(400), waveErrShortRead},
        {"levl head cut short", riff(fmt + data + chunk("levl", QByteArray(100, '\0'))), waveErrShortRead},
        {"extension with cbSize 20", riff(chunk("fmt ", badExtension) + data), waveErrChunk},
        {"extension with ADPCM sub-format", riff(chunk("fmt ", extensibleBody(2, 48000, 16, 2)) + data),
         waveErrChunk},
        {"extension of 30 bytes", riff(chunk("fmt ", extensibleBody(2, 48000, 16, 1).left(30)) + data),
         waveErrChunk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWaveFile wave;
        QBuffer device;
        EXPECT_EQ(scanBytes(wave, device, c.bytes), c.code);
        EXPECT_EQ(wave.isOpen(), c.code == waveOk);
    }
}

TEST(WaveFile, FmtChunkVariantsParseAsDocumented)
{
    const QByteArray data = chunk("data", QByteArray(12, '\0'));
    QByteArray plain18 = fmtBody(1, 2, 44100, 16);
    waveBytes::putU16(plain18, 0);
    struct Case {
        const char* what;
        QByteArray body;
        int tag, bits;
        unsigned size;
        bool extensible;
    } cases[] = {
        {"plain with cbSize 0", plain18, 1, 16, 18, false},
        {"extensible of 16 bytes passes as PCM", fmtBody(0xFFFE, 2, 44100, 16), 1, 16, 16, true},
        {"extensible float", extensibleBody(2, 44100, 32, 3), 3, 32, 40, true},
        {"plain float", fmtBody(3, 2, 44100, 32), 3, 32, 16, false},
        {"tag 6 is no error here", fmtBody(6, 2, 44100, 8), 0, 8, 16, false},
        {"12 bits are 16", fmtBody(1, 2, 44100, 12), 1, 16, 16, false},
        {"20 bits are 24", extensibleBody(2, 44100, 20, 1), 1, 24, 40, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWaveFile wave;
        QBuffer device;
        Format f;
        ASSERT_EQ(scanBytes(wave, device, riff(chunk("fmt ", c.body) + data), &f), waveOk);
        EXPECT_EQ(f.tag, c.tag);
        EXPECT_EQ(wave.fmt().mBitsPerSample, c.bits);
        EXPECT_EQ(wave.fmt().mSize, c.size);
        EXPECT_EQ(wave.fmt().mExtensible, c.extensible);
        // Block align and byte rate come from channels, bits and rate, not the file.
        EXPECT_EQ(wave.fmt().mBlockAlign, 2 * c.bits / 8);
        EXPECT_EQ(wave.fmt().mByteRate, 44100u * 2 * c.bits / 8);
    }
}

TEST(WaveFile, ChunksInCapitalsAndOddSizedChunksAreFollowed)
{
    QByteArray samples(16, '\0');
    for (int i = 0; i < samples.size(); ++i)
        samples[i] = char(i + 1);
    const QByteArray bytes = riff(chunk("JUNK", QByteArray(3, 'x')) + chunk("FMT ", fmtBody(1, 2, 48000, 16))
                                  + chunk("odd ", QByteArray(5, 'y')) + chunk("DATA", samples)
                                  + chunk("LIST", QByteArray(7, 'z')));
    CWaveFile wave;
    QBuffer device;
    Format f;
    ASSERT_EQ(scanBytes(wave, device, bytes, &f), waveOk);
    EXPECT_EQ(f.channels, 2);
    EXPECT_EQ(wave.numFrames(), 4);
    QByteArray back(16, '\0');
    EXPECT_EQ(wave.readSamples(back), 16);
    EXPECT_EQ(back, samples);
}

TEST(WaveFile, ReadsStopAtTheEndOfTheDataChunk)
{
    const QByteArray samples("\x10\x11\x12\x13\x14\x15\x16\x17", 8);
    const QByteArray bytes = riff(chunk("fmt ", fmtBody(1, 2, 48000, 16)) + chunk("data", samples)
                                  + chunk("LIST", QByteArray(64, 'z')));
    CWaveFile wave;
    QBuffer device;
    ASSERT_EQ(scanBytes(wave, device, bytes), waveOk);
    // From frame 1: four bytes of data, then zeros instead of the trailing chunk.
    ASSERT_TRUE(wave.seekFrames(1));
    QByteArray part(10, '\x7f');
    EXPECT_EQ(wave.readSamples(part), 4);
    EXPECT_EQ(part.left(4), samples.mid(4));
    EXPECT_EQ(part.mid(4), QByteArray(6, '\0'));
    QByteArray past(5, '\x7f');
    EXPECT_EQ(wave.readSamples(past), 0);
    EXPECT_EQ(past, QByteArray(5, '\0'));
}

TEST(WaveFile, SizesFromDs64AreTakenOnlyWhereTheDataChunkAsksForThem)
{
    QByteArray ds64;
    waveBytes::putU64(ds64, 0);
    waveBytes::putU64(ds64, 8); // data size
    waveBytes::putU64(ds64, 2);
    waveBytes::putU32(ds64, 0);
    const QByteArray fmt = chunk("fmt ", fmtBody(1, 2, 48000, 16));
    QByteArray lookup("data");
    waveBytes::putU32(lookup, 0xFFFFFFFFu);
    lookup.append(QByteArray(12, '\3'));
    QByteArray explicitSize("data");
    waveBytes::putU32(explicitSize, 12);
    explicitSize.append(QByteArray(12, '\3'));

    CWaveFile wave;
    QBuffer a, b, c;
    ASSERT_EQ(scanBytes(wave, a, riff(chunk("ds64", ds64) + fmt + lookup, "RF64")), waveOk);
    EXPECT_EQ(wave.dataSize(), 8u);
    EXPECT_EQ(wave.numFrames(), 2);
    ASSERT_EQ(scanBytes(wave, b, riff(chunk("ds64", ds64) + fmt + explicitSize, "RF64")), waveOk);
    EXPECT_EQ(wave.dataSize(), 12u);
    // Without a ds64 chunk the lookup finds a size of 0.
    ASSERT_EQ(scanBytes(wave, c, riff(fmt + lookup, "RF64")), waveOk);
    EXPECT_EQ(wave.dataSize(), 0u);
}

TEST(WaveFile, ACutShortOrUnfinishedFileGivesWhatItHolds)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "unfinished.wav");
    CWaveFile writer;
    ASSERT_EQ(writer.create(path, 2, 48000, waveTagPcm, 3, 0), waveOk);
    writer.writeSamples(QByteArray(6 * 10, '\5'));
    // Read while the recording still runs: the sizes are blanks.
    QFile copy(path);
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    const QByteArray unfinished = copy.readAll();
    copy.close();
    CWaveFile reader;
    QBuffer device;
    Format f;
    ASSERT_EQ(scanBytes(reader, device, unfinished, &f), waveOk);
    EXPECT_EQ(f.channels, 2);
    EXPECT_EQ(reader.numFrames(), 10);
}

TEST(WaveFile, NumFramesOfAFileWithoutChannelsIsZero)
{
    CWaveFile wave;
    QBuffer device;
    ASSERT_EQ(scanBytes(wave, device, riff(chunk("fmt ", fmtBody(1, 0, 48000, 16)) + chunk("data", "abcd"))),
              waveOk);
    EXPECT_EQ(wave.dataSize(), 4u);
    EXPECT_EQ(wave.numFrames(), 0);
}

TEST(WaveFile, BextAndLevlRoundTripWithTheAlignmentGap)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "bwf.wav");
    QByteArray peaks;
    for (int i = 0; i < 20; ++i)
        peaks.append(char(i * 3));
    {
        CWaveFile wave;
        ASSERT_EQ(wave.create(path, 1, 48000, waveTagPcm, 3, 256), waveOk);
        wave.setWriteBext(true);
        wave.bext().mDescription = "first take";
        wave.bext().mCodingHistory = "A=PCM,F=48000"; // odd length: padded
        wave.bext().mTimeReferenceLow = 1234;
        wave.writeSamples(QByteArray(6, '\1')); // 104 + 6 + 618 = 728: levl starts at 728 % 4 == 0
        wave.writeSamples(QByteArray(3, '\2')); // odd data: one pad byte, then a gap of 2
        wave.setPeakData(peaks);
    }
    const QByteArray bytes = readAll(path);
    const int bext = 104 + 9 + 1;
    ASSERT_EQ(bytes.mid(bext, 4), QByteArray("bext"));
    EXPECT_EQ(waveBytes::u32(bytes, bext + 4), 602u + 13u);
    const int levl = bext + 8 + 602 + 14;
    ASSERT_EQ(bytes.mid(levl, 4), QByteArray("levl"));
    EXPECT_EQ(levl % 4, 2);
    EXPECT_EQ(waveBytes::u32(bytes, levl + 4), 120u + 2u + 20u);
    EXPECT_EQ(waveBytes::u32(bytes, levl + 8 + 28), 130u); // offset to peaks: 128 and the gap
    EXPECT_EQ(bytes.mid(levl + 130, 20), peaks);
    EXPECT_EQ(waveBytes::u32(bytes, 4), std::uint32_t(bytes.size() - 8));

    CWaveFile reader;
    Format f;
    ASSERT_EQ(reader.openExisting(path, f.channels, f.rate, f.tag, f.bytes, f.levl), waveOk);
    EXPECT_EQ(f.levl, 256);
    EXPECT_EQ(reader.numFrames(), 3);
    EXPECT_EQ(reader.bext().mDescription.left(10), QByteArray("first take"));
    EXPECT_EQ(reader.bext().mCodingHistory, QByteArray("A=PCM,F=48000"));
    EXPECT_EQ(reader.bext().mTimeReferenceLow, 1234u);
    EXPECT_EQ(reader.levl().mPeakData, peaks);
    EXPECT_EQ(reader.levl().mOffsetToPeaks, 128u); // re-reading sets it back
    EXPECT_EQ(reader.levl().mNumPeakFrames, 10u);
    EXPECT_TRUE(reader.levl().mDate.isValid());
    EXPECT_TRUE(reader.levl().mTime.isValid());
}

TEST(WaveFile, ForeignLevlChunksWithOddFieldsAreReadSafely)
{
    const QByteArray fmtData = chunk("fmt ", fmtBody(1, 1, 48000, 16)) + chunk("data", "abcd");
    auto levl = [](std::uint32_t channels, std::uint32_t offset, int peakBytes) {
        QByteArray body;
        for (std::uint32_t field : {0u, 1u, 2u, 64u, channels, 99u, 0u, offset})
            waveBytes::putU32(body, field);
        body.append(QByteArray(88, '\0'));
        body.append(QByteArray(int(offset) - 128 > 0 ? int(offset) - 128 : 0, '\x55'));
        for (int i = 0; i < peakBytes; ++i)
            body.append(char(0x10 + i));
        return chunk("levl", body);
    };
    struct Case {
        const char* what;
        QByteArray bytes;
        QByteArray peaks;
        unsigned frames;
    } cases[] = {
        {"offset 136", levl(1, 136, 6), QByteArray("\x10\x11\x12\x13\x14\x15"), 3},
        {"no peak channels", levl(0, 128, 4), QByteArray("\x10\x11\x12\x13"), 0},
        {"offset inside the fixed block", levl(1, 40, 4), QByteArray(), 0},
        {"offset past the chunk", levl(1, 4000, 0), QByteArray(), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CWaveFile wave;
        QBuffer device;
        Format f;
        ASSERT_EQ(scanBytes(wave, device, riff(fmtData + c.bytes), &f), waveOk);
        EXPECT_EQ(f.levl, 64);
        EXPECT_EQ(wave.levl().mPeakData, c.peaks);
        EXPECT_EQ(wave.levl().mNumPeakFrames, c.frames);
    }
}
