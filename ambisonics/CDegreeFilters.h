#pragma once
// A biquad cascade on each Ambisonics channel, the same for every channel of a degree,
// that can be faded in and out while running: a switch cross-fades between the plain and
// the filtered channels over kFadeFrames samples. Switched off and faded out, the filters
// rest (no cost); switched on again they start from silence under the fade. A degree
// without sections passes unfiltered.
//
// Thread contract: configure and reset on the control thread while audio is stopped;
// setEnabled at any time. process: audio thread: no allocation, no lock, no I/O.

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

struct IppsIIRState64f_32f;

class CDegreeFilters {
public:
    static constexpr int kFadeFrames = 1024;
    using Design = std::function<std::vector<double>(int degree)>;

    CDegreeFilters() = default;
    ~CDegreeFilters();
    CDegreeFilters(const CDegreeFilters&) = delete;
    CDegreeFilters& operator=(const CDegreeFilters&) = delete;

    // Filters for `channels` ACN channels from design(degree). 0, or 7 when memory is
    // short or a design is refused.
    int configure(int channels, int blockLength, const Design& design);
    // Clears the histories; a fade in progress ends where it was heading.
    void reset();
    void setEnabled(bool on) { mEnabled.store(on, std::memory_order_relaxed); }
    bool enabled() const { return mEnabled.load(std::memory_order_relaxed); }
    // Filters the channels in place, or fades towards or away from the filtered ones.
    void process(float** channels, int frames);

private:
    void release();

    std::atomic<bool> mEnabled{true};
    int mChannels = 0;
    int mMix = kFadeFrames; // 0 plain .. kFadeFrames filtered
    IppsIIRState64f_32f* mStates[16] = {};
    std::unique_ptr<float[]> mFiltered;
    std::unique_ptr<float[]> mFade; // share of the filtered signal, sample by sample
    std::unique_ptr<float[]> mKeep; // 1 - mFade
};
