#pragma once
// The audio device as the application opens it: which driver, at what rate and block
// length, which inputs, and the list of driver outputs that the beams and the monitor go
// to. Every failure is shown once, as a warning through CDialogSeam, where it happens;
// results of the driver layer come back raised by 20000. Main thread only.

#include "app/CZircSettings.h"

#include <QString>

#include <array>
#include <vector>

class QWidget;

class CAudioDevice {
public:
    static constexpr int kDriverOffset = 20000;
    static constexpr int kMaxMonitorOutputs = 2;

    // Warnings go to `parent` with `title`.
    CAudioDevice(QWidget* parent, const QString& title);

    // Selects a driver, then sets rate, block length, inputs and outputs. The steps'
    // results are not combined: each has said what went wrong, and the program goes on
    // without audio.
    void open(CZircSettings& settings);

    int selectDriver();
    int setSampleRate(float request);
    int setBlockLength(int request);
    int setInputs();
    // Builds the output list from the settings (limiting them where they do not fit) and
    // gives it to the driver.
    int setOutputs(CZircSettings& settings);

    bool isOpen() const;
    // The interface box's own driver is open.
    bool isDefaultDevice() const;

    // The output list for beams and monitor. Beam i goes to entry i; monitor output k to
    // entry monitorOutputs[k]. Adjusts the group, count and offset values of `s` as used.
    struct OutputList {
        std::vector<int> channels;
        int numBeamOutputs = 0;
        std::array<int, kMaxMonitorOutputs> monitorOutputs{};
        int numMonitorOutputs = 0;
    };
    static OutputList buildOutputList(CZircSettings& s, bool boxGroups, int groupMask, int availableOutputs);

    // The program always asks for 44.1 kHz and the block length the driver prefers.
    const float mRequestedRate = 44100.0f;
    const int mRequestedBlock = 0;
    QString mDefaultDevice = QStringLiteral("ASIO TCAT Dice EVM Platform");
    QString mDevice;
    int mMaxInputs = 32;
    int mMaxOutputs = 18;
    int mAvailableInputs = 0;
    int mAvailableOutputs = 0;
    int mNumDriverInputs = 0;
    int mInputChannelOffset = 0;
    int mNumDriverOutputs = 0;
    int mZibGroupMask = 0;
    OutputList mOutputs;
    float mSampleRate = 0.0f;
    int mBlockLength = 0;

private:
    void warn(const QString& text) const;

    QWidget* mParent;
    QString mTitle;
};
