#include "settings/CBeamSettings.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class BeamSettingsFile : public ::testing::Test {
protected:
    QString path(const QString& name) const { return mDir.filePath(name); }

    void writeText(const QString& name, const QByteArray& text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QByteArray readText(const QString& name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static CBeamTrackRecord track(QColor color, const char* label, int phi, int theta, const char* pattern,
                                  const char* parameter, float volume, bool mute)
    {
        return {QVariant(color), label, phi, theta, pattern, parameter, volume, mute};
    }

    QTemporaryDir mDir;
};

TEST_F(BeamSettingsFile, WhatOneWriterSavesTheReaderGivesBackUnchanged)
{
    CBeamSettings saved;
    saved.phiLink = true;
    saved.tracks = {track(QColor(200, 30, 40), "violin", 30, 90, "card3", "-6", -3.5f, false),
                    track(QColor(Qt::white), "", 359, 0, "omni", "0", 0.0f, true),
                    track(QColor(10, 20, 30, 128), "drums, left", 150, 180, "hyper3", "12", 7.25f, false)};
    ASSERT_EQ(saved.save(path("take.vts")), CBeamSettings::resultOk);

    CBeamSettings loaded;
    ASSERT_EQ(CBeamSettings::load(path("take.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_EQ(loaded, saved);
    EXPECT_EQ(loaded.tracks[0].color.value<QColor>(), QColor(200, 30, 40));
}

TEST_F(BeamSettingsFile, TheFileIsQSettingsIniWithNamesNotIndicesAndNothingElse)
{
    writeText("layout.vts", "[General]\nforeign=1\n[tracks]\n1\\label=x\n2\\label=y\nsize=2\n");
    CBeamSettings saved;
    saved.tracks = {track(QColor(Qt::red), "a", 10, 20, "super3", "6", -1.5f, true)};
    ASSERT_EQ(saved.save(path("layout.vts")), CBeamSettings::resultOk);

    const QByteArray text = readText("layout.vts");
    EXPECT_TRUE(text.startsWith("[General]\nphiLinkStatus=false\n")) << text.constData();
    for (const char* line : {"[tracks]\n", "1\\label=a\n", "1\\phi=10\n", "1\\theta=20\n", "1\\pattern=super3\n",
                             "1\\parameter=6\n", "1\\volume=-1.5\n", "1\\mute=true\n", "size=1\n",
                             "1\\color=@Variant("})
        EXPECT_TRUE(text.contains(line)) << line;
    EXPECT_FALSE(text.contains("foreign"));
    EXPECT_FALSE(text.contains("2\\label"));
}

TEST_F(BeamSettingsFile, MissingKeysReadAsEmptyValues)
{
    writeText("sparse.vts", "[tracks]\n1\\label=only a label\n2\\phi=45\nsize=2\n");
    CBeamSettings loaded;
    loaded.phiLink = true;
    ASSERT_EQ(CBeamSettings::load(path("sparse.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_FALSE(loaded.phiLink);
    ASSERT_EQ(loaded.tracks.size(), 2);
    const CBeamTrackRecord& first = loaded.tracks[0];
    EXPECT_EQ(first.label, "only a label");
    EXPECT_FALSE(first.color.isValid());
    EXPECT_FALSE(first.asksForRandomColor());
    EXPECT_EQ(first.phi, 0);
    EXPECT_EQ(first.theta, 0); // not the 90 of a new track
    EXPECT_TRUE(first.pattern.isEmpty());
    EXPECT_TRUE(first.parameter.isEmpty());
    EXPECT_EQ(first.volume, 0.0f);
    EXPECT_FALSE(first.mute);
    EXPECT_TRUE(loaded.tracks[1].label.isEmpty());
    EXPECT_EQ(loaded.tracks[1].phi, 45);

    writeText("none.vts", "[General]\nphiLinkStatus=true\n");
    ASSERT_EQ(CBeamSettings::load(path("none.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_TRUE(loaded.phiLink);
    EXPECT_TRUE(loaded.tracks.isEmpty());
}

TEST_F(BeamSettingsFile, AFileOfTwentyTracksLoadsTheFirstEighteen)
{
    CBeamSettings saved;
    for (int i = 0; i < 20; ++i)
        saved.tracks.append(track(QColor(Qt::blue), "", i * 10, 90, "omni", "0", 0.0f, false));
    ASSERT_EQ(saved.save(path("many.vts")), CBeamSettings::resultOk);
    CBeamSettings loaded;
    ASSERT_EQ(CBeamSettings::load(path("many.vts"), loaded), CBeamSettings::resultOk);
    ASSERT_EQ(loaded.tracks.size(), 18);
    EXPECT_EQ(loaded.tracks.last().phi, 170);
}

TEST_F(BeamSettingsFile, OnlyPureOpaqueWhiteAsksForARandomColour)
{
    const auto asks = [](const QVariant& color) { CBeamTrackRecord record;
        record.color = color;
        return record.asksForRandomColor(); };
    EXPECT_TRUE(asks(QColor(Qt::white)));
    EXPECT_TRUE(asks(QColor(255, 255, 255)));
    EXPECT_FALSE(asks(QColor(255, 255, 255, 254)));
    EXPECT_FALSE(asks(QColor(255, 255, 254)));
    EXPECT_FALSE(asks(QColor()));
    EXPECT_FALSE(asks(QVariant()));
    EXPECT_FALSE(asks(QVariant(QStringLiteral("white"))));

    CBeamSettings saved;
    saved.tracks = {track(QColor(Qt::white), "w", 0, 90, "omni", "0", 0.0f, false)};
    ASSERT_EQ(saved.save(path("white.vts")), CBeamSettings::resultOk);
    CBeamSettings loaded;
    ASSERT_EQ(CBeamSettings::load(path("white.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_TRUE(loaded.tracks[0].asksForRandomColor());
}

TEST_F(BeamSettingsFile, TheSuffixCheckLooksAtEverythingBehindTheFirstDot)
{
    EXPECT_TRUE(CBeamSettings::hasSettingsSuffix("/tmp/a.b/beams.vts"));
    EXPECT_FALSE(CBeamSettings::hasSettingsSuffix("beams.old.vts"));
    EXPECT_FALSE(CBeamSettings::hasSettingsSuffix("beams.VTS"));
    EXPECT_FALSE(CBeamSettings::hasSettingsSuffix("beams.ini"));
    EXPECT_FALSE(CBeamSettings::hasSettingsSuffix("beams"));

    CBeamSettings settings;
    EXPECT_EQ(settings.save(path("beams.old.vts")), CBeamSettings::resultWrongSuffix);
    EXPECT_FALSE(QFile::exists(path("beams.old.vts")));
    writeText("beams.old.vts", "[tracks]\n1\\label=x\nsize=1\n");
    EXPECT_EQ(CBeamSettings::load(path("beams.old.vts"), settings), CBeamSettings::resultWrongSuffix);
    EXPECT_TRUE(settings.tracks.isEmpty());
}

TEST_F(BeamSettingsFile, ValuesOutOfRangeAreBroughtIntoTheAnglesRanges)
{
    writeText("range.vts", "[tracks]\n1\\phi=720\n1\\theta=-5\n2\\phi=-90\n2\\theta=200\n"
                           "3\\phi=abc\n3\\theta=90\n3\\parameter=abc\nsize=3\n");
    CBeamSettings loaded;
    ASSERT_EQ(CBeamSettings::load(path("range.vts"), loaded), CBeamSettings::resultOk);
    ASSERT_EQ(loaded.tracks.size(), 3);
    EXPECT_EQ(loaded.tracks[0].phi, 0);
    EXPECT_EQ(loaded.tracks[0].theta, 0);
    EXPECT_EQ(loaded.tracks[1].phi, 270);
    EXPECT_EQ(loaded.tracks[1].theta, 180);
    EXPECT_EQ(loaded.tracks[2].phi, 0);
    EXPECT_EQ(loaded.tracks[2].parameter, "abc");
}

TEST_F(BeamSettingsFile, MissingEmptyBinaryAndUnwritableFilesGiveACode)
{
    CBeamSettings loaded;
    loaded.tracks.append(CBeamTrackRecord());
    EXPECT_EQ(CBeamSettings::load(path("absent.vts"), loaded), CBeamSettings::resultUnreadable);
    EXPECT_TRUE(loaded.tracks.isEmpty());

    ASSERT_TRUE(QDir(mDir.path()).mkdir("folder.vts"));
    EXPECT_EQ(CBeamSettings::load(path("folder.vts"), loaded), CBeamSettings::resultUnreadable);

    writeText("empty.vts", "");
    EXPECT_EQ(CBeamSettings::load(path("empty.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_TRUE(loaded.tracks.isEmpty());

    QByteArray binary;
    for (int i = 0; i < 4096; ++i)
        binary.append(char((i * 7919 + 13) & 0xff));
    writeText("binary.vts", binary);
    loaded.tracks.append(CBeamTrackRecord());
    const int result = CBeamSettings::load(path("binary.vts"), loaded);
    EXPECT_EQ(result, CBeamSettings::resultFormat);
    EXPECT_TRUE(loaded.tracks.isEmpty());

    writeText("truncated.vts", "[tracks]\n1\\label=cut\n1\\phi=4");
    EXPECT_EQ(CBeamSettings::load(path("truncated.vts"), loaded), CBeamSettings::resultOk);
    EXPECT_TRUE(loaded.tracks.isEmpty()); // no "size": no array

    writeText("plain", "a file, not a folder");
    EXPECT_EQ(CBeamSettings().save(path("plain/beams.vts")), CBeamSettings::resultUnwritable);
}

} // namespace
