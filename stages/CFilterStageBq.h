#pragma once
// A cascade of biquad sections per channel: 64-bit coefficients and history, 32-bit
// samples. Coefficients may be replaced while audio runs; the new set takes effect at the
// next block boundary and the history is kept, so the corner moves without a reset.
//
// Hand-over of coefficients: each channel owns three complete tap arrays. The control
// thread writes into the one it owns and swaps it with the shared middle slot by one
// atomic exchange (release); the audio thread swaps its own array with the middle slot
// when that is marked new (acquire). Neither side ever touches an array the other owns,
// so a half-written set cannot be applied, and nothing is allocated or freed on a change.
//
// process: audio thread: no allocation, no lock, no I/O.

#include "core/contract/vkAudioClass.h"

#include <atomic>
#include <memory>

struct IppsIIRState64f_32f;

class CFilterStageBq : public vkAudioClass {
public:
    static constexpr int kTapsPerSection = 6;

    CFilterStageBq();
    ~CFilterStageBq() override;

    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override;
    void reset() override;
    int stop() override;

    // Creates the filters, sections[ch] biquads on channel ch, all passing through.
    // Not while started. Gives the library status of the last channel; a channel the
    // library refuses (0 sections, for one) has no filter and copies.
    int setSections(const int* sections, int channels);
    // Replaces one channel's coefficients: 6 x sections doubles, b0 b1 b2 a0 a1 a2 per
    // section. Control thread, also while audio runs.
    int setTaps(int channel, const double* taps);

    int sections(int channel) const;

private:
    struct Channel;
    void releaseChannels();

    std::unique_ptr<Channel[]> mChannels;
    int mChannelCount = 0;
};
