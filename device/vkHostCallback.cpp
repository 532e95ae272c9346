// The buffer callback: sample conversion at the driver boundary, the re-entry guard, the
// direct routine and the re-blocking routine, and the driver's messages.
// Audio thread: no allocation, no lock, no I/O.

#include "core/contract/vkAudioClass.h"
#include "device/vkHostState.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {

// Bytes of one sample of a type the layer converts; 0 for any other type.
int sampleBytes(ASIOSampleType type)
{
    switch (type) {
    case ASIOSTInt16LSB: return 2;
    case ASIOSTInt24LSB: return 3;
    case ASIOSTInt32LSB:
    case ASIOSTFloat32LSB: return 4;
    default: return 0;
    }
}

// Driver samples at `src` to floats of full scale 1.0: integers are converted and scaled,
// floats copied, one pass over each sample.
void toFloat(ASIOSampleType type, const void* src, float* dst, int frames)
{
    switch (type) {
    case ASIOSTInt16LSB:
        ippsConvert_16s32f(static_cast<const Ipp16s*>(src), dst, frames);
        ippsMulC_32f_I(1.0f / 32768.0f, dst, frames);
        break;
    case ASIOSTInt24LSB:
        ippsConvert_24s32f(static_cast<const Ipp8u*>(src), dst, frames);
        ippsMulC_32f_I(1.0f / 8388608.0f, dst, frames);
        break;
    case ASIOSTInt32LSB:
        ippsConvert_32s32f(static_cast<const Ipp32s*>(src), dst, frames);
        ippsMulC_32f_I(1.0f / 2147483648.0f, dst, frames);
        break;
    case ASIOSTFloat32LSB:
        ippsCopy_32f(static_cast<const Ipp32f*>(src), dst, frames);
        break;
    default:
        break;
    }
}

// Floats of full scale 1.0 to saturated integer samples, scaling `src` in place; to a
// float driver as they are, so that what lies above full scale reaches it unclipped.
void fromFloat(ASIOSampleType type, float* src, void* dst, int frames)
{
    switch (type) {
    case ASIOSTInt16LSB:
        ippsMulC_32f_I(32768.0f, src, frames);
        ippsConvert_32f16s_Sfs(src, static_cast<Ipp16s*>(dst), frames, ippRndNear, 0);
        break;
    case ASIOSTInt24LSB:
        ippsMulC_32f_I(8388608.0f, src, frames);
        ippsConvert_32f24s_Sfs(src, static_cast<Ipp8u*>(dst), frames, 0);
        break;
    case ASIOSTInt32LSB:
        ippsMulC_32f_I(2147483648.0f, src, frames);
        ippsConvert_32f32s_Sfs(src, static_cast<Ipp32s*>(dst), frames, ippRndNear, 0);
        break;
    case ASIOSTFloat32LSB:
        ippsCopy_32f(src, static_cast<Ipp32f*>(dst), frames);
        break;
    default:
        break;
    }
}

void* at(void* base, ASIOSampleType type, int frame)
{
    return static_cast<char*>(base) + static_cast<std::ptrdiff_t>(frame) * sampleBytes(type);
}

ASIOSampleType inputType(const vkHostState& s, int channel) { return s.mChannelInfo[channel].type; }
ASIOSampleType outputType(const vkHostState& s, int channel) { return s.mChannelInfo[s.mNumInputs + channel].type; }

// `frames` frames of every input from the driver's half at `from` to mInDevice at `to`.
void readStretch(vkHostState& s, int index, int from, int to, int frames)
{
    for (int i = 0; i < s.mNumInputs; ++i)
        toFloat(inputType(s, i), at(s.mInDriver[index][i], inputType(s, i), from), s.mInDevice[i] + to, frames);
}

// `frames` frames of every output from mOutDevice at `from` to the driver's half at `to`.
void writeStretch(vkHostState& s, int index, int from, int to, int frames)
{
    for (int i = 0; i < s.mNumOutputs; ++i)
        fromFloat(outputType(s, i), s.mOutDevice[i] + from, at(s.mOutDriver[index][i], outputType(s, i), to), frames);
}

void silenceStretch(vkHostState& s, int index, int from, int frames)
{
    for (int i = 0; i < s.mNumOutputs; ++i)
        std::memset(at(s.mOutDriver[index][i], outputType(s, i), from), 0,
                    static_cast<std::size_t>(frames) * sampleBytes(outputType(s, i)));
}

int runTarget(vkHostState& s)
{
    if (s.mObject)
        return s.mObject->process(*s.mInBuffer, *s.mOutBuffer);
    if (s.mFunction)
        return s.mFunction(s.mInFloat.data(), s.mOutFloat.data(), s.mBlockLength);
    return 1;
}

// One processing block from mInDevice to mOutDevice, through the filters when a rate
// conversion is in force. A failed block goes on and asks for a reset at the next start.
void runBlock(vkHostState& s)
{
    if (s.mFilterIndex >= 0) {
        hostFilterIn();
    } else {
        for (int i = 0; i < s.mNumInputs; ++i)
            ippsCopy_32f(s.mInDevice[i], s.mInFloat[i], s.mBlockLength);
    }
    const int result = runTarget(s);
    if (s.mFilterIndex >= 0) {
        hostFilterOut();
    } else {
        for (int i = 0; i < s.mNumOutputs; ++i)
            ippsCopy_32f(s.mOutFloat[i], s.mOutDevice[i], s.mBlockLength);
    }
    s.mBlockCount.fetch_add(1, std::memory_order_relaxed);
    if (result != 0)
        s.mResetFlag.store(3);
}

