#include "app/CZircApp.h"

#include "app/CAboutBox.h"
#include "app/CBeamPanel.h"
#include "app/CHpSelection.h"
#include "app/CMainWindowLayout.h"
#include "app/CSoundMapFeed.h"
#include "app/CSpatialControl.h"
#include "app/CStatusLine.h"
#include "app/CTakeFolderCheck.h"
#include "app/CZrOptions.h"
#include "resources/vkResources.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CDialogSeam.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CInputVolume.h"
#include "widgets/CLevelMeter.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTime>
#include <QTimerEvent>

#include <array>

namespace {
constexpr int kMaxTracks = 18;
constexpr double kAzimuthRange = 40.0;
// The transport shows play, stop, pause and record; recording beside the other states.
constexpr int kTransportLayout = 0x17;
constexpr int kTransportRecordMode = 1;
// Track bar: add/delete, link, save and load; every column of a row.
constexpr int kTrackControls = 15;
constexpr int kTrackColumns = 255;
const QString kBeamTrackQuestion =
    QStringLiteral("The beam track settings have been modified.\nDo you want to save your changes?");
// A file is the array signal already: the graph records the array in live mode only.
const QString kArrayLiveOnly = QStringLiteral("The array signal is recorded in live mode only.");
const QString kSlowDisk =
    QStringLiteral("The disk cannot keep up with the take %1: it was cut at %2, and what follows is lost "
                   "until recording stops.\nThe file holds everything recorded until then.");
const QString kLosingAudio = QStringLiteral("takes losing audio: disk too slow");

// The graph's monitor source of a section of the monitor's list.
int monitorSource(int section)
{
    return section == CMonitorUnit::BinauralSection ? CAudioGraph::monitorBinaural
           : section != CMonitorUnit::InputSection  ? CAudioGraph::monitorOutputBus
                                                    : CAudioGraph::monitorInputBus;
}
} // namespace

CZircApp::CZircApp(QWidget* parent)
    : QMainWindow(parent), mSession(std::make_unique<CSession>(QStringLiteral("vantoria.ini")))
{
    connect(mSession.get(), &CSession::warning, this, &CZircApp::warn);
    mSession->setDeviceChooser([this](const QStringList& names) {
        return CDialogSeam::getItem(this, CAudioDevice::kChooseTitle, CAudioDevice::kChooseText, names);
    });
    mSession->open();
    createWidgets();
    initWidgets();
    applySettings();
    updateDisplays();
    connectWidgets();
    mStatusLine = new CStatusLine(this);
    setStatusBar(mStatusLine);
    mStatusLine->refresh(mSession->device());
    connectSession();
    layOutWindow();
    CTakeFolderCheck::run(this, mAppName, recordingFolders());
    mTimer.start(kTimerMs, this);
}

// The session finishes the takes and stops the stream as it goes; nothing it or a widget
// says on the way out may reach a slot here.
CZircApp::~CZircApp()
{
    mTimer.stop();
    mSession->disconnect(this);
    for (QObject* child : findChildren<QObject*>())
        child->disconnect(this);
    mInputMeter->setSource(nullptr);
    mOutputMeter->setSource(nullptr);
    mMapFeed->detach();
    mSession.reset();
    delete mOptions;
}

void CZircApp::connectSession()
{
    connect(mSession.get(), &CSession::streamStateChanged, this, &CZircApp::showStreamState);
    connect(mSession.get(), &CSession::takesStopped, this, &CZircApp::showTakesStopped);
    connect(mSession.get(), &CSession::takeCut, this, &CZircApp::showTakeCut);
    connect(mSession.get(), &CSession::graphRebuilt, this, &CZircApp::followRebuild);
    connect(mSession.get(), &CSession::calibrationChanged, this, &CZircApp::setWindowTitleFromState);
}

