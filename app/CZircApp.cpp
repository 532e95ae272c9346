#include "app/CZircApp.h"

#include "widgets/CDialogSeam.h"
#include "app/CAboutBox.h"
#include "emulation/CEmulatedHardware.h"
#include "app/CHpSelection.h"
#include "app/CMainWindowLayout.h"
#include "app/CSoundMapFeed.h"
#include "app/CStatusLine.h"
#include "app/CTakeFolderCheck.h"
#include "app/CZrOptions.h"
#include "audiofile/CAudioFile.h"
#include "beamformer/CZirc.h"
#include "box/CZibControl.h"
#include "graph/CAudioGraph.h"
#include "device/vkHost.h"
#include "resources/vkResources.h"
#include "stages/CVolumeControl.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CInputVolume.h"
#include "widgets/CLevelMeter.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QThread>
#include <QTime>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {
// The box gives up on its own after about 2.2 s; this only guards against a thread that
// never reports at all.
constexpr int kBoxWaitLimitMs = 5000;
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
const QString kWriteFailure =
    QStringLiteral("Recording stopped: %1 could not be written (%2).\nThe file holds everything recorded until then.");

template <class Ready>
bool pollUntil(Ready ready)
{
    QElapsedTimer clock;
    clock.start();
    while (!ready()) {
        if (clock.elapsed() > kBoxWaitLimitMs)
            return false;
        QThread::msleep(CZircApp::kBoxPollMs);
    }
    return true;
}
} // namespace

CZircApp::CZircApp(QWidget* parent) : QMainWindow(parent), mAudio(this, mAppName)
{
    startBox();
    loadSettings(mIniFile);
    waitForBox();
    mAudio.open(mSettings);
    createWidgets();
    buildGraph();
    initWidgets();
    applySettings();
    updateDisplays();
    connectWidgets();
    layOutWindow();
    mStatusLine = new CStatusLine(this);
    setStatusBar(mStatusLine);
    mStatusLine->refresh(mAudio);
    CTakeFolderCheck::run(this, mAppName, recordingFolders());
    mTimer.start(kTimerMs, this);
}

CZircApp::~CZircApp()
{
    pressTransport(CAudioTransport::RecordOff);
    stop();
    mTimer.stop();
    mInputMeter->setSource(nullptr);
    mOutputMeter->setSource(nullptr);
    // The widgets outlive this object's members; nothing they say on the way out may
    // reach a slot here.
    for (QObject* child : findChildren<QObject*>())
        child->disconnect(this);
    hostClose();
    hostUnloadDriver();
    hostSetObject(nullptr);
    mMapFeed->detach();
    mGraph.reset();
    mBox.reset();
    mEmulation.reset();
    delete mOptions;
}

// The emulation switch is read ahead of the other settings: it decides which box the
// thread talks to.
void CZircApp::startBox()
{
    if (CZircSettings::load(mIniFile).mEmulateHardware)
        mEmulation = std::make_unique<CEmulatedHardware>();
    mBox = std::make_unique<CZibControl>(nullptr, mEmulation ? mEmulation->ports() : midi_port_directory_t());
    connect(mBox.get(), &CZibControl::msgConfirmed, this, &CZircApp::actOnMidiMessage);
    connect(mBox.get(), &CZibControl::connectionProblems, this, &CZircApp::actOnMidiConnectionProblems);
    mBox->start(QThread::LowPriority);
}

void CZircApp::waitForBox()
{
    mAudio.mZibGroupMask = 0;
    if (!pollUntil([this] { return mBox->mPortState.load() != -1; }) || mBox->mPortState.load() != 1)
        return;
    if (!pollUntil([this] { return mBox->mStartupDone.load(); }))
        return;
    const bool extension = mBox->mExtensionState.load() == 1 && mBox->mExtensionKind.load() == 3;
    mAudio.mZibGroupMask = extension ? 7 : 3;
}

void CZircApp::createWidgets()
{
    const QString pictures = vkResources::path();
    mTransport = new CAudioTransport(pictures, kTransportLayout, kTransportRecordMode, this);
    mTransport->pressButton(CAudioTransport::StopButton);
    mNavigator = new CAudioFileNavigator(this);
    mInputMeter = new CLevelMeter(mAudio.mMaxInputs, this);
    mOutputMeter = new CLevelMeter(mAudio.mMaxOutputs, this);
    mOutputVolume = CMainWindowLayout::makeMasterVolume(this);
    mInputSource = new CInputSourceSelection(pictures, this);
    mRecordingSinks = new CRecordingSinkSelection(mSinkNames, this);
    mRecordingSinks->setBaseName(CAudioGraph::sinkArray, QStringLiteral("mic"));
    mRecordingSinks->setBaseName(CAudioGraph::sinkBeams, QStringLiteral("out"));
    mInputVolume = new CInputVolume(this);
    mMonitor = new CMonitorUnit(mAudio.mMaxInputs, mAudio.mMaxOutputs, this);
    mAzimuthDisplay = new CBeamDisplayAzimuth(kMaxTracks, kAzimuthRange, this);
    mElevationDisplay = new CBeamDisplayElevation(kMaxTracks, this);
    mBeamSelection = new CBeamSelection(pictures, kMaxTracks, kTrackControls, kTrackColumns, this);
    mHpSelection = new CHpSelection(this);
    mMapFeed = new CSoundMapFeed(mAzimuthDisplay, mElevationDisplay, this);
    mOptions = new CZrOptions(mAppName);
}

