#include "graph/CAudioGraph.h"

#include "ambisonics/CAmbiEncoder.h"
#include "audiofile/CAudioFile.h"
#include "beamformer/CMbf.h"
#include "beamformer/CZirc.h"
#include "binaural/CBinauralDecoder.h"
#include "core/primitives/ipps.h"
#include "stages/CFilterStageBq.h"
#include "stages/CMaxValue.h"
#include "stages/CVolumeControl.h"
#include "stages/vkHighpassSets.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace {

bool inRateRange(int rate)
{
    return rate >= CAudioGraph::kMinSampleRate && rate <= CAudioGraph::kMaxSampleRate;
}

// A record like `base` with another channel count.
vkAudioInterface withChannels(const vkAudioInterface& base, int channels)
{
    vkAudioInterface f = base;
    f.setChannels(channels);
    return f;
}

} // namespace

CAudioGraph::CAudioGraph()
    : mFilePlayer(new (std::nothrow) CAudioFile)
    , mInputVolume(new (std::nothrow) CVolumeControl)
    , mArrayRecorder(new (std::nothrow) CAudioFile)
    , mInputLevel(new (std::nothrow) CMaxValue)
    , mZirc(new (std::nothrow) CZirc)
    , mBeamVolume(new (std::nothrow) CVolumeControl)
    , mHighpass(new (std::nothrow) CFilterStageBq)
    , mOutputLevel(new (std::nothrow) CMaxValue)
    , mBeamRecorder(new (std::nothrow) CAudioFile)
    , mMonitorVolume(new (std::nothrow) CVolumeControl)
    , mEncoder(new (std::nothrow) CAmbiEncoder)
    , mAmbiRecorder(new (std::nothrow) CAudioFile)
    , mDecoder(new (std::nothrow) CBinauralDecoder)
{
    mStages = {mFilePlayer.get(), mInputVolume.get(), mArrayRecorder.get(), mInputLevel.get(), mZirc.get(),
               mBeamVolume.get(),  mHighpass.get(),    mOutputLevel.get(),   mBeamRecorder.get(), mMonitorVolume.get(),
               mEncoder.get(),     mAmbiRecorder.get(), mDecoder.get()};
}

// Buffers go before the stages: none of them refers to a stage, but the stages' file
// threads end in their own destructors.
CAudioGraph::~CAudioGraph()
{
    mInputBus.reset();
    mOutputBus.reset();
    for (int i = 0; i < stageCount; ++i) {
        mStageIn[i].reset();
        mStageOut[i].reset();
    }
}

// ---- configuration ----

bool CAudioGraph::acceptedFormats(const vkAudioInterface& in, const vkAudioInterface& out)
{
    const auto runnable = [](const vkAudioInterface& f) { return f.isTimeDomain() && f.isSinglePrecision(); };
    return in.channels() <= kInputChannels && out.channels() >= 1 && runnable(in) && runnable(out)
        && inRateRange(static_cast<int>(in.sampleRate())) && in.sampleRate() == out.sampleRate()
        && in.frameLength() > 0 && in.frameLength() == out.frameLength();
}

int CAudioGraph::configure(vkAudioInterface in, vkAudioInterface out)
{
    if (mStarted)
        return vkErrStarted;
    if (!acceptedFormats(in, out))
        return vkErrFormat;
    // Live input reads all 32 capsule channels from the driver.
    if (mInputMode == inputLive && in.channels() < mNumInputs)
        return vkErrFormat;
    for (vkAudioClass* s : mStages)
        if (!s)
            return vkErrOutOfMemory;
    vkAudioClass::setFormat(in, out);
    mReady = false;
    if (const int r = buildStages(); r != vkOk)
        return r;
    resetVolumes();
    setUpHighpass();
    activateBeams();
    mReady = true;
    return vkOk;
}

int CAudioGraph::buildStages()
{
    mInputBus.reset();
    mOutputBus.reset();
    for (int i = 0; i < stageCount; ++i) {
        mStageIn[i].reset();
        mStageOut[i].reset();
    }
    makeRecords();
    const int formatResult = setStageFormats();
    if (const int r = createBuffers(); r != vkOk)
        return r;
    rewireInput();
    rewireOutput();
    return formatResult;
}

