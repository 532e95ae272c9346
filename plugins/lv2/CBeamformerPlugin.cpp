#include "plugins/lv2/CBeamformerPlugin.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ports = vk_lv2::beamformer;

namespace {

constexpr const char* kName = "Vantoria Beamformer";

} // namespace

std::unique_ptr<CBeamformerPlugin> CBeamformerPlugin::create(double rate, const char*, const LV2_Feature* const* features)
{
    const CLv2Host host(features);
    if (!(rate >= CAudioGraph::kMinSampleRate && rate <= CAudioGraph::kMaxSampleRate)) {
        host.error(kName, "sample rate %.0f Hz refused: the beamformer runs at %d to %d Hz", rate,
                   CAudioGraph::kMinSampleRate, CAudioGraph::kMaxSampleRate);
        return nullptr;
    }
    const int block = vk_lv2::blockLength(host.nominalBlockLength());
    std::unique_ptr<CBeamformerPlugin> plugin(new CBeamformerPlugin(host, block));
    if (!plugin->build(rate, block)) {
        host.error(kName, "the audio graph could not be built at %.0f Hz, block %d", rate, block);
        return nullptr;
    }
    return plugin;
}

CBeamformerPlugin::CBeamformerPlugin(const CLv2Host& host, int blockLength)
    : mHost(host)
{
    mBlocks.configure(vk_lv2::kCapsules, kBeams, blockLength);
}

// Live input from the host's buffers, beamforming, every beam running: the renderer's
// graph with the host in place of the file.
bool CBeamformerPlugin::build(double rate, int blockLength)
{
    mSession.setInputMode(CAudioGraph::inputLive);
    mSession.setProcessingMode(CAudioGraph::processingBeamforming);
    mSession.setNumBeams(kBeams);
    const float r = float(rate);
    if (mSession.build(vkAudioInterface::timeDomain(vk_lv2::kCapsules, r, blockLength),
                       vkAudioInterface::timeDomain(kBeams, r, blockLength))
        != vkOk)
        return false;
    warmUp();
    return true;
}

// One block of silence through the whole graph, then a stop that clears every history:
// the memory the graph reserved is touched here, not in the host's first audio cycle.
void CBeamformerPlugin::warmUp()
{
    vkAudioClass* graph = mSession.processor();
    graph->start();
    mBlocks.run(mInputs.data(), mOutputs.data(), mBlocks.blockLength(),
                [graph, this](float** in, float** out) { graph->process(in, out, mBlocks.blockLength()); });
    graph->stop();
    mBlocks.clear();
}

void CBeamformerPlugin::connect(uint32_t port, void* data)
{
    const int p = int(port);
    if (p >= ports::kFirstInput && p < ports::kFirstInput + vk_lv2::kCapsules)
        mInputs[std::size_t(p - ports::kFirstInput)] = static_cast<const float*>(data);
    else if (p >= ports::kFirstOutput && p < ports::kFirstOutput + kBeams)
        mOutputs[std::size_t(p - ports::kFirstOutput)] = static_cast<float*>(data);
    else if (p == ports::kLatency)
        mLatencyPort = static_cast<float*>(data);
    else if (p < ports::kPortCount)
        mControls[std::size_t(p)] = static_cast<const float*>(data);
}

// Stops the graph (its histories clear) and starts from silence; the next run() sets the
// controls and starts it again.
void CBeamformerPlugin::activate()
{
    if (mStarted)
        mSession.processor()->stop();
    mStarted = false;
    mBlocks.clear();
}

void CBeamformerPlugin::deactivate() { activate(); }

float CBeamformerPlugin::control(int port, float fallback) const
{
    const float* value = mControls[std::size_t(port)];
    return value && std::isfinite(*value) ? *value : fallback;
}