int CZircApp::buildGraph()
{
    mMapFeed->detach();
    if (mGraph) {
        mInputMeter->setSource(nullptr);
        mOutputMeter->setSource(nullptr);
    }
    if (mAudio.isOpen())
        hostSetObject(nullptr);
    mGraph = std::make_unique<CAudioGraph>();
    const vkAudioInterface in = vkAudioInterface::timeDomain(mAudio.mNumDriverInputs, mAudio.mSampleRate,
                                                             mAudio.mBlockLength);
    const vkAudioInterface out = vkAudioInterface::timeDomain(mAudio.mNumDriverOutputs, mAudio.mSampleRate,
                                                              mAudio.mBlockLength);
    const int r = mGraph->configure(in, out);
    mGraphResult = r == 0 ? 0 : r + kGraphOffset;
    if (!mAudio.isOpen() || mAudio.mAvailableInputs < CAudioGraph::kInputChannels)
        mSettings.mInputMode = CAudioGraph::inputFile;
    if (mGraphResult != 0) {
        mMapFeed->setNote(soundMapNote());
        return mGraphResult;
    }
    mGraph->setInputMode(mSettings.mInputMode);
    mGraph->setMonitorOutputs(mAudio.mOutputs.monitorOutputs.data(), mAudio.mOutputs.numMonitorOutputs);
    mPatternResponse.assign(static_cast<std::size_t>(mGraph->maxPolarPoints()), 0.0f);
    mMapFeed->attach(mGraph->beamformer()->engine(), mAudio.mSampleRate);
    if (mAudio.isOpen()) {
        hostSetObject(mGraph.get());
        hostSetTarget(vkTargetObject);
    }
    return 0;
}

// Once, at start-up: the widgets show the settings.
void CZircApp::initWidgets()
{
    const bool live = mAudio.isOpen() && mAudio.mNumDriverInputs >= CAudioGraph::kInputChannels;
    mInputSource->setModeEnabled(CInputSourceSelection::Live, live);
    if (!live)
        mSettings.mInputMode = CAudioGraph::inputFile;
    mInputSource->setMode(static_cast<CInputSourceSelection::tMode>(mSettings.mInputMode));
    mInputSource->setFileName(mSettings.mSensorFile);
    mInputVolume->setPreampVolume(mSettings.mPreampVolume);
    mInputVolume->setSliderVolume(static_cast<int>(std::lround(mSettings.mInputSliderVolume)));
    mOutputVolume->setVolume(mSettings.mOutputMasterVolume);
    initBeamSelection();
    initHpSelection();
    mMonitor->setStatus(mSettings.mMonitorEnabled);
    mMonitor->setVolume(mSettings.mMonitorVolume);
    mMonitor->setChannel(mSettings.mMonitorSection, mSettings.mMonitorChannel);
    setupOptions();
}

void CZircApp::initBeamSelection()
{
    QStringList patterns;
    QList<QStringList> parameters;
    for (int p = 0; p < mGraph->patternCount(); ++p) {
        int nameSize = 0;
        int parameterNameSize = 0;
        int numParameters = 0;
        mGraph->patternInfo(p, &nameSize, &parameterNameSize, &numParameters, nullptr);
        std::vector<char> name(static_cast<std::size_t>(nameSize) + 1, '\0');
        std::vector<char> parameterName(static_cast<std::size_t>(parameterNameSize) + 1, '\0');
        std::vector<int> values(static_cast<std::size_t>(numParameters), 0);
        mGraph->patternNames(p, name.data(), parameterName.data(), values.data());
        patterns << QString::fromLatin1(name.data());
        QStringList texts;
        for (int v : values)
            texts << QString::number(v);
        parameters << texts;
    }
    mBeamSelection->setPatternAndParameterLists(patterns, parameters);
    if (mSettings.mBeamTrackSettings.isEmpty()) {
        mBeamSelection->addBeam();
        mBeamSelection->addBeam();
    } else {
        mBeamSelection->loadState(mSettings.mBeamTrackSettings);
    }
    for (int i = 0; i < mBeamSelection->numTracks(); ++i)
        beamGotAdded(i);
}