// The records: each a copy of the graph's input or output record with the channel
// count of its place in the chain. The beamformer alone crosses from one to the other;
// the encoder reads the beamformer's modes, which run at the same rate and block.
void CAudioGraph::makeRecords()
{
    const vkAudioInterface& in = mInFormat;
    const vkAudioInterface& out = mOutFormat;
    struct Place {
        const vkAudioInterface& inRecord;
        int inChannels;
        const vkAudioInterface& outRecord;
        int outChannels;
    };
    const Place places[stageCount] = {
        {in, 0, in, mNumInputs},
        {in, mNumInputs, in, mNumInputs},
        {in, mNumInputs, in, 0},
        {in, mNumInputs, in, 0},
        {in, mNumInputs, out, mMaxBeams},
        {out, mMaxBeams, out, mMaxBeams},
        {out, mMaxBeams, out, mMaxBeams},
        {out, mMaxBeams, out, 0},
        {out, mNumBeams, out, 0},
        {out, kMaxMonitorOutputs, out, kMaxMonitorOutputs},
        {out, CAmbiEncoder::kModes, out, kAmbiChannels},
        {out, ambiChannelCount(mAmbiOrder), out, 0},
        {out, kAmbiChannels, out, kEars},
    };
    for (int i = 0; i < stageCount; ++i) {
        mStageInFormat[i] = withChannels(places[i].inRecord, places[i].inChannels);
        mStageOutFormat[i] = withChannels(places[i].outRecord, places[i].outChannels);
    }
}

// Stops at the first stage that refuses its format and gives its code.
int CAudioGraph::setStageFormats()
{
    for (int i = 0; i < stageCount; ++i)
        if (const int r = mStages[i]->setFormat(mStageInFormat[i], mStageOutFormat[i]); r != vkOk)
            return r;
    return vkOk;
}

// Beam volume and high-pass work in place on the output bus, so that a unity gain or the
// pass-through set costs no pass at all: their buffers own no storage and stand on the
// beamformer's.
bool CAudioGraph::worksInPlace(int stage)
{
    return stage == stageBeamVolume || stage == stageHighpass;
}

int CAudioGraph::createBuffers()
{
    const auto make = [](const vkAudioInterface& f) {
        std::unique_ptr<vkAudioBuffer> b(new (std::nothrow) vkAudioBuffer(f));
        return b && b->isValid() ? std::move(b) : nullptr;
    };
    for (int i = 0; i < stageCount; ++i) {
        mStageIn[i] = make(mStageInFormat[i]);
        mStageOut[i] = make(mStageOutFormat[i]);
        if (!mStageIn[i] || !mStageOut[i] || (!worksInPlace(i) && mStageOut[i]->allocate() != vkOk))
            return vkErrOutOfMemory;
    }
    for (int i : {stageBeamVolume, stageHighpass}) {
        mStageIn[i]->share(*mStageOut[stageBeamformer]);
        mStageOut[i]->share(*mStageOut[stageBeamformer]);
    }
    mInputBus = make(mStageOutFormat[stageFilePlayer]);
    mOutputBus = make(mStageOutFormat[stageBeamformer]);
    return mInputBus && mOutputBus ? vkOk : vkErrOutOfMemory;
}

void CAudioGraph::resetVolumes()
{
    for (CVolumeControl* v : {mInputVolume.get(), mMonitorVolume.get(), mBeamVolume.get()}) {
        v->setMasterVolume(1.0f);
        for (int ch = 0; ch < v->inFormat().channels(); ++ch)
            v->setChannelVolume(ch, 1.0f);
    }
}

void CAudioGraph::setUpHighpass()
{
    std::array<int, kMaxBeams> sections;
    sections.fill(vkHighpassSections);
    mHighpass->setSections(sections.data(), mMaxBeams);
    mPassThroughFrames = 0;
    setHighpass(0);
}

// ---- wiring ----

void CAudioGraph::rewireInput()
{
    if (mInputMode == inputLive) {
        mStageIn[stageArrayRecorder]->share(*mStageOut[stageInputVolume]);
        mInputBus->share(*mStageOut[stageInputVolume]);
    } else {
        mInputBus->share(*mStageOut[stageFilePlayer]);
    }
    if (mProcessingMode == processingStraight)
        mOutputBus->share(*mInputBus, mMaxBeams, 0, 0);
    routeMonitor();
}

