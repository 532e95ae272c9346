#include "box/CZibControl.h"

#include "box/CZibMessage.h"
#include "box/midi_result.h"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace {
// The last device of the box's name, all of its characters.
template <class List>
typename List::value_type lastNamed(const List& list)
{
    for (auto it = list.rbegin(); it != list.rend(); ++it)
        if ((*it)->name() == kZibPortName)
            return *it;
    return {};
}

// Opens and starts a device: 0, or 1 when there is none, 2 when it doesn't open, 3 when
// it doesn't start (and is closed again).
template <class Device, class... OpenArgs>
int startDevice(const boost::shared_ptr<Device>& device, const OpenArgs&... args)
{
    if (!device)
        return 1;
    if (device->open(args...) != midi_ok)
        return 2;
    if (device->start() != midi_ok) {
        device->close();
        return 3;
    }
    return 0;
}

// Set-up values sent once an array answers.
constexpr std::string_view kArraySetup = "000001FE";
} // namespace

CZibControl::CZibControl(QObject* parent, midi_port_directory_t ports)
    : QThread(parent)
    , mPool(boost::make_shared<midi_msg_pool_t>(kPoolMessages, kPoolMessageSize))
    , mParser(boost::make_shared<midi_msg_parser_t>(mPool))
    , mPorts(std::move(ports))
{
    mIncoming.reserve(kPoolMessages);
}

CZibControl::~CZibControl()
{
    mStop.store(true);
    wait();
    closePort();
}

// 0 when both devices are open and started, otherwise where it stopped (1 to 3 the
// output, 4 to 6 the input), with nothing left open.
int CZibControl::openPort()
{
    midi_output_list_t outputs;
    mPorts.outputs(outputs);
    const boost::shared_ptr<midi_output_dev_t> output = lastNamed(outputs);
    if (const int result = startDevice(output))
        return result;
    midi_input_list_t inputs;
    mPorts.inputs(inputs);
    const boost::shared_ptr<midi_input_dev_t> input = lastNamed(inputs);
    if (const int result = startDevice(input, mPool)) {
        output->stop();
        output->close();
        return 3 + result;
    }
    QMutexLocker lock(&mSendLock);
    mOutput = output;
    mInput = input;
    return 0;
}

void CZibControl::closePort()
{
    mIncoming.clear();
    QMutexLocker lock(&mSendLock);
    if (mInput) {
        mInput->stop();
        mInput->close();
    }
    if (mOutput) {
        mOutput->stop();
        mOutput->close();
    }
}

void CZibControl::run()
{
    if (openPort() != 0) {
        mPortState = 0;
        emit connectionProblems();
        return;
    }
    mPortState = 1;
    if (send(cmdExtensionState, kZibTargetBox, CZibMessage::RQ) == sendOk)
        send(cmdArrayState, kZibTargetBox, CZibMessage::RQ);
    midi_msg_list_t received;
    received.reserve(kPoolMessages);
    do {
        poll(received);
    } while (!mStop.load());
}

void CZibControl::poll(midi_msg_list_t& received)
{
    mInput->read(received);
    if (received.empty()) {
        msleep(kPollMs);
    } else {
        for (const auto& msg : received)
            mParser->feed(msg->data(), msg->size(), mIncoming);
        received.clear();
    }
    if (!mIncoming.empty()) {
        mMissedPolls = 0;
        for (const auto& msg : mIncoming)
            handle(*msg);
        mIncoming.clear();
    }
    countMissedPoll();
}

// Requests unanswered for more than kMaxMissedPolls polls in a row give the box up.
void CZibControl::countMissedPoll()
{
    {
        QMutexLocker lock(&mSendLock);
        if (mPending.isEmpty()) {
            mMissedPolls = 0;
            return;
        }
        if (++mMissedPolls <= kMaxMissedPolls)
            return;
        mPending.clear();
        mMissedPolls = 0;
    }
    mPortState = 0;
    mArrayState = 0;
    mExtensionState = 0;
    mExtensionKind = -2;
    mStartupDone = true;
    emit connectionProblems();
}

void CZibControl::handle(const midi_msg_t& msg)
{
    CZibMessage answer;
    if (CZibMessage::decode(msg.data(), msg.size(), answer) != 0)
        return;
    act(answer);
    QMutexLocker lock(&mSendLock);
    mPending.removeOne(static_cast<int>(answer.mSequence));
}

