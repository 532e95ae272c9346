#include "session/CAudioDevice.h"

#include "device/vkHost.h"

#include <QStringList>

#include <algorithm>

namespace {
const QString kNotAvailable = QStringLiteral("No ASIO device is available.\nPlease try connecting the hardware or try rebooting");
const QString kTakesFinished =
    QStringLiteral("The stream has stopped; a take in progress is finished in its file with everything recorded until then.");
const QString kDeviceLost = QStringLiteral("The audio device \"%1\" is gone: %2.\n%3\nPress Play to open it again once it is back.");
const QString kDeviceReset =
    QStringLiteral("The audio device \"%1\" asked to be reset%2 and has been opened again.\n%3\nPress Play to go on.");
const QString kStillLost = QStringLiteral("The audio device \"%1\" is still not available: %2.");

QString driverMessage()
{
    return QString::fromUtf8(hostDriverMessage());
}

// What a driver that said nothing did: asked for the reset that failed.
QString failedReset()
{
    const QString why = driverMessage();
    return QStringLiteral("it asked to be reset and could not be opened again") +
           (why.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(why));
}

// The box's output groups by bit: first channel and channel count.
struct Group {
    int bit;
    int first;
    int count;
};
constexpr std::array<Group, 3> kGroups{{{1, 0, 2}, {2, 8, 8}, {4, 16, 8}}};

bool isGroup(int bits)
{
    return bits == 1 || bits == 2 || bits == 4;
}

void appendGroup(std::vector<int>& list, int bit)
{
    for (const Group& g : kGroups)
        if (g.bit == bit)
            for (int c = 0; c < g.count; ++c)
                list.push_back(g.first + c);
}

// The beams' channels on the box: the first group, then the others that are active.
void appendBoxGroups(std::vector<int>& list, CZircSettings& s, int groupMask)
{
    if (!isGroup(s.mZibFirstGroup) || (s.mZibFirstGroup & groupMask) == 0)
        s.mZibFirstGroup = 2;
    appendGroup(list, s.mZibFirstGroup);
    // Only groups the box has count as active.
    const int active = s.mZibActiveGroups & groupMask;
    if (active == 7) {
        const int second = s.mZibFirstGroup == 2 ? 4 : 2;
        appendGroup(list, second);
        appendGroup(list, 7 & ~s.mZibFirstGroup & ~second);
        return;
    }
    const int other = active ^ s.mZibFirstGroup;
    if (isGroup(other) && other != s.mZibFirstGroup)
        appendGroup(list, other);
}

// The beams' channels on any other driver: count and offset, as far as they exist.
void appendNumbered(std::vector<int>& list, const CZircSettings& s, int availableOutputs)
{
    const int count = std::min(s.mNumOutputChannels, availableOutputs);
    for (int i = 0; i < count; ++i) {
        const int c = s.mOutputChannelOffset + i;
        if (c >= 0 && c < availableOutputs)
            list.push_back(c);
    }
}
} // namespace

CAudioDevice::CAudioDevice(Warn warn, Choose choose) : mWarn(std::move(warn)), mChoose(std::move(choose)) {}

void CAudioDevice::open(CZircSettings& settings)
{
    selectDriver();
    mMaxInputs = 32;
    mMaxOutputs = 18;
    mAvailableInputs = isOpen() ? std::min(hostDriverInputs(), mMaxInputs) : mMaxInputs;
    mAvailableOutputs = isOpen() ? std::min(hostDriverOutputs(), mMaxOutputs) : mMaxOutputs;
    setSampleRate(mRequestedRate);
    setBlockLength(mRequestedBlock);
    setInputs();
    setOutputs(settings);
}

int CAudioDevice::selectDriver()
{
    mDevice.clear();
    hostInit();
    QStringList names;
    for (int i = 0; i < hostDriverCount(); ++i)
        names << QString::fromUtf8(hostDriverName(i));
    if (names.isEmpty()) {
        warn(QStringLiteral("No ASIO device available.\nPlease try connecting the hardware or try rebooting"));
        return 1;
    }
    QString name = mDefaultDevice;
    if (!names.contains(name) || hostLoadDriver(name.toUtf8().constData()) != 0) {
        const std::optional<QString> chosen = mChoose ? mChoose(names) : std::nullopt;
        if (!chosen || chosen->isEmpty()) {
            warn(QStringLiteral("No ASIO device selected"));
            return 1;
        }
        if (hostLoadDriver(chosen->toUtf8().constData()) != 0) {
            warn(kNotAvailable);
            return 1;
        }
        name = *chosen;
    }
    const int r = hostOpen();
    if (r != 0) {
        warn(kNotAvailable);
        return r + kDriverOffset;
    }
    mDevice = name;
    return 0;
}

int CAudioDevice::setSampleRate(float request)
{
    if (!isOpen()) {
        mSampleRate = request == 0.0f ? 48000.0f : request;
        return request == 0.0f ? 0 : 1;
    }
    int result = 0;
    if (request != 0.0f) {
        if (hostCanSampleRate(request) == 0) {
            result = 2;
        } else if (const int r = hostSetSampleRate(request); r != 0) {
            warn(QStringLiteral("Can't set sample rate.\nPlease close other applications or try rebooting"));
            result = r + kDriverOffset;
        }
    }
    mSampleRate = static_cast<float>(hostSampleRate());
    return result;
}