void CZircApp::createWidgets()
{
    const QString pictures = vkResources::path();
    const CAudioDevice& audio = mSession->device();
    mTransport = new CAudioTransport(pictures, kTransportLayout, kTransportRecordMode, this);
    mTransport->pressButton(CAudioTransport::StopButton);
    mNavigator = new CAudioFileNavigator(this);
    mInputMeter = new CLevelMeter(audio.mMaxInputs, this);
    mInputMeter->setSource(&mSession->levels(CAudioGraph::levelInput));
    mOutputMeter = new CLevelMeter(audio.mMaxOutputs, this);
    mOutputMeter->setSource(&mSession->levels(CAudioGraph::levelOutput));
    mOutputVolume = CMainWindowLayout::makeMasterVolume(this);
    mInputSource = new CInputSourceSelection(pictures, this);
    mRecordingSinks = new CRecordingSinkSelection(mSinkNames, this);
    mRecordingSinks->setBaseName(CAudioGraph::sinkArray, QStringLiteral("mic"));
    mRecordingSinks->setBaseName(CAudioGraph::sinkBeams, QStringLiteral("out"));
    mRecordingSinks->setBaseName(CAudioGraph::sinkAmbisonics, QStringLiteral("ambix"));
    mInputVolume = new CInputVolume(this);
    mMonitor = new CMonitorUnit(audio.mMaxInputs, audio.mMaxOutputs, this);
    mAzimuthDisplay = new CBeamDisplayAzimuth(kMaxTracks, kAzimuthRange, this);
    mElevationDisplay = new CBeamDisplayElevation(kMaxTracks, this);
    mBeamSelection = new CBeamSelection(pictures, kMaxTracks, kTrackControls, kTrackColumns, this);
    mHpSelection = new CHpSelection(this);
    mMapFeed = new CSoundMapFeed(mAzimuthDisplay, mElevationDisplay, this);
    mBeams = new CBeamPanel(*mSession, mBeamSelection, mAzimuthDisplay, mElevationDisplay, mMapFeed, this);
    mSpatial = new CSpatialControl(*mSession, *mBeams, [this](const QString& text) { warn(text); }, this);
    mOptions = new CZrOptions(mAppName);
    attachMap();
}

// Once, at start-up: the widgets show the settings.
void CZircApp::initWidgets()
{
    const bool live = mSession->device().isOpen() && mSession->device().mNumDriverInputs >= CAudioGraph::kInputChannels;
    mInputSource->setModeEnabled(CInputSourceSelection::Live, live);
    if (!live)
        mSession->settings().mInputMode = CAudioGraph::inputFile;
    mInputSource->setMode(static_cast<CInputSourceSelection::tMode>(mSession->settings().mInputMode));
    mInputSource->setFileName(mSession->settings().mSensorFile);
    mInputVolume->setPreampVolume(mSession->settings().mPreampVolume);
    mInputVolume->setSliderVolume(static_cast<int>(std::lround(mSession->settings().mInputSliderVolume)));
    mOutputVolume->setVolume(mSession->settings().mOutputMasterVolume);
    mBeams->init();
    initHpSelection();
    mMonitor->setStatus(mSession->settings().mMonitorEnabled);
    mMonitor->setVolume(mSession->settings().mMonitorVolume);
    mMonitor->setChannel(mSession->settings().mMonitorSection, mSession->settings().mMonitorChannel);
    setupOptions();
}

// One button per corner of the graph's high-pass sets: "off", then "80 Hz" and so on.
void CZircApp::initHpSelection()
{
    std::array<int, 8> corners{};
    const int count = mSession->graph()->highpassFrequencies(corners.data(), static_cast<int>(corners.size()));
    QStringList labels;
    for (int i = 0; i < count; ++i) {
        const int corner = corners[static_cast<std::size_t>(i)];
        labels << (corner == 0 ? QStringLiteral("off") : QStringLiteral("%1 Hz").arg(corner));
    }
    // A set the graph does not have leaves the high-pass off, and shows it so.
    const bool known = mSession->settings().mFcHp >= 0 && mSession->settings().mFcHp < count;
    mHpSelection->setup(labels, known ? mSession->settings().mFcHp : 0);
}