void CAudioGraph::rewireOutput()
{
    if (mProcessingMode == processingStraight) {
        mOutputBus->share(*mInputBus, mMaxBeams, 0, 0);
    } else {
        mOutputBus->share(*mStageOut[stageBeamformer]);
    }
    routeMonitor();
}

// Both monitor inputs carry the same channel: the monitor is mono. One store of bus and
// channel together; process finds the channel on the bus as it stands in its next block.
void CAudioGraph::routeMonitor()
{
    const int bus = mMonitorSource == monitorInputBus ? 0 : mMonitorSource == monitorBinaural ? kRouteBinaural
                                                                                             : kRouteOutputBus;
    mMonitorRoute.store(bus | mMonitorOffset, std::memory_order_release);
}

int CAudioGraph::setInputMode(int mode)
{
    if (mStarted)
        return vkErrStarted;
    if (mode != inputLive && mode != inputFile)
        return vkErrRange;
    if (mode == mInputMode)
        return vkOk;
    if (mode == inputLive && mConfigured && mInFormat.channels() < mNumInputs)
        return vkErrFormat;
    mInputMode = mode;
    if (mReady)
        rewireInput();
    return vkOk;
}

int CAudioGraph::setProcessingMode(int mode)
{
    if (mStarted)
        return vkErrStarted;
    if (mode != processingStraight && mode != processingBeamforming)
        return vkErrRange;
    if (mode == mProcessingMode)
        return vkOk;
    mProcessingMode = mode;
    if (mReady)
        rewireOutput();
    return vkOk;
}

int CAudioGraph::setNumBeams(int count)
{
    if (mStarted)
        return vkErrStarted;
    mNumBeams = std::clamp(count, 0, mMaxBeams);
    activateBeams();
    mZirc->reset();
    mStageInFormat[stageBeamRecorder] = withChannels(mOutFormat, mNumBeams);
    mStageOutFormat[stageBeamRecorder] = withChannels(mOutFormat, 0);
    return mBeamRecorder->setFormat(mStageInFormat[stageBeamRecorder], mStageOutFormat[stageBeamRecorder]);
}

// Beams below the count run; the others cost nothing. The node configures all its beams
// active, so a new graph starts with the count it was given.
void CAudioGraph::activateBeams()
{
    const int beams = std::min(mMaxBeams, mZirc->beamCount());
    for (int beam = 0; beam < beams; ++beam)
        mZirc->setBeamActive(beam, beam < mNumBeams);
}

int CAudioGraph::openInputFile(const char* name)
{
    if (mInputMode != inputFile)
        return errNotFileMode;
    if (const int r = mFilePlayer->openFile(QString::fromLocal8Bit(name), CAudioFile::modePlaying); r != vkOk)
        return r;
    return inRateRange(mFilePlayer->fileSampleRate()) ? int(vkOk) : int(errFileRate);
}

// ---- monitor, gains, high-pass ----

int CAudioGraph::setMonitorOutputs(const int* outputs, int count)
{
    if (count < 0 || count > kMaxMonitorOutputs || (count > 0 && !outputs))
        return vkErrRange;
    const int channels = mOutFormat.channels();
    if (std::any_of(outputs, outputs + count, [channels](int o) { return o < 0 || o >= channels; }))
        return vkErrRange;
    for (int k = 0; k < count; ++k)
        mMonitorOutputs[k].store(outputs[k], std::memory_order_relaxed);
    mNumMonitorOutputs.store(count, std::memory_order_release);
    routeMonitor();
    return vkOk;
}

void CAudioGraph::setMonitorSource(int source, int offset)
{
    mMonitorSource = source;
    const int channels = source == monitorInputBus ? mNumInputs : source == monitorBinaural ? 1 : mMaxBeams;
    mMonitorOffset = std::clamp(offset, 0, channels - 1);
    routeMonitor();
}

void CAudioGraph::setMonitorEnabled(bool enabled) { mMonitorEnabled.store(enabled, std::memory_order_release); }

int CAudioGraph::monitorOutput(int k) const
{
    return k >= 0 && k < kMaxMonitorOutputs ? mMonitorOutputs[k].load(std::memory_order_relaxed) : -1;
}

