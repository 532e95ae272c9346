#include "box/midi_msg_parser.h"

#include "box/midi_result.h"

namespace {
constexpr std::uint8_t kSysexBegin = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;
constexpr std::uint8_t kRealTime = 0xF8;
constexpr std::uint8_t kUndefinedRealTime = 0xFD;

bool isStatus(std::uint8_t byte) { return byte & 0x80; }
} // namespace

midi_msg_parser_t::midi_msg_parser_t(boost::shared_ptr<midi_msg_pool_t> pool)
    : mPool(std::move(pool))
    , mBufferSize(mPool->message_size())
    , mBuffer(new std::uint8_t[mBufferSize]())
{
}

int midi_msg_parser_t::feed(const std::uint8_t* data, int size, message_list& out)
{
    for (int i = 0; i < size; ++i) {
        const std::uint8_t byte = data[i];
        if (byte >= kRealTime) {
            boost::shared_ptr<midi_msg_t> msg;
            if (byte != kUndefinedRealTime && mPool->get(msg) == midi_ok && msg->set_short(byte, 0, 0) == midi_ok)
                out.push_back(std::move(msg));
            continue;
        }
        switch (mState) {
        case Idle:
            isStatus(byte) ? idle_status(byte, out) : idle_data(byte, out);
            break;
        case FirstData:
        case LastData:
            if (isStatus(byte)) {
                mState = Idle;
                idle_status(byte, out);
            } else {
                short_data(byte, out);
            }
            break;
        case Sysex:
            sysex_byte(byte, out);
            break;
        }
    }
    return midi_ok;
}

void midi_msg_parser_t::idle_status(std::uint8_t byte, message_list& out)
{
    if (byte == kSysexEnd)
        return;
    mRunningStatus = byte;
    if (byte == kSysexBegin) {
        mBuffer[0] = byte;
        mCount = 1;
        mState = Sysex;
        return;
    }
    const int size = midi_msg_t::short_size(byte);
    if (size < 2) {
        // 0xF4 and 0xF5 are undefined; 0xF6 is complete in itself.
        mCount = 0;
        if (size == 1)
            emit_short(byte, out);
        return;
    }
    mBuffer[0] = byte;
    mCount = 1;
    mState = size == 3 ? FirstData : LastData;
}

// A data byte with no message open continues the running status.
void midi_msg_parser_t::idle_data(std::uint8_t byte, message_list& out)
{
    if (mRunningStatus == kSysexBegin) {
        mBuffer[0] = kSysexBegin;
        mCount = 1;
        mState = Sysex;
        sysex_byte(byte, out);
        return;
    }
    const int size = midi_msg_t::short_size(mRunningStatus);
    if (size < 2)
        return;
    mBuffer[0] = mRunningStatus;
    mCount = 1;
    mState = size == 3 ? FirstData : LastData;
    short_data(byte, out);
}

// Every short message returns to idle when complete, the system common ones too, so that
// further data bytes start over from the running status instead of running on.
void midi_msg_parser_t::short_data(std::uint8_t byte, message_list& out)
{
    mBuffer[mCount++] = byte;
    if (mState == FirstData) {
        mState = LastData;
        return;
    }
    emit_short(mBuffer[0], out);
    mState = Idle;
}

void midi_msg_parser_t::sysex_byte(std::uint8_t byte, message_list& out)
{
    if (isStatus(byte)) {
        // Any status closes the message and is consumed by it.
        mBuffer[mCount++] = kSysexEnd;
        emit_sysex(out);
        mState = Idle;
        return;
    }
    mBuffer[mCount++] = byte;
    if (mCount == mBufferSize)
        emit_sysex(out);
}

void midi_msg_parser_t::emit_short(std::uint8_t status, message_list& out)
{
    boost::shared_ptr<midi_msg_t> msg;
    if (mPool->get(msg) == midi_ok && msg->set_short(status, mBuffer[1], mBuffer[2]) == midi_ok)
        out.push_back(std::move(msg));
}

// Sends what the buffer holds: a whole message, or a fragment of a longer one.
void midi_msg_parser_t::emit_sysex(message_list& out)
{
    boost::shared_ptr<midi_msg_t> msg;
    if (mPool->get(msg) == midi_ok) {
        if (msg->set_sysex(mBuffer.get(), mCount) != midi_ok)
            msg->set_long(mBuffer.get(), mCount);
        out.push_back(std::move(msg));
    }
    mCount = 0;
}
