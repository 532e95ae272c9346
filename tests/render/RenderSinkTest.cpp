#include "render/CRenderSink.h"
#include "tests/support/SndfileWave.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <vector>

namespace {

// Three channels of distinct ramps, with values beyond full scale in the last one.
std::vector<std::vector<float>> testBlocks(int frames)
{
    std::vector<std::vector<float>> channels(3, std::vector<float>(std::size_t(frames)));
    for (int i = 0; i < frames; ++i) {
        channels[0][std::size_t(i)] = float(i) / float(frames) - 0.5f;
        channels[1][std::size_t(i)] = 0.25f * std::sin(0.01f * float(i));
        channels[2][std::size_t(i)] = 1.5f * (i % 2 ? 1.0f : -1.0f);
    }
    return channels;
}

class RenderSink : public ::testing::TestWithParam<int> {
protected:
    QTemporaryDir mDir;
};

TEST_P(RenderSink, WritesInterleavedChannelsThatAnotherReaderGetsBack)
{
    const int format = GetParam();
    const int block = 64, partial = 37;
    const auto channels = testBlocks(block);
    const float* pointers[3] = {channels[0].data(), channels[1].data(), channels[2].data()};
    const QString name = mDir.filePath("beams.wav");

    CRenderSink sink;
    ASSERT_TRUE(sink.open(name, 3, 44100, format, block));
    ASSERT_TRUE(sink.write(pointers, block));
    ASSERT_TRUE(sink.write(pointers, partial));
    sink.close();
    EXPECT_EQ(sink.framesWritten(), block + partial);
    // Only the third channel goes beyond full scale, in every frame.
    EXPECT_EQ(sink.clippedSamples(), format == CRenderSink::formatFloat32 ? 0 : block + partial);

    SF_INFO info;
    const std::vector<float> samples = sndfile_wave::readInterleaved(name, info);
    ASSERT_EQ(info.channels, 3);
    ASSERT_EQ(info.frames, block + partial);
    EXPECT_EQ(info.samplerate, 44100);
    EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, format == CRenderSink::formatFloat32 ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_24);
    // Floats come back exactly; 24-bit within one step, and saturated at full scale.
    const float step = format == CRenderSink::formatFloat32 ? 0.0f : 1.0f / 8388608.0f;
    for (int i = 0; i < block + partial; ++i)
        for (int c = 0; c < 3; ++c) {
            float expected = channels[std::size_t(c)][std::size_t(i % block)];
            if (format == CRenderSink::formatInteger24)
                expected = std::clamp(expected, -1.0f, 1.0f - step);
            ASSERT_NEAR(samples[std::size_t(i * 3 + c)], expected, step) << "frame " << i << " channel " << c;
        }
}

INSTANTIATE_TEST_SUITE_P(BothSampleFormats, RenderSink,
                         ::testing::Values(int(CRenderSink::formatInteger24), int(CRenderSink::formatFloat32)));

} // namespace