// A beam's control values, clamped into their ranges.
CBeamformerPlugin::Beam CBeamformerPlugin::readBeam(int beam) const
{
    const auto value = [this, beam](int which, float fallback) {
        return control(ports::beamControl(beam, which), fallback);
    };
    Beam b;
    b.azimuth = std::clamp(value(ports::kAzimuth, beam * ports::kDefaultAzimuthStep), 0.0f, ports::kMaxAzimuth);
    b.polar = std::clamp(value(ports::kPolar, ports::kDefaultPolar), 0.0f, ports::kMaxPolar);
    b.pattern = mChoices.pattern(value(ports::kPattern, 0.0f));
    b.parameter = mChoices.parameter(b.pattern, value(ports::kWng, float(mChoices.defaultWng())));
    b.gainDb = std::clamp(value(ports::kGain, 0.0f), ports::kMinGainDb, ports::kMaxGainDb);
    b.mute = value(ports::kMute, 0.0f) > 0.5f;
    return b;
}

// Passes every control that changed (every control when `all`) to the session.
void CBeamformerPlugin::applyControls(bool all)
{
    for (int beam = 0; beam < kBeams; ++beam)
        applyBeam(beam, readBeam(beam), all);
    const int highpass = std::clamp(int(std::lround(control(ports::kHighpass, 0.0f))), 0,
                                    mSession.graph()->highpassCount() - 1);
    if (all || highpass != mHighpass) {
        mSession.setHighpass(highpass);
        mHighpass = highpass;
    }
}

void CBeamformerPlugin::applyBeam(int beam, const Beam& wanted, bool all)
{
    Beam& now = mBeams[std::size_t(beam)];
    if (all || wanted.pattern != now.pattern || wanted.parameter != now.parameter) {
        const PatternRequest request{beam, wanted.pattern, wanted.parameter};
        const LV2_Worker_Schedule* worker = mHost.worker();
        // Before the graph starts, loads are in force at once; while it runs the worker
        // loads them, and a full queue leaves the change for the next run().
        const bool direct = all || !worker;
        if (direct)
            work(&request, sizeof request);
        if (direct || worker->schedule_work(worker->handle, sizeof request, &request) == LV2_WORKER_SUCCESS) {
            now.pattern = wanted.pattern;
            now.parameter = wanted.parameter;
        }
    }
    if (all || wanted.polar != now.polar) {
        mSession.setTheta(beam, wanted.polar);
        now.polar = wanted.polar;
    }
    if (all || wanted.azimuth != now.azimuth) {
        mSession.setPhi(beam, wanted.azimuth);
        now.azimuth = wanted.azimuth;
    }
    if (all || wanted.gainDb != now.gainDb) {
        mSession.setBeamGain(beam, float(std::pow(10.0, 0.05 * double(wanted.gainDb))));
        now.gainDb = wanted.gainDb;
    }
    if (all || wanted.mute != now.mute) {
        mSession.setBeamMute(beam, wanted.mute);
        now.mute = wanted.mute;
    }
}

const void* CBeamformerPlugin::extensionData(const char* uri)
{
    static const LV2_Worker_Interface worker = {
        [](LV2_Handle h, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle, uint32_t size, const void* data) {
            return static_cast<CBeamformerPlugin*>(h)->work(data, size);
        },
        [](LV2_Handle, uint32_t, const void*) { return LV2_WORKER_SUCCESS; },
        nullptr,
    };
    return std::strcmp(uri, LV2_WORKER__interface) == 0 ? &worker : nullptr;
}

LV2_Worker_Status CBeamformerPlugin::work(const void* data, uint32_t size)
{
    if (size != sizeof(PatternRequest))
        return LV2_WORKER_ERR_UNKNOWN;
    const auto* request = static_cast<const PatternRequest*>(data);
    mSession.setPattern(request->beam, request->pattern, request->parameter);
    return LV2_WORKER_SUCCESS;
}

void CBeamformerPlugin::run(uint32_t frames)
{
    if (mLatencyPort)
        *mLatencyPort = float(latency());
    applyControls(!mStarted);
    if (!mStarted) {
        mSession.processor()->start();
        mStarted = true;
    }
    vkAudioClass* graph = mSession.processor();
    const int block = mBlocks.blockLength();
    mBlocks.run(mInputs.data(), mOutputs.data(), int(frames), [graph, block](float** in, float** out) {
        if (graph->process(in, out, block) != vkOk)
            for (int b = 0; b < kBeams; ++b)
                std::fill(out[b], out[b] + block, 0.0f);
    });
}
