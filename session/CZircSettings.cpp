#include "session/CZircSettings.h"

#include <QSettings>

namespace {
constexpr const char* kVersionKey = "version";
constexpr const char* kEmulationKey = "emulateHardware";

QVariant read(const QSettings& file, const char* key)
{
    return file.value(QString::fromLatin1(key), QVariant());
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
    file.sync();
}
