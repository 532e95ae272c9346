// Driver list, loading, channel lists, open and close, start and stop.

#include "device/vkHost.h"

#include "core/contract/vkAudioClass.h"
#include "device/vkHostState.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

const ASIOCallbacks kDirectCallbacks{hostBufferSwitch, hostSampleRateDidChange, hostAsioMessage,
                                     hostBufferSwitchTimeInfo};
const ASIOCallbacks kReblockCallbacks{hostReblockSwitch, hostSampleRateDidChange, hostAsioMessage,
                                      hostReblockSwitchTimeInfo};

// A name of 32 characters or more is shown as its first 28 and "...".
void cutName(const std::string& name, std::array<char, vkDriverNameLength>& shown)
{
    shown.fill(0);
    if (name.size() < vkDriverNameLength) {
        std::memcpy(shown.data(), name.data(), name.size());
        return;
    }
    std::memcpy(shown.data(), name.data(), 28);
    std::memcpy(shown.data() + 28, "...", 3);
}

void buildDriverList(vkHostState& s)
{
    s.mDriverList.clear();
    for (const CDriverBackend* backend : CDriverRegistry::backends()) {
        std::vector<std::string> names;
        backend->listDrivers(names);
        for (std::string& name : names)
            s.mDriverList.push_back({static_cast<int>(s.mDriverList.size()), backend, std::move(name)});
    }
    s.mDriverNameCount = std::min<int>(static_cast<int>(s.mDriverList.size()), vkDriverNameCount);
    for (int i = 0; i < s.mDriverNameCount; ++i)
        cutName(s.mDriverList[i].name, s.mDriverNames[i]);
}

// The entry of a name as the list holds it or as it is shown to the user.
int findDriver(const vkHostState& s, const char* name)
{
    for (const vkDriverEntry& entry : s.mDriverList)
        if (entry.name == name)
            return entry.number;
    for (int i = 0; i < s.mDriverNameCount; ++i)
        if (std::strncmp(s.mDriverNames[i].data(), name, vkDriverNameLength) == 0)
            return i;
    return -1;
}

void releaseDriver(vkHostState& s)
{
    s.mDriver.reset();
    s.mDriverIndex = -1;
    s.mLoaded = false;
}

bool createDriver(vkHostState& s, int index)
{
    const vkDriverEntry& entry = s.mDriverList[index];
    s.mDriver = entry.backend->createDriver(entry.name);
    s.mDriverIndex = s.mDriver ? index : -1;
    return s.mDriver != nullptr;
}

// Keeps a channel list that still fits the device: too many channels take all of the
// device's, a channel beyond it renumbers the list from 0.
void fitChannels(int& count, std::vector<int>& list, int available)
{
    if (count > available) {
        count = available;
        list.resize(count);
        for (int i = 0; i < count; ++i)
            list[i] = i;
    }
    if (std::any_of(list.begin(), list.end(), [available](int c) { return c >= available; }))
        for (int i = 0; i < count; ++i)
            list[i] = i;
}

// Steps 3 to 7 of loading, for the driver object just created.
int initDriver(vkHostState& s)
{
    s.mDriverInfo = ASIODriverInfo{};
    s.mDriverInfo.asioVersion = 2;
    std::strcpy(s.mDriverInfo.name, "No ASIO Driver");
    if (!s.mDriver->init(s.mDriverInfo.sysRef)) {
        s.mDriver->getErrorMessage(s.mDriverInfo.errorMessage);
        releaseDriver(s);
        return vkHostErrNoDriver;
    }
    std::strcpy(s.mDriverInfo.errorMessage, "No ASIO Driver Error");
    s.mDriver->getDriverName(s.mDriverInfo.name);
    s.mDriverInfo.driverVersion = s.mDriver->getDriverVersion();
    s.mLoaded = true;

    std::int32_t inputs = 0, outputs = 0;
    if (s.mDriver->getChannels(&inputs, &outputs) == ASE_OK) {
        fitChannels(s.mNumInputs, s.mInputList, inputs);
        fitChannels(s.mNumOutputs, s.mOutputList, outputs);
    }
    if (s.mDriverRate > 0.0)
        s.mDriver->setSampleRate(s.mDriverRate);
    ASIOSampleRate rate = 0.0;
    s.mDriverRate = s.mDriver->getSampleRate(&rate) == ASE_OK ? rate : 0.0;
    s.mSampleRate = s.mDriverRate * s.mRateUp / s.mRateDown;

    std::int32_t minSize = 0, maxSize = 0, preferred = 0, granularity = 0;
    if (s.mDriver->getBufferSize(&minSize, &maxSize, &preferred, &granularity) != ASE_OK)
        preferred = 0;
    // The driver's preferred size becomes the block; under a rate conversion the device
    // block follows from it, so that the filters make up whole blocks.
    s.mDriverBlock = s.mBlockLength = preferred;
    hostUpdateLengths();
    return vkHostOk;
}

