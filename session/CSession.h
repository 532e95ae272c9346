#pragma once
// One working session with the array, without any window: the interface box (real or
// emulated) and its calibration, the audio device, the graph with every value the user
// set, the stream and the takes. Front ends (the main window, a remote control) turn user
// actions into the commands below and show what the session publishes: values and the
// signals at the end. Control thread only; the box thread reaches the session through
// queued signals.
//
// open() starts the box thread, reads the settings, waits for the box, opens the device
// and builds the graph; a front end connects to warning() first, so that it shows what
// goes wrong on the way. poll() (every 60 ms from the front end's timer) serves a device
// that asked for a reset, finishes takes that the disk refused, reports takes cut by a slow
// disk, and applies the box's calibration once it arrives.
//
// Ambisonics and binaural monitoring: the commands below keep their values in the
// settings as well. Ear filters take hundreds of milliseconds to read and design, so
// loadHrtf does that on a worker thread and hands the filters to the graph back on the
// control thread; hrtfLoaded() tells the outcome. A graph built at another rate has its
// filters designed anew the same way.

#include "graph/CAudioGraph.h"
#include "session/CAudioDevice.h"
#include "session/CGraphSession.h"
#include "session/CZircSettings.h"
#include "stages/vkLevelSource.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <memory>
#include <thread>

class CEmulatedHardware;
class CZibControl;

class CSession : public QObject {
    Q_OBJECT

public:
    static constexpr int kGraphOffset = 10000;
    static constexpr int kCalibrationMessage = 0x80000;
    static constexpr int kBoxPollMs = 10;
    static constexpr int kSinks = CAudioGraph::sinkCount;

    explicit CSession(const QString& iniFile, QObject* parent = nullptr);
    ~CSession() override;

    // Who picks a driver when the box's own is missing; without one none is opened.
    void setDeviceChooser(CAudioDevice::Choose choose) { mChooseDevice = std::move(choose); }
    void open();

    // ---- what the session is
    CZircSettings& settings() { return mSettings; }
    const CZircSettings& settings() const { return mSettings; }
    const QString& iniFile() const { return mIniFile; }
    const CAudioDevice& device() const { return mAudio; }
    CZibControl* box() const { return mBox.get(); }
    CEmulatedHardware* emulation() const { return mEmulation.get(); }
    bool boxConnected() const;
    bool boxHasArray() const;
    // The graph's result, raised by kGraphOffset; 0 when it runs.
    int graphResult() const { return mGraphResult; }
    bool ready() const { return mGraphResult == 0; }
    // For reading the graph's state and pattern catalogue; null before open().
    const CAudioGraph* graph() const { return mGraph.graph(); }
    bool calibrated() const { return mCalibrated; }
    const std::array<float, 32>& calibrationGains() const { return mCalibrationGains; }
    // The levels of a bus (CAudioGraph::levelInput or levelOutput) of whichever graph runs;
    // valid as long as the session.
    vkLevelSource& levels(int bus) { return mLevels[bus == CAudioGraph::levelInput ? 0 : 1]; }
    bool running() const { return mRunning; }
    bool fileMode() const { return mSettings.mInputMode == CAudioGraph::inputFile; }
    std::int64_t inputFileFrames() const;
    std::int32_t playbackPosition() const { return mGraph.playbackPosition(); }
    std::int32_t takePosition(int sink) const { return mGraph.takePosition(sink); }
    bool recording() const;

