#pragma once
// Turns a MIDI byte stream into messages: running status, real-time bytes anywhere (also
// inside other messages), System Exclusive messages longer than the pool's messages in
// fragments. Incomplete messages cut by a status byte are dropped. It belongs to one
// thread, the reader of an input device, and takes no lock of its own.

#include "box/midi_msg_pool.h"

#include <boost/core/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <memory>
#include <vector>

class midi_msg_parser_t : boost::noncopyable {
public:
    explicit midi_msg_parser_t(boost::shared_ptr<midi_msg_pool_t> pool);

    // Appends every message that the bytes complete to `out`; a message for which the
    // pool has no room is lost. Always 0.
    int feed(const std::uint8_t* data, int size, std::vector<boost::shared_ptr<midi_msg_t>>& out);

private:
    using message_list = std::vector<boost::shared_ptr<midi_msg_t>>;

    enum tState { Idle = 0, LastData = 1, FirstData = 2, Sysex = 3 };

    void idle_status(std::uint8_t byte, message_list& out);
    void idle_data(std::uint8_t byte, message_list& out);
    void short_data(std::uint8_t byte, message_list& out);
    void sysex_byte(std::uint8_t byte, message_list& out);
    void emit_short(std::uint8_t status, message_list& out);
    void emit_sysex(message_list& out);

    boost::shared_ptr<midi_msg_pool_t> mPool;
    tState mState = Idle;
    std::uint8_t mRunningStatus = 0xF6;
    int mCount = 0;
    const int mBufferSize;
    std::unique_ptr<std::uint8_t[]> mBuffer;
};
