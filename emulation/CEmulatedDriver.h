#pragma once
// The audio side of the emulated interface box, listed as vkEmulation::kDriverName while
// a hardware model is attached (vkEmulation.h).
//
// 32 inputs carry the modelled sound scene on the rigid sphere; each capsule is scaled by
// the hardware model's gain (sensitivity error and preamp gain), read afresh every block,
// so that what the emulated box is told is heard at once. The 24 outputs hold the box's
// groups (headphone 1-2, ADAT 9-16, 8-LO 17-24) and six ungrouped outputs 3-8; each is
// metered after every callback and, like a real box's output, not kept.
// Samples are packed 24-bit (ASIOSTInt24LSB), the block is 512 frames at 44100 or
// 48000 Hz unless the host asks for another power of two.
//
// Who owns the clock: this object. start() launches a thread that renders one block per
// period on a steady-clock schedule computed from the block count (it does not drift),
// fills one half of the double buffer and calls bufferSwitchTimeInfo; stop() joins it.
// Clock thread: no allocation, no lock, no I/O.

#include "device/IASIO.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

class CHardwareModel;
class CSoundScene;

class CEmulatedDriver final : public IASIO {
public:
    static constexpr int kInputs = 32;
    static constexpr int kOutputs = 24;
    static constexpr int kPreferredBlock = 512;
    static constexpr int kMinBlock = 64;
    static constexpr int kMaxBlock = 4096;
    static constexpr double kDefaultRate = 48000.0;
    // A schedule this far behind (after the process was held up) starts afresh from now
    // instead of bursting through the backlog.
    static constexpr int kMaxLagBlocks = 8;

    explicit CEmulatedDriver(std::shared_ptr<CHardwareModel> model);
    ~CEmulatedDriver() override;

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

    // Readable from any thread while running.
    // Blocks delivered since start().
    std::int64_t blockCount() const { return mBlocks.load(std::memory_order_acquire); }
    // Times the schedule fell kMaxLagBlocks behind and started afresh.
    int resyncCount() const { return mResyncs.load(std::memory_order_relaxed); }
    // RMS of the last block of an output channel (full scale 1.0); 0 for a channel not opened.
    float outputRms(int channel) const;

private:
    struct Channel {
        bool input = false;
        std::int32_t number = 0;
        std::uint8_t* halves[2] = {nullptr, nullptr};
    };

    bool prepareScene();
    void layOutBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize);
    void run();
    void produceBlock();
    void renderInputs();
    void meterOutputs();
    bool validChannel(std::int32_t number, bool input) const;
    bool validBlock(std::int32_t frames) const;
    void setError(const char* text);

    std::shared_ptr<CHardwareModel> mModel;
    std::unique_ptr<CSoundScene> mScene;
    double mRate = kDefaultRate;
    bool mInitialised = false;
    char mError[124] = "";

    // Set up by createBuffers, read by the clock thread while it runs.
    std::vector<Channel> mChannels;
    std::vector<std::uint8_t> mMemory;
    std::vector<float> mScratch;                // kInputs render channels, then one of conversion
    std::array<float*, kInputs> mCapsules{};
    float* mConvert = nullptr;
    std::array<float, kInputs> mGains{};
    const ASIOCallbacks* mCallbacks = nullptr;
    int mBlock = 0;
    int mHalf = 0;

    std::thread mThread;
    std::atomic<bool> mStopRequested{false};
    std::atomic<std::int64_t> mBlocks{0};
    std::atomic<int> mResyncs{0};
    std::array<std::atomic<float>, kOutputs> mOutputRms{};
};