void CAudioGraph::setInputChannelGains(const float* gains, int count)
{
    if (!gains)
        return;
    const int n = std::min(count, mInputVolume->inFormat().channels());
    for (int ch = 0; ch < n; ++ch)
        mInputVolume->setChannelVolume(ch, gains[ch]);
}

int CAudioGraph::setHighpass(int index)
{
    if (index < 0 || index >= vkHighpassSetCount)
        return vkErrRange;
    const vkHighpassTapArray taps = vkHighpassSet(index, mHighpass->inFormat().sampleRate());
    for (int ch = 0; ch < mMaxBeams; ++ch)
        if (const int r = mHighpass->setTaps(ch, taps.data()); r != vkOk)
            return r;
    mHighpassIndex.store(index, std::memory_order_release);
    return vkOk;
}

int CAudioGraph::highpassCount() const { return vkHighpassSetCount; }

int CAudioGraph::highpassFrequencies(int* list, int count) const
{
    const int n = list ? std::clamp(count, 0, vkHighpassSetCount) : 0;
    std::copy(vkHighpassCorners, vkHighpassCorners + n, list);
    return n;
}

// ---- Ambisonics and binaural ----

int CAudioGraph::setAmbisonicsFormat(int order, AmbiNorm norm)
{
    if (mStarted)
        return vkErrStarted;
    if (order < 1 || order > kAmbiMaxOrder || (norm != AmbiNorm::kSn3d && norm != AmbiNorm::kN3d))
        return vkErrRange;
    // The recorder keeps the first (order+1)^2 of the encoder's channels: not changed
    // under a take's feet.
    if (mAmbiTake.load(std::memory_order_relaxed))
        return vkErrStarted;
    if (mReady) {
        const vkAudioInterface in = withChannels(mOutFormat, ambiChannelCount(order));
        const vkAudioInterface none = withChannels(mOutFormat, 0);
        if (const int r = mAmbiRecorder->setFormat(in, none); r != vkOk)
            return r;
        mStageInFormat[stageAmbiRecorder] = in;
        mStageOutFormat[stageAmbiRecorder] = none;
    }
    mAmbiOrder = order;
    mEncoder->setNorm(norm);
    mDecoder->setInputNorm(norm);
    return vkOk;
}

int CAudioGraph::setMountingOrientation(float yaw, float pitch, float roll)
{
    if (!std::isfinite(yaw) || !std::isfinite(pitch) || !std::isfinite(roll))
        return vkErrRange;
    mEncoder->setOrientation(CRotation3::fromYawPitchRoll(yaw, pitch, roll));
    return vkOk;
}

AmbiNorm CAudioGraph::ambisonicsNorm() const { return mEncoder->norm(); }

void CAudioGraph::setAboveAliasing(bool on) { mEncoder->setAboveAliasing(on); }

int CAudioGraph::setHeadOrientation(const CHeadOrientation& head)
{
    return mDecoder->setHeadOrientation(head) ? int(vkOk) : int(vkErrRange);
}

int CAudioGraph::setBinauralFilters(const CBinauralFilters& filters) { return mDecoder->setFilters(filters); }

int CAudioGraph::binauralLatency() const { return mDecoder->latency(); }

// ---- beams and patterns ----

int CAudioGraph::setTheta(int beam, float theta) { return mZirc->setTheta(beam, theta); }
int CAudioGraph::setPhi(int beam, float phi) { return mZirc->setPhi(beam, phi); }
int CAudioGraph::setPattern(int beam, int pattern) { return mZirc->setPattern(beam, pattern); }
int CAudioGraph::setParameter(int beam, int parameter) { return mZirc->setParameter(beam, parameter); }

int CAudioGraph::patternCount() const { return mZirc->patternCount(); }
int CAudioGraph::maxPolarPoints() const { return mZirc->maxPolarPoints(); }

int CAudioGraph::patternInfo(int pattern, int* nameSize, int* parameterNameSize, int* numParameters,
                             int* polarPoints) const
{
    return mZirc->patternInfo(pattern, nameSize, parameterNameSize, numParameters, polarPoints);
}

int CAudioGraph::patternNames(int pattern, char* name, char* parameterName, int* values) const
{
    return mZirc->patternNames(pattern, name, parameterName, values);
}

int CAudioGraph::patternResponse(int pattern, int parameter, float* polar, int* beamWidth) const
{
    return mZirc->patternResponse(pattern, parameter, polar, beamWidth);
}

