#include "session/CGraphSession.h"

#include "binaural/CBinauralFilters.h"
#include "binaural/CBinauralDecoder.h"

#include <cmath>

namespace {

bool finite(const CGraphSession::Orientation& o)
{
    return std::isfinite(o.yaw) && std::isfinite(o.pitch) && std::isfinite(o.roll);
}

CHeadOrientation headOf(const CGraphSession::Orientation& o) { return {o.yaw, o.pitch, o.roll}; }

} // namespace

CGraphSession::CGraphSession() { mCalibration.fill(1.0f); }

CGraphSession::~CGraphSession()
{
    if (mGraph)
        mGraph->setModeTap(nullptr);
}

// A tap belongs to the graph it was attached to (it was made for its rate and block):
// the new graph starts without one.
int CGraphSession::build(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mGraph)
        mGraph->setModeTap(nullptr);
    mTap = nullptr;
    mGraph = std::make_unique<CAudioGraph>();
    mResult = mGraph->configure(in, out);
    if (mResult == vkOk)
        applyAll();
    return mResult;
}

// The order the graph needs: wiring first (modes, beam count), then the values.
void CGraphSession::applyAll()
{
    mGraph->setInputMode(mInputMode);
    mGraph->setProcessingMode(mProcessingMode);
    mGraph->setNumBeams(mNumBeams);
    mGraph->setMonitorOutputs(mMonitorOutputs.data(), mNumMonitorOutputs);
    for (int b = 0; b < kMaxBeams; ++b)
        applyBeam(b);
    mGraph->setBeamsGain(mBeamsGain);
    mGraph->setInputChannelGains(mCalibration.data(), kCapsules);
    mGraph->setInputGain(mInputGain);
    mGraph->setInputMute(mInputMute);
    mGraph->setHighpass(mHighpass);
    mGraph->setMonitorSource(mMonitorSource, mMonitorChannel);
    mGraph->setMonitorGain(mMonitorGain);
    mGraph->setMonitorEnabled(mMonitorEnabled);
    mGraph->setModeTap(mTap);
    mGraph->setAmbisonicsFormat(mAmbiOrder, mAmbiNorm);
    mGraph->setMountingOrientation(mMounting.yaw, mMounting.pitch, mMounting.roll);
    mGraph->setAboveAliasing(mAboveAliasing);
    mGraph->setHeadOrientation(headOf(mHead));
    if (mFilters && !hrtfNeedsDesign())
        mGraph->setBinauralFilters(*mFilters);
    mGraph->setAmbisonicsReader(mAmbiReader);
    mGraph->setBinauralReader(mBinauralReader);
}

// Pattern before direction: the beamformer takes a beam up in that order.
void CGraphSession::applyBeam(int beam)
{
    const Beam& v = mBeams[static_cast<std::size_t>(beam)];
    mGraph->setPattern(beam, v.pattern);
    mGraph->setParameter(beam, v.parameter);
    mGraph->setTheta(beam, v.theta);
    mGraph->setPhi(beam, v.phi);
    mGraph->setBeamGain(beam, v.gain);
    mGraph->setBeamMute(beam, v.mute);
}

// ---- commands

int CGraphSession::setInputMode(int mode)
{
    const int r = ready() ? mGraph->setInputMode(mode) : int(vkOk);
    if (r == vkOk)
        mInputMode = mode;
    return r;
}

int CGraphSession::setProcessingMode(int mode)
{
    const int r = ready() ? mGraph->setProcessingMode(mode) : int(vkOk);
    if (r == vkOk)
        mProcessingMode = mode;
    return r;
}

int CGraphSession::setNumBeams(int count)
{
    const int r = ready() ? mGraph->setNumBeams(count) : int(vkOk);
    if (r == vkOk)
        mNumBeams = count < 0 ? 0 : count > kMaxBeams ? kMaxBeams : count;
    return r;
}

void CGraphSession::steer(int beam, float theta, float phi)
{
    setTheta(beam, theta);
    setPhi(beam, phi);
}

