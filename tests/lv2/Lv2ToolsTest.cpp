// The bundle as Debian's LV2 tools see it: lv2ls and lv2info list the plug-ins and their
// ports, sord_validate checks the Turtle against the LV2 schemas, and lv2apply on a
// 32-channel take gives the beams and the AmbiX channels vantoria-render gives, sample for
// sample, one reported latency later, and the ears the renderer gives from them.

#include "plugins/lv2/CPatternChoices.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "tests/lv2/Lv2ToolRun.h"
#include "tests/support/DefaultScene.h"
#include "tests/support/SndfileWave.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

namespace bf = vk_lv2::beamformer;

using lv2_tool::Result;

int count(const QString& text, const QString& pattern)
{
    return int(text.count(QRegularExpression(pattern, QRegularExpression::MultilineOption)));
}

} // namespace

TEST(Lv2Tools, Lv2lsAndLv2infoListThePluginsAndTheirPortsAsDescribed)
{
    const Result list = lv2_tool::run("lv2ls", {});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    EXPECT_TRUE(list.out.contains(vk_lv2::kBeamformerUri)) << list.out.toStdString();
    EXPECT_TRUE(list.out.contains(vk_lv2::kBinauralUri)) << list.out.toStdString();
    EXPECT_TRUE(list.out.contains(vk_lv2::kEncoderUri)) << list.out.toStdString();

    const Result info = lv2_tool::run("lv2info", {vk_lv2::kBeamformerUri});
    ASSERT_EQ(info.exitCode, 0) << info.err.toStdString();
    const QString& text = info.out;
    EXPECT_EQ(count(text, "^\\tPort \\d+:$"), bf::kPortCount);
    EXPECT_EQ(count(text, "Group: +\\S+#capsules$"), vk_lv2::kCapsules);
    EXPECT_EQ(count(text, "Group: +\\S+#beams$"), bf::kBeams);
    EXPECT_EQ(count(text, "Group: +\\S+#beam_18$"), bf::kBeamControls);
    EXPECT_TRUE(text.contains(QStringLiteral("Has latency:       yes, reported by port %1").arg(bf::kLatency)));
    EXPECT_EQ(count(text, "Symbol: +mute_\\d\\d$"), bf::kBeams);
    // Every pattern of the engine's library is a named choice of every pattern control.
    const CPatternChoices patterns;
    ASSERT_EQ(patterns.patternCount(), 12);
    for (int p = 0; p < patterns.patternCount(); ++p)
        EXPECT_EQ(count(text, QStringLiteral("^\\t\\t\\t%1\\.0 = \"%2\"$").arg(p).arg(QString::fromStdString(patterns.name(p)))),
                  bf::kBeams)
            << patterns.name(p);
    for (const char* label : {"-12 dB", "-6 dB", "0 dB", "6 dB", "12 dB", "Off", "80 Hz", "160 Hz", "320 Hz"})
        EXPECT_GE(count(text, QStringLiteral("= \"%1\"$").arg(label)), 1) << label;
}

TEST(Lv2Tools, Lv2infoShowsTheEncodersCapsulesAndAmbixGroup)
{
    namespace en = vk_lv2::encoder;
    const Result info = lv2_tool::run("lv2info", {vk_lv2::kEncoderUri});
    ASSERT_EQ(info.exitCode, 0) << info.err.toStdString();
    const QString& text = info.out;
    EXPECT_EQ(count(text, "^\\tPort \\d+:$"), en::kPortCount);
    EXPECT_EQ(count(text, "Group: +\\S+#capsules$"), vk_lv2::kCapsules);
    EXPECT_EQ(count(text, "Group: +\\S+#ambix$"), vk_lv2::kAmbixChannels);
    for (int k = 0; k < vk_lv2::kAmbixChannels; ++k)
        EXPECT_EQ(count(text, QStringLiteral("Designation: http://lv2plug.in/ns/ext/port-groups#ACN%1$").arg(k)), 1) << k;
    EXPECT_TRUE(text.contains(QStringLiteral("Has latency:       yes, reported by port %1").arg(en::kLatency)));
    for (const char* symbol : {"yaw", "pitch", "roll"})
        EXPECT_EQ(count(text, QStringLiteral("Symbol: +%1$").arg(symbol)), 1) << symbol;
}

