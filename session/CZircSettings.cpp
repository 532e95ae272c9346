#include "session/CZircSettings.h"

#include <QSettings>

namespace {
constexpr const char* kVersionKey = "version";
constexpr const char* kEmulationKey = "emulateHardware";

QVariant read(const QSettings& file, const char* key)
{
    return file.value(QString::fromLatin1(key), QVariant());
}

// A key added after the version numbers began: its default when missing.
QVariant readNewer(const QSettings& file, const char* key, const QVariant& fallback)
{
    return file.value(QString::fromLatin1(key), fallback);
}
} // namespace

// Keys are read and written in one order: "version", then the order of the members.
CZircSettings CZircSettings::load(const QString& fileName)
{
    const QSettings file(fileName, QSettings::IniFormat);
    if (!file.contains(QString::fromLatin1(kVersionKey)))
        return defaults();
    CZircSettings s;
    s.mInputMode = read(file, "inputMode").toInt();
    s.mPreampVolume = read(file, "preampVolume").toInt();
    s.mInputSliderVolume = read(file, "inputSliderVolume").toFloat();
    s.mOutputMasterVolume = read(file, "outputMasterVolume").toFloat();
    s.mMonitorEnabled = read(file, "monitorEnabled").toBool();
    s.mMonitorVolume = static_cast<int>(read(file, "monitorVolume").toFloat());
    s.mMonitorSection = read(file, "monitorSection").toInt();
    s.mMonitorChannel = read(file, "monitorChannel").toInt();
    s.mFcHp = read(file, "fcHp").toInt();
    s.mBeamTrackSettings = read(file, "beamTrackSettings").toString();
    s.mZibActiveGroups = read(file, "zibActiveOutputGroups").toInt();
    s.mZibFirstGroup = read(file, "zibFirstOutputGroup").toInt();
    s.mNumOutputChannels = read(file, "numOutputChannels").toInt();
    s.mOutputChannelOffset = read(file, "outputChannelOffset").toInt();
    s.mNumMonitorChannels = read(file, "numMonitorChannels").toInt();
    s.mMonitorChannelOffset = read(file, "minitorChannelOffset").toInt();
    s.mSensorFile = read(file, "sensorFile").toString();
    s.mEmulateHardware = file.value(QString::fromLatin1(kEmulationKey), true).toBool();
    const CZircSettings d;
    s.mMountingYaw = readNewer(file, "mountingYaw", d.mMountingYaw).toFloat();
    s.mMountingPitch = readNewer(file, "mountingPitch", d.mMountingPitch).toFloat();
    s.mMountingRoll = readNewer(file, "mountingRoll", d.mMountingRoll).toFloat();
    s.mAmbiOrder = readNewer(file, "ambisonicsOrder", d.mAmbiOrder).toInt();
    s.mAmbiNorm = readNewer(file, "ambisonicsNorm", d.mAmbiNorm).toInt();
    s.mAmbiAboveAliasing = readNewer(file, "ambisonicsAboveAliasing", d.mAmbiAboveAliasing).toBool();
    s.mHrtfFile = readNewer(file, "hrtfFile", d.mHrtfFile).toString();
    s.mHeadYaw = readNewer(file, "headYaw", d.mHeadYaw).toFloat();
    s.mHeadPitch = readNewer(file, "headPitch", d.mHeadPitch).toFloat();
    s.mHeadRoll = readNewer(file, "headRoll", d.mHeadRoll).toFloat();
    s.mOscEnabled = readNewer(file, "oscEnabled", d.mOscEnabled).toBool();
    s.mOscPort = readNewer(file, "oscPort", d.mOscPort).toInt();
    return s;
}

void CZircSettings::write(const QString& fileName) const
{
    QSettings file(fileName, QSettings::IniFormat);
    file.clear();
    file.setValue(kVersionKey, kVersion);
    file.setValue("inputMode", mInputMode);
    file.setValue("preampVolume", mPreampVolume);
    file.setValue("inputSliderVolume", static_cast<int>(mInputSliderVolume));
    file.setValue("outputMasterVolume", mOutputMasterVolume);
    file.setValue("monitorEnabled", mMonitorEnabled);
    file.setValue("monitorVolume", mMonitorVolume);
    file.setValue("monitorSection", mMonitorSection);
    file.setValue("monitorChannel", mMonitorChannel);
    file.setValue("fcHp", mFcHp);
    file.setValue("beamTrackSettings", mBeamTrackSettings);
    file.setValue("zibActiveOutputGroups", mZibActiveGroups);
    file.setValue("zibFirstOutputGroup", mZibFirstGroup);
    file.setValue("numOutputChannels", mNumOutputChannels);
    file.setValue("outputChannelOffset", mOutputChannelOffset);
    file.setValue("numMonitorChannels", mNumMonitorChannels);
    file.setValue("minitorChannelOffset", mMonitorChannelOffset);
    file.setValue("sensorFile", mSensorFile);
    file.setValue(kEmulationKey, mEmulateHardware);
    file.setValue("mountingYaw", mMountingYaw);
    file.setValue("mountingPitch", mMountingPitch);
    file.setValue("mountingRoll", mMountingRoll);
    file.setValue("ambisonicsOrder", mAmbiOrder);
    file.setValue("ambisonicsNorm", mAmbiNorm);
    file.setValue("ambisonicsAboveAliasing", mAmbiAboveAliasing);
    file.setValue("hrtfFile", mHrtfFile);
    file.setValue("headYaw", mHeadYaw);
    file.setValue("headPitch", mHeadPitch);
    file.setValue("headRoll", mHeadRoll);
    file.setValue("oscEnabled", mOscEnabled);
    file.setValue("oscPort", mOscPort);
    file.sync();
}