void CGraphSession::setTheta(int beam, float theta)
{
    if (!validBeam(beam))
        return;
    mBeams[static_cast<std::size_t>(beam)].theta = theta;
    if (ready())
        mGraph->setTheta(beam, theta);
}

void CGraphSession::setPhi(int beam, float phi)
{
    if (!validBeam(beam))
        return;
    mBeams[static_cast<std::size_t>(beam)].phi = phi;
    if (ready())
        mGraph->setPhi(beam, phi);
}

void CGraphSession::setPattern(int beam, int pattern, int parameter)
{
    if (!validBeam(beam))
        return;
    Beam& v = mBeams[static_cast<std::size_t>(beam)];
    v.pattern = pattern;
    v.parameter = parameter;
    if (ready()) {
        mGraph->setPattern(beam, pattern);
        mGraph->setParameter(beam, parameter);
    }
}

void CGraphSession::setBeamGain(int beam, float gain)
{
    if (!validBeam(beam))
        return;
    mBeams[static_cast<std::size_t>(beam)].gain = gain;
    if (ready())
        mGraph->setBeamGain(beam, gain);
}

void CGraphSession::setBeamMute(int beam, bool mute)
{
    if (!validBeam(beam))
        return;
    mBeams[static_cast<std::size_t>(beam)].mute = mute;
    if (ready())
        mGraph->setBeamMute(beam, mute);
}

void CGraphSession::setBeam(int beam, const Beam& values)
{
    if (!validBeam(beam))
        return;
    mBeams[static_cast<std::size_t>(beam)] = values;
    if (ready())
        applyBeam(beam);
}

void CGraphSession::setBeamsGain(float gain)
{
    mBeamsGain = gain;
    if (ready())
        mGraph->setBeamsGain(gain);
}

void CGraphSession::setInputGain(float gain)
{
    mInputGain = gain;
    if (ready())
        mGraph->setInputGain(gain);
}

void CGraphSession::setInputMute(bool mute)
{
    mInputMute = mute;
    if (ready())
        mGraph->setInputMute(mute);
}

void CGraphSession::setCalibration(const std::array<float, kCapsules>& gains)
{
    mCalibration = gains;
    if (ready())
        mGraph->setInputChannelGains(mCalibration.data(), kCapsules);
}

int CGraphSession::setHighpass(int index)
{
    const int r = ready() ? mGraph->setHighpass(index) : int(vkOk);
    if (r == vkOk)
        mHighpass = index;
    return r;
}

void CGraphSession::setMonitorSource(int source, int channel)
{
    mMonitorSource = source;
    mMonitorChannel = channel;
    if (ready())
        mGraph->setMonitorSource(source, channel);
}

void CGraphSession::setMonitorGain(float gain)
{
    mMonitorGain = gain;
    if (ready())
        mGraph->setMonitorGain(gain);
}

void CGraphSession::setMonitorEnabled(bool enabled)
{
    mMonitorEnabled = enabled;
    if (ready())
        mGraph->setMonitorEnabled(enabled);
}

int CGraphSession::setMonitorOutputs(const int* outputs, int count)
{
    if (count < 0 || count > CAudioGraph::kMaxMonitorOutputs || (count > 0 && !outputs))
        return vkErrRange;
    // Kept first: the outputs are often set for the graph about to be built.
    std::copy_n(outputs, count, mMonitorOutputs.begin());
    mNumMonitorOutputs = count;
    return ready() ? mGraph->setMonitorOutputs(outputs, count) : int(vkOk);
}

void CGraphSession::setModeTap(CKorvane::ModeTap* tap)
{
    mTap = tap;
    if (ready())
        mGraph->setModeTap(tap);
}

int CGraphSession::setAmbisonicsFormat(int order, AmbiNorm norm)
{
    if (order < 1 || order > kAmbiMaxOrder)
        return vkErrRange;
    const int r = ready() ? mGraph->setAmbisonicsFormat(order, norm) : int(vkOk);
    if (r == vkOk) {
        mAmbiOrder = order;
        mAmbiNorm = norm;
    }
    return r;
}

