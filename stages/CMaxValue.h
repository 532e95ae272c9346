#pragma once
// Level stage: per channel the highest absolute sample since the last read, and a
// ballistic envelope that rises to 96% of a step in 10 ms and falls by 20 dB in 1.7 s.
// It reads its input and writes no output. The meter reads it through readLevels, which
// takes the same short lock as process: one of the two locks the audio path knows.
//
// process: audio thread: no allocation, no I/O; holds mLock for one block.

#include "core/contract/vkAudioClass.h"

#include <memory>
#include <mutex>

class CMaxValue : public vkAudioClass {
public:
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
    void followEnvelope(int channel, int frames);

    float mReleaseTime = 0.7383f;
    float mAttackTime = 0.0031066746f;
    float mReleaseCoefficient = 1.0f;
    float mAttackCoefficient = 1.0f;
    std::unique_ptr<float[]> mPeak;
    std::unique_ptr<float[]> mEnvelope;
    float* mMagnitude = nullptr;
    int mChannels = 0;
    int mBlockLength = 0;
    std::mutex mLock;
};
