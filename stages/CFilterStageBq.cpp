#include "stages/CFilterStageBq.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <new>

namespace {
// Middle slot word: index of the array in the slot, plus a flag for "newer than the
// audio thread's".
constexpr int kIndexMask = 3;
constexpr int kFresh = 4;

void fillPassThrough(double* taps, int sections)
{
    for (int s = 0; s < sections; ++s) {
        double* t = taps + s * CFilterStageBq::kTapsPerSection;
        t[0] = 1.0;
        t[1] = t[2] = 0.0;
        t[3] = 1.0;
        t[4] = t[5] = 0.0;
    }
}
} // namespace

struct CFilterStageBq::Channel {
    ~Channel()
    {
        if (state)
            ippsIIRFree64f_32f(state);
    }

    int sections = 0;
    IppsIIRState64f_32f* state = nullptr;
    // Three tap arrays of 6 x sections doubles each, in one allocation.
    std::unique_ptr<double[]> storage;
    int controlIndex = 0;          // owned by the control thread
    int audioIndex = 1;            // owned by the audio thread
    std::atomic<int> middle{2};    // shared: index, plus kFresh when not yet applied

    double* taps(int index) const { return storage.get() + index * sections * kTapsPerSection; }
};

CFilterStageBq::CFilterStageBq() = default;
CFilterStageBq::~CFilterStageBq() = default;

void CFilterStageBq::releaseChannels()
{
    mChannels.reset();
    mChannelCount = 0;
}

int CFilterStageBq::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (in.channels() != out.channels() || !in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision()
        || !out.isSinglePrecision() || in.sampleRate() != out.sampleRate())
        return vkErrFormat;
    vkAudioClass::setFormat(in, out);
    releaseChannels();
    const int channels = std::max(in.channels(), 0);
    if (channels > 0) {
        mChannels.reset(new (std::nothrow) Channel[channels]);
        if (!mChannels)
            return vkErrOutOfMemory;
    }
    mChannelCount = channels;
    return vkOk;
}

int CFilterStageBq::setSections(const int* sections, int channels)
{
    if (mStarted)
        return vkErrStarted;
    if (channels != mChannelCount || (channels > 0 && !sections))
        return vkErrRange;
    const int most = channels > 0 ? std::max(0, *std::max_element(sections, sections + channels)) : 0;
    std::unique_ptr<double[]> scratch(new (std::nothrow) double[static_cast<std::size_t>(most) * kTapsPerSection]);
    if (!scratch)
        return vkErrOutOfMemory;
    fillPassThrough(scratch.get(), most);

    IppStatus status = ippStsNoErr;
    for (int ch = 0; ch < channels; ++ch) {
        Channel& c = mChannels[ch];
        if (c.state)
            ippsIIRFree64f_32f(c.state);
        c.state = nullptr;
        c.sections = 0;
        c.storage.reset();
        status = ippsIIRInitAlloc64f_BiQuad_32f(&c.state, scratch.get(), sections[ch], nullptr);
        if (status < 0) {
            c.state = nullptr;
            continue;
        }
        const std::size_t length = static_cast<std::size_t>(sections[ch]) * kTapsPerSection;
        c.storage.reset(new (std::nothrow) double[3 * length]);
        if (!c.storage) {
            ippsIIRFree64f_32f(c.state);
            c.state = nullptr;
            status = ippStsMemAllocErr;
            continue;
        }
        c.sections = sections[ch];
        for (int i = 0; i < 3; ++i)
            fillPassThrough(c.taps(i), c.sections);
        c.controlIndex = 0;
        c.audioIndex = 1;
        c.middle.store(2, std::memory_order_relaxed);
    }
    return status;
}

int CFilterStageBq::setTaps(int channel, const double* taps)
{
    if (channel < 0 || channel >= mChannelCount || !taps)
        return vkErrRange;
    Channel& c = mChannels[channel];
    if (c.sections == 0)
        return vkErrNotConfigured;
    ippsCopy_64f(taps, c.taps(c.controlIndex), c.sections * kTapsPerSection);
    // Publish the complete array; take back whichever the slot held. That one is either
    // an unapplied older set or the array the audio thread gave up: neither is read now.
    const int previous = c.middle.exchange(c.controlIndex | kFresh, std::memory_order_acq_rel);
    c.controlIndex = previous & kIndexMask;
    return vkOk;
}

int CFilterStageBq::sections(int channel) const
{
    return channel >= 0 && channel < mChannelCount ? mChannels[channel].sections : 0;
}

int CFilterStageBq::process(float** in, float** out, int frames)
{
    for (int ch = 0; ch < mChannelCount; ++ch) {
        Channel& c = mChannels[ch];
        if (!c.state) {
            if (in[ch] != out[ch])
                ippsCopy_32f(in[ch], out[ch], frames);
            continue;
        }
        if (c.middle.load(std::memory_order_relaxed) & kFresh) {
            const int fresh = c.middle.exchange(c.audioIndex, std::memory_order_acq_rel);
            c.audioIndex = fresh & kIndexMask;
            ippsIIRSetTaps64f_32f(c.taps(c.audioIndex), c.state);
        }
        ippsIIR64f_32f(in[ch], out[ch], frames, c.state);
    }
    return vkOk;
}

void CFilterStageBq::reset()
{
    for (int ch = 0; ch < mChannelCount; ++ch)
        if (mChannels[ch].state)
            ippsIIRSetDlyLine64f_32f(mChannels[ch].state, nullptr);
}

int CFilterStageBq::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}
