// The ini file: defaults on a first run, every key round-trips, each write starts from an
// empty file, and files the program cannot use never stop it.

#include "session/CZircSettings.h"
#include "tests/app/AppTestSupport.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

using apptest::readText;
using apptest::WorkingDirectory;
using apptest::writeText;

namespace {
const QString kIni = QStringLiteral("vantoria.ini");

// The keys of the [General] section, read as plain text.
QStringList keysInFile(const QString& path)
{
    QStringList keys;
    for (const QByteArray& line : readText(path).split('\n'))
        if (const int eq = line.indexOf('='); eq > 0)
            keys << QString::fromUtf8(line.left(eq));
    return keys;
}

void expectDefaults(const CZircSettings& s)
{
    EXPECT_EQ(s.mInputMode, 0);
    EXPECT_EQ(s.mPreampVolume, 20);
    EXPECT_TRUE(s.mMonitorEnabled);
    EXPECT_EQ(s.mMonitorSection, 1);
    EXPECT_EQ(s.mZibActiveGroups, 2);
    EXPECT_EQ(s.mZibFirstGroup, 2);
    EXPECT_EQ(s.mNumOutputChannels, 8);
    EXPECT_EQ(s.mNumMonitorChannels, 2);
    EXPECT_EQ(s.mMonitorChannelOffset, 0);
    EXPECT_TRUE(s.mBeamTrackSettings.isEmpty());
    EXPECT_TRUE(s.mSensorFile.isEmpty());
    EXPECT_TRUE(s.mEmulateHardware);
}
} // namespace

TEST(Settings, FirstRunWithoutFileStartsFromDefaults)
{
    WorkingDirectory dir;
    expectDefaults(CZircSettings::load(kIni));
}

TEST(Settings, EveryKeyRoundTripsUnderItsOwnName)
{
    WorkingDirectory dir;
    CZircSettings s;
    s.mInputMode = 1;
    s.mPreampVolume = 34;
    s.mInputSliderVolume = -12.7f; // stored as a whole number
    s.mOutputMasterVolume = 3.5f;
    s.mMonitorEnabled = false;
    s.mMonitorVolume = -9;
    s.mMonitorSection = 0;
    s.mMonitorChannel = 17;
    s.mFcHp = 3;
    s.mBeamTrackSettings = QStringLiteral("/tmp/some tracks; with=odd chars.vts");
    s.mZibActiveGroups = 7;
    s.mZibFirstGroup = 4;
    s.mNumOutputChannels = 5;
    s.mOutputChannelOffset = 3;
    s.mNumMonitorChannels = 1;
    s.mMonitorChannelOffset = 9;
    s.mSensorFile = QString::fromUtf8("/tmp/aufnahme \xc3\xa4.wav");
    s.mEmulateHardware = false;
    s.mMountingYaw = 12.5f;
    s.mMountingPitch = -3.0f;
    s.mMountingRoll = 180.0f;
    s.mAmbiOrder = 2;
    s.mAmbiNorm = 1;
    s.mAmbiAboveAliasing = true;
    s.mHrtfFile = QStringLiteral("/tmp/my head.sofa");
    s.mHeadYaw = -45.0f;
    s.mHeadPitch = 10.0f;
    s.mHeadRoll = 2.5f;
    s.mOscEnabled = true;
    s.mOscPort = 7001;
    s.write(kIni);

    const CZircSettings r = CZircSettings::load(kIni);
    EXPECT_EQ(r.mInputMode, 1);
    EXPECT_EQ(r.mPreampVolume, 34);
    EXPECT_EQ(r.mInputSliderVolume, -12.0f);
    EXPECT_EQ(r.mOutputMasterVolume, 3.5f);
    EXPECT_FALSE(r.mMonitorEnabled);
    EXPECT_EQ(r.mMonitorVolume, -9);
    EXPECT_EQ(r.mMonitorSection, 0);
    EXPECT_EQ(r.mMonitorChannel, 17);
    EXPECT_EQ(r.mFcHp, 3);
    EXPECT_EQ(r.mBeamTrackSettings, s.mBeamTrackSettings);
    EXPECT_EQ(r.mZibActiveGroups, 7);
    EXPECT_EQ(r.mZibFirstGroup, 4);
    EXPECT_EQ(r.mNumOutputChannels, 5);
    EXPECT_EQ(r.mOutputChannelOffset, 3);
    EXPECT_EQ(r.mNumMonitorChannels, 1);
    EXPECT_EQ(r.mMonitorChannelOffset, 9);
    EXPECT_EQ(r.mSensorFile, s.mSensorFile);
    EXPECT_FALSE(r.mEmulateHardware);
    EXPECT_EQ(r.mMountingYaw, 12.5f);
    EXPECT_EQ(r.mMountingPitch, -3.0f);
    EXPECT_EQ(r.mMountingRoll, 180.0f);
    EXPECT_EQ(r.mAmbiOrder, 2);
    EXPECT_EQ(r.mAmbiNorm, 1);
    EXPECT_TRUE(r.mAmbiAboveAliasing);
    EXPECT_EQ(r.mHrtfFile, s.mHrtfFile);
    EXPECT_EQ(r.mHeadYaw, -45.0f);
    EXPECT_EQ(r.mHeadPitch, 10.0f);
    EXPECT_EQ(r.mHeadRoll, 2.5f);
    EXPECT_TRUE(r.mOscEnabled);
    EXPECT_EQ(r.mOscPort, 7001);

    QStringList keys = keysInFile(kIni);
    keys.sort();
    QStringList expected{"version", "inputMode", "preampVolume", "inputSliderVolume", "outputMasterVolume",
                         "monitorEnabled", "monitorVolume", "monitorSection", "monitorChannel", "fcHp",
                         "beamTrackSettings", "zibActiveOutputGroups", "zibFirstOutputGroup", "numOutputChannels",
                         "outputChannelOffset", "numMonitorChannels", "minitorChannelOffset", "sensorFile",
                         "emulateHardware", "mountingYaw", "mountingPitch", "mountingRoll", "ambisonicsOrder",
                         "ambisonicsNorm", "ambisonicsAboveAliasing", "hrtfFile", "headYaw", "headPitch", "headRoll",
                         "oscEnabled", "oscPort"};
    expected.sort();
    EXPECT_EQ(keys, expected);
    EXPECT_TRUE(readText(kIni).contains("inputSliderVolume=-12\n"));
}