void freeChannelBuffers(vkHostState& s)
{
    hostFreeFilters();
    for (auto* list : {&s.mInDevice, &s.mOutDevice, &s.mInFloat, &s.mOutFloat}) {
        for (float* p : *list)
            ippsFree(p);
        list->clear();
    }
    for (auto& half : s.mInDriver)
        half.clear();
    for (auto& half : s.mOutDriver)
        half.clear();
    s.mInBuffer.reset();
    s.mOutBuffer.reset();
    s.mBufferInfo.clear();
    s.mChannelInfo.clear();
}

void allocateChannels(std::vector<float*>& list, int channels, int frames)
{
    list.assign(channels, nullptr);
    for (float*& p : list)
        p = ippsMalloc_32f(frames);
}

// A borrowing buffer over the layer's float channels, in the stream's format.
std::unique_ptr<vkAudioBuffer> borrowingBuffer(vkAudioInterface& format, const std::vector<float*>& channels,
                                               const vkHostState& s)
{
    format = vkAudioInterface::timeDomain(static_cast<int>(channels.size()), static_cast<float>(s.mSampleRate),
                                          s.mBlockLength);
    auto buffer = std::make_unique<vkAudioBuffer>(format);
    for (std::size_t i = 0; i < channels.size(); ++i)
        buffer->data()[i] = channels[i];
    return buffer;
}

void buildBufferInfo(vkHostState& s)
{
    s.mBufferInfo.clear();
    for (int i = 0; i < s.mNumInputs; ++i)
        s.mBufferInfo.push_back({ASIOTrue, s.mInputList[i], {nullptr, nullptr}});
    for (int i = 0; i < s.mNumOutputs; ++i)
        s.mBufferInfo.push_back({ASIOFalse, s.mOutputList[i], {nullptr, nullptr}});
}

// Steps 6 to 8 of opening: the layer's own buffers and the formats the object sees.
int allocateStream(vkHostState& s)
{
    for (int half = 0; half < 2; ++half) {
        s.mInDriver[half].clear();
        s.mOutDriver[half].clear();
        for (int i = 0; i < s.mNumInputs; ++i)
            s.mInDriver[half].push_back(s.mBufferInfo[i].buffers[half]);
        for (int i = 0; i < s.mNumOutputs; ++i)
            s.mOutDriver[half].push_back(s.mBufferInfo[s.mNumInputs + i].buffers[half]);
    }
    allocateChannels(s.mInDevice, s.mNumInputs, s.mDeviceBlock);
    allocateChannels(s.mOutDevice, s.mNumOutputs, s.mDeviceBlock);
    allocateChannels(s.mInFloat, s.mNumInputs, s.mBlockLength);
    allocateChannels(s.mOutFloat, s.mNumOutputs, s.mBlockLength);
    s.mInBuffer = borrowingBuffer(s.mInFormat, s.mInFloat, s);
    s.mOutBuffer = borrowingBuffer(s.mOutFormat, s.mOutFloat, s);
    if (s.mFilterIndex >= 0)
        hostBuildFilters();
    return hostConfigureModuleObject();
}

int readChannelInfo(vkHostState& s)
{
    s.mChannelInfo.assign(s.mBufferInfo.size(), ASIOChannelInfo{});
    for (std::size_t i = 0; i < s.mBufferInfo.size(); ++i) {
        s.mChannelInfo[i].channel = s.mBufferInfo[i].channelNum;
        s.mChannelInfo[i].isInput = s.mBufferInfo[i].isInput;
        const ASIOError result = s.mDriver->getChannelInfo(&s.mChannelInfo[i]);
        if (result != ASE_OK)
            return result;
    }
    return vkHostOk;
}

