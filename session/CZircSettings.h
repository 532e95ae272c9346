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
    // Ambisonics, binaural monitoring and remote control. A file written before these
    // keys existed reads them as the defaults below, like the emulation switch.
    // The array's mounting in the AmbiX frame, degrees.
    float mMountingYaw = 0.0f;
    float mMountingPitch = 0.0f;
    float mMountingRoll = 0.0f;
    int mAmbiOrder = 3;           // 1..3
    int mAmbiNorm = 0;            // 0 SN3D, 1 N3D
    bool mAmbiAboveAliasing = false;
    QString mHrtfFile = QStringLiteral("/usr/share/libmysofa/default.sofa");
    // The listener's head, degrees (yaw > 0 turns it to the left).
    float mHeadYaw = 0.0f;
    float mHeadPitch = 0.0f;
    float mHeadRoll = 0.0f;
    // OSC over UDP: off by default.
    bool mOscEnabled = false;
    int mOscPort = 9000;

    // The defaults of a first run.
    static CZircSettings defaults() { return CZircSettings(); }
    // Reads `fileName`; the defaults when it has no "version" (or cannot be read).
    static CZircSettings load(const QString& fileName);
    // Clears `fileName` and writes every key, "version" first. Errors are not reported:
    // an unwritable file is left as it was.
    void write(const QString& fileName) const;
};