int CAudioGraph::sinkStage(int sink)
{
    switch (sink) {
    case sinkArray: return stageArrayRecorder;
    case sinkBeams: return stageBeamRecorder;
    case sinkAmbisonics: return stageAmbiRecorder;
    default: return sink;
    }
}

// ---- file queues ----

void CAudioGraph::checkFileQueues()
{
    for (CAudioFile* f : {mFilePlayer.get(), mArrayRecorder.get(), mBeamRecorder.get(), mAmbiRecorder.get()})
        f->checkQueue();
}

// ---- playback ----

int CAudioGraph::startPlayback(bool useThread) { return mFilePlayer->startFile(useThread); }
int CAudioGraph::pausePlayback() { return mFilePlayer->pauseFile(); }
int CAudioGraph::stopPlayback() { return mFilePlayer->stopFile(); }
int CAudioGraph::seekPlayback(int frame) { return mFilePlayer->seekFile(frame); }
int CAudioGraph::setPlaybackStart(int frame) { return mFilePlayer->setStartSample(frame); }
std::int32_t CAudioGraph::playbackPosition() const { return mFilePlayer->position(); }
std::int64_t CAudioGraph::inputFileFrames() const { return mFilePlayer->fileFrames(); }
int CAudioGraph::inputFileChannels() const { return mFilePlayer->fileChannels(); }

// ---- takes ----

CAudioFile* CAudioGraph::recorder(int sink) const
{
    switch (sink) {
    case sinkArray: return mArrayRecorder.get();
    case sinkBeams: return mBeamRecorder.get();
    case sinkAmbisonics: return mAmbiRecorder.get();
    default: return nullptr;
    }
}

// The Ambisonics stages run for a take from its opening to its end.
int CAudioGraph::openTake(int sink, const QString& path)
{
    CAudioFile* file = recorder(sink);
    const int r = file ? file->openFile(path, CAudioFile::modeRecording) : int(vkErrRange);
    if (sink == sinkAmbisonics)
        mAmbiTake.store(r == vkOk, std::memory_order_release);
    return r;
}

int CAudioGraph::startTake(int sink, bool useThread)
{
    CAudioFile* file = recorder(sink);
    return file ? file->startFile(useThread) : vkErrRange;
}

int CAudioGraph::stopTake(int sink)
{
    CAudioFile* file = recorder(sink);
    const int r = file ? file->stopFile() : int(vkErrRange);
    if (sink == sinkAmbisonics)
        mAmbiTake.store(false, std::memory_order_release);
    return r;
}

std::int32_t CAudioGraph::takePosition(int sink) const
{
    const CAudioFile* file = recorder(sink);
    return file ? file->position() : 0;
}

QString CAudioGraph::takeError(int sink) const
{
    const CAudioFile* file = recorder(sink);
    return file ? file->writeError() : QString();
}

bool CAudioGraph::takeOverrun(int sink) const
{
    const CAudioFile* file = recorder(sink);
    return file && file->overrun();
}

// ---- gains and levels ----

void CAudioGraph::setBeamGain(int beam, float gain) { mBeamVolume->setChannelVolume(beam, gain); }
void CAudioGraph::setBeamMute(int beam, bool mute) { mBeamVolume->setMute(beam, mute); }
void CAudioGraph::setBeamsGain(float gain) { mBeamVolume->setMasterVolume(gain); }
void CAudioGraph::setInputGain(float gain) { mInputVolume->setMasterVolume(gain); }
void CAudioGraph::setInputMute(bool mute) { mInputVolume->setMute(-1, mute); }
float CAudioGraph::inputChannelGain(int channel) const { return mInputVolume->gain(channel); }
void CAudioGraph::setMonitorGain(float gain) { mMonitorVolume->setMasterVolume(gain); }

int CAudioGraph::takeLevels(int bus, float* peaks, float* envelopes, int count)
{
    switch (bus) {
    case levelInput: return mInputLevel->takeLevels(peaks, envelopes, count);
    case levelOutput: return mOutputLevel->takeLevels(peaks, envelopes, count);
    default: return 0;
    }
}

float CAudioGraph::levelReleaseTime() const { return mOutputLevel->releaseTime(); }

// ---- the engine read back ----

