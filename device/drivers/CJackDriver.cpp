#include "device/drivers/CJackDriver.h"

#include "device/CDriverRegistry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr const char* kClientName = "vantoria";

// JACK's own messages stay quiet: failures reach the user through getErrorMessage.
void quiet(const char*) {}

// The server a client opened without a name reaches, as the JACK library chooses it.
std::string defaultServerName()
{
    const char* name = std::getenv("JACK_DEFAULT_SERVER");
    return name && *name ? name : "default";
}

class CJackBackend final : public CDriverBackend {
public:
    CJackBackend()
    {
        jack_set_error_function(quiet);
        jack_set_info_function(quiet);
    }
    int rank() const override { return 10; }
    void listDrivers(std::vector<std::string>& names) const override
    {
        if (CJackDriver::serverReachable())
            names.emplace_back(CJackDriver::kName);
    }
    std::unique_ptr<IASIO> createDriver(const std::string& name) const override
    {
        return name == CJackDriver::kName ? std::make_unique<CJackDriver>() : nullptr;
    }
};

const CJackBackend gBackend;
const CDriverRegistration gRegistration(gBackend);

} // namespace

bool CJackDriver::serverReachable()
{
    jack_status_t status{};
    jack_client_t* client = jack_client_open(kClientName, JackNoStartServer, &status);
    if (!client)
        return false;
    jack_client_close(client);
    return true;
}

CJackDriver::~CJackDriver()
{
    disposeBuffers();
    if (mClient)
        jack_client_close(mClient);
}

ASIOBool CJackDriver::init(void*)
{
    if (mClient)
        return ASIOTrue;
    mServer = defaultServerName();
    jack_status_t status{};
    mClient = jack_client_open(kClientName, JackNoStartServer, &status);
    if (!mClient) {
        std::snprintf(mError, sizeof mError, "No JACK server \"%s\" is running", mServer.c_str());
        return ASIOFalse;
    }
    mBlock = jack_get_buffer_size(mClient);
    jack_set_process_callback(mClient, processThunk, this);
    jack_on_info_shutdown(mClient, shutdownThunk, this);
    jack_set_xrun_callback(mClient, xrunThunk, this);
    jack_set_buffer_size_callback(mClient, bufferSizeThunk, this);
    return ASIOTrue;
}

void CJackDriver::getDriverName(char* name)
{
    std::snprintf(name, 32, "%s", kName);
}

std::int32_t CJackDriver::getDriverVersion()
{
    return 1;
}

// A server that has shut down is named here, on the caller's thread: the shutdown
// callback itself only posts.
void CJackDriver::getErrorMessage(char* string)
{
    if (mShutdown.load()) {
        const bool backend = (mShutdownCode.load() & JackBackendError) != 0;
        std::snprintf(string, 124, "the JACK server \"%s\" has stopped%s", mServer.c_str(),
                      backend ? ": its audio interface failed" : "");
        return;
    }
    std::snprintf(string, 124, "%s", mError);
}

ASIOError CJackDriver::start()
{
    if (!mClient || mShutdown.load()) {
        post(kAsioResetRequest);
        return ASE_NotPresent;
    }
    if (mActive)
        return ASE_OK;
    if (!mCallbacks.load() || jack_activate(mClient) != 0)
        return ASE_HWMalfunction;
    mActive = true;
    connectPhysical();
    return ASE_OK;
}

ASIOError CJackDriver::stop()
{
    if (mActive && mClient && !mShutdown.load())
        jack_deactivate(mClient);
    mActive = false;
    return ASE_OK;
}

ASIOError CJackDriver::getChannels(std::int32_t* numInputs, std::int32_t* numOutputs)
{
    if (!mClient)
        return ASE_NotPresent;
    *numInputs = kChannels;
    *numOutputs = kChannels;
    return ASE_OK;
}