// One button per corner of the graph's high-pass sets: "off", then "80 Hz" and so on.
void CZircApp::initHpSelection()
{
    std::array<int, 8> corners{};
    const int count = mGraph->highpassFrequencies(corners.data(), static_cast<int>(corners.size()));
    QStringList labels;
    for (int i = 0; i < count; ++i) {
        const int corner = corners[static_cast<std::size_t>(i)];
        labels << (corner == 0 ? QStringLiteral("off") : QStringLiteral("%1 Hz").arg(corner));
    }
    // A set the graph does not have leaves the high-pass off, and shows it so.
    const bool known = mSettings.mFcHp >= 0 && mSettings.mFcHp < count;
    mHpSelection->setup(labels, known ? mSettings.mFcHp : 0);
}

// The box's pages when its port is open, the driver's pages otherwise.
void CZircApp::setupOptions()
{
    if (mBox->mPortState.load() == 1) {
        mOptions->setZibOutputs(mAudio.mZibGroupMask, mSettings.mZibActiveGroups, mSettings.mZibFirstGroup);
        mOptions->setZibMonitor(mAudio.mZibGroupMask, mSettings.mMonitorChannelOffset, mSettings.mNumMonitorChannels);
    } else {
        mOptions->setOutputs(mSettings.mNumOutputChannels, mSettings.mOutputChannelOffset, mAudio.mAvailableOutputs,
                             mAudio.mAvailableOutputs);
        mOptions->setMonitor(mSettings.mNumMonitorChannels, mSettings.mMonitorChannelOffset, mAudio.mAvailableOutputs);
    }
    mOptions->setEmulation(mSettings.mEmulateHardware);
}

// What a new graph takes over from the widgets, so that a rebuild loses nothing the user
// has set.
void CZircApp::applySettings()
{
    if (!ready())
        return;
    applyInputVolume();
    if (mCalibrationValid) {
        mGraph->setInputChannelGains(mCalibrationGains.data(), static_cast<int>(mCalibrationGains.size()));
        mCalibrated = true;
    }
    mGraph->setNumBeams(mBeamSelection->numTracks());
    setOutputMasterGain(mOutputVolume->gain());
    for (int i = 0; i < mBeamSelection->numTracks(); ++i)
        updateBeamformer(i);
    mGraph->setHighpass(mHpSelection->index());
    mGraph->setMonitorSource(mMonitor->section() != 0 ? CAudioGraph::monitorOutputBus : CAudioGraph::monitorInputBus,
                             mMonitor->channel());
    setMonitorGain(mMonitor->gain());
    mGraph->setMonitorEnabled(mMonitor->status());
    if (fileMode()) {
        mSettings.mSensorFile = mInputSource->fileName();
        if (!mSettings.mSensorFile.isEmpty())
            openInputFile();
    }
    mGraph->audioFile(CAudioGraph::stageFilePlayer)->setStartSample(0);
}

// With the box the preamp is the box's business and the graph takes the slider alone;
// otherwise the graph takes both.
void CZircApp::applyInputVolume()
{
    if (mBox->mPortState.load() == 1) {
        setInputGain(mInputVolume->sliderGain());
        setPreampVolume(mInputVolume->preampVolume());
    } else {
        setInputGain(mInputVolume->gain());
    }
}

void CZircApp::updateDisplays()
{
    const bool file = fileMode();
    mNavigator->setFs(static_cast<int>(mAudio.mSampleRate));
    const CAudioFile* player = ready() ? mGraph->audioFile(CAudioGraph::stageFilePlayer) : nullptr;
    mNavigator->setNumSamples(file && player ? static_cast<int>(player->fileFrames()) : 0);
    mRecordingSinks->setFs(static_cast<int>(mAudio.mSampleRate));
    const bool beams = ready() && mGraph->processingMode() != CAudioGraph::processingStraight;
    for (QWidget* w : {static_cast<QWidget*>(mRecordingSinks), static_cast<QWidget*>(mOutputVolume),
                       static_cast<QWidget*>(mBeamSelection), static_cast<QWidget*>(mAzimuthDisplay),
                       static_cast<QWidget*>(mElevationDisplay)})
        w->setEnabled(beams);
    mRecordingSinks->setAvailable(CAudioGraph::sinkArray, !file, kArrayLiveOnly);
    mInputVolume->setEnabled(!file);
    mInputSource->setFileControlsEnabled(file);
    mInputMeter->setSource(ready() ? mGraph->maxValue(CAudioGraph::stageInputLevel) : nullptr);
    mOutputMeter->setSource(ready() ? mGraph->maxValue(CAudioGraph::stageOutputLevel) : nullptr);
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
    if (mBox->mArrayState.load() == 1) {
        connect(mInputVolume, &CInputVolume::preampVolumeChanged, this, &CZircApp::setPreampVolume);
        connect(mInputVolume, &CInputVolume::sliderGainChanged, this, &CZircApp::setInputGain);
    } else {
        connect(mInputVolume, &CInputVolume::gainChanged, this, &CZircApp::setInputGain);
    }
    connect(mInputVolume, &CInputVolume::muteClicked, this, &CZircApp::setInputMute);
    connectBeamSelection();
    connectSoundMap();
    connect(mHpSelection, &CHpSelection::selectionChanged, this, &CZircApp::setHpIndex);
    connect(mOptions, &CZrOptions::monitorChannelsChanged, this, &CZircApp::updateMonitorChannels);
    connect(mOptions, &CZrOptions::outputChannelsChanged, this, &CZircApp::updateOutputChannels);
    connect(mOptions, &CZrOptions::zibOutputGroupsChanged, this, &CZircApp::updateZibOutputGroups);
    connect(mOptions, &CZrOptions::emulationChanged, this, &CZircApp::setEmulation);
}