TEST(Lv2Tools, Lv2infoShowsTheDecodersAmbixGroupEarsAndPathParameter)
{
    namespace bi = vk_lv2::binaural;
    const Result info = lv2_tool::run("lv2info", {vk_lv2::kBinauralUri});
    ASSERT_EQ(info.exitCode, 0) << info.err.toStdString();
    const QString& text = info.out;
    EXPECT_EQ(count(text, "^\\tPort \\d+:$"), bi::kPortCount);
    EXPECT_EQ(count(text, "Group: +\\S+#ambix$"), vk_lv2::kAmbixChannels);
    for (int k = 0; k < vk_lv2::kAmbixChannels; ++k)
        EXPECT_EQ(count(text, QStringLiteral("Designation: http://lv2plug.in/ns/ext/port-groups#ACN%1$").arg(k)), 1) << k;
    EXPECT_EQ(count(text, "Designation: http://lv2plug.in/ns/ext/port-groups#(left|right)$"), 2);
    EXPECT_TRUE(text.contains(QStringLiteral("Has latency:       yes, reported by port %1").arg(bi::kLatency)));
    for (const char* symbol : {"yaw", "pitch", "roll", "control", "notify"})
        EXPECT_EQ(count(text, QStringLiteral("Symbol: +%1$").arg(symbol)), 1) << symbol;
    EXPECT_TRUE(text.contains("http://lv2plug.in/ns/ext/state#interface"));
}

TEST(Lv2Tools, TurtleValidatesAgainstTheLv2Schemas)
{
    QStringList files;
    for (const QFileInfo& schema : QDir("/usr/lib/lv2").entryInfoList({"*.lv2"}, QDir::Dirs))
        for (const QFileInfo& ttl : QDir(schema.filePath()).entryInfoList({"*.ttl"}, QDir::Files))
            files << ttl.filePath();
    ASSERT_FALSE(files.isEmpty()) << "no LV2 schema bundles in /usr/lib/lv2 (lv2-dev)";
    const QStringList ours = QDir(VK_LV2_BUNDLE).entryList({"*.ttl"}, QDir::Files);
    ASSERT_EQ(ours.size(), 4);
    for (const QString& ttl : ours)
        files << QDir(VK_LV2_BUNDLE).filePath(ttl);
    const Result check = lv2_tool::run("sord_validate", files);
    EXPECT_EQ(check.exitCode, 0) << check.err.toStdString();
    EXPECT_TRUE(check.err.contains("Found 0 errors") || check.out.contains("Found 0 errors"))
        << check.out.toStdString() << check.err.toStdString();
}

// The default scene's 32 capsule signals at 48 kHz as a float wave file.
QString writeTake(const QTemporaryDir& dir, int rate, int seconds)
{
    const default_scene::Take take = default_scene::render(rate, long(seconds) * rate);
    sndfile_wave::Channels capsules;
    capsules.sampleRate = rate;
    capsules.data = take.capsules;
    const QString input = dir.filePath("take.wav");
    return sndfile_wave::writeWave(input, capsules) ? input : QString();
}

// Samples of `got` from `latency` on that differ from `expected` from 0 on, over the
// length both have.
long differing(const std::vector<float>& got, const std::vector<float>& expected, long latency)
{
    long n = 0;
    for (long t = 0; t + latency < long(got.size()) && t < long(expected.size()); ++t)
        n += got[std::size_t(t + latency)] != expected[std::size_t(t)];
    return n;
}

// Three beams of different patterns, "WNG" values, gains and a mute through both programs.
TEST(Lv2Tools, Lv2applyGivesTheRenderersBeamsSampleForSampleAfterTheReportedLatency)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString input = writeTake(dir, 48000, 2);
    ASSERT_FALSE(input.isEmpty());

    const Result render = lv2_tool::run(VK_RENDER_EXECUTABLE, {input, "--float", "-q", "-o", dir.filePath("render.wav"),
                                                         "--beam", "30,90,card3", "--beam", "150,60,hyper2,6,-4.5",
                                                         "--beam", "270,120,super2,-6,3"});
    ASSERT_EQ(render.exitCode, 0) << render.err.toStdString();
    const Result apply = lv2_tool::run("lv2apply", {"-i", input, "-o", dir.filePath("plugin.wav"),
                                              "-c", "azimuth_01", "30", "-c", "pattern_01", "7",
                                              "-c", "azimuth_02", "150", "-c", "polar_02", "60", "-c", "pattern_02", "5",
                                              "-c", "wng_02", "6", "-c", "gain_02", "-4.5",
                                              "-c", "azimuth_03", "270", "-c", "polar_03", "120", "-c", "pattern_03", "2",
                                              "-c", "wng_03", "-6", "-c", "gain_03", "3", "-c", "mute_04", "1",
                                              vk_lv2::kBeamformerUri});
    ASSERT_EQ(apply.exitCode, 0) << apply.err.toStdString();

    const sndfile_wave::Channels expected = sndfile_wave::readWave(dir.filePath("render.wav"));
    const sndfile_wave::Channels got = sndfile_wave::readWave(dir.filePath("plugin.wav"));
    ASSERT_EQ(expected.channels(), 3);
    ASSERT_EQ(got.channels(), bf::kBeams);
    ASSERT_EQ(got.frames(), 2 * 48000);
    const long latency = vk_lv2::kDefaultBlock;
    for (int b = 0; b < 3; ++b) {
        const auto& g = got.data[std::size_t(b)];
        EXPECT_EQ(differing(g, expected.data[std::size_t(b)], latency), 0) << "beam " << b + 1;
        for (long t = 0; t < latency; ++t)
            ASSERT_EQ(g[std::size_t(t)], 0.0f) << "beam " << b + 1 << " before its latency";
    }
    // The fourth beam, muted, is silent; the others carry the scene.
    EXPECT_TRUE(std::all_of(got.data[3].begin(), got.data[3].end(), [](float s) { return s == 0.0f; }));
    EXPECT_TRUE(std::any_of(got.data[0].begin(), got.data[0].end(), [](float s) { return std::abs(s) > 1e-3f; }));
}