// Reads the device's channel counts; false without a driver or when it does not answer.
bool deviceChannels(std::int32_t& inputs, std::int32_t& outputs)
{
    vkHostState& s = hostState();
    return s.mDriver && s.mDriver->getChannels(&inputs, &outputs) == ASE_OK;
}

// The driver's latencies in frames of the stream's rate; false unless open and answered.
bool driverLatencies(std::int32_t& input, std::int32_t& output)
{
    vkHostState& s = hostState();
    if (!s.mOpen || !s.mDriver || s.mDriver->getLatencies(&input, &output) != ASE_OK)
        return false;
    input = input * s.mRateUp / s.mRateDown;
    output = output * s.mRateUp / s.mRateDown;
    return true;
}

int setChannels(const int* channels, int count, bool inputs)
{
    vkHostState& s = hostState();
    if (s.mRunning)
        return vkHostErrRunning;
    if (count < 0 || (count > 0 && !channels))
        return vkHostErrChannels;
    std::int32_t numIn = 0, numOut = 0;
    if (deviceChannels(numIn, numOut)) {
        const int available = inputs ? numIn : numOut;
        if (count > available || std::any_of(channels, channels + count,
                                             [available](int c) { return c < 0 || c >= available; }))
            return vkHostErrChannels;
    }
    const bool wasOpen = s.mOpen;
    if (wasOpen)
        hostClose();
    (inputs ? s.mNumInputs : s.mNumOutputs) = count;
    (inputs ? s.mInputList : s.mOutputList).assign(channels, channels + count);
    if (wasOpen)
        hostOpen();
    return vkHostOk;
}

} // namespace

vkHostState& hostState()
{
    static vkHostState state;
    return state;
}

void hostInit()
{
    hostUnloadDriver();
    vkHostState& s = hostState();
    hostSetModule(nullptr);
    hostSetTarget(vkTargetCopy); // lets go of a module
    // Every default anew; the atomics rule out assigning a fresh state.
    s.~vkHostState();
    new (&s) vkHostState();
    s.mFunction = hostDefaultCopy;
    buildDriverList(s);
}

int hostDriverCount()
{
    return static_cast<int>(hostState().mDriverList.size());
}

const char* hostDriverName(int index)
{
    const vkHostState& s = hostState();
    return index >= 0 && index < s.mDriverNameCount ? s.mDriverNames[index].data() : nullptr;
}

int hostLoadDriver(const char* name)
{
    vkHostState& s = hostState();
    const int previous = s.mDriverIndex;
    hostUnloadDriver();
    const int index = name ? findDriver(s, name) : -1;
    if (index < 0 || !createDriver(s, index)) {
        if (previous >= 0 && createDriver(s, previous))
            initDriver(s);
        return vkHostErrCreate;
    }
    return initDriver(s);
}

void hostUnloadDriver()
{
    vkHostState& s = hostState();
    hostClose();
    releaseDriver(s);
}

const char* hostCurrentDriver()
{
    const vkHostState& s = hostState();
    return s.mLoaded && s.mDriverIndex >= 0 ? s.mDriverList[s.mDriverIndex].name.c_str() : nullptr;
}

int hostOpen()
{
    vkHostState& s = hostState();
    if (!s.mLoaded)
        return vkHostErrNoDriver;
    if (s.mOpen)
        hostClose();
    // A conversion whose filter runs do not make up the block would overrun the buffers.
    if (s.mBlockLength < 1 || s.mDeviceBlock < 1 || s.mDriverBlock < 1
        || (s.mFilterIndex >= 0 && s.mFilterRuns * s.mRateUp != s.mBlockLength))
        return vkHostErrBlock;
    s.mPostOutput = s.mDriver->outputReady() == ASE_OK;
    buildBufferInfo(s);
    const ASIOCallbacks& callbacks = s.mDriverBlock == s.mDeviceBlock ? kDirectCallbacks : kReblockCallbacks;
    // A failed createBuffers leaves no driver memory to convert: the stream stays closed
    // and the caller gets the driver's code.
    const ASIOError created = s.mDriver->createBuffers(s.mBufferInfo.data(), static_cast<std::int32_t>(s.mBufferInfo.size()),
                                                       s.mDriverBlock, &callbacks);
    if (created != ASE_OK) {
        s.mBufferInfo.clear();
        return created;
    }
    s.mOpen = true;
    int result = hostSetTarget(s.mTarget);
    if (result == vkHostOk)
        result = allocateStream(s);
    if (result == vkHostOk)
        result = readChannelInfo(s);
    hostClearBuffers();
    return result;
}

