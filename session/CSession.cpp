#include "session/CSession.h"

#include "audiofile/CAudioFile.h"
#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"
#include "box/CZibControl.h"
#include "device/vkHost.h"
#include "emulation/CEmulatedHardware.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace {
// The box gives up on its own after about 2.2 s; this only guards against a thread that
// never reports at all.
constexpr int kBoxWaitLimitMs = 5000;
constexpr int kTakeNameTries = 100;

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
        QThread::msleep(CSession::kBoxPollMs);
    }
    return true;
}

QString nativePath(const QString& path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}
} // namespace

CSession::CSession(const QString& iniFile, QObject* parent)
    : QObject(parent),
      mIniFile(iniFile),
      mAudio([this](const QString& text) { emit warning(text); },
             [this](const QStringList& names) { return mChooseDevice ? mChooseDevice(names) : std::nullopt; }),
      mLevels{BusLevels(mGraph, CAudioGraph::levelInput), BusLevels(mGraph, CAudioGraph::levelOutput)}
{
}

CSession::~CSession()
{
    if (mHrtfWorker.joinable())
        mHrtfWorker.join();
    stopTakes();
    stop();
    hostClose();
    hostUnloadDriver();
    hostSetObject(nullptr);
}

void CSession::open()
{
    startBox();
    mSettings = CZircSettings::load(mIniFile);
    applyAmbisonicsSettings();
    waitForBox();
    mAudio.open(mSettings);
    buildGraph();
}

// Values out of range in the file fall back to the defaults.
void CSession::applyAmbisonicsSettings()
{
    const CZircSettings& s = mSettings;
    const AmbiNorm norm = s.mAmbiNorm == 1 ? AmbiNorm::kN3d : AmbiNorm::kSn3d;
    if (mGraph.setAmbisonicsFormat(s.mAmbiOrder, norm) != 0)
        mGraph.setAmbisonicsFormat(kAmbiMaxOrder, norm);
    mGraph.setMountingOrientation({s.mMountingYaw, s.mMountingPitch, s.mMountingRoll});
    mGraph.setAboveAliasing(s.mAmbiAboveAliasing);
    mGraph.setHeadOrientation({s.mHeadYaw, s.mHeadPitch, s.mHeadRoll});
}

// The emulation switch is read ahead of the other settings: it decides which box the
// thread talks to.
void CSession::startBox()
{
    if (CZircSettings::load(mIniFile).mEmulateHardware)
        mEmulation = std::make_unique<CEmulatedHardware>();
    mBox = std::make_unique<CZibControl>(nullptr, mEmulation ? mEmulation->ports() : midi_port_directory_t());
    connect(mBox.get(), &CZibControl::msgConfirmed, this, &CSession::actOnBoxMessage);
    mBox->start(QThread::LowPriority);
}

void CSession::waitForBox()
{
    mAudio.mZibGroupMask = 0;
    if (!pollUntil([this] { return mBox->mPortState.load() != -1; }) || mBox->mPortState.load() != 1)
        return;
    if (!pollUntil([this] { return mBox->mStartupDone.load(); }))
        return;
    const bool extension = mBox->mExtensionState.load() == 1 && mBox->mExtensionKind.load() == 3;
    mAudio.mZibGroupMask = extension ? 7 : 3;
}

bool CSession::boxConnected() const { return mBox && mBox->mPortState.load() == 1; }
bool CSession::boxHasArray() const { return mBox && mBox->mArrayState.load() == 1; }

