#pragma once
// Level stage: per channel the highest absolute sample since the last read, and a
// ballistic envelope that rises to 96% of a step in 10 ms and falls by 20 dB in 1.7 s.
// It reads its input and writes no output.
//
// Hand-over to the reader without a lock: after each block the audio thread raises, per
// channel, an atomic "maximum since the last read" to the block's peak (a compare-exchange
// that only a read in between can make it repeat) and stores the envelope (release). The
// reader takes the maximum by an atomic exchange with 0 and loads the envelope (acquire),
// so a slow or stalled reader never holds up a block, and no sample's peak is lost: one
// that arrives during a read counts towards the next.
//
// The peaks and envelopes of up to laneCount channels run side by side in vector lanes:
// process loads four frames of their magnitudes at a time into registers, one vector per
// frame, and steps all of them per frame. Each lane does exactly the float operations of the
// one-channel recursion, in the same order, so the levels are the same to the bit. A NaN
// sample leaves the peak alone.
//
// process: audio thread: no allocation, no lock, no I/O.

#include "core/contract/vkAudioClass.h"
#include "stages/vkLevelSource.h"

#include <atomic>
#include <memory>

class CMaxValue : public vkAudioClass, public vkLevelSource {
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

    // Takes the maximum since the last take and the envelope of the first count channels
    // (at most the configured ones) and gives how many it wrote. Any thread, also while
    // blocks run; never at the same time as setFormat.
    int takeLevels(float* peaks, float* envelopes, int count) override;
    float releaseTime() const override { return mReleaseTime; }

private:
    void computeCoefficients();
    void releaseBuffers();
    int allocateBuffers(int channels, int block);
    void followLevels(const float* const* in, int first, int frames);
    void settleEnvelopes();
    void publishLevels();

    float mReleaseTime = 0.7383f;
    float mAttackTime = 0.0031066746f;
    float mReleaseCoefficient = 1.0f;
    float mAttackCoefficient = 1.0f;
    // Audio thread only, padded to whole groups of laneCount; the lanes beyond the channels
    // stay 0. mPeak is the peak of the current block.
    float* mPeak = nullptr;
    float* mEnvelope = nullptr;
    // A block of zeros: the samples of the lanes without a channel.
    float* mSilence = nullptr;
    int mChannels = 0;
    int mBlockLength = 0;
    // What the reader sees, one per channel.
    std::unique_ptr<std::atomic<float>[]> mPeakSinceRead;
    std::unique_ptr<std::atomic<float>[]> mEnvelopeShown;
    // Set by reset: the audio thread clears its envelopes before the next block.
    std::atomic<bool> mClearRequested{false};
};