void hostClose()
{
    vkHostState& s = hostState();
    if (s.mRunning) {
        s.mDriver->stop();
        s.mRunning = false;
        hostClearBuffers();
    }
    if (!s.mOpen)
        return;
    s.mDriver->disposeBuffers();
    freeChannelBuffers(s);
    s.mOpen = false;
}

int hostStart()
{
    vkHostState& s = hostState();
    if (s.mResetFlag.load() & 1) {
        if (hostResetDriver() != vkHostOk)
            return 0;
        hostClearBuffers();
    }
    if (s.mRunning)
        return 1;
    s.mBlockCount = 0;
    s.mBusy = -1;
    s.mMissed = 0;
    if (s.mDriverBlock != s.mDeviceBlock) {
        s.mInFill = s.mPrefill;
        s.mOutAvailable = s.mOutRead = s.mOutPos = 0;
    }
    if (!s.mDriver || s.mDriver->start() != ASE_OK)
        return 0;
    s.mRunning = true;
    return 1;
}

int hostStop()
{
    vkHostState& s = hostState();
    if (!s.mDriver || s.mDriver->stop() != ASE_OK)
        return 0;
    s.mRunning = false;
    hostClearBuffers();
    return 1;
}

bool hostIsOpen() { return hostState().mOpen; }
bool hostIsRunning() { return hostState().mRunning; }
int hostNumInputs() { return hostState().mNumInputs; }
int hostBlockLength() { return hostState().mBlockLength; }

int hostDriverInputs()
{
    std::int32_t inputs = 0, outputs = 0;
    return deviceChannels(inputs, outputs) ? inputs : 0;
}

int hostDriverOutputs()
{
    std::int32_t inputs = 0, outputs = 0;
    return deviceChannels(inputs, outputs) ? outputs : 0;
}

// The driver counts at its own rate; a conversion in force scales to the stream's.
int hostInputLatency()
{
    std::int32_t input = 0, output = 0;
    return driverLatencies(input, output) ? input : 0;
}

int hostOutputLatency()
{
    std::int32_t input = 0, output = 0;
    return driverLatencies(input, output) ? output : 0;
}

int hostSetInputs(const int* channels, int count) { return setChannels(channels, count, true); }
int hostSetOutputs(const int* channels, int count) { return setChannels(channels, count, false); }

// Stopping first, then a fresh load of the same driver: an ASIO reset may not run inside
// a callback, so requests wait for the next start or for hostReset. A driver that does
// not load again (its device gone) is remembered with whether it was open.
int hostResetDriver()
{
    vkHostState& s = hostState();
    if (s.mDriver && s.mDriver->stop() == ASE_OK) {
        s.mRunning = false;
        hostClearBuffers();
    }
    if (s.mDriverIndex >= 0) {
        s.mResetIndex = s.mDriverIndex;
        s.mResetOpen = s.mOpen;
    }
    const int blockLength = s.mBlockLength;
    hostUnloadDriver();
    s.mDriverInfo.errorMessage[0] = '\0'; // what the reload says, if anything
    int result = vkHostErrNoDriver;
    if (s.mResetIndex >= 0)
        result = hostLoadDriver(s.mDriverList[s.mResetIndex].name.c_str());
    if (result == vkHostOk) {
        s.mResetIndex = -1;
        s.mBlockLength = blockLength;
        hostUpdateLengths();
        if (s.mResetOpen)
            result = hostOpen();
    }
    // The request is served: clear it, so that the next start does not reload again.
    s.mResetFlag.fetch_and(~1);
    return result;
}

bool hostResetRequested()
{
    return (hostState().mResetFlag.load() & 1) != 0;
}

int hostReset()
{
    return hostResetDriver();
}

// A driver that failed to load left its text in the driver information.
const char* hostDriverMessage()
{
    vkHostState& s = hostState();
    if (s.mDriver)
        s.mDriver->getErrorMessage(s.mDriverInfo.errorMessage);
    return s.mDriverInfo.errorMessage;
}
