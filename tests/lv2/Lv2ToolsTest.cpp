// The bundle as Debian's LV2 tools see it: lv2ls and lv2info list the plug-ins and their
// ports, sord_validate checks the Turtle against the LV2 schemas, and lv2apply on a
// 32-channel take gives the beams vantoria-render gives, sample for sample, one reported
// latency later.

#include "plugins/lv2/CPatternChoices.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "tests/support/DefaultScene.h"
#include "tests/support/SndfileWave.h"

#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

namespace bf = vk_lv2::beamformer;

struct Result {
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs a tool with LV2_PATH at the build tree's bundle and the system's LV2 specifications.
Result runTool(const QString& program, const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LV2_PATH", QFileInfo(VK_LV2_BUNDLE).path() + ":/usr/lib/lv2");
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    if (!process.waitForFinished(120000))
        return {};
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

int count(const QString& text, const QString& pattern)
{
    return int(text.count(QRegularExpression(pattern, QRegularExpression::MultilineOption)));
}

} // namespace

TEST(Lv2Tools, Lv2lsAndLv2infoListThePluginsAndTheirPortsAsDescribed)
{
    const Result list = runTool("lv2ls", {});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    EXPECT_TRUE(list.out.contains(vk_lv2::kBeamformerUri)) << list.out.toStdString();
    EXPECT_TRUE(list.out.contains(vk_lv2::kBinauralUri)) << list.out.toStdString();

    const Result info = runTool("lv2info", {vk_lv2::kBeamformerUri});
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

TEST(Lv2Tools, Lv2infoShowsTheDecodersAmbixGroupEarsAndPathParameter)
{
    namespace bi = vk_lv2::binaural;
    const Result info = runTool("lv2info", {vk_lv2::kBinauralUri});
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
    for (const QFileInfo& spec : QDir("/usr/lib/lv2").entryInfoList({"*.lv2"}, QDir::Dirs))
        for (const QFileInfo& ttl : QDir(spec.filePath()).entryInfoList({"*.ttl"}, QDir::Files))
            files << ttl.filePath();
    ASSERT_FALSE(files.isEmpty()) << "no LV2 specifications in /usr/lib/lv2 (lv2-dev)";
    const QStringList ours = QDir(VK_LV2_BUNDLE).entryList({"*.ttl"}, QDir::Files);
    ASSERT_GE(ours.size(), 3);
    for (const QString& ttl : ours)
        files << QDir(VK_LV2_BUNDLE).filePath(ttl);
    const Result check = runTool("sord_validate", files);
    EXPECT_EQ(check.exitCode, 0) << check.err.toStdString();
    EXPECT_TRUE(check.err.contains("Found 0 errors") || check.out.contains("Found 0 errors"))
        << check.out.toStdString() << check.err.toStdString();
}

// Three beams of different patterns, "WNG" values, gains and a mute through both programs.
TEST(Lv2Tools, Lv2applyGivesTheRenderersBeamsSampleForSampleAfterTheReportedLatency)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const int rate = 48000;
    const default_scene::Take take = default_scene::render(rate, 2 * rate);
    const QString input = dir.filePath("take.wav");
    sndfile_wave::Channels capsules;
    capsules.sampleRate = rate;
    capsules.data = take.capsules;
    ASSERT_TRUE(sndfile_wave::writeWave(input, capsules));

    const Result render = runTool(VK_RENDER_EXECUTABLE, {input, "--float", "-q", "-o", dir.filePath("render.wav"),
                                                         "--beam", "30,90,card3", "--beam", "150,60,hyper2,6,-4.5",
                                                         "--beam", "270,120,super2,-6,3"});
    ASSERT_EQ(render.exitCode, 0) << render.err.toStdString();
    const Result apply = runTool("lv2apply", {"-i", input, "-o", dir.filePath("plugin.wav"),
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
    ASSERT_EQ(got.frames(), long(take.capsules[0].size()));
    const long latency = vk_lv2::kDefaultBlock;
    for (int b = 0; b < 3; ++b) {
        const auto& e = expected.data[std::size_t(b)];
        const auto& g = got.data[std::size_t(b)];
        long differing = 0;
        for (long t = 0; t + latency < got.frames(); ++t)
            differing += g[std::size_t(t + latency)] != e[std::size_t(t)];
        EXPECT_EQ(differing, 0) << "beam " << b + 1;
        for (long t = 0; t < latency; ++t)
            ASSERT_EQ(g[std::size_t(t)], 0.0f) << "beam " << b + 1 << " before its latency";
    }
    // The fourth beam, muted, is silent; the others carry the scene.
    EXPECT_TRUE(std::all_of(got.data[3].begin(), got.data[3].end(), [](float s) { return s == 0.0f; }));
    EXPECT_TRUE(std::any_of(got.data[0].begin(), got.data[0].end(), [](float s) { return std::abs(s) > 1e-3f; }));
}