void CZibControl::act(const CZibMessage& answer)
{
    if ((answer.mCommand & kZibCommandGroupMask) == cmdReadMemory) {
        actOnMemory(answer);
    } else if (answer.mCommand == cmdExtensionState) {
        actOnExtensionState(answer.number());
    } else if (answer.mCommand == cmdExtensionKind) {
        const std::uint32_t kind = answer.number();
        mExtensionKind = kind >= 1 && kind <= 3 ? static_cast<int>(kind) : -2;
        emit msgConfirmed(cmdExtensionKind, mExtensionKind);
    } else if (answer.mCommand == cmdArrayState) {
        actOnArrayState(answer.number());
    }
    if (!mStartupDone && mArrayState != -1 && mExtensionKind != -1)
        mStartupDone = true;
}

void CZibControl::actOnExtensionState(std::uint32_t value)
{
    if (value == 0) {
        mExtensionState = 0;
        mExtensionKind = 0;
    } else {
        mExtensionState = 1;
        send(cmdExtensionKind, kZibTargetBox, CZibMessage::RQ);
    }
    emit msgConfirmed(cmdExtensionState, mExtensionState);
}

void CZibControl::actOnArrayState(std::uint32_t value)
{
    if (value == 0) {
        mArrayState = 0;
    } else {
        mArrayState = 1;
        send(cmdArraySetup, kZibTargetArray, CZibMessage::CH, kArraySetup);
        send(cmdReadMemory, kZibTargetArray, CZibMessage::RQ);
        const std::uint8_t zeros[kValues] = {};
        sendValues(cmdBulkClear, zeros, kValues);
    }
    emit msgConfirmed(cmdArrayState, mArrayState);
}

void CZibControl::actOnMemory(const CZibMessage& answer)
{
    int next = 0;
    {
        QMutexLocker lock(&mGainLock);
        next = mCalibration.take(static_cast<int>(answer.mCommand & ~kZibCommandGroupMask), answer.payload());
    }
    if (next >= 0)
        send(cmdReadMemory + static_cast<std::uint32_t>(next), kZibTargetArray, CZibMessage::RQ);
    else
        emit msgConfirmed(cmdReadMemory, mCalibration.mValid ? 1 : 0);
}

int CZibControl::send(std::uint32_t command, std::uint8_t target, int type, std::string_view payload)
{
    QMutexLocker lock(&mSendLock);
    CZibMessage message;
    message.mTarget = target;
    message.mType = type;
    message.mSequence = ++mSequence;
    message.mCommand = command;
    std::uint8_t bytes[CZibMessage::kSize];
    const bool built = message.setPayload(payload) && message.encode(bytes) == 0;
    boost::shared_ptr<midi_msg_t> msg;
    if (mPool->get(msg) != midi_ok)
        return sendNoMessage;
    if (!built || msg->set_bytes(bytes, CZibMessage::kSize, true) != midi_ok)
        return sendUnfilled;
    if (!mOutput || mOutput->send(msg) != midi_ok)
        return sendRefused;
    mPending.append(static_cast<int>(mSequence));
    return sendOk;
}

// A list of byte values as two hex digits each, a change to the array.
int CZibControl::sendValues(std::uint32_t command, const std::uint8_t* values, int count)
{
    if (count > kValues)
        return sendTooMany;
    char text[2 * kValues];
    for (int i = 0; i < count; ++i)
        CZibMessage::writeHex(text + 2 * i, values[i], 2);
    return send(command, kZibTargetArray, CZibMessage::CH, {text, 2 * static_cast<std::size_t>(count)});
}

int CZibControl::setPreampGain(float dB, bool useCalibration)
{
    QMutexLocker lock(&mGainLock);
    const bool calibrated = useCalibration && mCalibration.mValid
                            && mCalibration.mDb.size() >= static_cast<std::size_t>(kValues);
    std::uint8_t values[kValues];
    for (int i = 0; i < kValues; ++i)
        values[i] = CZibMessage::encodeGain(calibrated ? dB + mCalibration.mDb[static_cast<std::size_t>(i ^ 1)] : dB);
    return sendValues(cmdBulkPreamp, values, kValues);
}

int CZibControl::calibration(float* out, int count)
{
    QMutexLocker lock(&mGainLock);
    const int n = std::min(count, static_cast<int>(mCalibration.mDb.size()));
    std::copy_n(mCalibration.mDb.begin(), std::max(n, 0), out);
    return mCalibration.mValid ? 0 : 1;
}
