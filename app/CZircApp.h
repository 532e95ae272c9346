#pragma once
// The application's main window: owns the audio graph, the box control thread, the
// widgets and the options window, opens the audio device, builds the graph and rebuilds it
// when outputs change. No widget touches the graph: widgets emit signals, the slots here
// turn them into calls on the graph, and the 60 ms timer feeds positions back. The stream
// is started and stopped by pressing the transport's buttons, so that they always show
// its state. Construction starts the box thread, reads the settings, waits for the box,
// opens the device, makes the widgets, builds the graph, sets the widgets and the graph
// from the settings, connects and lays out the window and starts the timer; audio starts
// only with Play. Main thread only; the box thread reaches it by queued signals.

#include "app/CAudioDevice.h"
#include "app/CZircSettings.h"

#include <QBasicTimer>
#include <QMainWindow>
#include <QString>

#include <QStringList>

#include <array>
#include <memory>
#include <vector>

class CAudioFileNavigator;
class CAudioGraph;
class CAudioTransport;
class CBeamDisplayAzimuth;
class CBeamDisplayElevation;
class CBeamSelection;
class CHpSelection;
class CInputSourceSelection;
class CInputVolume;
class CLevelMeter;
class CMonitorUnit;
class CRecordingSinkSelection;
class CSoundMapFeed;
class CStatusLine;
class CVolumeUnit;
class CEmulatedHardware;
class CZibControl;
class CZrOptions;

class CZircApp : public QMainWindow {
    Q_OBJECT

public:
    static constexpr int kGraphOffset = 10000;
    static constexpr int kCalibrationMessage = 0x80000;
    static constexpr int kTimerMs = 60;
    static constexpr int kBoxPollMs = 10;

    explicit CZircApp(QWidget* parent = nullptr);
    ~CZircApp() override;

    CAudioGraph* graph() const { return mGraph.get(); }
    CZibControl* box() const { return mBox.get(); }
    CEmulatedHardware* emulation() const { return mEmulation.get(); }
    CZrOptions* optionsWindow() const { return mOptions; }
    const CAudioDevice& device() const { return mAudio; }
    const CZircSettings& settings() const { return mSettings; }
    int graphResult() const { return mGraphResult; }
    bool calibrated() const { return mCalibrated; }
    CAudioTransport* transport() const { return mTransport; }
    CAudioFileNavigator* navigator() const { return mNavigator; }
    CLevelMeter* inputMeter() const { return mInputMeter; }
    CLevelMeter* outputMeter() const { return mOutputMeter; }
    CVolumeUnit* outputVolume() const { return mOutputVolume; }
    CInputSourceSelection* inputSource() const { return mInputSource; }
    CRecordingSinkSelection* recordingSinks() const { return mRecordingSinks; }
    CInputVolume* inputVolume() const { return mInputVolume; }
    CMonitorUnit* monitor() const { return mMonitor; }
    CBeamDisplayAzimuth* azimuthDisplay() const { return mAzimuthDisplay; }
    CBeamDisplayElevation* elevationDisplay() const { return mElevationDisplay; }
    CBeamSelection* beamSelection() const { return mBeamSelection; }
    CHpSelection* hpSelection() const { return mHpSelection; }
    CSoundMapFeed* soundMapFeed() const { return mMapFeed; }
    CStatusLine* statusLine() const { return mStatusLine; }
    const std::array<float, 32>& calibrationGains() const { return mCalibrationGains; }

