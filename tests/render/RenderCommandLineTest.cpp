// vantoria-render as a user runs it: exit status, the one-line message, and the files
// that are (and are not) left behind.

#include "RenderTestSupport.h"

#include "widgets/beamsettings/CBeamSettings.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

using namespace render_test;

namespace {

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

class RenderCommandLine : public ::testing::Test {
protected:
    QString path(const QString& name) const { return mDir.filePath(name); }

    Outcome run(const QStringList& arguments, int interruptAfterMs = -1) const
    {
        QProcess process;
        process.setWorkingDirectory(mDir.path());
        process.start(VK_RENDER_EXECUTABLE, arguments);
        EXPECT_TRUE(process.waitForStarted());
        if (interruptAfterMs >= 0 && !process.waitForFinished(interruptAfterMs))
            ::kill(pid_t(process.processId()), SIGINT);
        EXPECT_TRUE(process.waitForFinished(120000));
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardOutput()),
                QString::fromLocal8Bit(process.readAllStandardError())};
    }

    QStringList filesInDir() const
    {
        return QDir(mDir.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    void writeText(const QString& name, const QByteArray& text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QTemporaryDir mDir;
};

TEST_F(RenderCommandLine, EveryErrorExitsNonZeroWithItsMessageAndWritesNothing)
{
    writeText("text.wav", "this is not a wave file");
    ASSERT_TRUE(writeWave(path("fast.wav"), noise(32, 1000, 96000, 1)));
    ASSERT_TRUE(writeWave(path("array.wav"), noise(32, 1000, 44100, 1)));
    ASSERT_TRUE(writeWave(path("empty.wav"), noise(32, 0, 44100, 1)));
    writeText("plain", "a file where a folder should be");
    const struct {
        QStringList arguments;
        int status;
        QString message;
    } cases[] = {
        {{"missing.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "cannot read missing.wav: no such file"},
        {{"text.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "cannot read text.wav: not a readable wave file"},
        {{"empty.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "cannot read empty.wav: the file holds no samples"},
        {{"fast.wav", "--beam", "0,90,omni", "-o", "out.wav"}, 1,
         "sample rate 96000 Hz refused: the signal path runs at 39690 to 48510 Hz"},
        {{"--scene", "--rate", "39689", "--beam", "0,90,omni", "-o", "out.wav"}, 1, "sample rate 39689 Hz refused"},
        {{"--scene", "--beam", "0,90", "-o", "out.wav"}, 2, "bad --beam \"0,90\""},
        {{"--scene", "--beam", "0,90,cardioid", "-o", "out.wav"}, 1, "unknown pattern \"cardioid\""},
        {{"--scene", "--beam", "0,90,card3,5", "-o", "out.wav"}, 1, "pattern \"card3\" has no \"WNG\" value 5"},
        {{"--scene", "--beams", "missing.vts", "-o", "out.wav"}, 1, "missing.vts: cannot read"},
        {{"--scene", "--beams", "text.wav", "-o", "out.wav"}, 1, "Ending not recognized"},
        {{"array.wav", "-o", "out.wav"}, 1, "no beams"},
        {{"array.wav", "--beam", "0,90,omni", "-o", "plain/out.wav"}, 1, "cannot write plain/out.wav"},
        {{"--scene", "--beam", "0,90,omni", "-o", "out.wav", "--array-output", "no/such/dir/a.wav"}, 1,
         "cannot write no/such/dir/a.wav"},
        {{}, 2, "no input"},
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