    // ---- commands
    // The beams, gains, monitor, high-pass and the sound map's tap: kept over rebuilds.
    CGraphSession& values() { return mGraph; }
    const CGraphSession& values() const { return mGraph; }
    // Play: opens a lost device again first; false (and the stream stays stopped) when
    // there is nothing to play on.
    bool start();
    void stop();
    void pause();
    void seek(int frame);
    void setPlaybackStart(int frame);
    // Stops the stream, switches the input and, for a file, opens the one in the
    // settings; 0, or the graph's code.
    int setInputMode(int mode);
    // Stops the stream and opens `fileName` for playback; a file that cannot be opened is
    // said once and given up in the settings (false).
    bool openInputFile(const QString& fileName);
    void setPreampVolume(int volume);
    // A take of `sink` in a new file that `nextPath` names; a name that another program
    // takes between the look and the exclusive create makes it ask again. The path, or
    // empty (and a warning) when no file could be made.
    QString startTake(int sink, const std::function<QString()>& nextPath);
    // Finishes every take; takesStopped() tells what the disk refused.
    void stopTakes();
    // Output and monitor channels changed in the settings: the takes end, and the graph
    // is built anew on the device's new output list; a running stream plays on.
    int rebuild();

    // ---- Ambisonics and binaural (values kept in the settings too)
    // The stream stops for the change and plays on; 5 while an Ambisonics take is open,
    // 8 for an order outside 1..3. Nothing changes on refusal.
    int setAmbisonicsFormat(int order, AmbiNorm norm);
    // 8, and nothing changes, for an angle that is not finite.
    int setMountingOrientation(const CGraphSession::Orientation& mounting);
    int setHeadOrientation(const CGraphSession::Orientation& head);
    void setAboveAliasing(bool on);
    // Reads and designs the SOFA file at `path` on a worker, then loads its filters;
    // hrtfLoaded() follows. A request while one is under way runs after it.
    void loadHrtf(const QString& path);
    bool hrtfLoading() const { return mHrtfWorker.joinable(); }
    // Samples by which the ears follow the Ambisonics channels (for the status line).
    int binauralLatency() const { return mGraph.binauralLatency(); }

    void poll();

signals:
    // Something the user must be told, once.
    void warning(const QString& text);
    void streamStateChanged(bool running);
    // Every take has ended; `failures` says which the disk refused and why.
    void takesStopped(const QStringList& failures);
    // A take lost audio from `seconds` on (the disk fell a whole ring behind); once a take.
    void takeCut(int sink, const QString& path, int seconds);
    // A new graph runs (for a changed device or output list): displays and taps follow.
    void graphRebuilt();
    void calibrationChanged();
    // A requested SOFA file was loaded (`error` empty) or refused (`error` says why; the
    // filters in force stay).
    void hrtfLoaded(const QString& path, const QString& error);

private slots:
    void actOnBoxMessage(int cmd, int value);

private:
    class BusLevels : public vkLevelSource {
    public:
        BusLevels(CGraphSession& graph, int bus) : mGraph(graph), mBus(bus) {}
        int takeLevels(float* peaks, float* envelopes, int count) override;
        float releaseTime() const override;

    private:
        CGraphSession& mGraph;
        int mBus;
    };

    void startBox();
    void waitForBox();
    int buildGraph();
    int openSettingsFile();
    void chooseProcessingMode();
    void checkDevice();
    bool followDevice(CAudioDevice::Recovery recovery);
    void checkTakes();
    void applyCalibration();
    void applyAmbisonicsSettings();
    void startHrtfDesign(const QString& path);
    void finishHrtfDesign(const QString& path, std::shared_ptr<const CBinauralFilters> filters, const QString& error);

    QString mIniFile;
    CAudioDevice::Choose mChooseDevice;
    CZircSettings mSettings;
    std::unique_ptr<CEmulatedHardware> mEmulation;
    std::unique_ptr<CZibControl> mBox;
    CAudioDevice mAudio;
    CGraphSession mGraph;
    std::array<BusLevels, 2> mLevels;
    int mGraphResult = 0;
    bool mRunning = false;
    std::array<float, 32> mCalibrationGains{};
    bool mCalibrationValid = false;
    bool mCalibrated = false;
    std::array<QString, kSinks> mTakePaths; // the take of each sink; empty while it records none
    std::array<bool, kSinks> mCutReported{};
    // The worker that designs ear filters, and a file asked for while it runs.
    std::thread mHrtfWorker;
    QString mNextHrtf;
};
