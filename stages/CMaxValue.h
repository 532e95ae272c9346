#pragma once
// Level stage: per channel the highest absolute sample since the last read, and a
// ballistic envelope that rises to 96% of a step in 10 ms and falls by 20 dB in 1.7 s.
// It reads its input and writes no output. The meter reads it through readLevels, which
// takes the same short lock as process: one of the two locks the audio path knows.
//
// The peaks and envelopes of up to laneCount channels run side by side in vector lanes:
// process loads four frames of their magnitudes at a time into registers, one vector per
// frame, and steps all of them per frame. Each lane does exactly the float operations of the
// one-channel recursion, in the same order, so the levels are the same to the bit. A NaN
// sample leaves the peak alone.
//
// process: audio thread: no allocation, no I/O; holds mLock for one block.

#include "core/contract/vkAudioClass.h"

#include <mutex>

class CMaxValue : public vkAudioClass {
public:
    // Channels whose envelopes step together.
    static constexpr int laneCount = 32;

    CMaxValue();
    ~CMaxValue() override;

    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override;
    void reset() override;
    int stop() override;

    // Copies count channels of peaks (then zeroes them) and of envelopes. Control thread.
    void readLevels(float* peaks, float* envelopes, int count);
    float releaseTime() const { return mReleaseTime; }

private:
    void computeCoefficients();
    void releaseBuffers();
    int allocateBuffers(int channels, int block);
    void followLevels(const float* const* in, int first, int frames);
    void settleEnvelopes();

    float mReleaseTime = 0.7383f;
    float mAttackTime = 0.0031066746f;
    float mReleaseCoefficient = 1.0f;
    float mAttackCoefficient = 1.0f;
    // Padded to whole groups of laneCount; the lanes beyond the channels stay 0.
    float* mPeak = nullptr;
    float* mEnvelope = nullptr;
    // A block of zeros: the samples of the lanes without a channel.
    float* mSilence = nullptr;
    int mChannels = 0;
    int mBlockLength = 0;
    std::mutex mLock;
};