// A graph for the device as it is open now, with every kept value; a device without the
// array's 32 inputs plays files only.
int CSession::buildGraph()
{
    if (mAudio.isOpen())
        hostSetObject(nullptr);
    if (!mAudio.isOpen() || mAudio.mAvailableInputs < CAudioGraph::kInputChannels)
        mSettings.mInputMode = CAudioGraph::inputFile;
    mGraph.setInputMode(mSettings.mInputMode);
    mGraph.setMonitorOutputs(mAudio.mOutputs.monitorOutputs.data(), mAudio.mOutputs.numMonitorOutputs);
    const vkAudioInterface in =
        vkAudioInterface::timeDomain(mAudio.mNumDriverInputs, mAudio.mSampleRate, mAudio.mBlockLength);
    const vkAudioInterface out =
        vkAudioInterface::timeDomain(mAudio.mNumDriverOutputs, mAudio.mSampleRate, mAudio.mBlockLength);
    const int r = mGraph.build(in, out);
    mGraphResult = r == 0 ? 0 : r + kGraphOffset;
    if (mGraphResult != 0)
        return mGraphResult;
    if (fileMode() && !mSettings.mSensorFile.isEmpty())
        openSettingsFile();
    mGraph.setPlaybackStart(0);
    if (mAudio.isOpen()) {
        hostSetObject(mGraph.processor());
        hostSetTarget(vkTargetObject);
    }
    // The ear filters of the first graph, or of one at a new rate.
    if (mGraph.hrtfPath().empty() && !mSettings.mHrtfFile.isEmpty())
        loadHrtf(mSettings.mHrtfFile);
    else if (mGraph.hrtfNeedsDesign())
        loadHrtf(QString::fromStdString(mGraph.hrtfPath()));
    return 0;
}

// ---- the stream

bool CSession::start()
{
    if (mAudio.lost() && !followDevice(mAudio.reopen())) {
        emit streamStateChanged(false);
        return false;
    }
    if (!ready()) {
        emit streamStateChanged(false);
        return false;
    }
    mGraph.processor()->start();
    if (fileMode())
        mGraph.startPlayback(true);
    if (mAudio.isOpen())
        hostStart();
    mRunning = true;
    emit streamStateChanged(true);
    return true;
}

void CSession::stop()
{
    if (mAudio.isOpen())
        hostStop();
    if (ready()) {
        mGraph.stopPlayback();
        mGraph.processor()->stop();
    }
    mRunning = false;
    emit streamStateChanged(false);
}

void CSession::pause() { mGraph.pausePlayback(); }
void CSession::seek(int frame) { mGraph.seekPlayback(frame); }
void CSession::setPlaybackStart(int frame) { mGraph.setPlaybackStart(frame); }

std::int64_t CSession::inputFileFrames() const
{
    return ready() && fileMode() && graph() ? graph()->inputFileFrames() : 0;
}

// ---- input

int CSession::setInputMode(int mode)
{
    if (!ready() || graph()->inputMode() == mode)
        return 0;
    stop();
    const int r = mGraph.setInputMode(mode);
    if (r != 0)
        return r;
    mSettings.mInputMode = mode;
    if (mode == CAudioGraph::inputFile && !mSettings.mSensorFile.isEmpty())
        openSettingsFile();
    else if (mode != CAudioGraph::inputFile)
        chooseProcessingMode(); // live after a file of another channel count
    return 0;
}

bool CSession::openInputFile(const QString& fileName)
{
    if (fileName.isEmpty() || !ready())
        return false;
    stop();
    mSettings.mSensorFile = fileName;
    return openSettingsFile() == 0;
}

// An input file that cannot be opened is given up, in the settings too.
int CSession::openSettingsFile()
{
    const int r = mGraph.openInputFile(mSettings.mSensorFile);
    if (r != 0) {
        emit warning(QStringLiteral("Error loading wave file (erroNo:%1).").arg(r));
        mSettings.mSensorFile.clear();
        return r;
    }
    chooseProcessingMode();
    return 0;
}

// The array's signal is beamformed, live or from a file of its 32 channels; a file of
// another count goes straight through.
void CSession::chooseProcessingMode()
{
    const bool beamforming = !fileMode() || graph()->inputFileChannels() == CAudioGraph::kInputChannels;
    mGraph.setProcessingMode(beamforming ? CAudioGraph::processingBeamforming : CAudioGraph::processingStraight);
}

void CSession::setPreampVolume(int volume)
{
    mSettings.mPreampVolume = volume;
    mBox->setPreampGain(static_cast<float>(volume), false);
}

// ---- takes

