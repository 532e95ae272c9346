// What the renderer takes as input: every container libsndfile reads, giving the beams of
// the wave file it was made from, and wave files whose header disagrees with their length
// (a take a crash left unfinished), read to their last whole frame with a warning.

#include "RenderProgram.h"
#include "RenderTestSupport.h"
#include "tests/support/SoxWave.h"

#include <QtEndian>

using namespace render_test;

namespace {

constexpr int kFrames = 5000;
constexpr int kFrameBytes = 32 * 3;

class RenderInputFiles : public RenderProgram {
protected:
    void SetUp() override { ASSERT_TRUE(writeWave(path("take.wav"), mTake, SF_FORMAT_PCM_24)); }

    // Two beams of `input`, as 32-bit floats so that nothing is rounded on the way out.
    Channels beams(const QString& input, const QString& output, QString* warning = nullptr)
    {
        const Outcome result =
            run({input, "--beam", "30,90,card3", "--beam", "200,60,hyper3,6", "--float", "-q", "-o", output});
        EXPECT_EQ(result.status, 0) << qPrintable(input + ": " + result.err);
        if (warning)
            *warning = result.err;
        else
            EXPECT_TRUE(result.err.isEmpty()) << qPrintable(input + ": " + result.err);
        return readWave(path(output));
    }

