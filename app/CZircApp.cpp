#include "app/CZircApp.h"

#include "widgets/CDialogSeam.h"
#include "app/CEmulatedHardware.h"
#include "app/CZrOptions.h"
#include "audiofile/CAudioFile.h"
#include "box/CZibControl.h"
#include "core/graph/CAudioGraph.h"
#include "device/vkHost.h"
#include "stages/CVolumeControl.h"

#include <QCloseEvent>
#include <QElapsedTimer>
#include <QThread>
#include <QTimerEvent>

#include <cmath>

namespace {
// The box gives up on its own after about 2.2 s; this only guards against a thread that
// never reports at all.
constexpr int kBoxWaitLimitMs = 5000;

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
    mOptions = new CZrOptions(mAppName);
    buildGraph();
    setupOptions();
    setWindowTitleFromState();
    mTimer.start(kTimerMs, this);
}

CZircApp::~CZircApp()
{
    stop();
    mTimer.stop();
    hostClose();
    hostUnloadDriver();
    hostSetObject(nullptr);
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

int CZircApp::buildGraph()
{
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
    if (mGraphResult != 0)
        return mGraphResult;
    mGraph->setInputMode(mSettings.mInputMode);
    mGraph->setMonitorOutputs(mAudio.mOutputs.monitorOutputs.data(), mAudio.mOutputs.numMonitorOutputs);
    applySettings();
    if (mAudio.isOpen()) {
        hostSetObject(mGraph.get());
        hostSetTarget(vkTargetObject);
    }
    return 0;
}

// What a new graph takes over from the settings and the box, so that a rebuild loses
// nothing the user has set.
void CZircApp::applySettings()
{
    if (mCalibrationValid) {
        mGraph->setInputChannelGains(mCalibrationGains.data(), static_cast<int>(mCalibrationGains.size()));
        mCalibrated = true;
    }
    mGraph->setHighpass(mSettings.mFcHp);
    mGraph->setMonitorSource(mSettings.mMonitorSection != 0 ? CAudioGraph::monitorOutputBus
                                                            : CAudioGraph::monitorInputBus,
                             mSettings.mMonitorChannel);
    mGraph->setMonitorEnabled(mSettings.mMonitorEnabled);
    if (mSettings.mInputMode == CAudioGraph::inputFile && !mSettings.mSensorFile.isEmpty())
        openInputFile();
    if (CAudioFile* player = mGraph->audioFile(CAudioGraph::stageFilePlayer))
        player->setStartSample(0);
}

int CZircApp::rebuild()
{
    const bool running = hostIsRunning();
    if (running)
        stop();
    int r = mAudio.setOutputs(mSettings);
    if (r == 0)
        r = buildGraph();
    if (r == 0)
        setWindowTitleFromState();
    if (running)
        start();
    return r;
}

int CZircApp::openInputFile()
{
    const int r = mGraph->openInputFile(mSettings.mSensorFile.toLocal8Bit().constData());
    if (r != 0) {
        warn(QStringLiteral("Error loading wave file (erroNo:%1).").arg(r));
        mSettings.mSensorFile.clear();
        return r;
    }
    const CAudioFile* player = mGraph->audioFile(CAudioGraph::stageFilePlayer);
    const bool beamforming = mSettings.mInputMode != CAudioGraph::inputFile ||
                             player->fileChannels() == CAudioGraph::kInputChannels;
    mGraph->setProcessingMode(beamforming ? CAudioGraph::processingBeamforming : CAudioGraph::processingStraight);
    return 0;
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
    connect(mOptions, &CZrOptions::monitorChannelsChanged, this, &CZircApp::updateMonitorChannels);
    connect(mOptions, &CZrOptions::outputChannelsChanged, this, &CZircApp::updateOutputChannels);
    connect(mOptions, &CZrOptions::zibOutputGroupsChanged, this, &CZircApp::updateZibOutputGroups);
    connect(mOptions, &CZrOptions::emulationChanged, this, &CZircApp::setEmulation);
}

void CZircApp::setWindowTitleFromState()
{
    QString status;
    if (mAudio.isDefaultDevice())
        status = mCalibrated ? QStringLiteral("calibrated") : QStringLiteral("not calibrated");
    const double kHz = static_cast<double>(mAudio.mSampleRate) * 0.001;
    setWindowTitle(QStringLiteral("%1 -- beta -- (fs = %2kHz, %3)").arg(mAppName, QString::number(kHz, 'f', 1), status));
}

void CZircApp::warn(const QString& text)
{
    CDialogSeam::message(this, QMessageBox::Warning, mAppName, text);
}

// ---- transport

void CZircApp::start()
{
    if (mGraphResult != 0)
        return;
    mGraph->start();
    if (mSettings.mInputMode == CAudioGraph::inputFile)
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->startFile(true);
    if (mAudio.isOpen())
        hostStart();
}

void CZircApp::stop()
{
    if (mAudio.isOpen())
        hostStop();
    if (mGraphResult != 0)
        return;
    mGraph->audioFile(CAudioGraph::stageFilePlayer)->stopFile();
    mGraph->stop();
}

void CZircApp::pause()
{
    if (mGraphResult == 0)
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->pauseFile();
}

void CZircApp::seek(int position)
{
    if (mGraphResult == 0)
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->seekFile(position);
}

void CZircApp::updateStartSample(int position)
{
    if (mGraphResult == 0)
        mGraph->audioFile(CAudioGraph::stageFilePlayer)->setStartSample(position);
}

// ---- beams and gains

void CZircApp::updatePhi(int index, int phi)
{
    mGraph->setPhi(index, static_cast<float>(phi));
}

void CZircApp::updateTheta(int index, int theta)
{
    mGraph->setTheta(index, static_cast<float>(theta));
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
    if (mGraph->inputMode() == mode)
        return;
    stop();
    mSettings.mInputMode = mode;
    mGraph->setInputMode(mode);
    if (mode == CAudioGraph::inputFile)
        openInputFile();
    setWindowTitleFromState();
}

void CZircApp::openFile(const QString& fileName)
{
    if (fileName.isEmpty())
        return;
    stop();
    mSettings.mSensorFile = fileName;
    openInputFile();
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

void CZircApp::writeSettings(const QString& fileName)
{
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

void CZircApp::options()
{
    mOptions->show();
}

void CZircApp::closeEvent(QCloseEvent* event)
{
    if (mOptions->isVisible())
        mOptions->close();
    writeSettings(mIniFile);
    event->accept();
}
