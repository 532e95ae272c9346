#pragma once
// The box control thread. It opens the last MIDI port pair of the box's name, asks the
// box what is attached, reads the array's calibration out of the box's memory and
// carries the preamp setting to it. Requests go out without waiting for answers; answers
// are matched by sequence number only, and a box that leaves requests unanswered for
// eleven polls of 200 ms is given up. What it learns stands in the state words, which the
// main thread reads without a lock, and goes out through two signals, emitted on this
// thread.

#include "box/CZibCalibration.h"
#include "box/midi_msg_parser.h"
#include "box/midi_port_directory.h"

#include <QList>
#include <QMutex>
#include <QThread>

#include <atomic>
#include <cstdint>
#include <string_view>

class CZibMessage;

class CZibControl : public QThread {
    Q_OBJECT

public:
    static constexpr int kPollMs = 200;
    static constexpr int kMaxMissedPolls = 10;
    static constexpr int kValues = 32;
    static constexpr int kPoolMessages = 64;
    static constexpr int kPoolMessageSize = 256;

    // Results of the sending operations.
    enum tSendResult { sendOk = 0, sendNoMessage = 7, sendUnfilled = 8, sendRefused = 9, sendTooMany = 11 };

    // The owner starts the thread, at low priority.
    explicit CZibControl(QObject* parent = nullptr, midi_port_directory_t ports = midi_port_directory_t());
    ~CZibControl() override;

    // Sends the preamp gain for all 32 channels; with `useCalibration` and valid
    // calibration data each channel's gain adds its capsule's calibration value, in the
    // box's channel order, which swaps the capsules in pairs. Main thread.
    int setPreampGain(float dB, bool useCalibration);
    // Copies at most `count` calibration values in dB: 1 when there are no valid ones.
    int calibration(float* out, int count);

    // State words: -1 unknown; port 0 failed or lost, 1 open; array and extension 0
    // none, 1 present; extension kind 1 to 3, 0 none, -2 an answer outside these.
    std::atomic<int> mPortState{-1};
    std::atomic<int> mArrayState{-1};
    std::atomic<int> mExtensionState{-1};
    std::atomic<int> mExtensionKind{-1};
    // The box has told enough for the application to go on, or has been given up.
    std::atomic<bool> mStartupDone{false};

signals:
    void msgConfirmed(int cmd, int value);
    void connectionProblems();

protected:
    void run() override;

private:
    int openPort();
    void closePort();
    void poll(midi_msg_list_t& received);
    void countMissedPoll();
    void handle(const midi_msg_t& msg);
    void act(const CZibMessage& answer);
    void actOnMemory(const CZibMessage& answer);
    void actOnExtensionState(std::uint32_t value);
    void actOnArrayState(std::uint32_t value);
    int send(std::uint32_t command, std::uint8_t target, int type, std::string_view payload = {});
    int sendValues(std::uint32_t command, const std::uint8_t* values, int count);

    CZibCalibration mCalibration;        // guarded by mGainLock against the main thread
    QMutex mSendLock;                    // a send, and mPending
    QMutex mGainLock;                    // taken before mSendLock
    int mMissedPolls = 0;
    std::atomic<bool> mStop{false};
    std::uint32_t mSequence = 0;
    QList<int> mPending;
    boost::shared_ptr<midi_msg_pool_t> mPool;
    boost::shared_ptr<midi_msg_parser_t> mParser;
    midi_msg_list_t mIncoming;
    boost::shared_ptr<midi_input_dev_t> mInput;
    boost::shared_ptr<midi_output_dev_t> mOutput;
    midi_port_directory_t mPorts;
};
