#include "stages/CVolumeControl.h"

#include "core/primitives/ipps.h"

#include <new>

namespace {
constexpr int kParameterCount = 3;
constexpr vkParameterName kNames[kParameterCount] = {"masterVolume", "channelVolume", "mute"};
constexpr int kSizes[kParameterCount] = {1, 1, 1};
constexpr int kTypes[kParameterCount] = {vkTypeFloat, vkTypeFloat, vkTypeBool};
} // namespace

CVolumeControl::CVolumeControl()
{
    setChannelParameterTable(kNames, kSizes, kTypes, kParameterCount);
}

CVolumeControl::~CVolumeControl() = default;

int CVolumeControl::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    vkAudioClass::setFormat(in, out);
    mChannelVolume.reset();
    mGain.reset();
    mMute.reset();
    mChannels = 0;
    const int channels = in.channels();
    if (channels <= 0)
        return vkOk;
    mChannelVolume.reset(new (std::nothrow) float[channels]);
    mGain.reset(new (std::nothrow) std::atomic<float>[channels]);
    mMute.reset(new (std::nothrow) bool[channels]);
    if (!mChannelVolume || !mGain || !mMute)
        return vkErrOutOfMemory;
    mChannels = channels;
    for (int ch = 0; ch < channels; ++ch) {
        mChannelVolume[ch] = 1.0f;
        mMute[ch] = false;
    }
    recomputeAll();
    return vkOk;
}

// Error statuses are negative, so their OR is non-zero as soon as any channel fails.
// In place, a factor of exactly 1 leaves the channel alone: x * 1 is x, bit for bit, for
// every float the chain carries (no flush of denormals is set anywhere).
int CVolumeControl::process(float** in, float** out, int frames)
{
    int status = ippStsNoErr;
    for (int ch = 0; ch < mChannels; ++ch) {
        const float gain = mGain[ch].load(std::memory_order_relaxed);
        if (gain != 1.0f || in[ch] != out[ch])
            status |= ippsMulC_32f(in[ch], gain, out[ch], frames);
    }
    return status;
}

int CVolumeControl::stop() { return vkOk; }
int CVolumeControl::start() { return vkOk; }

void CVolumeControl::recompute(int channel)
{
    const float g = mMute[channel] ? 0.0f : mChannelVolume[channel] * mMasterVolume;
    mGain[channel].store(g, std::memory_order_relaxed);
}

void CVolumeControl::recomputeAll()
{
    for (int ch = 0; ch < mChannels; ++ch)
        recompute(ch);
}

void CVolumeControl::setMasterVolume(float gain)
{
    mMasterVolume = gain;
    recomputeAll();
}

void CVolumeControl::setChannelVolume(int channel, float gain)
{
    if (channel < 0) {
        recomputeAll();
    } else if (channel < mChannels) {
        mChannelVolume[channel] = gain;
        recompute(channel);
    }
}

void CVolumeControl::setMute(int channel, bool mute)
{
    if (channel < 0) {
        for (int ch = 0; ch < mChannels; ++ch)
            mMute[ch] = mute;
        recomputeAll();
    } else if (channel < mChannels) {
        mMute[channel] = mute;
        recompute(channel);
    }
}

float CVolumeControl::gain(int channel) const
{
    return isChannel(channel) ? mGain[channel].load(std::memory_order_relaxed) : 0.0f;
}

int CVolumeControl::setChannelParameter(int channel, int id, const void* data, int count, int type)
{
    if (id < 0 || id >= kParameterCount)
        return vkErrParameterId;
    // Wide enough for any of the three values.
    union {
        float gain;
        unsigned char mute;
    } value{};
    const int result = copyParameter(data, id, &value, count, type, true);
    if (result != vkOk)
        return result;
    switch (id) {
    case MasterVolume:
        setMasterVolume(value.gain);
        break;
    case ChannelVolume:
        setChannelVolume(channel, value.gain);
        break;
    default:
        setMute(channel, value.mute != 0);
        break;
    }
    return vkOk;
}

int CVolumeControl::getChannelParameter(int channel, int id, void* data, int count, int type)
{
    if (id < 0 || id >= kParameterCount)
        return vkErrParameterId;
    if (id != MasterVolume && !isChannel(channel))
        return vkErrChannel;
    switch (id) {
    case MasterVolume:
        return copyParameter(&mMasterVolume, id, data, count, type, true);
    case ChannelVolume:
        return copyParameter(&mChannelVolume[channel], id, data, count, type, true);
    default:
        return copyParameter(&mMute[channel], id, data, count, type, true);
    }
}
