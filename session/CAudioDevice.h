#pragma once
// The audio device as the application opens it: which driver, at what rate and block
// length, which inputs, and the list of driver outputs that the beams and the monitor go
// to; and what becomes of it when its driver asks for a reset or loses its device (a
// JACK server that ends). Every failure is told once, as a warning to the owner's
// callback, where it happens; results of the driver layer come back raised by 20000. Main thread only.

#include "session/CZircSettings.h"

#include <QString>

#include <functional>
#include <optional>

#include <array>
#include <vector>


class CAudioDevice {
public:
    static constexpr int kDriverOffset = 20000;
    static constexpr int kMaxMonitorOutputs = 2;

    using Warn = std::function<void(const QString& text)>;
    // Asks which of the listed drivers to open when the box's own is missing; nothing
    // for none.
    using Choose = std::function<std::optional<QString>(const QStringList& names)>;
    // The question a chooser puts.
    static inline const QString kChooseTitle = QStringLiteral("Audio Device");
    static inline const QString kChooseText =
        QStringLiteral("Default Audio device is not present, please select one from the list...");
    CAudioDevice(Warn warn, Choose choose);

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

    // What a reset or a reopening left: nothing open, the device as before, or the device
    // at another rate, block length or channel count (the graph must be built anew).
    enum class Recovery { Lost, Same, Changed };
    // The driver asked for a reset or lost its device, at any time; polled by the window.
    bool resetRequested() const;
    // Serves the request once the stream has stopped and the takes are finished: loads
    // the driver afresh and tells the user once what happened, naming the device and what
    // its driver says (a JACK server names itself). A driver that does not load again
    // leaves the device lost.
    Recovery serveReset();
    // Play after a loss: opens the lost device again, or says once that it is still gone.
    Recovery reopen();
    // A device was lost and is not open again yet.
    bool lost() const { return !mLostDevice.isEmpty(); }

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
    // What the graph is built for.
    struct Format {
        float rate;
        int block;
        int inputs;
        int outputs;
        bool operator==(const Format&) const = default;
    };
    Format format() const { return {mSampleRate, mBlockLength, mAvailableInputs, mAvailableOutputs}; }
    // After a reload: takes the device's values as the layer has them now.
    Recovery follow(const QString& name);
    void warn(const QString& text) const;

    QString mLostDevice; // the device that went and is not back

    Warn mWarn;
    Choose mChoose;
};