    QByteArray bytesOf(const QString& name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void writeBytes(const QString& name, const QByteArray& bytes) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    // The take with the 32-bit size fields of its RIFF head and data chunk set to `dataSize`.
    QByteArray takeClaiming(quint32 dataSize) const
    {
        QByteArray bytes = bytesOf("take.wav");
        const qsizetype data = bytes.indexOf("data");
        qToLittleEndian<quint32>(dataSize, bytes.data() + data + 4);
        // The RIFF size counts from byte 8: the data chunk's head starts `data - 8` into it.
        qToLittleEndian<quint32>(quint32(data) + dataSize, bytes.data() + 4);
        return bytes;
    }

    // The take as libsndfile writes RF64: a ds64 chunk first, the data size in it.
    void writeRf64(const QString& name) const
    {
        SF_INFO info{};
        info.samplerate = mTake.sampleRate;
        info.channels = mTake.channels();
        info.format = SF_FORMAT_RF64 | SF_FORMAT_PCM_24;
        SNDFILE* rf64 = sf_open(QFile::encodeName(path(name)).constData(), SFM_WRITE, &info);
        ASSERT_NE(rf64, nullptr);
        std::vector<float> interleaved(std::size_t(kFrames) * 32);
        for (int i = 0; i < kFrames; ++i)
            for (int c = 0; c < 32; ++c)
                interleaved[std::size_t(i * 32 + c)] = mTake.data[std::size_t(c)][std::size_t(i)];
        EXPECT_EQ(sf_writef_float(rf64, interleaved.data(), kFrames), kFrames);
        sf_close(rf64);
        ASSERT_TRUE(bytesOf(name).startsWith("RF64"));
    }

    // The take's first `frames` frames, written whole: what an unfinished take must give.
    Channels headOfTake(int frames) const
    {
        Channels head = mTake;
        for (auto& channel : head.data)
            channel.resize(std::size_t(frames));
        return head;
    }

    // 24-bit noise, so that every container holds the samples exactly.
    const Channels mTake = noise(32, kFrames, 44100, 11);
};

TEST_F(RenderInputFiles, ContainersThatLibsndfileReadsGiveTheBeamsOfTheWaveOriginal)
{
    const Channels original = beams("take.wav", "take-beams.wav");
    ASSERT_EQ(original.channels(), 2);
    ASSERT_EQ(original.frames(), kFrames);
    for (const char* container : {"aiff", "w64", "caf"}) {
        const QString name = QStringLiteral("take.%1").arg(container);
        ASSERT_TRUE(runSox("sox", {path("take.wav"), path(name)})) << container;
        EXPECT_EQ(beams(name, name + "-beams.wav").data, original.data) << container;
    }
    // sox writes no RF64; libsndfile does.
    writeRf64("take.rf64");
    EXPECT_EQ(beams("take.rf64", "rf64-beams.wav").data, original.data);
}

// FLAC holds at most 8 channels, so a FLAC file is never the array's recording: it is
// copied straight through like any other channel count, sample for sample.
TEST_F(RenderInputFiles, AFlacFileIsCopiedStraightThroughLikeItsWaveOriginal)
{
    ASSERT_TRUE(writeWave(path("eight.wav"), noise(8, kFrames, 48000, 5), SF_FORMAT_PCM_24));
    ASSERT_TRUE(runSox("sox", {path("eight.wav"), path("eight.flac")}));
    const QStringList options{"--float", "-q", "-o"};
    ASSERT_EQ(run(QStringList{"eight.wav"} + options + QStringList{"wav-out.wav"}).status, 0);
    const Outcome flac = run(QStringList{"eight.flac"} + options + QStringList{"flac-out.wav"});
    ASSERT_EQ(flac.status, 0) << qPrintable(flac.err);
    const Channels fromWave = readWave(path("wav-out.wav"));
    ASSERT_EQ(fromWave.channels(), 8);
    EXPECT_EQ(readWave(path("flac-out.wav")).data, fromWave.data);
}

TEST_F(RenderInputFiles, ATakeCutShortIsReadToItsLastWholeFrameWithBothLengths)
{
    ASSERT_TRUE(writeWave(path("head.wav"), headOfTake(3000), SF_FORMAT_PCM_24));
    const Channels expected = beams("head.wav", "head-beams.wav");
    // 3000 frames and half a frame of the 5000 that the header promises.
    const QByteArray take = bytesOf("take.wav");
    writeBytes("cut.wav", take.left(take.indexOf("data") + 8 + 3000 * kFrameBytes + kFrameBytes / 2));
    QString warning;
    const Channels cut = beams("cut.wav", "cut-beams.wav", &warning);
    EXPECT_EQ(warning, "vantoria-render: warning: cut.wav is unfinished: its header promises 5000 frames (0.113 s), "
                       "the file holds 3000 frames (0.068 s); rendering the 3000 frames there\n");
    EXPECT_EQ(cut.data, expected.data);
}

// Samples written after the header's sizes were last brought up to date, or a header
// that never got its sizes: the samples run to the end of the file.
TEST_F(RenderInputFiles, ATakeLongerThanItsHeaderSaysIsReadToItsEnd)
{
    const Channels expected = beams("take.wav", "take-beams.wav");
    writeBytes("stale.wav", takeClaiming(1000 * kFrameBytes));
    writeBytes("unsized.wav", takeClaiming(0));
    QString warning;
    EXPECT_EQ(beams("stale.wav", "stale-beams.wav", &warning).data, expected.data);
    EXPECT_TRUE(warning.contains("stale.wav is unfinished: its header promises 1000 frames (0.023 s), the file holds "
                                 "5000 frames (0.113 s)"))
        << qPrintable(warning);
    EXPECT_EQ(beams("unsized.wav", "unsized-beams.wav", &warning).data, expected.data);
    EXPECT_TRUE(warning.contains("its header promises 0 frames (0.000 s), the file holds 5000 frames")) << qPrintable(warning);

    // A chunk after the samples is no sign of an unfinished take.
    QByteArray tagged = bytesOf("take.wav");
    tagged += QByteArray("LIST\x04\x00\x00\x00INFO", 12);
    qToLittleEndian<quint32>(quint32(tagged.size() - 8), tagged.data() + 4);
    writeBytes("tagged.wav", tagged);
    EXPECT_EQ(beams("tagged.wav", "tagged-beams.wav").data, expected.data);
}

TEST_F(RenderInputFiles, AnUnfinishedRf64TakeIsReadToItsEndToo)
{
    const Channels expected = beams("take.wav", "take-beams.wav");
    writeRf64("take.rf64");
    // The data size lives in the ds64 chunk; one that lags behind the samples.
    QByteArray bytes = bytesOf("take.rf64");
    ASSERT_EQ(bytes.mid(12, 4), "ds64");
    qToLittleEndian<quint64>(quint64(2000) * kFrameBytes, bytes.data() + 28);
    writeBytes("stale.rf64", bytes);
    QString warning;
    EXPECT_EQ(beams("stale.rf64", "stale-beams.wav", &warning).data, expected.data);
    EXPECT_TRUE(warning.contains("promises 2000 frames (0.045 s), the file holds 5000 frames")) << qPrintable(warning);
}

} // namespace
