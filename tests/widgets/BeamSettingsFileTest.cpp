#include "widgets/COnOffButton.h"
#include "settings/BeamChoice.h"
#include "settings/CBeamSettings.h"
#include "BeamListFixture.h"

#include <QComboBox>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <cmath>

using namespace widgettest;

namespace {
struct BeamFile : BeamList {
    QTemporaryDir dir;

    QString path(const char* name) const { return dir.filePath(QString::fromLatin1(name)); }
    QString write(const char* name, const QByteArray& content) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }
    // Four tracks that differ in every value, the azimuth link on.
    void fillDistinctTracks()
    {
        addTracks(4);
        const QColor colors[] = {QColor(200, 10, 10), QColor(10, 200, 10, 128), QColor(1, 2, 3), QColor(250, 250, 0)};
        for (int i = 0; i < 4; ++i) {
            list.setColor(i, colors[i]);
            list.setLabel(i, QStringLiteral("voice %1").arg(i));
            list.setPhi(i, 90 * i + 7);
            list.setTheta(i, 30 + 40 * i);
            list.setPatternIndex(i, i % 3);
            list.setParameterIndex(i, i == 1 ? 4 : 0);
            list.setVolume(i, -4.5f + 3 * i);
            list.setMute(i, i == 2);
        }
        list.setPhiLinkStatus(true);
    }
    static void expectSameTracks(const CBeamSelection& a, const CBeamSelection& b)
    {
        ASSERT_EQ(a.numTracks(), b.numTracks());
        EXPECT_EQ(a.phiLinkStatus(), b.phiLinkStatus());
        for (int i = 0; i < a.numTracks(); ++i) {
            EXPECT_EQ(a.color(i), b.color(i)) << i;
            EXPECT_EQ(a.label(i), b.label(i)) << i;
            EXPECT_EQ(a.phi(i), b.phi(i)) << i;
            EXPECT_EQ(a.theta(i), b.theta(i)) << i;
            EXPECT_EQ(a.patternIndex(i), b.patternIndex(i)) << i;
            EXPECT_EQ(a.parameterIndex(i), b.parameterIndex(i)) << i;
            EXPECT_EQ(a.volume(i), b.volume(i)) << i;
            EXPECT_EQ(a.mute(i), b.mute(i)) << i;
        }
    }
};

QByteArray tracksSection(int count, const QByteArray& entry)
{
    QByteArray text = "[tracks]\n";
    for (int i = 1; i <= count; ++i)
        text += QByteArray::number(i) + "\\" + entry + "\n";
    return text + "size=" + QByteArray::number(count) + "\n";
}
} // namespace

TEST_F(BeamFile, FileWrittenByOneListGivesAnotherTheSameTracks)
{
    fillDistinctTracks();
    list.resetDirtyFlag();
    list.saveCurrentState(path("scene.vts"));
    EXPECT_FALSE(list.isDirty()); // saving leaves the flag alone
    EXPECT_EQ(list.fileName(), path("scene.vts"));

    CBeamSelection other(QString(), 18, 15, 255);
    other.setPatternAndParameterLists(patterns(), parameters());
    other.addBeam();
    other.addBeam();
    other.setPhi(0, 100);
    QStringList events;
    QObject::connect(&other, &CBeamSelection::activeBeamTrackChanged, [&](int i) { events << QString("active %1").arg(i); });
    QObject::connect(&other, &CBeamSelection::beamTrackDeleted, [&](int i) { events << QString("deleted %1").arg(i); });
    QObject::connect(&other, &CBeamSelection::beamTrackAdded, [&](int i) { events << QString("added %1").arg(i); });
    other.loadState(path("scene.vts"));
    EXPECT_EQ(events, QStringList({"active 1", "deleted 1", "active 0", "deleted 0", "added 0", "added 1", "added 2",
                                   "added 3"}));
    expectSameTracks(list, other);
    EXPECT_FALSE(other.isDirty());
    EXPECT_TRUE(answers.messages.empty());
}

TEST_F(BeamFile, TheRendererReadsTheSameBeamsFromTheFile)
{
    fillDistinctTracks();
    list.saveCurrentState(path("render.vts"));
    CBeamSettings settings;
    ASSERT_EQ(CBeamSettings::load(path("render.vts"), settings), CBeamSettings::resultOk);
    ASSERT_EQ(settings.tracks.size(), list.numTracks());
    EXPECT_TRUE(settings.phiLink);
    for (int i = 0; i < list.numTracks(); ++i) {
        const CBeamTrackRecord& t = settings.tracks[i];
        const int pattern = beam_choice::patternIndex(patterns(), t.pattern);
        EXPECT_EQ(pattern, list.patternIndex(i));
        EXPECT_EQ(beam_choice::closestParameter(parameters()[pattern], t.parameter), list.parameterIndex(i));
        EXPECT_EQ(t.phi, list.phi(i));
        EXPECT_EQ(t.theta, list.theta(i));
        EXPECT_NEAR(std::pow(10.0, 0.05 * t.volume), list.gain(i), 1e-6);
        EXPECT_EQ(t.mute, list.mute(i));
    }
}