ASIOError CJackDriver::getBufferSize(std::int32_t* minSize, std::int32_t* maxSize, std::int32_t* preferredSize,
                                     std::int32_t* granularity)
{
    if (!mClient)
        return ASE_NotPresent;
    *minSize = *maxSize = *preferredSize = static_cast<std::int32_t>(jack_get_buffer_size(mClient));
    *granularity = 0;
    return ASE_OK;
}

// What the server says of the ports' paths to the outside: the longest capture latency of
// the opened inputs, the longest playback latency of the outputs. A port connected to
// nothing has none, so the figures follow the connections.
ASIOError CJackDriver::getLatencies(std::int32_t* inputLatency, std::int32_t* outputLatency)
{
    if (!mClient)
        return ASE_NotPresent;
    if (!mCallbacks.load())
        return ASE_InvalidMode;
    *inputLatency = 0;
    *outputLatency = 0;
    for (const Channel& c : mChannels) {
        jack_latency_range_t range{};
        jack_port_get_latency_range(c.port, c.input ? JackCaptureLatency : JackPlaybackLatency, &range);
        std::int32_t& latency = c.input ? *inputLatency : *outputLatency;
        latency = std::max(latency, static_cast<std::int32_t>(range.max));
    }
    return ASE_OK;
}

// The server's rate is the only one: JACK clients cannot change it.
ASIOError CJackDriver::canSampleRate(ASIOSampleRate rate)
{
    if (!mClient)
        return ASE_NotPresent;
    return rate == static_cast<double>(jack_get_sample_rate(mClient)) ? ASE_OK : ASE_NoClock;
}

ASIOError CJackDriver::getSampleRate(ASIOSampleRate* rate)
{
    if (!mClient)
        return ASE_NotPresent;
    *rate = jack_get_sample_rate(mClient);
    return ASE_OK;
}

ASIOError CJackDriver::setSampleRate(ASIOSampleRate rate)
{
    return canSampleRate(rate);
}

ASIOError CJackDriver::getChannelInfo(ASIOChannelInfo* info)
{
    if (!mClient)
        return ASE_NotPresent;
    if (!validChannel(info->channel))
        return ASE_InvalidParameter;
    info->isActive = std::any_of(mChannels.begin(), mChannels.end(), [info](const Channel& c) {
        return c.input == (info->isInput != 0) && c.number == info->channel;
    });
    info->channelGroup = 0;
    info->type = ASIOSTFloat32LSB;
    std::snprintf(info->name, sizeof info->name, "%s_%d", info->isInput ? "in" : "out", info->channel + 1);
    return ASE_OK;
}

ASIOError CJackDriver::createBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize,
                                     const ASIOCallbacks* callbacks)
{
    if (!mClient)
        return ASE_NotPresent;
    disposeBuffers();
    if (numChannels < 0 || !callbacks || bufferSize != static_cast<std::int32_t>(jack_get_buffer_size(mClient)))
        return ASE_InvalidMode;
    for (std::int32_t i = 0; i < numChannels; ++i)
        if (!validChannel(infos[i].channelNum))
            return ASE_InvalidParameter;
    mBlock = static_cast<jack_nframes_t>(bufferSize);
    mMemory.assign(static_cast<std::size_t>(numChannels) * 2 * mBlock, 0.0f);
    mChannels.resize(numChannels);
    for (std::int32_t i = 0; i < numChannels; ++i) {
        Channel& c = mChannels[i];
        c.input = infos[i].isInput != 0;
        c.number = infos[i].channelNum;
        char name[32];
        std::snprintf(name, sizeof name, "%s_%d", c.input ? "in" : "out", c.number + 1);
        c.port = jack_port_register(mClient, name, JACK_DEFAULT_AUDIO_TYPE, c.input ? JackPortIsInput : JackPortIsOutput, 0);
        for (int half = 0; half < 2; ++half) {
            c.halves[half] = mMemory.data() + (static_cast<std::size_t>(i) * 2 + half) * mBlock;
            infos[i].buffers[half] = c.halves[half];
        }
        if (!c.port) {
            setError("JACK refused a port");
            disposeBuffers();
            return ASE_NoMemory;
        }
    }
    mCallbacks = callbacks;
    mHalf = 0;
    return ASE_OK;
}

