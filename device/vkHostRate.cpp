// Block and rate adaptation: the processing object may run at a block length and a
// sample rate that the driver lacks. Re-blocking lives in the callback; here are the
// lengths, the ratio and the multi-rate filters.

#include "device/vkHost.h"

#include "device/vkHostState.h"
#include "device/vkRateFilters.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

// A stream rate that the driver lacks, reached from a driver rate by up / down.
struct Conversion {
    int streamRate;
    int driverRate;
    int up;
    int down;
};

constexpr Conversion kConversions[] = {
    {32000, 48000, 2, 3}, {24000, 48000, 1, 2}, {16000, 48000, 1, 3}, {12000, 48000, 1, 4},
    {8000, 48000, 1, 6},  {22050, 44100, 1, 2}, {11025, 44100, 1, 4},
};

const Conversion* findConversion(int streamRate)
{
    for (const Conversion& c : kConversions)
        if (c.streamRate == streamRate)
            return &c;
    return nullptr;
}

bool driverHas(double rate)
{
    const vkHostState& s = hostState();
    return s.mDriver && s.mDriver->canSampleRate(rate) == ASE_OK;
}

bool driverTakes(double rate)
{
    return driverHas(rate) && hostState().mDriver->setSampleRate(rate) == ASE_OK;
}

// The row of the filter table for a factor; -1 for none.
int filterRow(int factor)
{
    for (int row = 0; row < vkRateFilterRows; ++row)
        if (vkRateFilterFactor[row] == factor)
            return row;
    return -1;
}

void buildFilterSet(std::vector<IppsFIRState_32f*>& states, int channels, float gain, int up, int down,
                    const vkHostState& s)
{
    const int taps = vkRateFilterTaps[s.mFilterIndex];
    Ipp32f* scaled = ippsMalloc_32f(taps);
    ippsMulC_32f(vkRateFilterTable[s.mFilterIndex], gain, scaled, taps);
    states.assign(channels, nullptr);
    for (IppsFIRState_32f*& state : states)
        ippsFIRMRInitAlloc_32f(&state, scaled, taps, up, 0, down, 0, nullptr);
    ippsFree(scaled);
}

// mFilterRuns from mBlockLength; -3 when the block is no multiple of mRateUp.
int updateFilterRuns(vkHostState& s)
{
    if (s.mBlockLength % s.mRateUp != 0)
        return vkHostErrBlock;
    s.mFilterRuns = s.mBlockLength / s.mRateUp;
    return vkHostOk;
}

} // namespace

int hostUpdateLengths()
{
    vkHostState& s = hostState();
    s.mDeviceBlock = s.mBlockLength * s.mRateDown / s.mRateUp;
    s.mPrefill = s.mDriverBlock == s.mDeviceBlock ? 0 : std::max(0, std::min(s.mDriverBlock, s.mDeviceBlock) - 1);
    return updateFilterRuns(s);
}

double hostSampleRate()
{
    const vkHostState& s = hostState();
    ASIOSampleRate rate = 0.0;
    if (!s.mDriver || s.mDriver->getSampleRate(&rate) != ASE_OK)
        return 0.0;
    return rate * s.mRateUp / s.mRateDown;
}

int hostCanSampleRate(double rate)
{
    if (driverHas(rate))
        return 1;
    const Conversion* c = findConversion(static_cast<int>(rate));
    return c && driverHas(c->driverRate) ? 2 : 0;
}

int hostSetSampleRate(double rate)
{
    vkHostState& s = hostState();
    if (s.mRunning)
        return vkHostErrRunning;
    const int n = static_cast<int>(rate);
    double driverRate = n;
    if (driverTakes(rate)) {
        s.mRateUp = s.mRateDown = 1;
    } else {
        const Conversion* c = findConversion(n);
        if (!c || !driverTakes(c->driverRate))
            return vkHostErrRate;
        driverRate = c->driverRate;
        s.mRateUp = c->up;
        s.mRateDown = c->down;
    }
    // The device block follows at the reset: the open stream's buffers keep their size until then.
    if (updateFilterRuns(s) != vkHostOk)
        return vkHostErrBlock;
    const int factor = std::max(s.mRateUp, s.mRateDown);
    s.mFilterIndex = filterRow(factor);
    if (s.mFilterIndex < 0 && factor != 1)
        return vkHostErrRate;
    s.mDriverRate = driverRate;
    s.mSampleRate = rate;
    // Give the driver time to settle on its new clock before loading it again.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return hostResetDriver();
}

int hostSetBlockLength(int frames)
{
    vkHostState& s = hostState();
    if (s.mRunning)
        return vkHostErrRunning;
    if (frames < 1)
        return vkHostErrBlock;
    s.mBlockLength = frames;
    // The lengths go first: a reopened stream must not see those of the old block.
    const int lengths = hostUpdateLengths();
    const int result = s.mOpen ? hostOpen() : vkHostOk;
    return lengths != vkHostOk ? lengths : result;
}

void hostBuildFilters()
{
    vkHostState& s = hostState();
    buildFilterSet(s.mInFilter, s.mNumInputs, static_cast<float>(s.mRateUp), s.mRateUp, s.mRateDown, s);
    buildFilterSet(s.mOutFilter, s.mNumOutputs, static_cast<float>(s.mRateDown), s.mRateDown, s.mRateUp, s);
}

void hostFreeFilters()
{
    vkHostState& s = hostState();
    for (auto* states : {&s.mInFilter, &s.mOutFilter}) {
        for (IppsFIRState_32f* state : *states)
            ippsFIRFree_32f(state);
        states->clear();
    }
}

void hostClearFilters()
{
    vkHostState& s = hostState();
    for (auto* states : {&s.mInFilter, &s.mOutFilter})
        for (IppsFIRState_32f* state : *states)
            ippsFIRSetDlyLine_32f(state, nullptr);
}

void hostFilterIn()
{
    vkHostState& s = hostState();
    for (int i = 0; i < s.mNumInputs; ++i)
        ippsFIR_32f(s.mInDevice[i], s.mInFloat[i], s.mFilterRuns, s.mInFilter[i]);
}

void hostFilterOut()
{
    vkHostState& s = hostState();
    for (int i = 0; i < s.mNumOutputs; ++i)
        ippsFIR_32f(s.mOutFloat[i], s.mOutDevice[i], s.mFilterRuns, s.mOutFilter[i]);
}
