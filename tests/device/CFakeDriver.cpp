#include "tests/device/CFakeDriver.h"

#include <algorithm>
#include <cstdio>

namespace {
CFakeBackend* gBackend = nullptr;

int bytesOf(ASIOSampleType type)
{
    switch (type) {
    case ASIOSTInt16LSB: return 2;
    case ASIOSTInt24LSB: return 3;
    default: return 4;
    }
}
} // namespace

CFakeDriver::CFakeDriver(CFakeConfig& config) : mConfig(config) {}

CFakeDriver::~CFakeDriver()
{
    if (gBackend && gBackend->mDriver == this)
        gBackend->mDriver = nullptr;
}

ASIOBool CFakeDriver::init(void*)
{
    return mConfig.initFails ? ASIOFalse : ASIOTrue;
}

void CFakeDriver::getDriverName(char* name)
{
    std::snprintf(name, 32, "%s", mConfig.names.front().c_str());
}

void CFakeDriver::getErrorMessage(char* string)
{
    std::snprintf(string, 124, "%s", mConfig.initFails ? "fake device missing" : "");
}

ASIOError CFakeDriver::start()
{
    if (!mCallbacks)
        return ASE_InvalidMode;
    mRunning = true;
    return ASE_OK;
}

ASIOError CFakeDriver::stop()
{
    mRunning = false;
    return ASE_OK;
}

ASIOError CFakeDriver::getChannels(std::int32_t* numInputs, std::int32_t* numOutputs)
{
    *numInputs = mConfig.inputs;
    *numOutputs = mConfig.outputs;
    return ASE_OK;
}

ASIOError CFakeDriver::getBufferSize(std::int32_t* minSize, std::int32_t* maxSize, std::int32_t* preferredSize,
                                     std::int32_t* granularity)
{
    *minSize = 16;
    *maxSize = 8192;
    *preferredSize = mConfig.preferredBlock;
    *granularity = -1;
    return ASE_OK;
}

ASIOError CFakeDriver::getLatencies(std::int32_t* inputLatency, std::int32_t* outputLatency)
{
    if (!mCallbacks)
        return ASE_InvalidMode;
    *inputLatency = mConfig.inputLatency;
    *outputLatency = mConfig.outputLatency;
    return ASE_OK;
}

ASIOError CFakeDriver::canSampleRate(ASIOSampleRate rate)
{
    return mConfig.rates.count(rate) ? ASE_OK : ASE_NoClock;
}

ASIOError CFakeDriver::getSampleRate(ASIOSampleRate* rate)
{
    *rate = mConfig.rate;
    return ASE_OK;
}

ASIOError CFakeDriver::setSampleRate(ASIOSampleRate rate)
{
    if (!mConfig.rates.count(rate))
        return ASE_NoClock;
    mConfig.rate = rate;
    return ASE_OK;
}

ASIOSampleType CFakeDriver::typeOf(int channel, bool input) const
{
    const std::vector<ASIOSampleType>& types = input ? mConfig.inputTypes : mConfig.outputTypes;
    return channel < static_cast<int>(types.size()) ? types[channel] : mConfig.type;
}

ASIOError CFakeDriver::getChannelInfo(ASIOChannelInfo* info)
{
    const int count = info->isInput ? mConfig.inputs : mConfig.outputs;
    if (info->channel < 0 || info->channel >= count)
        return ASE_InvalidParameter;
    info->type = typeOf(info->channel, info->isInput != 0);
    info->isActive = ASIOTrue;
    return ASE_OK;
}

ASIOError CFakeDriver::createBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize,
                                     const ASIOCallbacks* callbacks)
{
    mBuffers.assign(numChannels, Buffer{});
    for (int i = 0; i < numChannels; ++i) {
        Buffer& b = mBuffers[i];
        b.input = infos[i].isInput != 0;
        b.channel = infos[i].channelNum;
        const std::size_t half = static_cast<std::size_t>(bufferSize) * bytesOf(typeOf(b.channel, b.input));
        b.memory.assign(2 * half, 0xAB); // garbage until the layer clears it
        b.halves[0] = infos[i].buffers[0] = b.memory.data();
        b.halves[1] = infos[i].buffers[1] = b.memory.data() + half;
    }
    mCallbacks = callbacks;
    mBlockSize = bufferSize;
    return ASE_OK;
}

ASIOError CFakeDriver::disposeBuffers()
{
    mBuffers.clear();
    mCallbacks = nullptr;
    return ASE_OK;
}

ASIOError CFakeDriver::outputReady()
{
    if (!mConfig.postOutput)
        return ASE_NotPresent;
    ++mOutputReadyCalls;
    return ASE_OK;
}

void CFakeDriver::callback(int half)
{
    mCallbacks->bufferSwitchTimeInfo(nullptr, half, ASIOTrue);
}

CFakeBackend::CFakeBackend()
{
    gBackend = this;
    CDriverRegistry::add(this);
}

CFakeBackend::~CFakeBackend()
{
    CDriverRegistry::remove(this);
    gBackend = nullptr;
}

void CFakeBackend::listDrivers(std::vector<std::string>& names) const
{
    names.insert(names.end(), config.names.begin(), config.names.end());
}

std::unique_ptr<IASIO> CFakeBackend::createDriver(const std::string& name) const
{
    if (std::find(refuse.begin(), refuse.end(), name) != refuse.end())
        return nullptr;
    auto driver = std::make_unique<CFakeDriver>(config);
    mDriver = driver.get();
    ++mCreated;
    return driver;
}