float CAudioGraph::beamTheta(int beam) const
{
    const CMbf* mbf = mZirc->engine()->mbf(beam);
    return mbf ? mbf->thetaDegrees() : 0.0f;
}

float CAudioGraph::beamPhi(int beam) const
{
    const CMbf* mbf = mZirc->engine()->mbf(beam);
    return mbf ? mbf->phiDegrees() : 0.0f;
}

void CAudioGraph::setModeTap(CKorvane::ModeTap* tap) { mZirc->engine()->setModeTap(tap); }

const vkAudioBuffer* CAudioGraph::stageOutput(int index) const
{
    return index >= 0 && index < stageCount ? mStageOut[index].get() : nullptr;
}

// ---- lifecycle ----

int CAudioGraph::start()
{
    for (vkAudioClass* s : mStages)
        if (const int r = s->start(); r != vkOk)
            return r;
    mStarted = true;
    return vkOk;
}

int CAudioGraph::stop()
{
    mStarted = false;
    int result = vkOk;
    for (vkAudioClass* s : mStages)
        if ((result = s->stop()) != vkOk)
            break;
    for (const auto& b : mStageOut)
        if (b)
            b->clear();
    return result;
}

void CAudioGraph::reset()
{
    for (vkAudioClass* s : mStages)
        s->reset();
}

// ---- the block ----

int CAudioGraph::process(float** in, float** out, int frames)
{
    if (!mReady)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mInFormat.frameLength())
        return vkErrFormat;
    const int r = processInput(in, frames);
    for (int ch = 0; ch < mNumInputs; ++ch)
        ippsAddC_32f_I(kAntiDenormal, mInputBus->channel(ch), frames);
    if (r != vkOk)
        return r;
    if (mProcessingMode == processingBeamforming) {
        pointBeamsAt(out);
        if (const int b = processBeams(frames); b != vkOk)
            return b;
        if (const int a = processAmbisonics(frames); a != vkOk)
            return a;
    }
    if (const int o = processOutput(frames); o != vkOk)
        return o;
    deliver(out, frames);
    return processMonitor(out, frames);
}

// Live: input volume, then the recorder of the array signal before the offset is added.
// File: the player alone; the driver's input is not read.
int CAudioGraph::processInput(float** in, int frames)
{
    if (mInputMode == inputFile)
        return mFilePlayer->process(mStageIn[stageFilePlayer]->data(), mStageOut[stageFilePlayer]->data(), frames);
    if (const int r = mInputVolume->process(in, mStageOut[stageInputVolume]->data(), frames); r != vkOk)
        return r;
    return mArrayRecorder->process(mStageIn[stageArrayRecorder]->data(), mStageOut[stageArrayRecorder]->data(),
                                   frames);
}

// Beams that reach the driver.
int CAudioGraph::deliveredBeams() const { return std::min(mOutFormat.channels(), mNumBeams); }

// The beams that reach the driver are made in the driver's outputs themselves, the others
// in the beamformer's own buffer: the output bus points at each for this block, and no
// copy follows. An output the driver leaves out (a null channel) gets nothing.
void CAudioGraph::pointBeamsAt(float** out)
{
    float** beams = mOutputBus->data();
    const int direct = deliveredBeams();
    for (int i = 0; i < mMaxBeams; ++i)
        beams[i] = i < direct && out[i] ? out[i] : mStageOut[stageBeamformer]->channel(i);
}

int CAudioGraph::processBeams(int frames)
{
    float** beams = mOutputBus->data();
    if (const int r = mInputLevel->process(mInputBus->data(), mStageOut[stageInputLevel]->data(), frames); r != vkOk)
        return r;
    if (const int r = mZirc->process(mInputBus->data(), beams, frames); r != vkOk)
        return r;
    const int r = mBeamVolume->process(beams, beams, frames);
    return r != vkOk ? r : processHighpass(frames);
}

// Set 0 passes every sample through, and two samples under it leave the cascade with no
// history (its state holds only b1, b2, a1 and a2 terms, all 0). From then on the stage,
// which works in place, would leave every sample as it is, until another set comes.
int CAudioGraph::processHighpass(int frames)
{
    const int index = mHighpassIndex.load(std::memory_order_acquire);
    if (index == 0 && mPassThroughFrames >= 2)
        return vkOk;
    mPassThroughFrames = index == 0 ? mPassThroughFrames + frames : 0;
    float** beams = mOutputBus->data();
    return mHighpass->process(beams, beams, frames);
}