int CAudioDevice::setBlockLength(int request)
{
    if (request == 0) {
        mBlockLength = isOpen() ? hostBlockLength() : 8192;
        return 0;
    }
    if (!isOpen()) {
        mBlockLength = request;
        return 1;
    }
    int result = 0;
    if (const int r = hostSetBlockLength(request); r != 0) {
        warn(QStringLiteral("Can't set buffer length.\nPlease try rebooting"));
        result = r + kDriverOffset;
    }
    mBlockLength = hostBlockLength();
    return result;
}

int CAudioDevice::setInputs()
{
    mInputChannelOffset = 0;
    mNumDriverInputs = mDevice == mDefaultDevice ? mMaxInputs : mAvailableInputs;
    if (!isOpen())
        return 1;
    std::vector<int> channels(static_cast<std::size_t>(mNumDriverInputs));
    for (int i = 0; i < mNumDriverInputs; ++i)
        channels[static_cast<std::size_t>(i)] = mInputChannelOffset + i;
    if (const int r = hostSetInputs(channels.data(), mNumDriverInputs); r != 0) {
        warn(QStringLiteral("Couldn't set inputs...\nPlease try connecting the hardware or try rebooting"));
        return r + kDriverOffset;
    }
    return 0;
}

CAudioDevice::OutputList CAudioDevice::buildOutputList(CZircSettings& s, bool boxGroups, int groupMask,
                                                       int availableOutputs)
{
    OutputList out;
    if (boxGroups)
        appendBoxGroups(out.channels, s, groupMask);
    else
        appendNumbered(out.channels, s, availableOutputs);
    out.numBeamOutputs = static_cast<int>(out.channels.size());
    s.mNumOutputChannels = out.numBeamOutputs;

    out.numMonitorOutputs = std::clamp(s.mNumMonitorChannels, 0, kMaxMonitorOutputs);
    if (s.mMonitorChannelOffset < 0 || s.mMonitorChannelOffset + out.numMonitorOutputs > availableOutputs)
        s.mMonitorChannelOffset = 0;
    for (int k = 0; k < out.numMonitorOutputs; ++k) {
        const int c = s.mMonitorChannelOffset + k;
        const auto at = std::find(out.channels.begin(), out.channels.end(), c);
        out.monitorOutputs[static_cast<std::size_t>(k)] = static_cast<int>(at - out.channels.begin());
        if (at == out.channels.end())
            out.channels.push_back(c);
    }
    return out;
}

int CAudioDevice::setOutputs(CZircSettings& settings)
{
    mOutputs = buildOutputList(settings, mDevice == mDefaultDevice, mZibGroupMask, mAvailableOutputs);
    mNumDriverOutputs = static_cast<int>(mOutputs.channels.size());
    if (!isOpen())
        return 1;
    if (const int r = hostSetOutputs(mOutputs.channels.data(), mNumDriverOutputs); r != 0) {
        warn(QStringLiteral("Couldn't set outputs...\nPlease check output settings, connect the hardware or try "
                            "rebooting"));
        return r + kDriverOffset;
    }
    return 0;
}

bool CAudioDevice::isOpen() const
{
    return hostIsOpen();
}

bool CAudioDevice::isDefaultDevice() const
{
    return isOpen() && mDevice == mDefaultDevice;
}

bool CAudioDevice::resetRequested() const
{
    return hostResetRequested();
}

// The driver's own words go first: once it is reloaded they are gone.
CAudioDevice::Recovery CAudioDevice::serveReset()
{
    const QString name = mDevice;
    const QString said = driverMessage();
    if (hostReset() != 0 || !isOpen()) {
        mLostDevice = name;
        mDevice.clear();
        warn(kDeviceLost.arg(name, said.isEmpty() ? failedReset() : said, kTakesFinished));
        return Recovery::Lost;
    }
    warn(kDeviceReset.arg(name, said.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(said), kTakesFinished));
    return follow(name);
}

CAudioDevice::Recovery CAudioDevice::reopen()
{
    if (!lost())
        return isOpen() ? Recovery::Same : Recovery::Lost;
    if (hostReset() != 0 || !isOpen()) {
        warn(kStillLost.arg(mLostDevice, driverMessage()));
        return Recovery::Lost;
    }
    const QString name = mLostDevice;
    mLostDevice.clear();
    return follow(name);
}

CAudioDevice::Recovery CAudioDevice::follow(const QString& name)
{
    const Format before = format();
    mDevice = name;
    mSampleRate = static_cast<float>(hostSampleRate());
    mBlockLength = hostBlockLength();
    mAvailableInputs = std::min(hostDriverInputs(), mMaxInputs);
    mAvailableOutputs = std::min(hostDriverOutputs(), mMaxOutputs);
    return format() == before ? Recovery::Same : Recovery::Changed;
}

void CAudioDevice::warn(const QString& text) const
{
    if (mWarn)
        mWarn(text);
}
