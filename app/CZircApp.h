#pragma once
// The application: owns the audio graph, the box control thread and the options window,
// opens the audio device, builds the graph and rebuilds it when outputs change, and turns
// slots into calls on the graph. Construction starts the box thread, reads the settings,
// waits for the box, opens the device, builds the graph, sets the title and starts the
// 60 ms display timer; audio starts only with start(). Main thread only; the box thread
// reaches it by queued signals.

#include "app/CAudioDevice.h"
#include "app/CZircSettings.h"

#include <QBasicTimer>
#include <QMainWindow>
#include <QString>

#include <array>
#include <memory>

class CAudioGraph;
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
    const std::array<float, 32>& calibrationGains() const { return mCalibrationGains; }

public slots:
    void start();
    void stop();
    void pause();
    void seek(int position);
    void updatePhi(int index, int phi);
    void updateTheta(int index, int theta);
    void updateMonitorChannels(int numChannels, int offset);
    void updateOutputChannels(int numChannels, int offset);
    void updateZibOutputGroups(int groups, int firstGroup);
    void actOnMidiMessage(int cmd, int value);
    void actOnMidiConnectionProblems();
    void openFile(const QString& fileName);
    void setInputMode(int mode);
    void updateStartSample(int position);
    void setOutputGain(int channel, float gain);
    void setOutputMute(int channel, bool mute);
    void setOutputMasterGain(float gain);
    void setPreampVolume(int volume);
    void setInputGain(float gain);
    void setInputMute(bool mute);
    void setHpIndex(int index);
    void setMonitorChannel(int inout, int channel);
    void setMonitorGain(float gain);
    void setMonitorStatus(bool status);
    void setEmulation(bool on);
    void writeSettings(const QString& fileName);
    void loadSettings(const QString& fileName);
    void loadDefaultSettings();
    void options();

protected:
    void timerEvent(QTimerEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void startBox();
    void waitForBox();
    int buildGraph();
    void applySettings();
    int rebuild();
    int openInputFile();
    void setupOptions();
    void setWindowTitleFromState();
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
    CZrOptions* mOptions = nullptr;
};