int CAudioGraph::processOutput(int frames)
{
    if (const int r = mOutputLevel->process(mOutputBus->data(), mStageOut[stageOutputLevel]->data(), frames);
        r != vkOk)
        return r;
    if (mProcessingMode == processingStraight)
        return vkOk;
    return mBeamRecorder->process(mOutputBus->data(), mStageOut[stageBeamRecorder]->data(), frames);
}

// Active beams to their outputs; outputs beyond the active beams get silence. Beamformed,
// the beams are there already; straight through, they are copied from the input bus.
void CAudioGraph::deliver(float** out, int frames)
{
    const int channels = mOutFormat.channels();
    const int beams = deliveredBeams();
    if (mProcessingMode == processingStraight)
        for (int i = 0; i < beams; ++i)
            ippsCopy_32f(mOutputBus->channel(i), out[i], frames);
    for (int i = beams; i < channels; ++i)
        ippsZero_32f(out[i], frames);
}

bool CAudioGraph::binauralMonitored() const
{
    return mMonitorEnabled.load(std::memory_order_acquire) && mNumMonitorOutputs.load(std::memory_order_acquire) > 0
        && (mMonitorRoute.load(std::memory_order_acquire) & kRouteBinaural);
}

// The encoder on the modes the engine has just made, then whoever uses its channels.
// A stage that skipped blocks starts again from cleared history, not from the sound of
// the last block it ran.
int CAudioGraph::processAmbisonics(int frames)
{
    const bool ears = mBinauralReader.load(std::memory_order_acquire) || binauralMonitored();
    const bool record = mAmbiTake.load(std::memory_order_acquire);
    const bool encode = ears || record || mAmbiReader.load(std::memory_order_acquire);
    if (!encode || !ears)
        mEarsIdle = true;
    if (!encode) {
        mAmbiIdle = true;
        return vkOk;
    }
    if (std::exchange(mAmbiIdle, false))
        mEncoder->reset();
    const CKorvane& engine = *mZirc->engine();
    float** modes = mStageIn[stageEncoder]->data();
    for (int m = 0; m < CAmbiEncoder::kModes; ++m)
        modes[m] = const_cast<float*>(engine.modes()[m]); // the encoder only reads them
    float** channels = mStageOut[stageEncoder]->data();
    if (const int r = mEncoder->process(modes, channels, frames); r != vkOk)
        return r;
    if (record)
        if (const int r = mAmbiRecorder->process(channels, mStageOut[stageAmbiRecorder]->data(), frames); r != vkOk)
            return r;
    if (!ears)
        return vkOk;
    if (std::exchange(mEarsIdle, false))
        mDecoder->reset();
    return mDecoder->process(channels, mStageOut[stageBinaural]->data(), frames);
}

// The monitor overwrites whatever the beams wrote to its outputs. Its channel is read
// into stage 9's own buffer first, so it may be one of those outputs. The binaural
// source puts the ears on the first two.
int CAudioGraph::processMonitor(float** out, int frames)
{
    if (!mMonitorEnabled.load(std::memory_order_acquire))
        return vkOk;
    const int route = mMonitorRoute.load(std::memory_order_acquire);
    float** taps = mStageIn[stageMonitorVolume]->data();
    if (route & kRouteBinaural) {
        for (int k = 0; k < kMaxMonitorOutputs; ++k)
            taps[k] = mStageOut[stageBinaural]->channel(k);
    } else {
        const vkAudioBuffer& bus = route & kRouteOutputBus ? *mOutputBus : *mInputBus;
        float* tap = bus.channel(route & ~kRouteOutputBus);
        for (int k = 0; k < kMaxMonitorOutputs; ++k)
            taps[k] = tap;
    }
    float** monitor = mStageOut[stageMonitorVolume]->data();
    const int r = mMonitorVolume->process(taps, monitor, frames);
    const int count = mNumMonitorOutputs.load(std::memory_order_acquire);
    for (int k = 0; k < count; ++k)
        ippsCopy_32f(monitor[k], out[mMonitorOutputs[k].load(std::memory_order_relaxed)], frames);
    return r;
}
