// vantoria-render as a user runs it: exit status, the one-line message, and the files
// that are (and are not) left behind.

#include "RenderProgram.h"
#include "RenderTestSupport.h"

#include "settings/CBeamSettings.h"

using namespace render_test;

namespace {

using RenderCommandLine = RenderProgram;

// 2 for every command line that cannot be used, 1 for files that cannot be read or
// written; one line each, and nothing left behind.
TEST_F(RenderCommandLine, EveryErrorExitsWithItsStatusAndMessageAndWritesNothing)
{
    writeText("text.wav", "this is not a wave file");
    ASSERT_TRUE(writeWave(path("fast.wav"), noise(32, 1000, 96000, 1)));
    ASSERT_TRUE(writeWave(path("array.wav"), noise(32, 1000, 44100, 1)));
    ASSERT_TRUE(writeWave(path("stereo.wav"), noise(2, 1000, 44100, 1)));
    ASSERT_TRUE(writeWave(path("empty.wav"), noise(32, 0, 44100, 1)));
    CBeamSettings settings;
    settings.tracks.append(CBeamTrackRecord{});
    ASSERT_EQ(settings.save(path("stage.vts")), CBeamSettings::resultOk);
    writeText("plain", "a file where a folder should be");
    const QStringList omni{"--beam", "0,90,omni", "-o", "out.wav"};
    QStringList nineteen{"--scene", "-o", "out.wav"};
    for (int i = 0; i < 19; ++i)
        nineteen << "--beam" << "0,90,omni";
    const struct {
        QStringList arguments;
        int status;
        QString message;
    } cases[] = {
        {{"missing.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "cannot read missing.wav: no such file"},
        {{"text.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1,
         "cannot read text.wav: not a sound file that libsndfile reads"},
        {{"empty.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "cannot read empty.wav: the file holds no samples"},
        {{"fast.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1,
         "sample rate 96000 Hz refused: the signal path runs at 39690 to 48510 Hz"},
        {{"--scene", "--beams", "missing.vts", "-o", "out.wav"}, 1, "missing.vts: cannot read"},
        {{"--scene", "--beams", "text.wav", "-o", "out.wav"}, 1, "Ending not recognized"},
        {{"array.wav", "--beam", "0,90,omni", "-o", "plain/out.wav"}, 1, "cannot write plain/out.wav"},
        {{"--scene", "--beam", "0,90,omni", "-o", "out.wav", "--array-output", "no/such/dir/a.wav"}, 1,
         "cannot write no/such/dir/a.wav"},
        {{}, 2, "no input"},
        {QStringList{"--scene", "--bogus"} + omni, 2, "Unknown option 'bogus'"},
        {QStringList{"array.wav", "fast.wav"} + omni, 2, "more than one input file"},
        {{"--scene", "-o", "out.wav", "--rate", "39689", "--beam", "0,90,omni"}, 2,
         "bad --rate \"39689\": the signal path runs at 39690 to 48510 Hz"},
        {QStringList{"--scene", "--duration", "0"} + omni, 2, "bad --duration"},
        {QStringList{"--scene", "--block", "0"} + omni, 2, "bad --block"},
        {QStringList{"--scene", "--map-grid", "7"} + omni, 2, "bad --map-grid \"7\""},
        {QStringList{"--scene", "--source", "0,90,bell"} + omni, 2, "bad --source \"0,90,bell\""},
        {{"--scene", "--beam", "0,90", "-o", "out.wav"}, 2, "bad --beam \"0,90\""},
        {{"--scene", "--beam", "0,180.5,omni", "-o", "out.wav"}, 2, "bad --beam \"0,180.5,omni\""},
        {{"--scene", "--beam", "0,90,card3,0.5", "-o", "out.wav"}, 2, "bad --beam \"0,90,card3,0.5\""},
        {{"--scene", "--beam", "0,90,cardioid", "-o", "out.wav"}, 2, "unknown pattern \"cardioid\""},
        {{"--scene", "--beam", "0,90,card3,5", "-o", "out.wav"}, 2, "pattern \"card3\" has no \"WNG\" value 5"},
        {QStringList{"--scene", "--beams", "stage.vts"} + omni, 2, "either with --beam or with --beams"},
        {nineteen, 2, "too many beams: at most 18"},
        {{"--scene", "--beam", "0,90,omni"}, 2, "no output"},
        {{"array.wav", "-o", "out.wav"}, 2, "no beams"},
        {QStringList{"array.wav", "--array-output", "a.wav"} + omni, 2, "--array-output needs a rendered scene"},
        {{"stereo.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 2,
         "stereo.wav has 2 channels: the beams need the 32 capsule channels"},
        {{"stereo.wav", "--beams", "stage.vts", "-o", "out.wav"}, 2,
         "stereo.wav has 2 channels: the beams need the 32 capsule channels"},
    };
    const QStringList before = filesInDir();
    for (const auto& c : cases) {
        const Outcome result = run(c.arguments);
        const QString line = c.arguments.join(' ');
        EXPECT_EQ(result.status, c.status) << qPrintable(line);
        EXPECT_TRUE(result.err.startsWith("vantoria-render: ")) << qPrintable(result.err);
        EXPECT_TRUE(result.err.contains(c.message)) << qPrintable(line) << " gave: " << qPrintable(result.err);
        EXPECT_EQ(result.err.count('\n'), 1) << qPrintable(result.err);
        EXPECT_EQ(filesInDir(), before) << qPrintable(line);
    }
}

TEST_F(RenderCommandLine, AnInterruptedRenderLeavesTheOldOutputAndNoPartialFile)
{
    writeText("out.wav", "the previous result");
    const Outcome result =
        run({"--scene", "--duration", "3600", "--beam", "0,90,omni", "-o", "out.wav", "--array-output", "a.wav"}, 1500);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains("interrupted")) << qPrintable(result.err);
    EXPECT_EQ(filesInDir(), QStringList{"out.wav"});
    QFile old(path("out.wav"));
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_EQ(old.readAll(), "the previous result");
}

// Thirty seconds of a scene are megabytes; the file size limit refuses bytes on the way,
// in the beams (written block by block) or in the array signal (written seconds at a
// time by the graph's recorder), whichever reaches it first.
TEST_F(RenderCommandLine, AWriteErrorMidRunEndsTheRenderWithItsMessageAndNoPartialFile)
{
    const QStringList beams{"--scene", "--duration", "30", "--beam", "0,90,omni", "-o", "out.wav", "-q"};
    const struct {
        QStringList arguments;
        const char* message;
    } cases[] = {
        {beams, "cannot write out.wav: the disk refused the samples"},
        {beams + QStringList{"--array-output", "a.wav"}, "cannot write a.wav: the disk refused the samples"},
    };
    writeText("out.wav", "the previous result");
    const QMap<QString, QByteArray> before = contentsOfDir();
    for (const auto& c : cases) {
        const Outcome result = runWithFileLimit(c.arguments, 2048);
        EXPECT_EQ(result.status, 1) << qPrintable(result.err);
        EXPECT_EQ(result.err, QStringLiteral("vantoria-render: %1\n").arg(c.message));
        EXPECT_EQ(contentsOfDir(), before) << qPrintable(c.arguments.join(' '));
    }
}

TEST_F(RenderCommandLine, ASettingsFileGivesTheSameBeamsAsTheOptions)
{
    CBeamSettings settings;
    const auto track = [](int phi, int theta, const char* pattern, const char* parameter, float volume, bool mute) {
        CBeamTrackRecord t;
        t.phi = phi;
        t.theta = theta;
        t.pattern = pattern;
        t.parameter = parameter;
        t.volume = volume;
        t.mute = mute;
        return t;
    };
    settings.tracks = {track(30, 90, "card3", "-6", -2.0f, false), track(150, 60, "super3", "12", 0.0f, false),
                       track(270, 120, "hyper3", "0", 0.0f, true)};
    ASSERT_EQ(settings.save(path("stage.vts")), CBeamSettings::resultOk);

    const QStringList common{"--scene", "--duration", "0.5", "--float", "-q"};
    const Outcome fromFile = run(common + QStringList{"--beams", "stage.vts", "-o", "file.wav"});
    ASSERT_EQ(fromFile.status, 0) << qPrintable(fromFile.err);
    EXPECT_TRUE(fromFile.out.isEmpty() && fromFile.err.isEmpty()) << qPrintable(fromFile.out + fromFile.err);
    const Outcome fromOptions =
        run(common + QStringList{"--beam", "30,90,card3,-6,-2", "--beam", "150,60,super3,12", "-o", "options.wav"});
    ASSERT_EQ(fromOptions.status, 0) << qPrintable(fromOptions.err);

    const Channels a = readWave(path("file.wav"));
    const Channels b = readWave(path("options.wav"));
    ASSERT_EQ(a.channels(), 3);
    ASSERT_EQ(b.channels(), 2);
    EXPECT_EQ(a.data[0], b.data[0]);
    EXPECT_EQ(a.data[1], b.data[1]);
    // The muted track is silent.
    EXPECT_EQ(*std::max_element(a.data[2].begin(), a.data[2].end()), 0.0f);
    EXPECT_EQ(*std::min_element(a.data[2].begin(), a.data[2].end()), 0.0f);
}

TEST_F(RenderCommandLine, FractionalBeamAnglesGiveTheNearestWholeDegreeBeamsWithOneNote)
{
    const QStringList common{"--scene", "--duration", "0.3", "--float", "-q"};
    const Outcome fractional =
        run(common + QStringList{"--beam", "30.4,89.6,card3", "--beam", "150.5,59.5,hyper3", "-o", "fractional.wav"});
    ASSERT_EQ(fractional.status, 0) << qPrintable(fractional.err);
    EXPECT_EQ(fractional.err, "vantoria-render: note: beams steer by whole degrees, so fractional beam angles are "
                              "rounded (--beam 30.4,89.6,card3 steers to 30,90)\n");
    const Outcome whole = run(common + QStringList{"--beam", "30,90,card3", "--beam", "151,60,hyper3", "-o", "whole.wav"});
    ASSERT_EQ(whole.status, 0) << qPrintable(whole.err);
    EXPECT_TRUE(whole.err.isEmpty()) << qPrintable(whole.err);
    EXPECT_EQ(readWave(path("fractional.wav")).data, readWave(path("whole.wav")).data);
}

TEST_F(RenderCommandLine, ASuccessfulRenderSaysWhatItDidAndHelpExplainsTheOptions)
{
    const Outcome result = run({"--scene", "--duration", "0.2", "--beam", "0,90,omni", "--beam", "90,90,card1", "-o",
                            "out.wav"});
    ASSERT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_TRUE(result.out.startsWith("Rendered 0.21 s at 44100 Hz to 2 beams in ")) << qPrintable(result.out);
    EXPECT_TRUE(result.out.contains("real-time factor")) << qPrintable(result.out);
    EXPECT_TRUE(result.out.contains("Wrote out.wav (24-bit)")) << qPrintable(result.out);
    EXPECT_TRUE(result.err.isEmpty()) << "no progress bar when stderr is no terminal: " << qPrintable(result.err);
    EXPECT_EQ(filesInDir(), QStringList{"out.wav"});

    const Outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"--scene", "--source", "--beam ", "--beams", "--output", "--float", "--array-output",
                               "--duration", "--rate", "--block", "Examples:"})
        EXPECT_TRUE(help.out.contains(option)) << option;
}

} // namespace