// The renderer's AmbiX and ears from one take; the encoder plug-in on the take gives the
// AmbiX channels one block late, sample for sample, and the decoder plug-in on those
// channels gives the ears.
TEST(Lv2Tools, Lv2applyGivesTheRenderersAmbixAndEarsSampleForSample)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString input = writeTake(dir, 48000, 2);
    ASSERT_FALSE(input.isEmpty());
    const QString ambix = dir.filePath("ambix.wav");
    const QString ears = dir.filePath("ears.wav");
    const Result render = lv2_tool::run(VK_RENDER_EXECUTABLE, {input, "--float", "-q", "--ambix", ambix, "--binaural", ears,
                                                         "--orientation", "30,-10,5"});
    ASSERT_EQ(render.exitCode, 0) << render.err.toStdString();

    const QString encoded = dir.filePath("encoded.wav");
    const Result encode = lv2_tool::run("lv2apply", {"-i", input, "-o", encoded, "-c", "yaw", "30", "-c", "pitch", "-10",
                                               "-c", "roll", "5", vk_lv2::kEncoderUri});
    ASSERT_EQ(encode.exitCode, 0) << encode.err.toStdString();
    const sndfile_wave::Channels expectedAmbix = sndfile_wave::readWave(ambix);
    const sndfile_wave::Channels gotAmbix = sndfile_wave::readWave(encoded);
    ASSERT_EQ(expectedAmbix.channels(), vk_lv2::kAmbixChannels);
    ASSERT_EQ(gotAmbix.channels(), vk_lv2::kAmbixChannels);
    for (int c = 0; c < vk_lv2::kAmbixChannels; ++c)
        EXPECT_EQ(differing(gotAmbix.data[std::size_t(c)], expectedAmbix.data[std::size_t(c)], vk_lv2::kDefaultBlock), 0)
            << "ACN " << c;

    const QString decoded = dir.filePath("decoded.wav");
    const Result decode = lv2_tool::run("lv2apply", {"-i", ambix, "-o", decoded, vk_lv2::kBinauralUri});
    ASSERT_EQ(decode.exitCode, 0) << decode.err.toStdString();
    const sndfile_wave::Channels expectedEars = sndfile_wave::readWave(ears);
    const sndfile_wave::Channels gotEars = sndfile_wave::readWave(decoded);
    ASSERT_EQ(gotEars.channels(), vk_lv2::kEars);
    ASSERT_EQ(gotEars.frames(), expectedEars.frames());
    // Both already carry the decoder's latency, which the plug-in reports. The decoder's
    // FFT plans are measured in each process (FFTW_MEASURE), so two processes may round
    // differently: the ears agree to float rounding, not bit for bit.
    for (int e = 0; e < vk_lv2::kEars; ++e) {
        const auto& g = gotEars.data[std::size_t(e)];
        const auto& x = expectedEars.data[std::size_t(e)];
        float worst = 0.0f;
        for (std::size_t t = 0; t < g.size(); ++t)
            worst = std::max(worst, std::abs(g[t] - x[t]));
        EXPECT_LT(worst, 1e-5f) << "ear " << e;
        EXPECT_TRUE(std::any_of(gotEars.data[std::size_t(e)].begin(), gotEars.data[std::size_t(e)].end(),
                                [](float s) { return std::abs(s) > 1e-3f; }));
    }
}
