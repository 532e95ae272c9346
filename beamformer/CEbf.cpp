#include "beamformer/CEbf.h"

#include "beamformer/tables/EbfModeFilters.h"
#include "core/primitives/CDelayLine.h"

#include <new>

namespace {

// Modes of order n are k = n*n .. (n+1)*(n+1) - 1.
int orderOfMode(int k)
{
    return k < 1 ? 0 : k < 4 ? 1 : k < 9 ? 2 : 3;
}

int orderForChannels(int channels)
{
    switch (channels) {
    case 1: return 0;
    case 4: return 1;
    case 9: return 2;
    case 16: return 3;
    default: return -1;
    }
}

template <typename T>
bool allPresent(const T* const items[], int count)
{
    if (!items)
        return false;
    for (int i = 0; i < count; ++i)
        if (!items[i])
            return false;
    return true;
}

int resultOfStatus(IppStatus status)
{
    return status == ippStsMemAllocErr ? vkErrOutOfMemory : vkErrRange;
}

void freeRows(float* rows[CEbf::kMaxModes])
{
    for (int k = 0; k < CEbf::kMaxModes; ++k) {
        ippsFree(rows[k]);
        rows[k] = nullptr;
    }
}

void freeFir(IppsFIRState_32f* states[CEbf::kMaxModes], CDelayLine* delays[CEbf::kMaxModes])
{
    for (int k = 0; k < CEbf::kMaxModes; ++k) {
        delete delays[k];
        delays[k] = nullptr;
        if (states[k])
            ippsFIRFree_32f(states[k]);
        states[k] = nullptr;
    }
}

} // namespace

CEbf::~CEbf()
{
    freeFir(mModeFir, mModeDelay);
    freeRows(mModeWeights);
}

int CEbf::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    const int order = orderForChannels(out.channels());
    if (!in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision() || !out.isSinglePrecision()
        || in.sampleRate() != out.sampleRate() || !(in.sampleRate() > 0.0f) || in.frameLength() != out.frameLength()
        || in.frameLength() < 1 || in.channels() < 1 || order < 0)
        return vkErrFormat;
    mOrder = order;
    mNumModes = (order + 1) * (order + 1);
    return vkAudioClass::setFormat(in, out);
}

int CEbf::process(float** in, float** out, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    if (!in || !out || frames < 0 || frames > mInFormat.frameLength())
        return vkErrFormat;
    if (frames == 0)
        return vkOk;
    if (mWeightColumns != mInFormat.channels()) {
        // No matrix that fits these inputs: deliver silence rather than stale samples.
        for (int k = 0; k < mNumModes; ++k)
            ippsZero_32f(out[k], frames);
        return vkErrNotConfigured;
    }
    mixModes(in, out, frames);
    runFilters(out, frames);
    return vkOk;
}

void CEbf::mixModes(float** in, float** out, int frames) const
{
    // One capsule at a time over the whole block: the first writes, the others add.
    for (int k = 0; k < mNumModes; ++k) {
        const float* w = mModeWeights[k];
        ippsMulC_32f(in[0], w[0], out[k], frames);
        for (int s = 1; s < mWeightColumns; ++s)
            ippsAddProductC_32f(in[s], w[s], out[k], frames);
    }
}

void CEbf::runFilters(float** out, int frames)
{
    const int mode = mFilterMode.load(std::memory_order_acquire);
    if (mode == kFilterNone)
        return;
    mModeIir.process(out, mNumModes, frames);
    if (mode != kFilterBiquadsAndFir)
        return;
    for (int k = 0; k < mNumModes; ++k) {
        if (!mModeFir[k])
            continue;
        ippsFIR_32f_I(out[k], frames, mModeFir[k]);
        mModeDelay[k]->process(out[k], out[k], frames);
    }
}

