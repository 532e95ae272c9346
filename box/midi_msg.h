#pragma once
// One MIDI message: a short channel or system message, or a message of any length (System
// Exclusive or a fragment of one). Messages come from a midi_msg_pool_t and return to it
// by themselves when the last shared pointer lets go; filling one never allocates.

#include <boost/core/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

class midi_msg_pool_t;
struct midi_msg_pool_record_t;

class midi_msg_t : boost::noncopyable {
public:
    // The smallest capacity a message has; a smaller request is raised to it.
    static constexpr int kMinCapacity = 8;

    explicit midi_msg_t(int capacity);

    void note_off(int channel, int note, int velocity);
    void note_on(int channel, int note, int velocity);
    void poly_pressure(int channel, int note, int pressure);
    void control_change(int channel, int controller, int value);
    void program_change(int channel, int program);
    void channel_pressure(int channel, int pressure);
    void pitch_bend(int channel, int low, int high);
    void time_code(int value);
    void song_position(int low, int high);
    void song_select(int song);
    void tune_request();
    void clock();
    void tick();
    void start();
    void resume();
    void stop();
    void active_sensing();
    void reset();

    // A whole System Exclusive message, 0xF0 to 0xF7: -9 when too long, -10 unframed.
    int set_sysex(const std::uint8_t* data, int size);
    // A long message without the framing check (a fragment): -9 when too long.
    int set_long(const std::uint8_t* data, int size);
    // Any bytes, long or short as told: -11 when too long.
    int set_bytes(const std::uint8_t* data, int size, bool isLong);
    // A short message from its status and data bytes; the size follows from the status.
    // -16 for a status that has no short form or a data byte with its high bit set.
    int set_short(std::uint8_t status, std::uint8_t data1, std::uint8_t data2);
    void clear();

    const std::uint8_t* data() const { return mData.get(); }
    int size() const { return mSize; }
    int capacity() const { return mCapacity; }
    bool is_long() const { return mLong; }

    // Bytes of a short message with this status, 0 when the status has no short form.
    static int short_size(std::uint8_t status);

private:
    friend class midi_msg_pool_t;
    friend struct midi_msg_pool_record_t;

    void set_channel(std::uint8_t status, int channel, int data1, int data2);
    void set_system(std::uint8_t status, int data1, int data2);
    int copy(const std::uint8_t* data, int size, bool isLong);

    bool mLong = false;
    int mSize = 0;
    const int mCapacity;
    std::unique_ptr<std::uint8_t[]> mData;
    // The pool that handed the message out, held while the message is out so that the
    // pool outlives it.
    boost::shared_ptr<midi_msg_pool_record_t> mPool;
    // Storage for the shared pointer's control block, so that handing out a message
    // allocates nothing; see midi_msg_pool_t.
    static constexpr std::size_t kControlBlockSize = 96;
    alignas(std::max_align_t) unsigned char mControlBlock[kControlBlockSize];
};
