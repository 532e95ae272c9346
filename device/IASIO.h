#pragma once
// The driver object the driver layer talks to, and the records it exchanges with it.
// Declared here from what the layer uses, under the names and values of the ASIO
// interface, so that a driver written against that interface maps one to one. Counts
// are 32-bit on every platform.

#include <cstdint>

using ASIOBool = std::int32_t;
using ASIOError = std::int32_t;
using ASIOSampleRate = double;

constexpr ASIOBool ASIOFalse = 0;
constexpr ASIOBool ASIOTrue = 1;

enum : ASIOError {
    ASE_OK = 0,
    ASE_SUCCESS = 0x3f4847a0,
    ASE_NotPresent = -1000,
    ASE_HWMalfunction = -999,
    ASE_InvalidParameter = -998,
    ASE_InvalidMode = -997,
    ASE_SPNotAdvancing = -996,
    ASE_NoClock = -995,
    ASE_NoMemory = -994,
};

// Sample types: the layer converts the three little-endian integer forms to and from
// floats of full scale 1.0 (saturating on the way out) and takes 32-bit floats as they are,
// unclipped.
enum ASIOSampleType : std::int32_t {
    ASIOSTInt16LSB = 16,
    ASIOSTInt24LSB = 17, // packed, 3 bytes a sample
    ASIOSTInt32LSB = 18,
    ASIOSTFloat32LSB = 19,
};

// Selectors of asioMessage.
enum : std::int32_t {
    kAsioSelectorSupported = 1,
    kAsioEngineVersion = 2,
    kAsioResetRequest = 3,
    kAsioBufferSizeChange = 4,
    kAsioResyncRequest = 5,
    kAsioLatenciesChanged = 6,
    kAsioSupportsTimeInfo = 7,
    kAsioSupportsTimeCode = 8,
    kAsioMMCCommand = 9,
    kAsioOverload = 15, // the driver missed a period (an xrun); counted as a missed callback
};

struct ASIODriverInfo {
    std::int32_t asioVersion;
    std::int32_t driverVersion;
    char name[32];
    char errorMessage[124];
    void* sysRef;
};

struct ASIOBufferInfo {
    ASIOBool isInput;
    std::int32_t channelNum;
    void* buffers[2]; // the two halves of the double buffer, filled by createBuffers
};

struct ASIOChannelInfo {
    std::int32_t channel;
    ASIOBool isInput;
    ASIOBool isActive;
    std::int32_t channelGroup;
    ASIOSampleType type;
    char name[32];
};

// Time information of a block; the layer never reads it.
struct ASIOTime;

// The routines the layer hands to the driver in createBuffers. A driver calls
// bufferSwitchTimeInfo (or bufferSwitch) from its audio thread once per half.
struct ASIOCallbacks {
    void (*bufferSwitch)(std::int32_t doubleBufferIndex, ASIOBool directProcess);
    void (*sampleRateDidChange)(ASIOSampleRate sRate);
    std::int32_t (*asioMessage)(std::int32_t selector, std::int32_t value, void* message, double* opt);
    ASIOTime* (*bufferSwitchTimeInfo)(ASIOTime* params, std::int32_t doubleBufferIndex, ASIOBool directProcess);
};

// The driver object. init gives nonzero for success; every other operation gives
// ASE_OK or an ASIO error code. Deleting the object releases it.
class IASIO {
public:
    IASIO() = default;
    IASIO(const IASIO&) = delete;
    IASIO& operator=(const IASIO&) = delete;
    virtual ~IASIO() = default;

    virtual ASIOBool init(void* sysHandle) = 0;
    virtual void getDriverName(char* name) = 0;           // up to 32 bytes with the terminator
    virtual std::int32_t getDriverVersion() = 0;
    virtual void getErrorMessage(char* string) = 0;       // up to 124 bytes with the terminator
    virtual ASIOError start() = 0;
    virtual ASIOError stop() = 0;
    virtual ASIOError getChannels(std::int32_t* numInputs, std::int32_t* numOutputs) = 0;
    virtual ASIOError getBufferSize(std::int32_t* minSize, std::int32_t* maxSize, std::int32_t* preferredSize,
                                    std::int32_t* granularity) = 0;
    // Frames between the converters and the buffers the callback sees, each way, at the
    // driver's rate; valid once the buffers exist.
    virtual ASIOError getLatencies(std::int32_t* inputLatency, std::int32_t* outputLatency) = 0;
    virtual ASIOError canSampleRate(ASIOSampleRate rate) = 0;
    virtual ASIOError getSampleRate(ASIOSampleRate* rate) = 0;
    virtual ASIOError setSampleRate(ASIOSampleRate rate) = 0;
    virtual ASIOError getChannelInfo(ASIOChannelInfo* info) = 0;
    virtual ASIOError createBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize,
                                    const ASIOCallbacks* callbacks) = 0;
    virtual ASIOError disposeBuffers() = 0;
    virtual ASIOError outputReady() = 0;
};