QString CSession::startTake(int sink, const std::function<QString()>& nextPath)
{
    if (!ready() || sink < 0 || sink >= kSinks)
        return QString();
    QString path = nextPath();
    int opened = mGraph.openTake(sink, path);
    for (int tries = 0; opened == CAudioFile::fileErrExists && tries < kTakeNameTries; ++tries) {
        path = nextPath();
        opened = mGraph.openTake(sink, path);
    }
    if (opened != 0) {
        emit warning(QStringLiteral("Error opening record file!"));
        return QString();
    }
    mGraph.startTake(sink, true);
    mTakePaths[static_cast<std::size_t>(sink)] = path;
    return path;
}

bool CSession::recording() const
{
    return std::any_of(mTakePaths.begin(), mTakePaths.end(), [](const QString& p) { return !p.isEmpty(); });
}

// Every take is finished first; only then are the refusals told, so that a front end's
// message finds nothing left to stop.
void CSession::stopTakes()
{
    QStringList failures;
    for (int i = 0; i < kSinks; ++i) {
        mGraph.stopTake(i);
        const QString& path = mTakePaths[static_cast<std::size_t>(i)];
        const QString error = mGraph.takeError(i);
        if (!path.isEmpty() && !error.isEmpty())
            failures << kWriteFailure.arg(nativePath(path), error);
    }
    mTakePaths = {};
    mCutReported = {};
    emit takesStopped(failures);
}

// ---- rebuilds and the device

// A take ends ahead of the rebuild, finished in its file: its recorder goes with the old
// graph.
int CSession::rebuild()
{
    stopTakes();
    const bool wasRunning = mRunning;
    if (wasRunning)
        stop();
    int r = mAudio.setOutputs(mSettings);
    if (r == 0)
        r = buildGraph();
    emit graphRebuilt();
    if (wasRunning)
        start();
    return r;
}

// A driver that asks for a reset or loses its device (a JACK server that ends) stops
// what runs on it: the takes are finished in their files, the stream stops, the driver is
// loaded afresh and the user is told once; a lost device waits for Play.
void CSession::checkDevice()
{
    if (!mAudio.resetRequested())
        return;
    stopTakes();
    stop();
    followDevice(mAudio.serveReset());
}

// A device open again at another rate, block or channel count gets a graph built for it;
// false while the device is lost.
bool CSession::followDevice(CAudioDevice::Recovery recovery)
{
    if (recovery == CAudioDevice::Recovery::Changed) {
        buildGraph();
        emit graphRebuilt();
    }
    return recovery != CAudioDevice::Recovery::Lost;
}

// A take the disk refuses (full, or the file at its size limit) ends the recording; the
// stream plays on. A take the disk side fell a whole ring behind is cut there: told once.
void CSession::checkTakes()
{
    if (!ready())
        return;
    for (int i = 0; i < kSinks; ++i) {
        if (!mTakePaths[static_cast<std::size_t>(i)].isEmpty() && !mGraph.takeError(i).isEmpty()) {
            stopTakes();
            return;
        }
    }
    for (int i = 0; i < kSinks; ++i) {
        const std::size_t sink = static_cast<std::size_t>(i);
        if (mTakePaths[sink].isEmpty() || mCutReported[sink] || !mGraph.takeOverrun(i))
            continue;
        mCutReported[sink] = true;
        const double rate = std::max(1.0, static_cast<double>(mAudio.mSampleRate));
        emit takeCut(i, nativePath(mTakePaths[sink]), static_cast<int>(mGraph.takePosition(i) / rate));
    }
}

void CSession::poll()
{
    checkDevice();
    checkTakes();
    applyCalibration();
}

// ---- Ambisonics and binaural

int CSession::setAmbisonicsFormat(int order, AmbiNorm norm)
{
    if (order == mGraph.ambisonicsOrder() && norm == mGraph.ambisonicsNorm())
        return 0;
    if (order < 1 || order > kAmbiMaxOrder)
        return vkErrRange;
    const bool wasRunning = mRunning;
    if (wasRunning)
        stop();
    const int r = mGraph.setAmbisonicsFormat(order, norm);
    if (r == 0) {
        mSettings.mAmbiOrder = order;
        mSettings.mAmbiNorm = norm == AmbiNorm::kN3d ? 1 : 0;
    }
    if (wasRunning)
        start();
    return r;
}

