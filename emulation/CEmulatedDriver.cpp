#include "emulation/CEmulatedDriver.h"

#include "core/primitives/ipps.h"
#include "device/CDriverRegistry.h"
#include "emulation/vkEmulation.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <system_error>

namespace {

constexpr float kFullScale24 = 8388608.0f; // 2^23
constexpr int kBytes24 = 3;

// The box's output groups, in the order of its options.
struct OutputGroup {
    const char* label;
    int first;
    int count;
};
constexpr OutputGroup kOutputGroups[] = {{"headphone", 0, 2}, {"ADAT", 8, 8}, {"8-LO", 16, 8}};
constexpr int kUngrouped = static_cast<int>(std::size(kOutputGroups));

int outputGroupOf(int channel)
{
    for (int g = 0; g < kUngrouped; ++g)
        if (channel >= kOutputGroups[g].first && channel < kOutputGroups[g].first + kOutputGroups[g].count)
            return g;
    return kUngrouped;
}

const char* groupLabel(int group)
{
    return group < kUngrouped ? kOutputGroups[group].label : "out";
}

class CEmulatedBackend final : public CDriverBackend {
public:
    int rank() const override { return 0; }
    void listDrivers(std::vector<std::string>& names) const override
    {
        if (vkEmulation::attached())
            names.emplace_back(vkEmulation::kDriverName);
    }
    std::unique_ptr<IASIO> createDriver(const std::string& name) const override
    {
        if (name != vkEmulation::kDriverName)
            return nullptr;
        std::shared_ptr<CHardwareModel> model = vkEmulation::model();
        return model ? std::make_unique<CEmulatedDriver>(std::move(model)) : nullptr;
    }
};

const CEmulatedBackend gBackend;
const CDriverRegistration gRegistration(gBackend);

} // namespace

CEmulatedDriver::CEmulatedDriver(std::shared_ptr<CHardwareModel> model)
    : mModel(std::move(model))
{
}

CEmulatedDriver::~CEmulatedDriver()
{
    disposeBuffers();
}

ASIOBool CEmulatedDriver::init(void*)
{
    if (mInitialised)
        return ASIOTrue;
    if (!mModel) {
        setError("No emulated hardware is attached");
        return ASIOFalse;
    }
    mInitialised = true;
    return ASIOTrue;
}

void CEmulatedDriver::getDriverName(char* name)
{
    std::snprintf(name, 32, "%s", vkEmulation::kDriverName);
}

std::int32_t CEmulatedDriver::getDriverVersion()
{
    return 1;
}

void CEmulatedDriver::getErrorMessage(char* string)
{
    std::snprintf(string, 124, "%s", mError);
}

ASIOError CEmulatedDriver::start()
{
    if (!mInitialised)
        return ASE_NotPresent;
    if (!mCallbacks)
        return ASE_InvalidMode;
    if (mThread.joinable())
        return ASE_OK;
    if (!prepareScene()) // the rate may have changed since the buffers were made
        return ASE_NoMemory;
    mHalf = 0;
    mBlocks.store(0, std::memory_order_relaxed);
    mStopRequested.store(false, std::memory_order_relaxed);
    try {
        mThread = std::thread(&CEmulatedDriver::run, this);
    } catch (const std::system_error&) {
        setError("The emulated clock could not be started");
        return ASE_HWMalfunction;
    }
    return ASE_OK;
}

ASIOError CEmulatedDriver::stop()
{
    if (mThread.joinable()) {
        mStopRequested.store(true, std::memory_order_release);
        mThread.join();
    }
    return ASE_OK;
}

ASIOError CEmulatedDriver::getChannels(std::int32_t* numInputs, std::int32_t* numOutputs)
{
    if (!mInitialised)
        return ASE_NotPresent;
    *numInputs = kInputs;
    *numOutputs = kOutputs;
    return ASE_OK;
}

// Powers of two from kMinBlock to kMaxBlock (granularity -1).
ASIOError CEmulatedDriver::getBufferSize(std::int32_t* minSize, std::int32_t* maxSize, std::int32_t* preferredSize,
                                         std::int32_t* granularity)
{
    if (!mInitialised)
        return ASE_NotPresent;
    *minSize = kMinBlock;
    *maxSize = kMaxBlock;
    *preferredSize = kPreferredBlock;
    *granularity = -1;
    return ASE_OK;
}