// The track list and the two displays steer each other; the graph follows both.
void CZircApp::connectBeamSelection()
{
    CBeamSelection* b = mBeamSelection;
    CBeamDisplayAzimuth* az = mAzimuthDisplay;
    CBeamDisplayElevation* el = mElevationDisplay;
    connect(b, &CBeamSelection::beamTrackAdded, this, &CZircApp::beamGotAdded);
    connect(b, &CBeamSelection::beamTrackDeleted, this, &CZircApp::beamGotDeleted);
    connect(b, &CBeamSelection::activeBeamTrackChanged, az, &CBeamDisplayAzimuth::setActivePattern);
    connect(b, &CBeamSelection::activeBeamTrackChanged, el, &CBeamDisplayElevation::setActivePattern);
    connect(b, &CBeamSelection::beamTrackColorChanged, az, qOverload<int, QColor>(&CBeamDisplayAzimuth::setColor));
    connect(b, &CBeamSelection::beamTrackColorChanged, el, qOverload<int, QColor>(&CBeamDisplayElevation::setColor));
    connect(b, &CBeamSelection::beamTrackPhiChanged, az, qOverload<int, int>(&CBeamDisplayAzimuth::setPhi));
    connect(b, &CBeamSelection::beamTrackPhiChanged, this, qOverload<int, int>(&CZircApp::updatePhi));
    connect(b, &CBeamSelection::beamTrackThetaChanged, el, qOverload<int, int>(&CBeamDisplayElevation::setTheta));
    connect(b, &CBeamSelection::beamTrackThetaChanged, this, qOverload<int, int>(&CZircApp::updateTheta));
    connect(b, &CBeamSelection::beamTrackPatternChanged, this, &CZircApp::updatePattern);
    connect(b, &CBeamSelection::beamTrackParameterChanged, this, &CZircApp::updateParameter);
    connect(b, &CBeamSelection::beamTrackGainChanged, this, &CZircApp::setOutputGain);
    connect(b, &CBeamSelection::beamTrackMuteChanged, this, &CZircApp::setOutputMute);
    connect(az, &CBeamDisplayAzimuth::phiChanged, b, qOverload<int>(&CBeamSelection::setPhi));
    connect(az, &CBeamDisplayAzimuth::phiChanged, this, qOverload<int>(&CZircApp::updatePhi));
    connect(el, &CBeamDisplayElevation::thetaChanged, b, qOverload<int>(&CBeamSelection::setTheta));
    connect(el, &CBeamDisplayElevation::thetaChanged, this, qOverload<int>(&CZircApp::updateTheta));
}

// The map under the displays: a peak picked on either steers the active beam, the
// elevation display cuts the map along the active beam's azimuth, and the method chosen
// on one display is ticked on the other.
void CZircApp::connectSoundMap()
{
    CBeamSelection* b = mBeamSelection;
    CBeamDisplayAzimuth* az = mAzimuthDisplay;
    CBeamDisplayElevation* el = mElevationDisplay;
    connect(az, &CBeamDisplayAzimuth::mapPeakChosen, this, &CZircApp::steerToMapPeak);
    connect(el, &CBeamDisplayElevation::mapPeakChosen, this, &CZircApp::steerToMapPeak);
    connect(az, &CBeamDisplayAzimuth::mapMusicChanged, mMapFeed, &CSoundMapFeed::setMusic);
    connect(el, &CBeamDisplayElevation::mapMusicChanged, mMapFeed, &CSoundMapFeed::setMusic);
    connect(az, &CBeamDisplayAzimuth::mapMusicChanged, el, &CBeamDisplayElevation::setMapMusic);
    connect(el, &CBeamDisplayElevation::mapMusicChanged, az, &CBeamDisplayAzimuth::setMapMusic);
    connect(b, &CBeamSelection::activeBeamTrackChanged, this, &CZircApp::updateMapPlane);
    connect(b, &CBeamSelection::beamTrackPhiChanged, this, &CZircApp::updateMapPlane);
    connect(az, &CBeamDisplayAzimuth::phiChanged, this, &CZircApp::updateMapPlane);
    updateMapPlane();
}