// The box's pages when its port is open, the driver's pages otherwise.
void CZircApp::setupOptions()
{
    const CZircSettings& s = mSession->settings();
    const CAudioDevice& audio = mSession->device();
    if (mSession->boxConnected()) {
        mOptions->setZibOutputs(audio.mZibGroupMask, s.mZibActiveGroups, s.mZibFirstGroup);
        mOptions->setZibMonitor(audio.mZibGroupMask, s.mMonitorChannelOffset, s.mNumMonitorChannels);
    } else {
        mOptions->setOutputs(s.mNumOutputChannels, s.mOutputChannelOffset, audio.mAvailableOutputs,
                             audio.mAvailableOutputs);
        mOptions->setMonitor(s.mNumMonitorChannels, s.mMonitorChannelOffset, audio.mAvailableOutputs);
    }
    mOptions->setEmulation(s.mEmulateHardware);
    mSpatial->attach(mOptions->mountingOptions(), mOptions->binauralPage());
}

// At start-up the session takes what the widgets show (read from the settings); it keeps
// every value over later rebuilds itself.
void CZircApp::applySettings()
{
    if (!ready())
        return;
    applyInputVolume();
    CGraphSession& values = mSession->values();
    mBeams->applyAll();
    setOutputMasterGain(mOutputVolume->gain());
    values.setHighpass(mHpSelection->index());
    values.setMonitorSource(monitorSource(mMonitor->section()), mMonitor->channel());
    setMonitorGain(mMonitor->gain());
    values.setMonitorEnabled(mMonitor->status());
}

// With the box the preamp is the box's business and the graph takes the slider alone;
// otherwise the graph takes both.
void CZircApp::applyInputVolume()
{
    if (mSession->boxConnected()) {
        setInputGain(mInputVolume->sliderGain());
        setPreampVolume(mInputVolume->preampVolume());
    } else {
        setInputGain(mInputVolume->gain());
    }
}

void CZircApp::updateDisplays()
{
    const bool file = fileMode();
    const int rate = static_cast<int>(mSession->device().mSampleRate);
    mNavigator->setFs(rate);
    mNavigator->setNumSamples(file ? static_cast<int>(mSession->inputFileFrames()) : 0);
    mRecordingSinks->setFs(rate);
    const bool beams = ready() && mSession->graph()->processingMode() != CAudioGraph::processingStraight;
    for (QWidget* w : {static_cast<QWidget*>(mRecordingSinks), static_cast<QWidget*>(mOutputVolume),
                       static_cast<QWidget*>(mBeamSelection), static_cast<QWidget*>(mAzimuthDisplay),
                       static_cast<QWidget*>(mElevationDisplay)})
        w->setEnabled(beams);
    mRecordingSinks->setAvailable(CAudioGraph::sinkArray, !file, kArrayLiveOnly);
    mInputVolume->setEnabled(!file);
    mInputSource->setFileControlsEnabled(file);
    mMapFeed->setNote(soundMapNote());
    setWindowTitleFromState();
}