    // Ends the program without questions, for a termination signal.
    void quitOnSignal();

public slots:
    void start();
    void stop();
    void pause();
    void startRecording();
    void stopRecording();
    void seek(int position);
    void updatePhi(int index, int phi);
    void updatePhi(int phi);
    void updateTheta(int index, int theta);
    void updateTheta(int theta);
    void steerToMapPeak(int theta, int phi);
    void updateMapPlane();
    void updateBeamformer(int index);
    void updateMonitorChannels(int numChannels, int offset);
    void updateOutputChannels(int numChannels, int offset);
    void updateZibOutputGroups(int groups, int firstGroup);
    void actOnMidiMessage(int cmd, int value);
    void actOnMidiConnectionProblems();
    void openFile(const QString& fileName);
    void setInputMode(int mode);
    void remoteStop();
    void updateStartSample(int position);
    void setOutputGain(int channel, float gain);
    void setOutputMute(int channel, bool mute);
    void setOutputMasterGain(float gain);
    void setPreampVolume(int volume);
    void setInputGain(float gain);
    void setInputMute(bool mute);
    void setHpIndex(int index);
    void beamGotAdded(int index);
    void beamGotDeleted(int index);
    void updatePattern(int beamIndex, int patternIndex, int parameterIndex);
    void updateParameter(int beamIndex, int parameterIndex);
    void setMonitorChannel(int inout, int channel);
    void setMonitorGain(float gain);
    void setMonitorStatus(bool status);
    void writeSettings(const QString& fileName);
    void loadSettings(const QString& fileName);
    void loadDefaultSettings();
    void about();
    void options();
    void setEmulation(bool on);

protected:
    void timerEvent(QTimerEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void startBox();
    void waitForBox();
    void createWidgets();
    int buildGraph();
    void initWidgets();
    void initBeamSelection();
    void initHpSelection();
    void setupOptions();
    void applySettings();
    void applyInputVolume();
    void updateDisplays();
    void connectWidgets();
    void connectBeamSelection();
    void connectSoundMap();
    void layOutWindow();
    int rebuild();
    int openInputFile();
    void chooseProcessingMode();
    bool ready() const { return mGraphResult == 0; }
    bool fileMode() const;
    // The polar response of a pattern and parameter into mPatternResponse; its length.
    int loadResponse(int pattern, int parameter);
    // Presses a transport button; with `quiet` the button only shows the state the stream
    // already has.
    void pressTransport(int code, bool quiet = false);
    void checkDevice();
    // A device open again at another rate, block or channel count gets a graph built for
    // it; false while the device is lost.
    bool followDevice(CAudioDevice::Recovery recovery);
    void checkRecordings();
    void checkOverruns();
    QStringList recordingFolders() const;
    QString newRecordingPath(int sink);
    void askToSaveBeamTracks();
    void setWindowTitleFromState();
    QString soundMapNote() const;
    void warn(const QString& text);

    std::unique_ptr<CAudioGraph> mGraph;
    std::unique_ptr<CEmulatedHardware> mEmulation;
    std::unique_ptr<CZibControl> mBox;
    QBasicTimer mTimer;
    QString mAppName = QStringLiteral("Vantoria");
    QString mIniFile = QStringLiteral("vantoria.ini");
    CZircSettings mSettings;
    CAudioDevice mAudio;
    int mGraphResult = 0;
    std::array<float, 32> mCalibrationGains{};
    bool mCalibrationValid = false;
    bool mCalibrated = false;
    std::vector<float> mPatternResponse;

    CVolumeUnit* mOutputVolume = nullptr;
    CLevelMeter* mInputMeter = nullptr;
    CLevelMeter* mOutputMeter = nullptr;
    CAudioTransport* mTransport = nullptr;
    CAudioFileNavigator* mNavigator = nullptr;
    CInputSourceSelection* mInputSource = nullptr;
    CRecordingSinkSelection* mRecordingSinks = nullptr;
    CInputVolume* mInputVolume = nullptr;
    CMonitorUnit* mMonitor = nullptr;
    CBeamDisplayAzimuth* mAzimuthDisplay = nullptr;
    CBeamDisplayElevation* mElevationDisplay = nullptr;
    CBeamSelection* mBeamSelection = nullptr;
    CHpSelection* mHpSelection = nullptr;
    CSoundMapFeed* mMapFeed = nullptr;
    CStatusLine* mStatusLine = nullptr;
    QStringList mSinkNames{QStringLiteral("input"), QStringLiteral("output")};
    std::array<QString, 2> mRecordingFiles; // the take of each sink; empty while it records none
    std::array<bool, 2> mOverrunReported{}; // the take of each sink lost blocks to a slow disk
    CZrOptions* mOptions = nullptr;
};
