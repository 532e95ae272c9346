#pragma once
// The JACK driver object: a JACK client with one port per opened channel.
//
// Who owns the clock: the JACK server. Its process thread calls us once per period; each
// period is one half of the double buffer, copied between JACK's ports and the halves
// around the layer's buffer callback. The halves hold JACK's own 32-bit floats
// (ASIOSTFloat32LSB), so the layer converts nothing and a beam above full scale reaches
// JACK unclipped.
// JACK's other callbacks only post to the layer, through the message routine it handed
// over (which sets atomics): the server's shutdown and a change of its period as a reset
// request, an xrun as an overload. A server that has shut down fails start() and names
// itself in getErrorMessage().
// Process thread and JACK's other callbacks: no allocation, no lock, no I/O.

#include "device/IASIO.h"

#include <jack/jack.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

class CJackDriver final : public IASIO {
public:
    static constexpr const char* kName = "JACK Audio Connection Kit";
    static constexpr int kChannels = 32; // inputs and outputs each

    CJackDriver() = default;
    ~CJackDriver() override;

    ASIOBool init(void* sysHandle) override;
    void getDriverName(char* name) override;
    std::int32_t getDriverVersion() override;
    void getErrorMessage(char* string) override;
    ASIOError start() override;
    ASIOError stop() override;
    ASIOError getChannels(std::int32_t* numInputs, std::int32_t* numOutputs) override;
    ASIOError getBufferSize(std::int32_t* minSize, std::int32_t* maxSize, std::int32_t* preferredSize,
                            std::int32_t* granularity) override;
    ASIOError getLatencies(std::int32_t* inputLatency, std::int32_t* outputLatency) override;
    ASIOError canSampleRate(ASIOSampleRate rate) override;
    ASIOError getSampleRate(ASIOSampleRate* rate) override;
    ASIOError setSampleRate(ASIOSampleRate rate) override;
    ASIOError getChannelInfo(ASIOChannelInfo* info) override;
    ASIOError createBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize,
                            const ASIOCallbacks* callbacks) override;
    ASIOError disposeBuffers() override;
    ASIOError outputReady() override;

    // Opens a client of the default server without starting one; true when it answers.
    static bool serverReachable();

private:
    struct Channel {
        bool input = false;
        std::int32_t number = 0;
        jack_port_t* port = nullptr;
        float* halves[2] = {nullptr, nullptr};
    };

    static int processThunk(jack_nframes_t frames, void* self);
    static void shutdownThunk(jack_status_t code, const char* reason, void* self);
    static int xrunThunk(void* self);
    static int bufferSizeThunk(jack_nframes_t frames, void* self);

    int process(jack_nframes_t frames);
    // Hands a message to the layer when it has handed over its routines; any thread.
    void post(std::int32_t selector);
    void connectPhysical();
    bool validChannel(std::int32_t number) const;
    void setError(const char* text);

    jack_client_t* mClient = nullptr;
    std::string mServer; // the server's name, as the user would give it to jackd -n
    std::vector<Channel> mChannels;
    std::vector<float> mMemory;
    std::atomic<const ASIOCallbacks*> mCallbacks{nullptr}; // read by JACK's threads
    std::atomic<jack_nframes_t> mBlock{0}; // written while inactive, read by JACK's threads
    int mHalf = 0;
    bool mActive = false;
    char mError[124] = "";

    std::atomic<bool> mShutdown{false};
    std::atomic<int> mShutdownCode{0}; // the jack_status_t bits the server went with
};