void CZircApp::connectWidgets()
{
    connect(mTransport, &CAudioTransport::startAudio, this, &CZircApp::start);
    connect(mTransport, &CAudioTransport::stopAudio, this, &CZircApp::stop);
    connect(mTransport, &CAudioTransport::pauseAudio, this, &CZircApp::pause);
    connect(mTransport, &CAudioTransport::recordAudioOn, this, &CZircApp::startRecording);
    connect(mTransport, &CAudioTransport::recordAudioOff, this, &CZircApp::stopRecording);
    connect(mNavigator, &CAudioFileNavigator::stop, this, &CZircApp::remoteStop);
    connect(mNavigator, &CAudioFileNavigator::seek, this, &CZircApp::seek);
    connect(mNavigator, &CAudioFileNavigator::updateStartSample, this, &CZircApp::updateStartSample);
    connect(mOutputVolume, &CVolumeUnit::gainChanged, this, &CZircApp::setOutputMasterGain);
    connect(mInputSource, &CInputSourceSelection::fileNameChanged, this, &CZircApp::openFile);
    connect(mInputSource, &CInputSourceSelection::modeChanged, this, &CZircApp::setInputMode);
    connect(mMonitor, &CMonitorUnit::channelChanged, this, &CZircApp::setMonitorChannel);
    connect(mMonitor, &CMonitorUnit::gainChanged, this, &CZircApp::setMonitorGain);
    connect(mMonitor, &CMonitorUnit::statusChanged, this, &CZircApp::setMonitorStatus);
    if (mSession->boxHasArray()) {
        connect(mInputVolume, &CInputVolume::preampVolumeChanged, this, &CZircApp::setPreampVolume);
        connect(mInputVolume, &CInputVolume::sliderGainChanged, this, &CZircApp::setInputGain);
    } else {
        connect(mInputVolume, &CInputVolume::gainChanged, this, &CZircApp::setInputGain);
    }
    connect(mInputVolume, &CInputVolume::muteClicked, this, &CZircApp::setInputMute);
    mBeams->connectAll();
    const auto followTracks = [this] { mSpatial->setBeamCount(mBeamSelection->numTracks()); };
    connect(mBeamSelection, &CBeamSelection::beamTrackAdded, this, followTracks);
    connect(mBeamSelection, &CBeamSelection::beamTrackDeleted, this, followTracks);
    followTracks();
    connect(mHpSelection, &CHpSelection::selectionChanged, this, &CZircApp::setHpIndex);
    connect(mOptions, &CZrOptions::monitorChannelsChanged, this, &CZircApp::updateMonitorChannels);
    connect(mOptions, &CZrOptions::outputChannelsChanged, this, &CZircApp::updateOutputChannels);
    connect(mOptions, &CZrOptions::zibOutputGroupsChanged, this, &CZircApp::updateZibOutputGroups);
    connect(mOptions, &CZrOptions::emulationChanged, this, &CZircApp::setEmulation);
}

void CZircApp::layOutWindow()
{
    CMainWindowLayout::arrange(*this, {mNavigator, mInputMeter, mOutputMeter, mInputVolume, mOutputVolume,
                                       mHpSelection, mMonitor, mBeamSelection, mInputSource, mTransport,
                                       mRecordingSinks, mAzimuthDisplay, mElevationDisplay});
    CMainWindowLayout::buildMenus(*this, this, &CZircApp::options, &CZircApp::about);
    CMainWindowLayout::setIcon(*this);
}

bool CZircApp::fileMode() const
{
    return mInputSource->mode() == CInputSourceSelection::File;
}

void CZircApp::pressTransport(int code, bool quiet)
{
    const QSignalBlocker block(quiet ? mTransport : nullptr);
    mTransport->pressButton(code);
}

void CZircApp::askToSaveBeamTracks()
{
    if (!mBeamSelection->isDirty())
        return;
    const QMessageBox::StandardButton answer =
        CDialogSeam::question(this, mAppName, kBeamTrackQuestion,
                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Save)
        mBeamSelection->saveStateDialog();
}

void CZircApp::setWindowTitleFromState()
{
    QString status;
    if (mSession->device().isDefaultDevice())
        status = mSession->calibrated() ? QStringLiteral("calibrated") : QStringLiteral("not calibrated");
    const double kHz = static_cast<double>(mSession->device().mSampleRate) * 0.001;
    setWindowTitle(QStringLiteral("%1 -- beta -- (fs = %2kHz, %3)").arg(mAppName, QString::number(kHz, 'f', 1), status));
}

// Only the array's own signal is beamformed, and so only it has a map.
QString CZircApp::soundMapNote() const
{
    if (!ready())
        return QStringLiteral("No sound map: the audio graph could not be built");
    if (mSession->graph()->processingMode() == CAudioGraph::processingStraight)
        return QStringLiteral("No sound map: the input is not the array's %1 channels").arg(CAudioGraph::kInputChannels);
    return QString();
}

void CZircApp::warn(const QString& text)
{
    CDialogSeam::message(this, QMessageBox::Warning, mAppName, text);
}

// ---- transport and takes

// The transport's buttons follow the stream's state, whoever changed it.
void CZircApp::start() { mSession->start(); }
void CZircApp::stop() { mSession->stop(); }
void CZircApp::pause() { mSession->pause(); }