void CZircApp::layOutWindow()
{
    CMainWindowLayout::arrange(*this, {mNavigator, mInputMeter, mOutputMeter, mInputVolume, mOutputVolume,
                                       mHpSelection, mMonitor, mBeamSelection, mInputSource, mTransport,
                                       mRecordingSinks, mAzimuthDisplay, mElevationDisplay});
    CMainWindowLayout::buildMenus(*this, this, &CZircApp::options, &CZircApp::about);
    CMainWindowLayout::setIcon(*this);
}

// A take ends ahead of the rebuild, finished in its file; its recorder goes with the old
// graph, so the record button is released rather than left showing a take that no longer runs.
int CZircApp::rebuild()
{
    if (mTransport->button(CAudioTransport::RecordButton)->isChecked())
        pressTransport(CAudioTransport::RecordOff);
    const bool running = hostIsRunning();
    if (running)
        pressTransport(CAudioTransport::StopButton);
    int r = mAudio.setOutputs(mSettings);
    if (r == 0)
        r = buildGraph();
    if (r == 0) {
        applySettings();
        updateDisplays();
    }
    if (running)
        pressTransport(CAudioTransport::PlayButton);
    return r;
}

// An input file that cannot be opened is given up, in the settings and in the selection.
int CZircApp::openInputFile()
{
    const int r = mGraph->openInputFile(mSettings.mSensorFile.toLocal8Bit().constData());
    if (r != 0) {
        warn(QStringLiteral("Error loading wave file (erroNo:%1).").arg(r));
        mSettings.mSensorFile.clear();
        mInputSource->setFileName(QString());
        return r;
    }
    chooseProcessingMode();
    return 0;
}

// The array's signal is beamformed, live or from a file of its 32 channels; a file of
// another count goes straight through.
void CZircApp::chooseProcessingMode()
{
    const CAudioFile* player = mGraph->audioFile(CAudioGraph::stageFilePlayer);
    const bool beamforming = mSettings.mInputMode != CAudioGraph::inputFile ||
                             player->fileChannels() == CAudioGraph::kInputChannels;
    mGraph->setProcessingMode(beamforming ? CAudioGraph::processingBeamforming : CAudioGraph::processingStraight);
}

bool CZircApp::fileMode() const
{
    return mInputSource->mode() == CInputSourceSelection::File;
}

int CZircApp::loadResponse(int pattern, int parameter)
{
    int points = 0;
    if (mGraph->patternInfo(pattern, nullptr, nullptr, nullptr, &points) != 0 ||
        points > static_cast<int>(mPatternResponse.size()) ||
        mGraph->patternResponse(pattern, parameter, mPatternResponse.data(), nullptr) != 0)
        return 0;
    return points;
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
    if (mAudio.isDefaultDevice())
        status = mCalibrated ? QStringLiteral("calibrated") : QStringLiteral("not calibrated");
    const double kHz = static_cast<double>(mAudio.mSampleRate) * 0.001;
    setWindowTitle(QStringLiteral("%1 -- beta -- (fs = %2kHz, %3)").arg(mAppName, QString::number(kHz, 'f', 1), status));
}

// Only the array's own signal is beamformed, and so only it has a map.
QString CZircApp::soundMapNote() const
{
    if (!ready())
        return QStringLiteral("No sound map: the audio graph could not be built");
    if (mGraph->processingMode() == CAudioGraph::processingStraight)
        return QStringLiteral("No sound map: the input is not the array's %1 channels").arg(CAudioGraph::kInputChannels);
    return QString();
}

void CZircApp::warn(const QString& text)
{
    CDialogSeam::message(this, QMessageBox::Warning, mAppName, text);
}

// ---- transport

// A direct call (not a press) still leaves the buttons showing the stream's state. A
// device lost meanwhile is opened again first.
void CZircApp::start()
{
    if (mAudio.lost() && !followDevice(mAudio.reopen())) {
        pressTransport(CAudioTransport::StopButton, true);
        return;
    }
    if (!ready()) {
        pressTransport(CAudioTransport::StopButton, true);
        return;
    }
    mGraph->start();
    if (mSettings.mInputMode == CAudioGraph::inputFile)
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->startFile(true);
    if (mAudio.isOpen())
        hostStart();
    mBeamSelection->setStreamingActive(true);
    pressTransport(CAudioTransport::PlayButton, true);
}

void CZircApp::stop()
{
    if (mAudio.isOpen())
        hostStop();
    if (ready()) {
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->stopFile();
        mGraph->stop();
    }
    mBeamSelection->setStreamingActive(false);
    pressTransport(CAudioTransport::StopButton, true);
}

