// Other programs read what we write, and we read what they write. libsndfile is used as
// a library; sox runs as a program when it is installed.

#include "tests/audiofile/AudioFileHarness.h"
#include "tests/support/SndfileWave.h"
#include "tests/support/SoxWave.h"

#include <QStandardPaths>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>

using namespace wavetest;

namespace {

bool haveSox()
{
    return !QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty();
}

// What our playing node makes of a file, frame after frame.
std::vector<float> playedSamples(const QString& path, int channels, std::int64_t frames)
{
    constexpr int block = 256;
    application();
    CAudioFile node;
    node.setFormat(vkAudioInterface(), vkAudioInterface::timeDomain(channels, 44100.0f, block));
    if (node.openFile(path, CAudioFile::modePlaying) != 0)
        return {};
    node.startFile(false);
    Block out(channels, block);
    std::vector<float> samples;
    for (std::int64_t first = 0; first < frames; first += block) {
        node.checkQueue();
        node.process(nullptr, out.data(), block);
        for (int i = 0; i < block && first + i < frames; ++i)
            for (int c = 0; c < channels; ++c)
                samples.push_back(out.samples[std::size_t(c)][std::size_t(i)]);
    }
    return samples;
}

struct RecordedChannels : testing::TestWithParam<int> {};

} // namespace

TEST_P(RecordedChannels, OurRecordingsOpenInLibsndfileAndSoxWithTheirSamples)
{
    const int channels = GetParam();
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "ours.wav");
    Recorder rec(channels, 48000, 512);
    ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), 0);
    rec.node.startFile(false);
    rec.feed(7);
    rec.node.stopFile();
    const std::int64_t frames = 7 * 512;

    SF_INFO info{};
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.frames, frames);
    EXPECT_EQ(info.channels, channels);
    EXPECT_EQ(info.samplerate, 48000);
    EXPECT_EQ(info.format, SF_FORMAT_WAVEX | SF_FORMAT_PCM_24);
    std::vector<int> samples(std::size_t(frames * channels));
    EXPECT_EQ(sf_readf_int(file, samples.data(), frames), frames);
    sf_close(file);
    std::vector<std::int32_t> codes;
    for (int s : samples)
        codes.push_back(s >> 8); // libsndfile puts 24-bit samples in the top bytes
    EXPECT_EQ(firstGridMismatch(codes, channels), -1);

    if (!haveSox())
        GTEST_SKIP() << "sox is not installed";
    EXPECT_EQ(soxInfo(path, "-s"), frames);
    EXPECT_EQ(soxInfo(path, "-c"), channels);
    const QByteArray raw = runSox(QStringLiteral("sox"), {path, "-t", "s32", "-"}).value_or(QByteArray());
    ASSERT_EQ(raw.size(), frames * channels * 4);
    std::vector<std::int32_t> soxCodes(std::size_t(frames * channels));
    std::memcpy(soxCodes.data(), raw.constData(), std::size_t(raw.size()));
    for (auto& code : soxCodes)
        code >>= 8;
    EXPECT_EQ(firstGridMismatch(soxCodes, channels), -1);
}

INSTANTIATE_TEST_SUITE_P(Channels, RecordedChannels, testing::Values(1, 2, 32));