// As with a double-buffered box: the inputs a callback gets were captured during the
// period before it, and the outputs it leaves play during the period after it.
ASIOError CEmulatedDriver::getLatencies(std::int32_t* inputLatency, std::int32_t* outputLatency)
{
    if (!mInitialised)
        return ASE_NotPresent;
    if (mBlock == 0)
        return ASE_InvalidMode;
    *inputLatency = mBlock;
    *outputLatency = mBlock;
    return ASE_OK;
}

ASIOError CEmulatedDriver::canSampleRate(ASIOSampleRate rate)
{
    return rate == 44100.0 || rate == 48000.0 ? ASE_OK : ASE_NoClock;
}

ASIOError CEmulatedDriver::getSampleRate(ASIOSampleRate* rate)
{
    if (!mInitialised)
        return ASE_NotPresent;
    *rate = mRate;
    return ASE_OK;
}

ASIOError CEmulatedDriver::setSampleRate(ASIOSampleRate rate)
{
    if (canSampleRate(rate) != ASE_OK)
        return ASE_NoClock;
    if (mThread.joinable())
        return ASE_InvalidMode;
    mRate = rate;
    return ASE_OK;
}

// The scene's capsule filters are designed for one rate. Building them takes a while, so
// it happens once the stream's rate is settled, when the buffers are made.
bool CEmulatedDriver::prepareScene()
{
    if (mScene && mScene->sampleRate() == mRate)
        return true;
    mScene.reset();
    auto scene = std::make_unique<CSoundScene>(mRate);
    CSoundScene::addDefaultSources(*scene);
    if (scene->sourceCount() == 0) {
        setError("The sound scene could not be built");
        return false;
    }
    mScene = std::move(scene);
    return true;
}

ASIOError CEmulatedDriver::getChannelInfo(ASIOChannelInfo* info)
{
    if (!mInitialised)
        return ASE_NotPresent;
    const bool input = info->isInput != 0;
    if (!validChannel(info->channel, input))
        return ASE_InvalidParameter;
    info->isActive = std::any_of(mChannels.begin(), mChannels.end(), [info, input](const Channel& c) {
        return c.input == input && c.number == info->channel;
    });
    info->type = ASIOSTInt24LSB;
    if (input) {
        info->channelGroup = 0;
        std::snprintf(info->name, sizeof info->name, "capsule %d", info->channel + 1);
        return ASE_OK;
    }
    const int group = outputGroupOf(info->channel);
    info->channelGroup = group;
    const int index = group < kUngrouped ? info->channel - kOutputGroups[group].first : info->channel;
    std::snprintf(info->name, sizeof info->name, "%s %d", groupLabel(group), index + 1);
    return ASE_OK;
}

ASIOError CEmulatedDriver::createBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize,
                                         const ASIOCallbacks* callbacks)
{
    if (!mInitialised)
        return ASE_NotPresent;
    disposeBuffers();
    if (numChannels < 0 || !callbacks || !callbacks->bufferSwitchTimeInfo || !validBlock(bufferSize))
        return ASE_InvalidMode;
    for (std::int32_t i = 0; i < numChannels; ++i)
        if (!validChannel(infos[i].channelNum, infos[i].isInput != 0))
            return ASE_InvalidParameter;
    if (!prepareScene())
        return ASE_NoMemory;
    layOutBuffers(infos, numChannels, bufferSize);
    mBlock = bufferSize;
    mCallbacks = callbacks;
    return ASE_OK;
}

// One block of memory for both halves of every channel, 3 bytes a sample; the scene
// renders all capsules into scratch channels of its own.
void CEmulatedDriver::layOutBuffers(ASIOBufferInfo* infos, std::int32_t numChannels, std::int32_t bufferSize)
{
    const std::size_t half = static_cast<std::size_t>(bufferSize) * kBytes24;
    mMemory.assign(static_cast<std::size_t>(numChannels) * 2 * half, 0);
    mScratch.assign(static_cast<std::size_t>(kInputs + 1) * bufferSize, 0.0f);
    for (int c = 0; c < kInputs; ++c)
        mCapsules[c] = mScratch.data() + static_cast<std::size_t>(c) * bufferSize;
    mConvert = mScratch.data() + static_cast<std::size_t>(kInputs) * bufferSize;
    mChannels.resize(numChannels);
    for (std::int32_t i = 0; i < numChannels; ++i) {
        Channel& c = mChannels[i];
        c.input = infos[i].isInput != 0;
        c.number = infos[i].channelNum;
        for (int h = 0; h < 2; ++h) {
            c.halves[h] = mMemory.data() + (static_cast<std::size_t>(i) * 2 + h) * half;
            infos[i].buffers[h] = c.halves[h];
        }
    }
}