// A device found again or lost on the way shows in the status line at once.
void CZircApp::showStreamState(bool running)
{
    mStatusLine->refresh(mSession->device());
    mBeamSelection->setStreamingActive(running);
    pressTransport(running ? CAudioTransport::PlayButton : CAudioTransport::StopButton, true);
}

// Each sink that is switched on records into a new file; one that cannot be opened is
// reported and leaves the other recording.
void CZircApp::startRecording()
{
    mRecordingSinks->setEnabled(false);
    for (int i = 0; i < CSession::kSinks; ++i)
        if (mRecordingSinks->status(i))
            mSession->startTake(i, [this, i] { return newRecordingPath(i); });
}

void CZircApp::stopRecording() { mSession->stopTakes(); }

// However the takes ended (the button, a refusing disk, a rebuild, a lost device), the
// button is released and the sinks can be chosen again; only then is a refusal told, so
// that the message's own event loop finds nothing left to stop.
void CZircApp::showTakesStopped(const QStringList& failures)
{
    pressTransport(CAudioTransport::RecordOff, true);
    mStatusLine->setRecordingNote(QString());
    mRecordingSinks->setEnabled(true);
    for (const QString& text : failures)
        warn(text);
}

// The status line says so until recording stops; the note goes up before the warning,
// whose own event loop runs this window's timer again.
void CZircApp::showTakeCut(int, const QString& path, int seconds)
{
    mStatusLine->setRecordingNote(kLosingAudio);
    warn(kSlowDisk.arg(path, QTime(0, 0).addSecs(seconds).toString(QStringLiteral("h:mm:ss"))));
}

QStringList CZircApp::recordingFolders() const
{
    QStringList folders;
    for (int i = 0; i < CSession::kSinks; ++i)
        folders << mRecordingSinks->directory(i);
    return folders;
}

// A take never overwrites a file: a name that is taken already (a take begun in the same
// second as the last) gets a running number, and the sink's label shows it.
QString CZircApp::newRecordingPath(int sink)
{
    const QString path = mRecordingSinks->filePath(sink);
    const QFileInfo info(path);
    if (!info.exists())
        return path;
    for (int n = 2;; ++n) {
        const QString name = QStringLiteral("%1_%2.%3").arg(info.completeBaseName()).arg(n).arg(info.suffix());
        if (!info.dir().exists(name)) {
            mRecordingSinks->fileLabel(sink)->setText(name);
            return info.dir().filePath(name);
        }
    }
}

void CZircApp::remoteStop() { pressTransport(CAudioTransport::StopButton); }
void CZircApp::seek(int position) { mSession->seek(position); }
void CZircApp::updateStartSample(int position) { mSession->setPlaybackStart(position); }

// ---- gains

void CZircApp::setOutputMasterGain(float gain) { mSession->values().setBeamsGain(gain); }
void CZircApp::setPreampVolume(int volume) { mSession->setPreampVolume(volume); }
void CZircApp::setInputGain(float gain) { mSession->values().setInputGain(gain); }
void CZircApp::setInputMute(bool mute) { mSession->values().setInputMute(mute); }

void CZircApp::setHpIndex(int index)
{
    mSession->settings().mFcHp = index;
    mSession->values().setHighpass(index);
}

void CZircApp::setMonitorChannel(int inout, int channel)
{
    mSession->settings().mMonitorSection = inout;
    mSession->settings().mMonitorChannel = channel;
    mSession->values().setMonitorSource(monitorSource(inout), channel);
}

void CZircApp::setMonitorGain(float gain) { mSession->values().setMonitorGain(gain); }

void CZircApp::setMonitorStatus(bool status)
{
    mSession->settings().mMonitorEnabled = status;
    mSession->values().setMonitorEnabled(status);
}

// ---- outputs, input and the new graphs

void CZircApp::updateMonitorChannels(int numChannels, int offset)
{
    mSession->settings().mNumMonitorChannels = numChannels;
    mSession->settings().mMonitorChannelOffset = offset;
    mSession->rebuild();
}