// A driver may call back before the last call has returned: that call is dropped.
bool enterGuard(vkHostState& s)
{
    if (s.mBusy.fetch_add(1) + 1 != 0) {
        s.mMissed.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    return true;
}

// Undoes the increments of the calls dropped meanwhile as well.
void leaveGuard(vkHostState& s)
{
    while (s.mBusy.fetch_sub(1) - 1 >= 0) {
    }
}

using LoadClock = std::chrono::steady_clock;

// The callback's time over the period of one driver block, published for the main thread.
void publishLoad(vkHostState& s, LoadClock::time_point begin)
{
    if (s.mDriverRate <= 0.0 || s.mDriverBlock <= 0)
        return;
    const std::chrono::duration<double> spent = LoadClock::now() - begin;
    s.mLoad.store(static_cast<float>(spent.count() * s.mDriverRate / s.mDriverBlock), std::memory_order_relaxed);
}

void finishCallback(vkHostState& s, LoadClock::time_point begin)
{
    if (s.mPostOutput)
        s.mDriver->outputReady();
    publishLoad(s, begin);
    leaveGuard(s);
}

// Step 3 of re-blocking: what the last block left goes out first.
void writeLeftOver(vkHostState& s, int index)
{
    const int n = std::min(s.mOutAvailable, s.mDriverBlock - s.mOutPos);
    writeStretch(s, index, s.mOutRead, s.mOutPos, n);
    s.mOutRead += n;
    s.mOutPos += n;
    s.mOutAvailable -= n;
}

} // namespace

ASIOTime* hostBufferSwitchTimeInfo(ASIOTime*, std::int32_t index, ASIOBool)
{
    vkHostState& s = hostState();
    const LoadClock::time_point begin = LoadClock::now();
    if (!enterGuard(s))
        return nullptr;
    readStretch(s, index, 0, 0, s.mDriverBlock);
    runBlock(s);
    writeStretch(s, index, 0, 0, s.mDriverBlock);
    finishCallback(s, begin);
    return nullptr;
}

ASIOTime* hostReblockSwitchTimeInfo(ASIOTime*, std::int32_t index, ASIOBool)
{
    vkHostState& s = hostState();
    const LoadClock::time_point begin = LoadClock::now();
    if (!enterGuard(s))
        return nullptr;
    int p = s.mDriverBlock;
    int i = 0;
    if (s.mOutAvailable != 0)
        writeLeftOver(s, index);
    while (p != 0) {
        const int r = s.mDeviceBlock - s.mInFill;
        if (p < r) {
            readStretch(s, index, i, s.mInFill, p);
            s.mInFill += p;
            break;
        }
        readStretch(s, index, i, s.mInFill, r);
        i += r;
        p -= r;
        s.mInFill = 0;
        runBlock(s);
        s.mOutAvailable = s.mDeviceBlock;
        s.mOutRead = 0;
        writeLeftOver(s, index);
    }
    // A half that no block reached to its end would otherwise replay what the driver
    // played from it one double buffer ago, an audible repeat: it gets silence instead.
    if (s.mOutPos < s.mDriverBlock)
        silenceStretch(s, index, s.mOutPos, s.mDriverBlock - s.mOutPos);
    s.mOutPos = 0;
    finishCallback(s, begin);
    return nullptr;
}

void hostBufferSwitch(std::int32_t index, ASIOBool directProcess)
{
    hostBufferSwitchTimeInfo(nullptr, index, directProcess);
}

void hostReblockSwitch(std::int32_t index, ASIOBool directProcess)
{
    hostReblockSwitchTimeInfo(nullptr, index, directProcess);
}

float hostLoad()
{
    return hostState().mLoad.load(std::memory_order_relaxed);
}

int hostMissedCallbacks()
{
    return hostState().mMissed.load(std::memory_order_relaxed);
}

void hostSampleRateDidChange(ASIOSampleRate)
{
    hostState().mResetFlag.store(2);
}

std::int32_t hostAsioMessage(std::int32_t selector, std::int32_t value, void*, double*)
{
    switch (selector) {
    case kAsioSelectorSupported:
        return value == kAsioEngineVersion || value == kAsioResetRequest || value == kAsioResyncRequest
            || value == kAsioLatenciesChanged || value == kAsioSupportsTimeInfo || value == kAsioSupportsTimeCode
            || value == kAsioMMCCommand || value == kAsioOverload;
    case kAsioEngineVersion:
        return 2;
    case kAsioResetRequest:
        hostState().mResetFlag.store(1);
        return 1;
    case kAsioOverload:
        hostState().mMissed.fetch_add(1, std::memory_order_relaxed);
        return 1;
    case kAsioResyncRequest:
    case kAsioLatenciesChanged:
    case kAsioSupportsTimeInfo:
        return 1;
    default:
        return 0;
    }
}

// Silence everywhere: the driver's halves, the layer's buffers and the filters' history.
// mInDevice is cleared too, so that the frames mPrefill counts as filled are silence.
void hostClearBuffers()
{
    vkHostState& s = hostState();
    if (!s.mOpen)
        return;
    hostClearFilters();
    for (auto* list : {&s.mInDevice, &s.mOutDevice}) {
        for (float* p : *list)
            ippsZero_32f(p, s.mDeviceBlock);
    }
    for (auto* list : {&s.mInFloat, &s.mOutFloat}) {
        for (float* p : *list)
            ippsZero_32f(p, s.mBlockLength);
    }
    for (std::size_t c = 0; c < s.mChannelInfo.size(); ++c) {
        for (void* half : s.mBufferInfo[c].buffers)
            if (half)
                std::memset(half, 0, static_cast<std::size_t>(s.mDriverBlock) * sampleBytes(s.mChannelInfo[c].type));
    }
}
