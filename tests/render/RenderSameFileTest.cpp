// An output that is an input or another output, under whatever name, is refused before
// anything is written: the recording, the settings and earlier results stay as they were.

#include "RenderProgram.h"
#include "RenderTestSupport.h"

#include "settings/CBeamSettings.h"

#include <unistd.h>

using namespace render_test;

namespace {

class RenderSameFile : public RenderProgram {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(writeWave(path("take.wav"), noise(32, 2000, 44100, 7), SF_FORMAT_PCM_24));
        CBeamSettings settings;
        settings.tracks.append(CBeamTrackRecord{});
        ASSERT_EQ(settings.save(path("stage.vts")), CBeamSettings::resultOk);
        writeText("old.wav", "an earlier result");
        // Each file under two more names: a symbolic link and a hard link.
        for (const char* name : {"take.wav", "stage.vts", "old.wav"}) {
            const QByteArray target = QFile::encodeName(path(name));
            ASSERT_EQ(::symlink(target.constData(), QFile::encodeName(path(QString("sym-") + name)).constData()), 0);
            ASSERT_EQ(::link(target.constData(), QFile::encodeName(path(QString("hard-") + name)).constData()), 0);
        }
    }

    // The same file under three spellings: "./name", a symbolic link, a hard link.
    static QStringList spellings(const QString& name)
    {
        return {"./" + name, "sym-" + name, "hard-" + name};
    }

    void expectRefused(const QStringList& arguments, const QString& message)
    {
        const QMap<QString, QByteArray> before = contentsOfDir();
        const Outcome result = run(arguments);
        const QString line = arguments.join(' ');
        EXPECT_EQ(result.status, 2) << qPrintable(line);
        EXPECT_TRUE(result.err.startsWith("vantoria-render: ")) << qPrintable(result.err);
        EXPECT_TRUE(result.err.contains(message)) << qPrintable(line) << " gave: " << qPrintable(result.err);
        EXPECT_EQ(result.err.count('\n'), 1) << qPrintable(result.err);
        EXPECT_TRUE(result.out.isEmpty()) << qPrintable(result.out);
        EXPECT_EQ(contentsOfDir(), before) << qPrintable(line);
    }
};

TEST_F(RenderSameFile, TheBeamsOutputCannotBeTheInputOrTheSettingsUnderAnyName)
{
    for (const QString& name : spellings("take.wav"))
        expectRefused({"take.wav", "--beam", "30,90,card3", "-o", name},
                      "--output " + name + " is the same file as the input take.wav");
    for (const QString& name : spellings("stage.vts"))
        expectRefused({"take.wav", "--beams", "stage.vts", "--output", name},
                      "--output " + name + " is the same file as the beam settings stage.vts");
}

TEST_F(RenderSameFile, TheArrayOutputCannotBeTheSettingsOrTheBeamsOutputUnderAnyName)
{
    for (const QString& name : spellings("stage.vts"))
        expectRefused({"--scene", "--beams", "stage.vts", "-o", "beams.wav", "--array-output", name},
                      "--array-output " + name + " is the same file as the beam settings stage.vts");
    for (const QString& name : spellings("old.wav"))
        expectRefused({"--scene", "--beam", "0,90,omni", "-o", "old.wav", "--array-output", name},
                      "--array-output " + name + " is the same file as --output old.wav");
}

TEST_F(RenderSameFile, TheMapCannotBeAnInputOrAnotherOutputUnderAnyName)
{
    for (const QString& name : spellings("take.wav"))
        expectRefused({"take.wav", "--beam", "0,90,omni", "-o", "beams.wav", "--map", name},
                      "--map " + name + " is the same file as the input take.wav");
    for (const QString& name : spellings("old.wav"))
        expectRefused({"--scene", "--beam", "0,90,omni", "-o", "beams.wav", "--array-output", "old.wav", "--map", name},
                      "--map " + name + " is the same file as --array-output old.wav");
}

// Outputs that do not exist yet meet by their folder's canonical path.
TEST_F(RenderSameFile, TwoSpellingsOfOneNewOutputAreOneFile)
{
    ASSERT_TRUE(QDir(mDir.path()).mkdir("sub"));
    ASSERT_EQ(::symlink(QFile::encodeName(path("sub")).constData(), QFile::encodeName(path("via")).constData()), 0);
    expectRefused({"take.wav", "--beam", "0,90,omni", "-o", "sub/new.wav", "--map", "via/new.wav"},
                  "--map via/new.wav is the same file as --output sub/new.wav");
    expectRefused({"take.wav", "--beam", "0,90,omni", "-o", "new.wav", "--map", "sub/../new.wav"},
                  "--map sub/../new.wav is the same file as --output new.wav");

    // A distinct name beside them renders, and the input is left as it was.
    const QByteArray take = contentsOfDir().value("take.wav");
    const Outcome result = run({"take.wav", "--beam", "0,90,omni", "-o", "sub/new.wav", "-q"});
    EXPECT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_EQ(readWave(path("sub/new.wav")).frames(), 2000);
    EXPECT_EQ(contentsOfDir().value("take.wav"), take);
}

} // namespace
