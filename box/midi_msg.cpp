#include "box/midi_msg.h"

#include "box/midi_result.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr std::uint8_t kData = 0x7F;
constexpr std::uint8_t kSysexBegin = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;
} // namespace

midi_msg_t::midi_msg_t(int capacity)
    : mCapacity(std::max(capacity, kMinCapacity))
    , mData(new std::uint8_t[mCapacity]())
{
}

int midi_msg_t::short_size(std::uint8_t status)
{
    switch (status & 0xF0) {
    case 0x80: case 0x90: case 0xA0: case 0xB0: case 0xE0: return 3;
    case 0xC0: case 0xD0: return 2;
    default: break;
    }
    switch (status) {
    case 0xF2: return 3;
    case 0xF1: case 0xF3: return 2;
    case 0xF6: case 0xF8: case 0xF9: case 0xFA: case 0xFB: case 0xFC: case 0xFE: case 0xFF: return 1;
    default: return 0;
    }
}

void midi_msg_t::set_system(std::uint8_t status, int data1, int data2)
{
    mData[0] = status;
    mData[1] = static_cast<std::uint8_t>(data1 & kData);
    mData[2] = static_cast<std::uint8_t>(data2 & kData);
    mSize = short_size(status);
    mLong = false;
}

void midi_msg_t::set_channel(std::uint8_t status, int channel, int data1, int data2)
{
    set_system(static_cast<std::uint8_t>(status | (channel & 0x0F)), data1, data2);
}

void midi_msg_t::note_off(int channel, int note, int velocity) { set_channel(0x80, channel, note, velocity); }
void midi_msg_t::note_on(int channel, int note, int velocity) { set_channel(0x90, channel, note, velocity); }
void midi_msg_t::poly_pressure(int channel, int note, int pressure) { set_channel(0xA0, channel, note, pressure); }
void midi_msg_t::control_change(int channel, int controller, int value) { set_channel(0xB0, channel, controller, value); }
void midi_msg_t::program_change(int channel, int program) { set_channel(0xC0, channel, program, 0); }
void midi_msg_t::channel_pressure(int channel, int pressure) { set_channel(0xD0, channel, pressure, 0); }
void midi_msg_t::pitch_bend(int channel, int low, int high) { set_channel(0xE0, channel, low, high); }
void midi_msg_t::time_code(int value) { set_system(0xF1, value, 0); }
void midi_msg_t::song_position(int low, int high) { set_system(0xF2, low, high); }
void midi_msg_t::song_select(int song) { set_system(0xF3, song, 0); }
void midi_msg_t::tune_request() { set_system(0xF6, 0, 0); }
void midi_msg_t::clock() { set_system(0xF8, 0, 0); }
void midi_msg_t::tick() { set_system(0xF9, 0, 0); }
void midi_msg_t::start() { set_system(0xFA, 0, 0); }
void midi_msg_t::resume() { set_system(0xFB, 0, 0); }
void midi_msg_t::stop() { set_system(0xFC, 0, 0); }
void midi_msg_t::active_sensing() { set_system(0xFE, 0, 0); }
void midi_msg_t::reset() { set_system(0xFF, 0, 0); }

int midi_msg_t::copy(const std::uint8_t* data, int size, bool isLong)
{
    if (size > 0)
        std::memcpy(mData.get(), data, static_cast<std::size_t>(size));
    mSize = std::max(size, 0);
    mLong = isLong;
    return midi_ok;
}

int midi_msg_t::set_sysex(const std::uint8_t* data, int size)
{
    if (size > mCapacity)
        return midi_sysex_too_long;
    if (size < 2 || data[0] != kSysexBegin || data[size - 1] != kSysexEnd)
        return midi_sysex_unframed;
    return copy(data, size, true);
}

int midi_msg_t::set_long(const std::uint8_t* data, int size)
{
    return size > mCapacity ? midi_sysex_too_long : copy(data, size, true);
}

int midi_msg_t::set_bytes(const std::uint8_t* data, int size, bool isLong)
{
    return size > mCapacity ? midi_bytes_too_long : copy(data, size, isLong);
}

int midi_msg_t::set_short(std::uint8_t status, std::uint8_t data1, std::uint8_t data2)
{
    const int size = short_size(status);
    if (size == 0 || (size > 1 && (data1 & 0x80)) || (size > 2 && (data2 & 0x80)))
        return midi_bad_short;
    mData[0] = status;
    mData[1] = size > 1 ? data1 : 0;
    mData[2] = size > 2 ? data2 : 0;
    mSize = size;
    mLong = false;
    return midi_ok;
}

void midi_msg_t::clear()
{
    mSize = 0;
    mLong = false;
}