void CZircApp::pause()
{
    if (ready())
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->pauseFile();
}

// Each sink that is switched on records into a new file; one that cannot be opened is
// reported and leaves the other recording.
void CZircApp::startRecording()
{
    mRecordingSinks->setEnabled(false);
    if (!ready())
        return;
    for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i) {
        if (!mRecordingSinks->status(i))
            continue;
        CAudioFile* recorder = mGraph->audioFile(CAudioGraph::sinkStage(i));
        QString path = newRecordingPath(i);
        int opened = recorder->openFile(path, 0);
        // Another program recording into the folder can take the name between the look
        // and the exclusive create; the next running number is tried then.
        for (int tries = 0; opened == CAudioFile::fileErrExists && tries < 100; ++tries) {
            path = newRecordingPath(i);
            opened = recorder->openFile(path, 0);
        }
        if (opened != 0) {
            warn(QStringLiteral("Error opening record file!"));
            continue;
        }
        recorder->startFile(true);
        mRecordingFiles[static_cast<std::size_t>(i)] = path;
    }
}

// Every take is finished first; only then is a take that the disk refused reported, so
// that the warning's own event loop finds nothing left to stop.
void CZircApp::stopRecording()
{
    QStringList failures;
    if (ready()) {
        for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i) {
            CAudioFile* recorder = mGraph->audioFile(CAudioGraph::sinkStage(i));
            recorder->stopFile();
            const QString& path = mRecordingFiles[static_cast<std::size_t>(i)];
            if (!path.isEmpty() && !recorder->writeError().isEmpty())
                failures << kWriteFailure.arg(QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath()),
                                              recorder->writeError());
        }
    }
    mRecordingFiles = {};
    mOverrunReported = {};
    mStatusLine->setRecordingNote(QString());
    mRecordingSinks->setEnabled(true);
    for (const QString& text : failures)
        warn(text);
}

// A driver that asks for a reset or loses its device (a JACK server that ends) stops
// what runs on it: the takes are finished in their files, the stream stops, the driver
// is loaded afresh and the user is told once; a lost device waits for Play.
void CZircApp::checkDevice()
{
    if (!mAudio.resetRequested())
        return;
    if (mTransport->button(CAudioTransport::RecordButton)->isChecked())
        pressTransport(CAudioTransport::RecordOff);
    stop();
    followDevice(mAudio.serveReset());
}

bool CZircApp::followDevice(CAudioDevice::Recovery recovery)
{
    if (recovery == CAudioDevice::Recovery::Changed)
        rebuild();
    mStatusLine->refresh(mAudio);
    return recovery != CAudioDevice::Recovery::Lost;
}

// A take the disk refuses (full, or the file at its size limit) ends the recording as
// the record button would; the stream plays on.
void CZircApp::checkRecordings()
{
    if (!ready())
        return;
    for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i) {
        if (!mRecordingFiles[static_cast<std::size_t>(i)].isEmpty() &&
            !mGraph->audioFile(CAudioGraph::sinkStage(i))->writeError().isEmpty()) {
            pressTransport(CAudioTransport::RecordOff);
            return;
        }
    }
    checkOverruns();
}

// A take the disk side fell a whole ring behind is cut there: one warning a take, and
// the status line says so until recording stops. The flag goes up before the warning,
// whose own event loop runs this timer again.
void CZircApp::checkOverruns()
{
    for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i) {
        const std::size_t sink = static_cast<std::size_t>(i);
        const CAudioFile* recorder = mGraph->audioFile(CAudioGraph::sinkStage(i));
        if (mRecordingFiles[sink].isEmpty() || mOverrunReported[sink] || !recorder->overrun())
            continue;
        mOverrunReported[sink] = true;
        mStatusLine->setRecordingNote(kLosingAudio);
        const int seconds = static_cast<int>(recorder->position() / std::max(1.0, static_cast<double>(mAudio.mSampleRate)));
        warn(kSlowDisk.arg(QDir::toNativeSeparators(QFileInfo(mRecordingFiles[sink]).absoluteFilePath()),
                           QTime(0, 0).addSecs(seconds).toString(QStringLiteral("h:mm:ss"))));
    }
}

QStringList CZircApp::recordingFolders() const
{
    QStringList folders;
    for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i)
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

void CZircApp::remoteStop()
{
    pressTransport(CAudioTransport::StopButton);
}

void CZircApp::seek(int position)
{
    if (ready())
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->seekFile(position);
}

void CZircApp::updateStartSample(int position)
{
    if (ready())
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->setStartSample(position);
}

// ---- beams and gains

void CZircApp::updatePhi(int index, int phi)
{
    if (ready())
        mGraph->setPhi(index, static_cast<float>(phi));
}

void CZircApp::updatePhi(int phi)
{
    updatePhi(mBeamSelection->activeTrack(), phi);
}