TEST_F(BeamFile, MissingKeysTakeTheirDocumentedValues)
{
    const QString file = write("sparse.vts", "[tracks]\n1\\label=kept\n2\\phi=30\n3\\parameter=3\n3\\pattern=cardioid\n"
                                             "4\\phi=720\n4\\theta=-5\n4\\pattern=gone\n4\\parameter=abc\nsize=4\n");
    list.setPhiLinkStatus(true);
    list.loadState(file);
    ASSERT_EQ(list.numTracks(), 4);
    EXPECT_FALSE(list.phiLinkStatus()); // no "phiLinkStatus" key
    EXPECT_EQ(list.label(0), "kept");
    EXPECT_EQ(list.label(1), "beam 2");
    EXPECT_FALSE(list.color(0).isValid());
    EXPECT_EQ(list.theta(1), 0); // not the 90 of a new track
    EXPECT_EQ(list.phi(1), 30);
    EXPECT_EQ(list.patternIndex(1), 0);
    EXPECT_EQ(list.volume(1), 0.0f);
    EXPECT_FALSE(list.mute(1));
    EXPECT_EQ(list.track(2)->parameterText(), "6"); // 3 lies halfway between 0 and 6
    EXPECT_EQ(list.phi(3), 0);
    EXPECT_EQ(list.theta(3), 0);
    EXPECT_EQ(list.patternIndex(3), 0);

    ASSERT_TRUE(showAt(list, 600, 300));
    CBeamSelectionTrack* row = list.track(0);
    const QColor disc = pixel(*row, cellCentre(row, CBeamSelectionTrack::IdColumn));
    EXPECT_LT(disc.red() + disc.green() + disc.blue(), 30);
}

TEST_F(BeamFile, LongFileLoadsTheFirstEighteenAndWhiteAsksForAColour)
{
    list.loadState(write("long.vts", "[General]\nphiLinkStatus=true\n" +
                                         tracksSection(20, "color=@Variant(\\0\\0\\0\\x43\\x1\\xff\\xff\\xff\\xff\\xff"
                                                           "\\xff\\xff\\xff\\0\\0)")));
    ASSERT_EQ(list.numTracks(), 18);
    EXPECT_TRUE(list.phiLinkStatus());
    EXPECT_TRUE(list.linkButton()->isChecked());
    EXPECT_EQ(list.label(17), "beam 18");
    EXPECT_TRUE(list.color(0).isValid());
    EXPECT_NE(list.color(0), QColor(Qt::white));
    EXPECT_NE(list.color(0), list.color(1));
}

TEST_F(BeamFile, BadNamesAreRefusedAndNothingIsWrittenOrRead)
{
    addTracks(2);
    for (const char* name : {"scene.b.vts", "scene.txt", "scene"}) {
        answers.messages.clear();
        list.saveCurrentState(path(name));
        EXPECT_FALSE(QFile::exists(path(name))) << name;
        write(name, tracksSection(1, "label=x"));
        list.loadState(path(name));
        ASSERT_EQ(answers.messages.size(), 2u) << name;
        EXPECT_EQ(answers.lastText(), "Ending not recognized as an Vantoria Settings file!");
        EXPECT_EQ(answers.messages[0].icon, QMessageBox::Warning);
        EXPECT_EQ(list.numTracks(), 2);
        EXPECT_TRUE(list.fileName().isEmpty());
    }
    answers.fileAnswer = path("through.dialog.vts");
    list.saveStateDialog();
    EXPECT_FALSE(QFile::exists(answers.fileAnswer));
    EXPECT_EQ(answers.fileRequests.back().filter, "Vantoria Settings Files (*.vts);;All Files (*)");
}

TEST_F(BeamFile, UnreadableFileKeepsTheTracksAndEmptyFileEmptiesTheList)
{
    addTracks(3);
    QSignalSpy deleted(&list, &CBeamSelection::beamTrackDeleted);
    list.loadState(path("missing.vts"));
    ASSERT_EQ(answers.messages.size(), 1u);
    EXPECT_EQ(list.numTracks(), 3);
    EXPECT_EQ(deleted.count(), 0);

    // Bytes that are no ini text: refused as a whole, with the reader's words.
    QByteArray binary;
    for (int i = 0; i < 512; ++i)
        binary += char((i * 37) & 0xff);
    list.loadState(write("binary.vts", binary));
    ASSERT_EQ(answers.messages.size(), 2u);
    EXPECT_EQ(answers.lastText(), CBeamSettings::describe(CBeamSettings::resultFormat));
    EXPECT_EQ(list.numTracks(), 3);
    EXPECT_EQ(deleted.count(), 0);

    list.loadState(write("truncated.vts", "[tracks]\n1\\label=one\n2\\lab"));
    EXPECT_EQ(list.numTracks(), 0); // no "size" key: no tracks
    list.loadState(write("empty.vts", ""));
    EXPECT_EQ(list.numTracks(), 0);
    EXPECT_EQ(deleted.count(), 3);
}
