#pragma once
// The settings that persist between runs, and the ini file that holds them. The file is
// read once at start-up and written once when the window closes; every write clears the
// file first, so a key the program no longer knows does not survive. A file without
// "version" gives the defaults; a file with it gives zero, false or empty for any key it
// lacks. Values out of range are limited where they are used, not here.

#include <QString>

struct CZircSettings {
    static constexpr int kVersion = 10501;

    int mInputMode = 0;
    int mPreampVolume = 20;
    float mInputSliderVolume = 0.0f;
    float mOutputMasterVolume = 0.0f;
    bool mMonitorEnabled = true;
    int mMonitorVolume = 0;
    int mMonitorSection = 1;
    int mMonitorChannel = 0;
    int mFcHp = 0;
    QString mBeamTrackSettings;
    int mZibActiveGroups = 2;
    int mZibFirstGroup = 2;
    int mNumOutputChannels = 8;
    int mOutputChannelOffset = 0;
    int mNumMonitorChannels = 2;
    int mMonitorChannelOffset = 0;
    QString mSensorFile;
    // The software box and array stand in for the hardware. Missing from a file written
    // before the switch existed reads as on, so an upgrade changes nothing.
    bool mEmulateHardware = true;

    // The defaults of a first run.
    static CZircSettings defaults() { return CZircSettings(); }
    // Reads `fileName`; the defaults when it has no "version" (or cannot be read).
    static CZircSettings load(const QString& fileName);
    // Clears `fileName` and writes every key, "version" first. Errors are not reported:
    // an unwritable file is left as it was.
    void write(const QString& fileName) const;
};