void CZircApp::updateTheta(int index, int theta)
{
    if (ready())
        mGraph->setTheta(index, static_cast<float>(theta));
}

void CZircApp::updateTheta(int theta)
{
    updateTheta(mBeamSelection->activeTrack(), theta);
}

// A peak picked on the map puts the active beam on it, as steering it on both displays
// would: the displays, the track list and the graph follow.
void CZircApp::steerToMapPeak(int theta, int phi)
{
    const int active = mBeamSelection->activeTrack();
    const int azimuth = (phi % 360 + 360) % 360;
    mAzimuthDisplay->setPhi(active, azimuth);
    mBeamSelection->setPhi(azimuth);
    updatePhi(azimuth);
    mElevationDisplay->setTheta(active, theta);
    mBeamSelection->setTheta(theta);
    updateTheta(theta);
    updateMapPlane();
}

void CZircApp::updateMapPlane()
{
    const int active = mBeamSelection->activeTrack();
    if (active >= 0 && active < mBeamSelection->numTracks())
        mElevationDisplay->setMapPlane(mBeamSelection->phi(active));
}

// All of one track to the graph, in the order the beamformer takes it up.
void CZircApp::updateBeamformer(int index)
{
    if (!ready())
        return;
    mGraph->setPattern(index, mBeamSelection->patternIndex(index));
    mGraph->setParameter(index, mBeamSelection->parameterIndex(index));
    mGraph->setTheta(index, static_cast<float>(mBeamSelection->theta(index)));
    mGraph->setPhi(index, static_cast<float>(mBeamSelection->phi(index)));
    setOutputGain(index, mBeamSelection->gain(index));
    setOutputMute(index, mBeamSelection->mute(index));
}

void CZircApp::beamGotAdded(int index)
{
    if (!ready())
        return;
    const QColor color = mBeamSelection->color(index);
    const int points = loadResponse(mBeamSelection->patternIndex(index), mBeamSelection->parameterIndex(index));
    mAzimuthDisplay->addPlot(mPatternResponse.data(), points, color);
    mAzimuthDisplay->setPhi(index, mBeamSelection->phi(index));
    mElevationDisplay->addTrack(color);
    mElevationDisplay->setTheta(index, mBeamSelection->theta(index));
    mGraph->setNumBeams(mBeamSelection->numTracks());
    updateBeamformer(index);
}

// Deleting moves the tracks behind one place up: each of them is sent again.
void CZircApp::beamGotDeleted(int index)
{
    mAzimuthDisplay->removeActivePlot();
    mAzimuthDisplay->setActivePattern(mBeamSelection->activeTrack());
    mElevationDisplay->removeActiveTrack();
    mElevationDisplay->setActivePattern(mBeamSelection->activeTrack());
    if (!ready())
        return;
    mGraph->setNumBeams(mBeamSelection->numTracks());
    for (int i = index; i < mBeamSelection->numTracks(); ++i)
        updateBeamformer(i);
}

void CZircApp::updatePattern(int beamIndex, int patternIndex, int parameterIndex)
{
    if (!ready())
        return;
    const int points = loadResponse(patternIndex, parameterIndex);
    mAzimuthDisplay->setPattern(beamIndex, mPatternResponse.data(), points);
    mGraph->setPattern(beamIndex, patternIndex);
    mGraph->setParameter(beamIndex, parameterIndex);
}

void CZircApp::updateParameter(int beamIndex, int parameterIndex)
{
    updatePattern(beamIndex, mBeamSelection->patternIndex(beamIndex), parameterIndex);
}

void CZircApp::setOutputGain(int channel, float gain)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageBeamVolume))
        v->setChannelVolume(channel, gain);
}

void CZircApp::setOutputMute(int channel, bool mute)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageBeamVolume))
        v->setMute(channel, mute);
}

void CZircApp::setOutputMasterGain(float gain)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageBeamVolume))
        v->setMasterVolume(gain);
}

void CZircApp::setPreampVolume(int volume)
{
    mSettings.mPreampVolume = volume;
    mBox->setPreampGain(static_cast<float>(volume), false);
}

void CZircApp::setInputGain(float gain)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageInputVolume))
        v->setMasterVolume(gain);
}

void CZircApp::setInputMute(bool mute)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageInputVolume))
        v->setMute(-1, mute);
}

void CZircApp::setHpIndex(int index)
{
    mSettings.mFcHp = index;
    mGraph->setHighpass(index);
}

void CZircApp::setMonitorChannel(int inout, int channel)
{
    mSettings.mMonitorSection = inout != 0 ? 1 : 0;
    mSettings.mMonitorChannel = channel;
    mGraph->setMonitorSource(inout != 0 ? CAudioGraph::monitorOutputBus : CAudioGraph::monitorInputBus, channel);
}