TEST(Settings, WriteClearsTheFileAndStampsTheVersion)
{
    WorkingDirectory dir;
    writeText(kIni, "[General]\nversion=7\nnumOutputChannels=4\nleftOver=1\n[Old]\nstale=2\n");
    CZircSettings::load(kIni).write(kIni);
    const QByteArray text = readText(kIni);
    EXPECT_TRUE(text.contains("version=10501\n"));
    EXPECT_TRUE(text.contains("numOutputChannels=4\n"));
    EXPECT_FALSE(text.contains("leftOver"));
    EXPECT_FALSE(text.contains("stale"));
}

TEST(Settings, AFileWithVersionReadsMissingKeysAsZero)
{
    WorkingDirectory dir;
    writeText(kIni, "[General]\nversion=10501\npreampVolume=40\n");
    const CZircSettings s = CZircSettings::load(kIni);
    EXPECT_EQ(s.mPreampVolume, 40);
    EXPECT_EQ(s.mNumOutputChannels, 0);
    EXPECT_FALSE(s.mMonitorEnabled);
    EXPECT_EQ(s.mZibActiveGroups, 0);
    EXPECT_EQ(s.mMonitorSection, 0);
    // The emulation switch and the Ambisonics, binaural and OSC keys came later than the
    // format: a file without them keeps their defaults.
    EXPECT_TRUE(s.mEmulateHardware);
    EXPECT_EQ(s.mAmbiOrder, 3);
    EXPECT_EQ(s.mHrtfFile, QStringLiteral("/usr/share/libmysofa/default.sofa"));
    EXPECT_FALSE(s.mOscEnabled);
    EXPECT_EQ(s.mOscPort, 9000);
}

TEST(Settings, UnusableFilesGiveDefaultsAndAreLeftAlone)
{
    WorkingDirectory dir;
    writeText(kIni, QByteArray("\x00\xff\x13garbage[[=\n==\n", 16));
    expectDefaults(CZircSettings::load(kIni));
    writeText(kIni, "");
    expectDefaults(CZircSettings::load(kIni));

    QFile::remove(kIni);
    ASSERT_TRUE(QDir().mkdir(kIni));
    expectDefaults(CZircSettings::load(kIni));
    CZircSettings::defaults().write(kIni);
    EXPECT_TRUE(QFileInfo(kIni).isDir());
}

TEST(Settings, AReadOnlyFileKeepsTheUsersSettings)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes read-only files";
    WorkingDirectory dir;
    writeText(kIni, "[General]\nversion=10501\nnumOutputChannels=6\n");
    QFile::setPermissions(kIni, QFile::ReadOwner);
    CZircSettings::defaults().write(kIni);
    EXPECT_EQ(CZircSettings::load(kIni).mNumOutputChannels, 6);
}

TEST(Settings, EachWorkingDirectoryHasItsOwnFile)
{
    WorkingDirectory first;
    CZircSettings a;
    a.mFcHp = 1;
    a.write(kIni);
    {
        WorkingDirectory second;
        CZircSettings b;
        b.mFcHp = 2;
        b.write(kIni);
        EXPECT_EQ(CZircSettings::load(kIni).mFcHp, 2);
    }
    EXPECT_EQ(CZircSettings::load(kIni).mFcHp, 1);
}
