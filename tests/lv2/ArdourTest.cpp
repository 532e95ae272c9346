// The beamformer in Ardour 7 (Debian's ardour package), headless through its Lua session
// tool: a session with a 32-channel track playing a take, the plug-in on it with two beams
// automated from one direction to another, the master bus exported as 32-bit floats.
//
// Ardour's Lua tool cannot import a file, so the take enters as a recording: a first script
// records a few seconds from the dummy backend on the track, which makes Ardour write the
// sources, the region and the playlist itself; the test then overwrites the 32 recorded
// files with the take's channels, of the same length and format, and a second script moves
// the region behind a silent lead-in (Ardour exports from the session's start, and its
// latency compensation needs material before the region), puts the plug-in on and wires
// beam n unpanned to the master's input n.
//
// Ardour carries the beams at unity gain in floats and compensates the plug-in's reported
// latency, so where the beams stand still the export equals vantoria-render on the same
// stream (lead-in and take) bit for bit. While they move the renderer, whose beams are
// fixed, has no counterpart: there the export must not click.

#include "plugins/lv2/CPatternChoices.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "tests/lv2/Lv2ToolRun.h"
#include "tests/support/DefaultScene.h"
#include "tests/support/SndfileWave.h"

#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <tuple>

namespace {

namespace bf = vk_lv2::beamformer;

constexpr int kRate = 48000;
constexpr double kRecordSeconds = 3.2;
// Silence before the take's region, in session samples: longer than the plug-in takes to
// reach its first settings from its defaults (a pattern load's warm-up and 250 ms
// cross-fade, a glide of up to 180 degrees), which it may still be doing when Ardour
// starts the export. The moves start a second into the take and take a fifth of a second
// of automation.
constexpr long kLeadIn = 3 * kRate / 2;
constexpr long kMoveStart = kLeadIn + kRate;
constexpr long kMoveEnd = kMoveStart + kRate / 5;
// The engine glides one degree per 100 samples; after the glide, the plug-in's block and
// the pattern filters' span (a few thousand samples together; a quarter second covers
// them) pass before the output is that of a fixed beam again.
constexpr long kGlidePerDegree = 100;
constexpr long kFilterSettling = kRate / 4;
// The shortest stretch of fixed beams after the moves that the comparison accepts.
constexpr long kSettledLength = kRate / 4;

// One beam's move. The automation ramps each angle linearly, so every move stays below
// 180 degrees of azimuth, where the engine's shorter way round is the ramp's way too.
struct Move {
    const char* pattern;
    int azimuthFrom, polarFrom, azimuthTo, polarTo;
    int degrees() const { return std::max(std::abs(azimuthTo - azimuthFrom), std::abs(polarTo - polarFrom)); }
};
constexpr Move kMoves[] = {{"card3", 30, 90, 150, 60}, {"hyper2", 270, 120, 150, 90}};
constexpr int kMovedBeams = int(std::size(kMoves));

long settledFrom()
{
    int degrees = 0;
    for (const Move& m : kMoves)
        degrees = std::max(degrees, m.degrees());
    return kMoveEnd + degrees * kGlidePerDegree + kFilterSettling;
}

int patternIndex(const char* name)
{
    const CPatternChoices patterns;
    for (int p = 0; p < patterns.patternCount(); ++p)
        if (patterns.name(p) == name)
            return p;
    return -1;
}

// "PORT:FROM:TO" for every control the beams set: azimuth and polar angle ramp, the
// pattern stays.
QString controls()
{
    QStringList list;
    for (int b = 0; b < kMovedBeams; ++b) {
        const Move& m = kMoves[b];
        list << QStringLiteral("%1:%2:%3").arg(bf::beamControl(b, bf::kAzimuth)).arg(m.azimuthFrom).arg(m.azimuthTo)
             << QStringLiteral("%1:%2:%3").arg(bf::beamControl(b, bf::kPolar)).arg(m.polarFrom).arg(m.polarTo)
             << QStringLiteral("%1:%2:%2").arg(bf::beamControl(b, bf::kPattern)).arg(patternIndex(m.pattern));
    }
    return list.join(' ');
}

QString script(const char* name) { return QDir(VK_ARDOUR_SCRIPTS).filePath(name); }

// The recorded sources' files in the region's channel order, from the record script's output.
QStringList recordedSources(const QString& out)
{
    QStringList files;
    const QRegularExpression line("^source\\s+(\\d+)\\s+(.+)$", QRegularExpression::MultilineOption);
    for (auto it = line.globalMatch(out); it.hasNext();) {
        const auto match = it.next();
        if (match.captured(1).toInt() != files.size())
            return {};
        files << match.captured(2).trimmed();
    }
    return files;
}

// Ardour's float path adds no rounding of its own here (unity gains, a float export; with
// the plug-in switched off it gives the take back bit for bit). The plug-in and the
// renderer run the same engine on the same stream, but not from the same first sample:
// the engine adds its anti-denormal offset (1e-7) to the input from the first sample it
// processes, the renderer at the stream's start, the plug-in at its activation, long
// before. The lead-in takes the offset's onset (about 1e-7 at the beams); a few quiet
// samples may still differ in their last bits (measured: 42 and 78 of some 60000, by at
// most 2e-12, in some runs). The bound is -120 dBFS, far below a 24-bit file's step, and
// at least 99 in 100 samples must be bit-identical.
constexpr float kRounding = 0x1p-20f;

// Samples in [from, to) where `a` and `b` differ, and the largest difference.
struct Difference {
    long count = 0;
    float worst = 0.0f;
};
Difference compare(const std::vector<float>& a, const std::vector<float>& b, long from, long to)
{
    Difference d;
    for (long t = from; t < to; ++t) {
        const float e = std::abs(a[std::size_t(t)] - b[std::size_t(t)]);
        d.count += e != 0.0f;
        d.worst = std::max(d.worst, e);
    }
    return d;
}

// A click is a step from one sample to the next far larger than the signal's own steps
// around it. The largest ratio over t in [from, to) of step(t), the step into sample t,
// to the largest step that either fixed beam, `a` or `b`, takes within kClickWindow
// samples of t.
constexpr long kClickWindow = 64;
constexpr float kClickRatio = 2.5f;
template <class Step>
float largestStepRatio(const Step& step, const std::vector<float>& a, const std::vector<float>& b, long from, long to)
{
    const auto own = [](const std::vector<float>& x, long t) { return std::abs(x[std::size_t(t)] - x[std::size_t(t - 1)]); };
    float ratio = 0.0f;
    for (long t = from; t < to; ++t) {
        float around = 1e-6f;
        for (long s = t - kClickWindow; s <= t + kClickWindow; ++s)
            around = std::max({around, own(a, s), own(b, s)});
        ratio = std::max(ratio, step(t) / around);
    }
    return ratio;
}

} // namespace

