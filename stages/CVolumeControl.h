#pragma once
// Volume stage: a master gain, one gain and one mute per channel, combined into one linear
// factor per channel. A change takes effect at the next block, as a step. It may run in
// place, and then a channel at a factor of exactly 1 costs nothing. The flag of a
// started object is never set, so setFormat is never refused: the caller keeps audio off
// during it.
//
// Setters run on the control thread; each stores one aligned 32-bit factor that process
// reads once per block. process: audio thread: no allocation, no lock, no I/O.

#include "core/contract/vkAudioClass.h"

#include <atomic>
#include <memory>

class CVolumeControl : public vkAudioClass {
public:
    enum Parameter { MasterVolume = 0, ChannelVolume = 1, Mute = 2 };

    CVolumeControl();
    ~CVolumeControl() override;

    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override;
    int stop() override;
    int start() override;
    int setChannelParameter(int channel, int id, const void* data, int count, int type) override;
    int getChannelParameter(int channel, int id, void* data, int count, int type) override;

    void setMasterVolume(float gain);
    // A negative channel stores nothing and recomputes all; one at or above the count
    // does nothing.
    void setChannelVolume(int channel, float gain);
    // A negative channel sets all; one at or above the count does nothing.
    void setMute(int channel, bool mute);

    float masterVolume() const { return mMasterVolume; }
    // The factor in force on a channel; 0 outside the channels.
    float gain(int channel) const;

private:
    void recompute(int channel);
    void recomputeAll();
    bool isChannel(int channel) const { return channel >= 0 && channel < mChannels; }

    std::unique_ptr<float[]> mChannelVolume;
    float mMasterVolume = 1.0f;
    std::unique_ptr<std::atomic<float>[]> mGain;
    std::unique_ptr<bool[]> mMute;
    int mChannels = 0;
};
