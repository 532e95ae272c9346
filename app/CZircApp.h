#pragma once
// The application's main window: the view of one session (session/CSession), which owns
// the box, the device, the graph and the takes. Widgets emit signals, the slots here (and
// the beam panel's, app/CBeamPanel) turn them into the session's commands, and the 60 ms timer polls the session and shows its
// positions; the session's signals keep the transport, the takes and the displays in step.
// Construction opens the session (box, settings, device, graph), makes the widgets, gives
// the session the values the widgets show, connects and lays out the window and starts the
// timer; audio starts only with Play. Main thread only.

#include "session/CSession.h"

#include <QBasicTimer>
#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <memory>

class CAudioFileNavigator;
class CAudioTransport;
class CBeamPanel;
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
class CSpatialControl;
class CStatusLine;
class CVolumeUnit;
class CZrOptions;

class CZircApp : public QMainWindow {
    Q_OBJECT

public:
    static constexpr int kTimerMs = 60;

    explicit CZircApp(QWidget* parent = nullptr);
    ~CZircApp() override;

    CSession& session() const { return *mSession; }
    CZrOptions* optionsWindow() const { return mOptions; }
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
    CBeamPanel* beamPanel() const { return mBeams; }
    CStatusLine* statusLine() const { return mStatusLine; }
    CSpatialControl* spatialControl() const { return mSpatial; }

    // Ends the program without questions, for a termination signal.
    void quitOnSignal();

public slots:
    void start();
    void stop();
    void pause();
    void startRecording();
    void stopRecording();
    void seek(int position);
    void updateMonitorChannels(int numChannels, int offset);
    void updateOutputChannels(int numChannels, int offset);
    void updateZibOutputGroups(int groups, int firstGroup);
    void openFile(const QString& fileName);
    void setInputMode(int mode);
    void remoteStop();
    void updateStartSample(int position);
    void setOutputMasterGain(float gain);
    void setPreampVolume(int volume);
    void setInputGain(float gain);
    void setInputMute(bool mute);
    void setHpIndex(int index);
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
    void connectSession();
    void createWidgets();
    void initWidgets();
    void initHpSelection();
    void setupOptions();
    void applySettings();
    void applyInputVolume();
    void updateDisplays();
    void connectWidgets();
    void layOutWindow();
    void showStreamState(bool running);
    void showTakesStopped(const QStringList& failures);
    void showTakeCut(int sink, const QString& path, int seconds);
    void followRebuild();
    void attachMap();
    bool ready() const { return mSession->ready(); }
    bool fileMode() const;
    // Presses a transport button; with `quiet` the button only shows the state the stream
    // already has.
    void pressTransport(int code, bool quiet = false);
    QStringList recordingFolders() const;
    QString newRecordingPath(int sink);
    void askToSaveBeamTracks();
    void setWindowTitleFromState();
    QString soundMapNote() const;
    void warn(const QString& text);

    QString mAppName = QStringLiteral("Vantoria");
    std::unique_ptr<CSession> mSession;
    QBasicTimer mTimer;

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
    CBeamPanel* mBeams = nullptr;
    CStatusLine* mStatusLine = nullptr;
    CSpatialControl* mSpatial = nullptr;
    QStringList mSinkNames{QStringLiteral("input"), QStringLiteral("output"), QStringLiteral("ambisonics")};
    CZrOptions* mOptions = nullptr;
};