int CGraphSession::setMountingOrientation(const Orientation& mounting)
{
    if (!finite(mounting))
        return vkErrRange;
    mMounting = mounting;
    return ready() ? mGraph->setMountingOrientation(mounting.yaw, mounting.pitch, mounting.roll) : int(vkOk);
}

void CGraphSession::setAboveAliasing(bool on)
{
    mAboveAliasing = on;
    if (ready())
        mGraph->setAboveAliasing(on);
}

int CGraphSession::setHeadOrientation(const Orientation& head)
{
    if (!finite(head))
        return vkErrRange;
    mHead = head;
    return ready() ? mGraph->setHeadOrientation(headOf(head)) : int(vkOk);
}

int CGraphSession::setBinauralFilters(std::shared_ptr<const CBinauralFilters> filters, const std::string& path)
{
    if (!filters || filters->isEmpty())
        return vkErrRange;
    const int r = ready() ? mGraph->setBinauralFilters(*filters) : int(vkOk);
    if (r == vkOk) {
        mFilters = std::move(filters);
        mHrtfPath = path;
    }
    return r;
}

int CGraphSession::loadHrtf(const std::string& path, std::string& message)
{
    if (!ready())
        return vkErrNotConfigured;
    auto filters = std::make_shared<const CBinauralFilters>(
        CBinauralFilters::designFromSofa(path, mGraph->sampleRate(), CBinauralDecoder::kMaxTaps, message));
    return filters->isEmpty() ? int(CBinauralDecoder::kErrHrtf) : setBinauralFilters(std::move(filters), path);
}

bool CGraphSession::hrtfNeedsDesign() const
{
    return !mHrtfPath.empty() && ready() && (!mFilters || mFilters->sampleRate() != mGraph->sampleRate());
}

void CGraphSession::setAmbisonicsReader(bool on)
{
    mAmbiReader = on;
    if (ready())
        mGraph->setAmbisonicsReader(on);
}

void CGraphSession::setBinauralReader(bool on)
{
    mBinauralReader = on;
    if (ready())
        mGraph->setBinauralReader(on);
}

// ---- straight through

int CGraphSession::openInputFile(const QString& path)
{
    return ready() ? mGraph->openInputFile(path.toLocal8Bit().constData()) : int(vkErrNotConfigured);
}

int CGraphSession::startPlayback(bool useThread) { return ready() ? mGraph->startPlayback(useThread) : int(vkErrNotConfigured); }
int CGraphSession::pausePlayback() { return ready() ? mGraph->pausePlayback() : int(vkErrNotConfigured); }
int CGraphSession::stopPlayback() { return ready() ? mGraph->stopPlayback() : int(vkErrNotConfigured); }
int CGraphSession::seekPlayback(int frame) { return ready() ? mGraph->seekPlayback(frame) : int(vkErrNotConfigured); }
int CGraphSession::setPlaybackStart(int frame) { return ready() ? mGraph->setPlaybackStart(frame) : int(vkErrNotConfigured); }
std::int32_t CGraphSession::playbackPosition() const { return ready() ? mGraph->playbackPosition() : 0; }

int CGraphSession::openTake(int sink, const QString& path) { return ready() ? mGraph->openTake(sink, path) : int(vkErrNotConfigured); }
int CGraphSession::startTake(int sink, bool useThread) { return ready() ? mGraph->startTake(sink, useThread) : int(vkErrNotConfigured); }
int CGraphSession::stopTake(int sink) { return ready() ? mGraph->stopTake(sink) : int(vkErrNotConfigured); }
std::int32_t CGraphSession::takePosition(int sink) const { return ready() ? mGraph->takePosition(sink) : 0; }
QString CGraphSession::takeError(int sink) const { return ready() ? mGraph->takeError(sink) : QString(); }
bool CGraphSession::takeOverrun(int sink) const { return ready() && mGraph->takeOverrun(sink); }

int CGraphSession::takeLevels(int bus, float* peaks, float* envelopes, int count)
{
    return ready() ? mGraph->takeLevels(bus, peaks, envelopes, count) : 0;
}

void CGraphSession::checkFileQueues()
{
    if (ready())
        mGraph->checkFileQueues();
}
