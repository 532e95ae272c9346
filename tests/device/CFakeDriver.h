#pragma once
// A driver object for tests. Who owns the clock: the test. It calls back block by block
// with callback(), from its own thread or from inside a running callback, and reads and
// writes the driver's halves directly. Channels, rates, buffer sizes and sample types are
// set on the backend; each driver it creates takes them over, and a rate set on a driver
// stays with the backend, as a device keeps its clock across a reload.

#include "device/CDriverRegistry.h"
#include "device/IASIO.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

struct CFakeConfig {
    std::vector<std::string> names{"Fake Driver"};
    int inputs = 8;
    int outputs = 8;
    std::set<double> rates{44100.0, 48000.0};
    double rate = 44100.0;
    int preferredBlock = 512;
    ASIOSampleType type = ASIOSTInt32LSB; // of every channel but those listed below
    std::vector<ASIOSampleType> inputTypes;  // per channel, when given
    std::vector<ASIOSampleType> outputTypes;
    bool initFails = false;
    bool postOutput = false;
    int inputLatency = 0; // what getLatencies reports once the buffers exist
    int outputLatency = 0;
};

class CFakeDriver final : public IASIO {
public:
    explicit CFakeDriver(CFakeConfig& config);
    ~CFakeDriver() override;

    ASIOBool init(void* sysHandle) override;
    void getDriverName(char* name) override;
    std::int32_t getDriverVersion() override { return 7; }
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

    // Calls the layer's buffer callback for one half.
    void callback(int half);
    // The half of an opened channel, by its position in createBuffers (inputs first).
    void* buffer(int position, int half) const { return mBuffers[position].halves[half]; }
    const ASIOCallbacks* callbacks() const { return mCallbacks; }
    int blockSize() const { return mBlockSize; }
    bool running() const { return mRunning; }
    int outputReadyCalls() const { return mOutputReadyCalls; }

private:
    struct Buffer {
        bool input = false;
        int channel = 0;
        std::vector<std::uint8_t> memory;
        void* halves[2] = {nullptr, nullptr};
    };
    ASIOSampleType typeOf(int channel, bool input) const;

    CFakeConfig& mConfig;
    std::vector<Buffer> mBuffers;
    const ASIOCallbacks* mCallbacks = nullptr;
    int mBlockSize = 0;
    bool mRunning = false;
    int mOutputReadyCalls = 0;
};

// The backend that lists the fake drivers; registered while a test holds it.
class CFakeBackend final : public CDriverBackend {
public:
    CFakeBackend();
    ~CFakeBackend() override;

    int rank() const override { return 0; }
    void listDrivers(std::vector<std::string>& names) const override;
    std::unique_ptr<IASIO> createDriver(const std::string& name) const override;

    mutable CFakeConfig config; // drivers keep the rate they were set to here
    // The driver the layer holds now; null when none.
    CFakeDriver* driver() const { return mDriver; }
    int created() const { return mCreated; }
    std::vector<std::string> refuse; // names whose creation fails

private:
    friend class CFakeDriver;
    mutable CFakeDriver* mDriver = nullptr;
    mutable int mCreated = 0;
};