TEST(Interop, WePlayWhatLibsndfileWrites)
{
    QTemporaryDir dir;
    constexpr int channels = 3;
    constexpr std::int64_t frames = 1500;
    std::vector<double> signal(std::size_t(frames * channels));
    for (std::size_t i = 0; i < signal.size(); ++i)
        signal[i] = 0.9 * std::sin(0.01 * double(i) + double(i % channels));
    struct Case {
        const char* name;
        int format;
    } cases[] = {
        {"u8", SF_FORMAT_WAV | SF_FORMAT_PCM_U8},   {"s16", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
        {"s24", SF_FORMAT_WAV | SF_FORMAT_PCM_24},  {"s32", SF_FORMAT_WAV | SF_FORMAT_PCM_32},
        {"f32", SF_FORMAT_WAV | SF_FORMAT_FLOAT},   {"x16", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16},
        {"x24", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24}, {"xf32", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT},
        {"rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_24},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = scratchPath(dir, c.name);
        SF_INFO info{0, 44100, channels, c.format, 0, 0};
        SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_WRITE, &info);
        ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
        sf_writef_double(file, signal.data(), frames);
        sf_close(file);

        SF_INFO back{};
        const std::vector<float> reference = sndfile_wave::readInterleaved(path, back);
        const std::vector<float> ours = playedSamples(path, channels, frames);
        ASSERT_EQ(ours.size(), reference.size());
        // 8-bit samples are unsigned and keep their offset of 128 here: one full scale.
        const float offset = (c.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_U8 ? 1.0f : 0.0f;
        for (std::size_t i = 0; i < ours.size(); ++i)
            ASSERT_EQ(ours[i], reference[i] + offset) << "sample " << i;
    }
}

TEST(Interop, TheirFilesWithChunkIdsInCapitalsAndOddChunksPlayTheSame)
{
    QTemporaryDir dir;
    const QString original = scratchPath(dir, "original.wav");
    constexpr int channels = 1;
    constexpr std::int64_t frames = 999;
    std::vector<double> signal(std::size_t(frames * channels));
    for (std::size_t i = 0; i < signal.size(); ++i)
        signal[i] = 0.7 * std::cos(0.02 * double(i));
    SF_INFO info{0, 48000, channels, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 0, 0};
    SNDFILE* file = sf_open(original.toLocal8Bit().constData(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    sf_writef_double(file, signal.data(), frames); // 999 * 3 bytes: an odd-sized data chunk
    sf_close(file);

    QFile in(original);
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    QByteArray bytes = in.readAll();
    const int data = int(bytes.indexOf("data"));
    ASSERT_GT(data, 12);
    ASSERT_EQ(waveBytes::u32(bytes, data + 4), 2997u);
    bytes.insert(data, chunk("odd ", QByteArray(5, 'o'))); // with its pad byte
    bytes.replace("fmt ", "FMT ").replace("data", "DATA");
    const QString changed = scratchPath(dir, "changed.wav");
    QFile out(changed);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(bytes);
    out.close();

    SF_INFO back{};
    const std::vector<float> reference = sndfile_wave::readInterleaved(original, back);
    EXPECT_EQ(playedSamples(changed, channels, frames), reference);
}

TEST(Interop, WePlayWhatSoxWrites)
{
    if (!haveSox())
        GTEST_SKIP() << "sox is not installed";
    QTemporaryDir dir;
    constexpr int frames = 2000;
    struct Case {
        const char* name;
        QStringList output;
        int channels;
    } cases[] = {
        {"plain16", {"-t", "wavpcm", "-b", "16", "-e", "signed-integer"}, 2},
        {"ext24", {"-t", "wav", "-b", "24", "-e", "signed-integer"}, 4},
        {"ext32", {"-t", "wav", "-b", "32", "-e", "signed-integer"}, 3},
        {"float", {"-t", "wav", "-b", "32", "-e", "floating-point"}, 2},
        {"u8", {"-t", "wav", "-b", "8", "-e", "unsigned-integer"}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = scratchPath(dir, c.name) + ".wav";
        QStringList arguments{"-n", "-r", "44100", "-c", QString::number(c.channels)};
        arguments << c.output << path << "synth" << QString::number(frames) + "s" << "sine" << "300" << "sine"
                  << "1000" << "vol" << "0.8";
        ASSERT_TRUE(runSox(QStringLiteral("sox"), arguments));
        SF_INFO info{};
        const std::vector<float> reference = sndfile_wave::readInterleaved(path, info);
        ASSERT_EQ(info.channels, c.channels);
        ASSERT_GT(info.frames, frames / 2);
        const std::vector<float> ours = playedSamples(path, c.channels, info.frames);
        ASSERT_EQ(ours.size(), reference.size());
        const float offset = QByteArray(c.name) == "u8" ? 1.0f : 0.0f;
        for (std::size_t i = 0; i < ours.size(); ++i)
            ASSERT_EQ(ours[i], reference[i] + offset) << "sample " << i;
    }
}