void CEbf::reset()
{
    mModeIir.clearHistory();
    for (int k = 0; k < kMaxModes; ++k) {
        if (mModeFir[k])
            ippsFIRSetDlyLine_32f(mModeFir[k], nullptr);
        if (mModeDelay[k])
            mModeDelay[k]->setDelay(mModeDelayLength[k]); // clears; the ring never grows here
    }
}

int CEbf::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

int CEbf::setModeWeights(const float* const rows[kMaxModes])
{
    if (mStarted)
        return vkErrStarted;
    if (mOrder != 3)
        return kErrWeightsOrder;
    if (mInFormat.channels() != kCapsules)
        return kErrWeightsInputs;
    if (!allPresent(rows, mNumModes))
        return vkErrRange;

    float* fresh[kMaxModes] = {};
    for (int k = 0; k < mNumModes; ++k) {
        fresh[k] = ippsMalloc_32f(kCapsules);
        if (!fresh[k]) {
            freeRows(fresh);
            return vkErrOutOfMemory;
        }
        ippsCopy_32f(rows[k], fresh[k], kCapsules);
    }
    freeRows(mModeWeights);
    for (int k = 0; k < kMaxModes; ++k)
        mModeWeights[k] = fresh[k];
    mWeightColumns = kCapsules;
    return vkOk;
}

int CEbf::setModeIir(const double* const sections[kOrders], const int numSections[kOrders])
{
    if (mStarted)
        return vkErrStarted;
    if (mOrder != 3)
        return kErrFiltersOrder;
    if (!allPresent(sections, kOrders) || !numSections)
        return vkErrRange;

    const double* perMode[kMaxModes];
    int sectionsPerMode[kMaxModes];
    for (int k = 0; k < kMaxModes; ++k) {
        perMode[k] = sections[orderOfMode(k)];
        sectionsPerMode[k] = numSections[orderOfMode(k)];
    }
    const IppStatus status = mModeIir.setCascades(kMaxModes, perMode, sectionsPerMode);
    return status < 0 ? resultOfStatus(status) : vkOk;
}

int CEbf::setModeFir(const float* const taps[kOrders])
{
    if (mStarted)
        return vkErrStarted;
    if (mOrder != 3)
        return kErrFiltersOrder;
    if (!allPresent(taps, kOrders))
        return vkErrRange;

    IppsFIRState_32f* fresh[kMaxModes] = {};
    CDelayLine* delays[kMaxModes] = {};
    int lengths[kMaxModes] = {};
    for (int k = 0; k < kMaxModes; ++k) {
        const int n = orderOfMode(k);
        const IppStatus status = ippsFIRInitAlloc_32f(&fresh[k], taps[n], kEbfModeFilterLengths[n], nullptr);
        if (status < 0) {
            freeFir(fresh, delays);
            return resultOfStatus(status);
        }
        // Pads each order's filter delay, (length - 1) / 2, to the common one.
        lengths[k] = kEbfModeFilterDelay - (kEbfModeFilterLengths[n] - 1) / 2;
        delays[k] = new (std::nothrow) CDelayLine;
        if (!delays[k] || delays[k]->setDelay(lengths[k]) != 0) {
            freeFir(fresh, delays);
            return vkErrOutOfMemory;
        }
    }
    freeFir(mModeFir, mModeDelay);
    for (int k = 0; k < kMaxModes; ++k) {
        mModeFir[k] = fresh[k];
        mModeDelay[k] = delays[k];
        mModeDelayLength[k] = lengths[k];
    }
    mFirDelay = static_cast<float>(kEbfModeFilterDelay);
    return vkOk;
}

int CEbf::modeFirLength(int k)
{
    return validMode(k) ? kEbfModeFilterLengths[orderOfMode(k)] : 0;
}

int CEbf::setFilterMode(int mode)
{
    if (mode < kFilterBiquads || mode > kFilterNone || (mode == kFilterBiquadsAndFir && !mModeFir[0]))
        return vkErrRange;
    mFilterMode.store(mode, std::memory_order_release);
    return vkOk;
}