TEST(Ardour, ExportOfAutomatedBeamsEqualsTheRenderersBeamsWhereTheyStandAndGlidesBetween)
{
    for (const char* tool : {"ardour7-lua", "ardour7-export"})
        ASSERT_FALSE(QStandardPaths::findExecutable(tool).isEmpty())
            << tool << " is missing: install Debian's ardour package (scripts/install-deps.sh does)";
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString sessionDir = dir.filePath("session");
    const QString sessionName = "beams";
    // Ardour's configuration and caches in the test's own directory, not the user's.
    lv2_tool::Variables variables = {{"XDG_CONFIG_HOME", dir.filePath("config")},
                                     {"XDG_CACHE_HOME", dir.filePath("cache")},
                                     {"VK_SESSION_DIR", sessionDir},
                                     {"VK_SESSION_NAME", sessionName},
                                     {"VK_RATE", QString::number(kRate)},
                                     {"VK_RECORD_SECONDS", QString::number(kRecordSeconds)}};

    const lv2_tool::Result record = lv2_tool::run("ardour7-lua", {script("record.lua")}, variables);
    ASSERT_EQ(record.exitCode, 0) << record.out.toStdString() << record.err.toStdString();
    const QStringList sources = recordedSources(record.out);
    ASSERT_EQ(sources.size(), vk_lv2::kCapsules) << record.out.toStdString();
    const long frames = sndfile_wave::readWave(sources[0]).frames();
    ASSERT_GE(kLeadIn + frames, settledFrom() + kSettledLength) << "the recording is too short: " << frames;

    // The take replaces the recording, channel by channel.
    const default_scene::Take take = default_scene::render(kRate, frames);
    for (int c = 0; c < vk_lv2::kCapsules; ++c) {
        ASSERT_EQ(sndfile_wave::readWave(sources[c]).frames(), frames) << sources[c].toStdString();
        sndfile_wave::Channels channel;
        channel.sampleRate = kRate;
        channel.data = {take.capsules[std::size_t(c)]};
        ASSERT_TRUE(sndfile_wave::writeWave(sources[c], channel)) << sources[c].toStdString();
    }

    variables.insert(variables.end(), {{"VK_PLUGIN_URI", vk_lv2::kBeamformerUri},
                                       {"VK_LEAD_IN", QString::number(kLeadIn)},
                                       {"VK_MOVE_START", QString::number(kMoveStart)},
                                       {"VK_MOVE_END", QString::number(kMoveEnd)},
                                       {"VK_BEAMS", QString::number(kMovedBeams)},
                                       {"VK_CONTROLS", controls()}});
    const lv2_tool::Result arrange = lv2_tool::run("ardour7-lua", {script("arrange.lua")}, variables);
    ASSERT_EQ(arrange.exitCode, 0) << arrange.out.toStdString() << arrange.err.toStdString();
    const QString exported = dir.filePath("export.wav");
    const lv2_tool::Result exporting =
        lv2_tool::run("ardour7-export", {"-b", "float", "-o", exported, sessionDir, sessionName}, variables);
    ASSERT_EQ(exporting.exitCode, 0) << exporting.out.toStdString() << exporting.err.toStdString();

    // The renderer on the same stream, the lead-in and the take, with each beam's first
    // direction, then its last.
    sndfile_wave::Channels stream;
    stream.sampleRate = kRate;
    for (const auto& capsule : take.capsules) {
        stream.data.emplace_back(std::size_t(kLeadIn), 0.0f);
        stream.data.back().insert(stream.data.back().end(), capsule.begin(), capsule.end());
    }
    const QString input = dir.filePath("stream.wav");
    ASSERT_TRUE(sndfile_wave::writeWave(input, stream));
    QStringList renderArguments = {input, "--float", "-q", "-o", dir.filePath("render.wav")};
    for (const Move& m : kMoves)
        renderArguments << "--beam" << QStringLiteral("%1,%2,%3").arg(m.azimuthFrom).arg(m.polarFrom).arg(m.pattern);
    for (const Move& m : kMoves)
        renderArguments << "--beam" << QStringLiteral("%1,%2,%3").arg(m.azimuthTo).arg(m.polarTo).arg(m.pattern);
    const lv2_tool::Result render = lv2_tool::run(VK_RENDER_EXECUTABLE, renderArguments);
    ASSERT_EQ(render.exitCode, 0) << render.err.toStdString();

    const sndfile_wave::Channels got = sndfile_wave::readWave(exported);
    const sndfile_wave::Channels expected = sndfile_wave::readWave(dir.filePath("render.wav"));
    ASSERT_EQ(got.sampleRate, kRate);
    ASSERT_EQ(got.channels(), kMovedBeams);
    ASSERT_EQ(got.frames(), kLeadIn + frames);
    ASSERT_EQ(expected.channels(), 2 * kMovedBeams);
    ASSERT_EQ(expected.frames(), kLeadIn + frames);

    const long end = got.frames();
    const long settled = settledFrom();
    for (int b = 0; b < kMovedBeams; ++b) {
        const auto& beam = got.data[std::size_t(b)];
        const auto& from = expected.data[std::size_t(b)];
        const auto& to = expected.data[std::size_t(b + kMovedBeams)];
        const Difference before = compare(beam, from, kLeadIn, kMoveStart);
        const Difference after = compare(beam, to, settled, end);
        for (const auto& [part, d, length] : {std::tuple{"before", before, kMoveStart - kLeadIn},
                                              std::tuple{"after", after, end - settled}}) {
            EXPECT_LE(d.worst, kRounding) << "beam " << b + 1 << " " << part << " the move";
            EXPECT_LE(d.count, length / 100) << "beam " << b + 1 << " " << part << " the move";
        }
        std::printf("beam %d: %ld and %ld samples not bit-identical before and after the move, at most %.2g\n", b + 1,
                    before.count, after.count, double(std::max(before.worst, after.worst)));
        // The beam did move: its two fixed directions hear the scene differently.
        EXPECT_GT(compare(from, to, settled, end).worst, 0.01f) << "beam " << b + 1;

        // No click: while it glides, no step is more than 2.5 times the largest step of the
        // fixed beams within 64 samples of it (measured: at most 1.5). A cut from one fixed
        // beam to the other at the worst instant would be (measured: over 4).
        const float gliding = largestStepRatio(
            [&](long t) { return std::abs(beam[std::size_t(t)] - beam[std::size_t(t - 1)]); }, from, to, kMoveStart, settled);
        const float cut = largestStepRatio(
            [&](long t) { return std::abs(to[std::size_t(t)] - from[std::size_t(t - 1)]); }, from, to, kMoveStart, settled);
        EXPECT_LE(gliding, kClickRatio) << "beam " << b + 1;
        EXPECT_GT(cut, kClickRatio) << "beam " << b + 1 << ": a cut would pass the click check";
        std::printf("beam %d: largest step while gliding %.2f times the fixed beams' around it; a cut %.2f\n", b + 1,
                    gliding, cut);
    }
}
