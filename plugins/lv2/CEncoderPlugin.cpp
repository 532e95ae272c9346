#include "plugins/lv2/CEncoderPlugin.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ports = vk_lv2::encoder;

namespace {

constexpr const char* kName = "Vantoria Ambisonics Encoder";

} // namespace

std::unique_ptr<CEncoderPlugin> CEncoderPlugin::create(double rate, const char*, const LV2_Feature* const* features)
{
    const CLv2Host host(features);
    if (!(rate >= CAudioGraph::kMinSampleRate && rate <= CAudioGraph::kMaxSampleRate)) {
        host.error(kName, "sample rate %.0f Hz refused: the encoder runs at %d to %d Hz", rate,
                   CAudioGraph::kMinSampleRate, CAudioGraph::kMaxSampleRate);
        return nullptr;
    }
    const int block = vk_lv2::blockLength(host.nominalBlockLength());
    std::unique_ptr<CEncoderPlugin> plugin(new CEncoderPlugin(host));
    if (!plugin->build(rate, block)) {
        host.error(kName, "the audio graph could not be built at %.0f Hz, block %d", rate, block);
        return nullptr;
    }
    return plugin;
}

CEncoderPlugin::CEncoderPlugin(const CLv2Host& host)
    : mHost(host)
{
}

// Live input, beamforming with no beams: the engine makes its modes, the encoder reads
// them, and a reader outside the graph (this plug-in) takes the channels every block.
bool CEncoderPlugin::build(double rate, int blockLength)
{
    mBlocks.configure(vk_lv2::kCapsules, vk_lv2::kAmbixChannels, blockLength);
    mUnusedStorage.assign(std::size_t(blockLength), 0.0f);
    mUnused[0] = mUnusedStorage.data();
    mSession.setInputMode(CAudioGraph::inputLive);
    mSession.setProcessingMode(CAudioGraph::processingBeamforming);
    mSession.setNumBeams(0);
    mSession.setAmbisonicsFormat(kAmbiMaxOrder, AmbiNorm::kSn3d);
    mSession.setAmbisonicsReader(true);
    const float r = float(rate);
    if (mSession.build(vkAudioInterface::timeDomain(vk_lv2::kCapsules, r, blockLength),
                       vkAudioInterface::timeDomain(1, r, blockLength))
        != vkOk)
        return false;
    // One block of silence touches the graph's memory here rather than in the host's
    // first audio cycle; the stop clears every history again.
    vkAudioClass* graph = mSession.processor();
    graph->start();
    mBlocks.run(mInputs.data(), mOutputs.data(), blockLength, [this](float** in, float** out) { processBlock(in, out); });
    graph->stop();
    mBlocks.clear();
    return true;
}

void CEncoderPlugin::processBlock(float** in, float** out)
{
    const int block = mBlocks.blockLength();
    const vkAudioBuffer* bus = mSession.graph()->ambisonicsBus();
    if (mSession.processor()->process(in, mUnused, block) != vkOk || !bus) {
        for (int c = 0; c < vk_lv2::kAmbixChannels; ++c)
            std::fill(out[c], out[c] + block, 0.0f);
        return;
    }
    for (int c = 0; c < vk_lv2::kAmbixChannels; ++c)
        std::memcpy(out[c], bus->channel(c), std::size_t(block) * sizeof(float));
}

void CEncoderPlugin::connect(uint32_t port, void* data)
{
    const int p = int(port);
    if (p >= ports::kFirstInput && p < ports::kFirstInput + vk_lv2::kCapsules)
        mInputs[std::size_t(p - ports::kFirstInput)] = static_cast<const float*>(data);
    else if (p >= ports::kFirstOutput && p < ports::kFirstOutput + vk_lv2::kAmbixChannels)
        mOutputs[std::size_t(p - ports::kFirstOutput)] = static_cast<float*>(data);
    else if (p == ports::kLatency)
        mLatencyPort = static_cast<float*>(data);
    else
        mOrientation.connect(p, ports::kYaw, data);
}

// Outside the audio thread: the mounting the controls hold now is in force from the start.
void CEncoderPlugin::activate()
{
    if (mStarted)
        mSession.processor()->stop();
    mStarted = false;
    mBlocks.clear();
    mMounting = wantedOrientation();
    mSession.setMountingOrientation(mMounting);
}

void CEncoderPlugin::deactivate()
{
    if (mStarted)
        mSession.processor()->stop();
    mStarted = false;
}

CGraphSession::Orientation CEncoderPlugin::wantedOrientation() const
{
    return {mOrientation.value(0), mOrientation.value(1), mOrientation.value(2)};
}

LV2_Worker_Status CEncoderPlugin::work(const void* data, uint32_t size)
{
    if (size != sizeof(CGraphSession::Orientation))
        return LV2_WORKER_ERR_UNKNOWN;
    CGraphSession::Orientation mounting;
    std::memcpy(&mounting, data, sizeof mounting);
    mSession.setMountingOrientation(mounting);
    return LV2_WORKER_SUCCESS;
}

const void* CEncoderPlugin::extensionData(const char* uri)
{
    static const LV2_Worker_Interface worker = {
        [](LV2_Handle h, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle, uint32_t size, const void* data) {
            return static_cast<CEncoderPlugin*>(h)->work(data, size);
        },
        [](LV2_Handle, uint32_t, const void*) { return LV2_WORKER_SUCCESS; },
        nullptr,
    };
    return std::strcmp(uri, LV2_WORKER__interface) == 0 ? &worker : nullptr;
}

void CEncoderPlugin::run(uint32_t frames)
{
    if (mLatencyPort)
        *mLatencyPort = float(latency());
    const CGraphSession::Orientation wanted = wantedOrientation();
    const LV2_Worker_Schedule* worker = mHost.worker();
    if (worker && (wanted.yaw != mMounting.yaw || wanted.pitch != mMounting.pitch || wanted.roll != mMounting.roll)
        && worker->schedule_work(worker->handle, sizeof wanted, &wanted) == LV2_WORKER_SUCCESS)
        mMounting = wanted;
    if (!mStarted) {
        mSession.processor()->start();
        mStarted = true;
    }
    mBlocks.run(mInputs.data(), mOutputs.data(), int(frames), [this](float** in, float** out) { processBlock(in, out); });
}