int CSession::setMountingOrientation(const CGraphSession::Orientation& mounting)
{
    const int r = mGraph.setMountingOrientation(mounting);
    if (r == 0) {
        mSettings.mMountingYaw = mounting.yaw;
        mSettings.mMountingPitch = mounting.pitch;
        mSettings.mMountingRoll = mounting.roll;
    }
    return r;
}

int CSession::setHeadOrientation(const CGraphSession::Orientation& head)
{
    const int r = mGraph.setHeadOrientation(head);
    if (r == 0) {
        mSettings.mHeadYaw = head.yaw;
        mSettings.mHeadPitch = head.pitch;
        mSettings.mHeadRoll = head.roll;
    }
    return r;
}

void CSession::setAboveAliasing(bool on)
{
    mSettings.mAmbiAboveAliasing = on;
    mGraph.setAboveAliasing(on);
}

void CSession::loadHrtf(const QString& path)
{
    if (mHrtfWorker.joinable())
        mNextHrtf = path;
    else
        startHrtfDesign(path);
}

// The worker only reads the file and designs; the result comes back to this thread as a
// queued call, which Qt drops when the session is gone (its destructor joins the worker).
void CSession::startHrtfDesign(const QString& path)
{
    if (!mGraph.graph() || !(mGraph.graph()->sampleRate() > 0.0)) {
        emit hrtfLoaded(path, QStringLiteral("no audio graph runs yet to design the filters for"));
        return;
    }
    const double rate = mGraph.graph()->sampleRate();
    mHrtfWorker = std::thread([this, path, rate] {
        std::string message;
        auto filters = std::make_shared<const CBinauralFilters>(
            CBinauralFilters::designFromSofa(path.toStdString(), rate, CBinauralDecoder::kMaxTaps, message));
        const QString error = filters->isEmpty() ? QString::fromStdString(message) : QString();
        QMetaObject::invokeMethod(
            this, [this, path, filters, error] { finishHrtfDesign(path, filters, error); }, Qt::QueuedConnection);
    });
}

// Filters designed for a rate the graph no longer runs at are designed again.
void CSession::finishHrtfDesign(const QString& path, std::shared_ptr<const CBinauralFilters> filters,
                                const QString& error)
{
    mHrtfWorker.join();
    QString outcome = error;
    if (outcome.isEmpty() && mGraph.graph() && filters->sampleRate() != mGraph.graph()->sampleRate()) {
        startHrtfDesign(mNextHrtf.isEmpty() ? path : std::exchange(mNextHrtf, QString()));
        return;
    }
    if (outcome.isEmpty()) {
        const int r = mGraph.setBinauralFilters(std::move(filters), path.toStdString());
        if (r != 0)
            outcome = QStringLiteral("the binaural decoder refused the filters of %1 (code %2)").arg(path).arg(r);
        else
            mSettings.mHrtfFile = path;
    }
    emit hrtfLoaded(path, outcome);
    if (!mNextHrtf.isEmpty())
        startHrtfDesign(std::exchange(mNextHrtf, QString()));
}

// ---- calibration

void CSession::actOnBoxMessage(int cmd, int value)
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

void CSession::applyCalibration()
{
    if (mCalibrated || !mCalibrationValid || mGraphResult != 0)
        return;
    mGraph.setCalibration(mCalibrationGains);
    mCalibrated = true;
    emit calibrationChanged();
}

// ---- levels

int CSession::BusLevels::takeLevels(float* peaks, float* envelopes, int count)
{
    return mGraph.takeLevels(mBus, peaks, envelopes, count);
}

float CSession::BusLevels::releaseTime() const
{
    return mGraph.graph() ? mGraph.graph()->levelReleaseTime() : 0.0f;
}
