#pragma once
// A FIR filter whose taps change while audio runs without a click: a new filter is
// loaded into a spare bank, the shadow, runs there unheard on the same input until its
// history is full, and is then cross-faded in over five time constants of 50 ms. Filter
// and delay line together delay by filterDelay() samples whatever the filter's length.
// Every channel runs the same filter.
//
// Thread contract: process() runs on the audio thread; setFilter may be called from
// the control thread while it runs; everything else only while stopped.
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/vkxShadowFilterBanks.h"
#include "core/contract/vkAudioClass.h"

class vkxShadowFilter : public vkAudioClass {
public:
    static constexpr int kFadeTimeConstantMs = 50;

    // Results of setFilter beyond the shared codes.
    enum Result : int {
        kErrNoChannel = 101,      // the input has no channel
        kErrFilterTooLong = 102,  // longer than 2 trunc(filterDelay) + 1
    };

    vkxShadowFilter() = default;
    ~vkxShadowFilter() override;

    using vkAudioClass::process;
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    // With no filter loaded nothing is written to `out`.
    int process(float** in, float** out, int frames) override;
    // Clears the history of the filter in force; other banks stay as they are.
    void reset() override;
    int stop() override;
    // Settles at once: the newest filter is in force, with no fade.
    int start() override;

    // Sizes every bank for 2 trunc(delay) + 1 taps and empties all slots. 5 while
    // started, 8 for a negative delay, 7 when memory is short.
    int setFilterDelay(float delay);
    // Loads a filter (length 0: a plain delay of filterDelay()). The audio thread takes
    // it up at its next block: at once when none is in force, else after a warm-up as
    // long as the filter, by the cross-fade. 101 without an input channel, 102 when too
    // long, 8 for a negative length or missing taps, 7 when a bank could not be set; on
    // any refusal the filters in force stay.
    int setFilter(int length, const float* taps);

    float filterDelay() const { return mFilterDelay; }
    // Audio thread, or while stopped.
    vkxShadowFilterBanks::Transition transition() const { return mBanks.transition(); }
    bool hasPendingFilter() const { return mBanks.hasPending(); }

private:
    void releaseStorage();
    int allocateStorage(int blockLength);

    float mFilterDelay = 0.0f;
    int mChannelCount = 0;
    int mBlockLength = 0;
    bool mFirReady = false;  // every bank is sized for mFilterDelay

    // Per bank, one filter per channel.
    std::unique_ptr<vkxPaddedFir[]> mFilters[vkxShadowFilterBanks::kBankCount];
    vkxShadowFilterBanks mBanks;

    // Block buffers, carved out of one allocation: per channel the output of the
    // current and of the next bank, and one scratch buffer.
    vkIppsFloats mStorage;
    std::unique_ptr<float*[]> mBankOutput[2];
    float* mScratch = nullptr;
};