// The ports of a client whose server has gone went with it.
ASIOError CJackDriver::disposeBuffers()
{
    stop();
    for (Channel& c : mChannels)
        if (c.port && mClient && !mShutdown.load())
            jack_port_unregister(mClient, c.port);
    mChannels.clear();
    mMemory.clear();
    mCallbacks = nullptr;
    return ASE_OK;
}

// JACK takes the outputs when the process callback returns; there is nothing to post.
ASIOError CJackDriver::outputReady()
{
    return ASE_NotPresent;
}

// Inputs and outputs have the same count.
bool CJackDriver::validChannel(std::int32_t number) const
{
    return number >= 0 && number < kChannels;
}

void CJackDriver::setError(const char* text)
{
    std::snprintf(mError, sizeof mError, "%s", text);
}

// Channel k of each side goes to the k-th physical port of the server, when it has one.
void CJackDriver::connectPhysical()
{
    const char** capture = jack_get_ports(mClient, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsOutput);
    const char** playback = jack_get_ports(mClient, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
    auto count = [](const char** ports) {
        int n = 0;
        while (ports && ports[n])
            ++n;
        return n;
    };
    const int captures = count(capture), playbacks = count(playback);
    for (const Channel& c : mChannels) {
        if (c.input && c.number < captures)
            jack_connect(mClient, capture[c.number], jack_port_name(c.port));
        else if (!c.input && c.number < playbacks)
            jack_connect(mClient, jack_port_name(c.port), playback[c.number]);
    }
    jack_free(capture);
    jack_free(playback);
}

void CJackDriver::post(std::int32_t selector)
{
    if (const ASIOCallbacks* callbacks = mCallbacks.load())
        callbacks->asioMessage(selector, 0, nullptr, nullptr);
}

int CJackDriver::process(jack_nframes_t frames)
{
    if (frames != mBlock) {
        // The server changed its period under us: silence until the layer reloads us.
        for (const Channel& c : mChannels)
            if (!c.input)
                std::memset(jack_port_get_buffer(c.port, frames), 0, frames * sizeof(float));
        return 0;
    }
    const std::size_t bytes = frames * sizeof(float);
    for (const Channel& c : mChannels)
        if (c.input)
            std::memcpy(c.halves[mHalf], jack_port_get_buffer(c.port, frames), bytes);
    mCallbacks.load(std::memory_order_relaxed)->bufferSwitchTimeInfo(nullptr, mHalf, ASIOTrue);
    for (const Channel& c : mChannels)
        if (!c.input)
            std::memcpy(jack_port_get_buffer(c.port, frames), c.halves[mHalf], bytes);
    mHalf ^= 1;
    return 0;
}

int CJackDriver::processThunk(jack_nframes_t frames, void* self)
{
    return static_cast<CJackDriver*>(self)->process(frames);
}

// Any thread, as an asynchronous signal handler would: the reason's text is not kept.
void CJackDriver::shutdownThunk(jack_status_t code, const char*, void* self)
{
    auto* driver = static_cast<CJackDriver*>(self);
    driver->mShutdownCode.store(code);
    driver->mShutdown.store(true);
    driver->post(kAsioResetRequest);
}

int CJackDriver::xrunThunk(void* self)
{
    static_cast<CJackDriver*>(self)->post(kAsioOverload);
    return 0;
}

int CJackDriver::bufferSizeThunk(jack_nframes_t frames, void* self)
{
    auto* driver = static_cast<CJackDriver*>(self);
    if (frames != driver->mBlock)
        driver->post(kAsioResetRequest);
    return 0;
}