ASIOError CEmulatedDriver::disposeBuffers()
{
    stop();
    mChannels.clear();
    mMemory.clear();
    mScratch.clear();
    mCapsules.fill(nullptr);
    mConvert = nullptr;
    mCallbacks = nullptr;
    mBlock = 0;
    for (std::atomic<float>& rms : mOutputRms)
        rms.store(0.0f, std::memory_order_relaxed);
    return ASE_OK;
}

// The box takes its outputs when the callback returns; there is nothing to post.
ASIOError CEmulatedDriver::outputReady()
{
    return ASE_NotPresent;
}

float CEmulatedDriver::outputRms(int channel) const
{
    return channel >= 0 && channel < kOutputs ? mOutputRms[channel].load(std::memory_order_relaxed) : 0.0f;
}

// Block k is due k periods after the start; the due time is computed from k, not summed,
// so rounding never accumulates.
void CEmulatedDriver::run()
{
    using Clock = std::chrono::steady_clock;
    const double periodNs = 1e9 * mBlock / mRate;
    Clock::time_point origin = Clock::now();
    std::int64_t due = 0;
    while (!mStopRequested.load(std::memory_order_acquire)) {
        ++due;
        const auto deadline = origin + std::chrono::nanoseconds(std::llround(periodNs * static_cast<double>(due)));
        std::this_thread::sleep_until(deadline);
        if (mStopRequested.load(std::memory_order_acquire))
            break;
        produceBlock();
        if (Clock::now() - deadline > std::chrono::nanoseconds(std::llround(periodNs * kMaxLagBlocks))) {
            origin = Clock::now();
            due = 0;
            mResyncs.fetch_add(1, std::memory_order_relaxed);
        }
    }
}

void CEmulatedDriver::produceBlock()
{
    renderInputs();
    mCallbacks->bufferSwitchTimeInfo(nullptr, mHalf, ASIOTrue);
    meterOutputs();
    mHalf ^= 1;
    mBlocks.fetch_add(1, std::memory_order_release);
}

// The capsules' gains are read from the model every block, so a preamp change is heard
// with the next one.
void CEmulatedDriver::renderInputs()
{
    for (int c = 0; c < kInputs; ++c)
        mGains[c] = mModel->capsuleGain(c);
    mScene->setCapsuleGains(mGains.data());
    mScene->render(mCapsules.data(), mBlock);
    for (const Channel& c : mChannels) {
        if (!c.input)
            continue;
        ippsMulC_32f(mCapsules[c.number], kFullScale24, mConvert, mBlock);
        ippsConvert_32f24s_Sfs(mConvert, c.halves[mHalf], mBlock, 0);
    }
}

void CEmulatedDriver::meterOutputs()
{
    for (const Channel& c : mChannels) {
        if (c.input)
            continue;
        ippsConvert_24s32f(c.halves[mHalf], mConvert, mBlock);
        double sum = 0.0;
        for (int i = 0; i < mBlock; ++i)
            sum += static_cast<double>(mConvert[i]) * mConvert[i];
        const double rms = std::sqrt(sum / mBlock) / kFullScale24;
        mOutputRms[c.number].store(static_cast<float>(rms), std::memory_order_relaxed);
    }
}

bool CEmulatedDriver::validChannel(std::int32_t number, bool input) const
{
    return number >= 0 && number < (input ? kInputs : kOutputs);
}

bool CEmulatedDriver::validBlock(std::int32_t frames) const
{
    return frames >= kMinBlock && frames <= kMaxBlock && (frames & (frames - 1)) == 0;
}

void CEmulatedDriver::setError(const char* text)
{
    std::snprintf(mError, sizeof mError, "%s", text);
}