void CZircApp::updateOutputChannels(int numChannels, int offset)
{
    mSession->settings().mNumOutputChannels = numChannels;
    mSession->settings().mOutputChannelOffset = offset;
    mSession->rebuild();
}

void CZircApp::updateZibOutputGroups(int groups, int firstGroup)
{
    mSession->settings().mZibActiveGroups = groups;
    mSession->settings().mZibFirstGroup = firstGroup;
    mSession->rebuild();
}

// A new graph keeps every value the user set; the displays and the map follow it.
void CZircApp::followRebuild()
{
    attachMap();
    updateDisplays();
}

// The map taps the graph that runs now, at its rate; a graph that did not build has none.
void CZircApp::attachMap()
{
    if (!ready()) {
        mMapFeed->detach();
        mMapFeed->setNote(soundMapNote());
        return;
    }
    mBeams->followGraph();
    mMapFeed->attach(&mSession->values(), mSession->device().mSampleRate);
}

void CZircApp::setInputMode(int mode)
{
    mSession->settings().mSensorFile = mInputSource->fileName();
    if (mSession->setInputMode(mode) != 0)
        return;
    if (mSession->settings().mSensorFile.isEmpty())
        mInputSource->setFileName(QString());
    updateDisplays();
}

// A file that cannot be opened is given up, in the selection too.
void CZircApp::openFile(const QString& fileName)
{
    if (fileName.isEmpty() || !ready())
        return;
    if (mSession->openInputFile(fileName))
        updateDisplays();
    else
        mInputSource->setFileName(QString());
}

void CZircApp::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != mTimer.timerId())
        return QMainWindow::timerEvent(event);
    mSession->poll();
    mSpatial->poll();
    mStatusLine->setSceneNote(mSpatial->statusNote());
    mStatusLine->refresh(mSession->device());
    if (ready()) {
        mNavigator->setCurrentSample(mSession->playbackPosition());
        for (int i = 0; i < CSession::kSinks; ++i)
            mRecordingSinks->setCurrentSample(i, mSession->takePosition(i));
    }
}

// ---- settings and windows

void CZircApp::setEmulation(bool on)
{
    mSession->settings().mEmulateHardware = on;
}

// What the user sees is what is kept.
void CZircApp::writeSettings(const QString& fileName)
{
    CZircSettings& s = mSession->settings();
    s.mInputMode = mInputSource->mode();
    s.mPreampVolume = mInputVolume->preampVolume();
    s.mInputSliderVolume = static_cast<float>(mInputVolume->sliderVolume());
    s.mOutputMasterVolume = mOutputVolume->volume();
    s.mMonitorEnabled = mMonitor->status();
    s.mMonitorVolume = mMonitor->volume();
    s.mMonitorSection = mMonitor->section();
    s.mMonitorChannel = mMonitor->channel();
    s.mFcHp = mHpSelection->index();
    s.mBeamTrackSettings = mBeamSelection->fileName();
    s.mSensorFile = mInputSource->fileName();
    s.write(fileName);
}

void CZircApp::loadSettings(const QString& fileName)
{
    mSession->settings() = CZircSettings::load(fileName);
}

void CZircApp::loadDefaultSettings()
{
    mSession->settings() = CZircSettings::defaults();
}

void CZircApp::about()
{
    CAboutBox::present(this);
}

void CZircApp::options()
{
    mOptions->show();
}

// A termination signal ends the program as closing the window does, but asks nothing:
// nobody may be there to answer, so changed beam tracks stay unsaved. The settings are
// written now; the take in progress is finished in its files when the window is deleted.
// exit() rather than quit(): quit() would close the windows first, and closing this one
// asks the question.
void CZircApp::quitOnSignal()
{
    if (mOptions->isVisible())
        mOptions->close();
    writeSettings(mSession->iniFile());
    QCoreApplication::exit(0);
}

void CZircApp::closeEvent(QCloseEvent* event)
{
    if (mOptions->isVisible())
        mOptions->close();
    askToSaveBeamTracks();
    writeSettings(mSession->iniFile());
    event->accept();
}