void CZircApp::setMonitorGain(float gain)
{
    if (CVolumeControl* v = mGraph->volumeControl(CAudioGraph::stageMonitorVolume))
        v->setMasterVolume(gain);
}

void CZircApp::setMonitorStatus(bool status)
{
    mSettings.mMonitorEnabled = status;
    mGraph->setMonitorEnabled(status);
}

// ---- outputs, input and the box

void CZircApp::updateMonitorChannels(int numChannels, int offset)
{
    mSettings.mNumMonitorChannels = numChannels;
    mSettings.mMonitorChannelOffset = offset;
    rebuild();
}

void CZircApp::updateOutputChannels(int numChannels, int offset)
{
    mSettings.mNumOutputChannels = numChannels;
    mSettings.mOutputChannelOffset = offset;
    rebuild();
}

void CZircApp::updateZibOutputGroups(int groups, int firstGroup)
{
    mSettings.mZibActiveGroups = groups;
    mSettings.mZibFirstGroup = firstGroup;
    rebuild();
}

void CZircApp::setInputMode(int mode)
{
    if (!ready() || mGraph->inputMode() == mode)
        return;
    pressTransport(CAudioTransport::StopButton);
    mSettings.mInputMode = mode;
    mGraph->setInputMode(mode);
    mSettings.mSensorFile = mInputSource->fileName();
    if (mode == CAudioGraph::inputFile && !mSettings.mSensorFile.isEmpty())
        openInputFile();
    else if (mode != CAudioGraph::inputFile)
        chooseProcessingMode(); // live after a file of another channel count
    updateDisplays();
}

void CZircApp::openFile(const QString& fileName)
{
    if (fileName.isEmpty() || !ready())
        return;
    pressTransport(CAudioTransport::StopButton);
    mSettings.mSensorFile = fileName;
    if (openInputFile() == 0)
        updateDisplays();
}

void CZircApp::actOnMidiMessage(int cmd, int value)
{
    if (cmd != kCalibrationMessage)
        return;
    if (value == 0) {
        mCalibrationValid = false;
        return;
    }
    const int count = static_cast<int>(mCalibrationGains.size());
    if (mBox->calibration(mCalibrationGains.data(), count) != 0)
        return;
    for (float& g : mCalibrationGains)
        g = std::pow(10.0f, g * 0.05f);
    mCalibrationValid = true;
}

void CZircApp::actOnMidiConnectionProblems()
{
    // A box that goes silent changes nothing here.
}

void CZircApp::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != mTimer.timerId())
        return QMainWindow::timerEvent(event);
    checkDevice();
    mStatusLine->refresh(mAudio);
    checkRecordings();
    if (ready()) {
        mNavigator->setCurrentSample(mGraph->audioFile(CAudioGraph::stageFilePlayer)->position());
        for (int i = CAudioGraph::sinkArray; i <= CAudioGraph::sinkBeams; ++i)
            mRecordingSinks->setCurrentSample(i, mGraph->audioFile(CAudioGraph::sinkStage(i))->position());
    }
    if (mCalibrated || !mCalibrationValid || mGraphResult != 0)
        return;
    mGraph->setInputChannelGains(mCalibrationGains.data(), static_cast<int>(mCalibrationGains.size()));
    mCalibrated = true;
    setWindowTitleFromState();
}

// ---- settings and windows

void CZircApp::setEmulation(bool on)
{
    mSettings.mEmulateHardware = on;
}

// What the user sees is what is kept.
void CZircApp::writeSettings(const QString& fileName)
{
    mSettings.mInputMode = mInputSource->mode();
    mSettings.mPreampVolume = mInputVolume->preampVolume();
    mSettings.mInputSliderVolume = static_cast<float>(mInputVolume->sliderVolume());
    mSettings.mOutputMasterVolume = mOutputVolume->volume();
    mSettings.mMonitorEnabled = mMonitor->status();
    mSettings.mMonitorVolume = mMonitor->volume();
    mSettings.mMonitorSection = mMonitor->section();
    mSettings.mMonitorChannel = mMonitor->channel();
    mSettings.mFcHp = mHpSelection->index();
    mSettings.mBeamTrackSettings = mBeamSelection->fileName();
    mSettings.mSensorFile = mInputSource->fileName();
    mSettings.write(fileName);
}

void CZircApp::loadSettings(const QString& fileName)
{
    mSettings = CZircSettings::load(fileName);
}

void CZircApp::loadDefaultSettings()
{
    mSettings = CZircSettings::defaults();
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
    writeSettings(mIniFile);
    QCoreApplication::exit(0);
}

void CZircApp::closeEvent(QCloseEvent* event)
{
    if (mOptions->isVisible())
        mOptions->close();
    askToSaveBeamTracks();
    writeSettings(mIniFile);
    event->accept();
}
