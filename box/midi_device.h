#pragma once
// MIDI input and output devices. A device is closed, open or started; `open`, `start`,
// `stop` and `close` go in that order, and the checks refuse the rest with the layer's
// codes. A backend derives from midi_input_base_t or midi_output_base_t, which hold the
// checks and the input queue, and supplies only the platform calls.

#include "box/midi_msg_pool.h"

#include <boost/core/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

using midi_msg_list_t = std::vector<boost::shared_ptr<midi_msg_t>>;

class midi_input_dev_t : boost::noncopyable {
public:
    virtual ~midi_input_dev_t() = default;
    virtual std::string name() const = 0;
    virtual int open(boost::shared_ptr<midi_msg_pool_t> pool) = 0;
    virtual int close() = 0;
    virtual int start() = 0;
    virtual int stop() = 0;
    // Moves every message received since the last call to the end of `out`.
    virtual int read(midi_msg_list_t& out) = 0;
};

class midi_output_dev_t : boost::noncopyable {
public:
    virtual ~midi_output_dev_t() = default;
    virtual std::string name() const = 0;
    virtual int open() = 0;
    virtual int close() = 0;
    virtual int start() = 0;
    virtual int stop() = 0;
    virtual int send(boost::shared_ptr<midi_msg_t> msg) = 0;
};

enum class midi_dev_state_t { closed, open, started };

// Received bytes become messages from the pool given to `open` and wait in a queue
// reserved for as many messages as the pool holds, so `deliver`, called on the backend's
// own thread, never allocates. It takes the queue's lock only.
class midi_input_base_t : public midi_input_dev_t {
public:
    std::string name() const override { return mName; }
    int open(boost::shared_ptr<midi_msg_pool_t> pool) override;
    int close() override;
    int start() override;
    int stop() override;
    int read(midi_msg_list_t& out) override;
    midi_dev_state_t state() const { return mState.load(std::memory_order_acquire); }

protected:
    explicit midi_input_base_t(std::string name) : mName(std::move(name)) {}
    // Backend calls; each returns true on success. `backend_close` must be safe to call
    // after a failed `backend_open`, and a derived destructor calls `shut`.
    virtual bool backend_open() = 0;
    virtual bool backend_start() { return true; }
    virtual void backend_stop() {}
    virtual void backend_close() = 0;

    // Queues received bytes while started: a long message as it stands, a short one
    // through set_short. Dropped when the pool is empty or the bytes make no message.
    void deliver(const std::uint8_t* data, int size, bool isLong);
    int message_size() const;
    void shut();

private:
    const std::string mName;
    std::atomic<midi_dev_state_t> mState{midi_dev_state_t::closed};
    boost::shared_ptr<midi_msg_pool_t> mPool;
    std::mutex mLock;
    midi_msg_list_t mQueue;
};

class midi_output_base_t : public midi_output_dev_t {
public:
    std::string name() const override { return mName; }
    int open() override;
    int close() override;
    int start() override;
    int stop() override;
    int send(boost::shared_ptr<midi_msg_t> msg) override;
    midi_dev_state_t state() const { return mState.load(std::memory_order_acquire); }

protected:
    explicit midi_output_base_t(std::string name) : mName(std::move(name)) {}
    virtual bool backend_open() = 0;
    virtual void backend_close() = 0;
    // Hands a message to the platform: 0, -7 refused or -8 not ready.
    virtual int backend_send(const midi_msg_t& msg) = 0;
    void shut();

private:
    const std::string mName;
    std::atomic<midi_dev_state_t> mState{midi_dev_state_t::closed};
};
