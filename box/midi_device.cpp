#include "box/midi_device.h"

#include "box/midi_result.h"

int midi_input_base_t::open(boost::shared_ptr<midi_msg_pool_t> pool)
{
    if (state() != midi_dev_state_t::closed)
        return midi_already_open;
    if (!pool)
        return midi_open_refused;
    mPool = std::move(pool);
    mQueue.reserve(static_cast<std::size_t>(mPool->count()));
    if (!backend_open()) {
        backend_close();
        mPool.reset();
        return midi_open_refused;
    }
    mState.store(midi_dev_state_t::open, std::memory_order_release);
    return midi_ok;
}

int midi_input_base_t::start()
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now == midi_dev_state_t::started)
        return midi_already_started;
    if (!backend_start())
        return midi_start_refused;
    mState.store(midi_dev_state_t::started, std::memory_order_release);
    return midi_ok;
}

int midi_input_base_t::stop()
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now != midi_dev_state_t::started)
        return midi_not_started;
    mState.store(midi_dev_state_t::open, std::memory_order_release);
    backend_stop();
    return midi_ok;
}

int midi_input_base_t::close()
{
    if (state() == midi_dev_state_t::closed)
        return midi_not_open;
    if (state() == midi_dev_state_t::started)
        stop();
    backend_close();
    mState.store(midi_dev_state_t::closed, std::memory_order_release);
    std::lock_guard<std::mutex> lock(mLock);
    mQueue.clear();
    return midi_ok;
}

void midi_input_base_t::shut()
{
    if (state() != midi_dev_state_t::closed)
        close();
}

int midi_input_base_t::read(midi_msg_list_t& out)
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now != midi_dev_state_t::started)
        return midi_not_started;
    std::lock_guard<std::mutex> lock(mLock);
    for (auto& msg : mQueue)
        out.push_back(std::move(msg));
    mQueue.clear();
    return midi_ok;
}

int midi_input_base_t::message_size() const { return mPool ? mPool->message_size() : 0; }

void midi_input_base_t::deliver(const std::uint8_t* data, int size, bool isLong)
{
    if (state() != midi_dev_state_t::started || size <= 0)
        return;
    boost::shared_ptr<midi_msg_t> msg;
    if (mPool->get(msg) != midi_ok)
        return;
    const int filled = isLong ? msg->set_bytes(data, size, true)
                              : msg->set_short(data[0], size > 1 ? data[1] : 0, size > 2 ? data[2] : 0);
    if (filled != midi_ok)
        return;
    std::lock_guard<std::mutex> lock(mLock);
    // The queue never holds more than the pool has, so this never reallocates.
    if (mQueue.size() < mQueue.capacity())
        mQueue.push_back(std::move(msg));
}

int midi_output_base_t::open()
{
    if (state() != midi_dev_state_t::closed)
        return midi_already_open;
    if (!backend_open()) {
        backend_close();
        return midi_open_refused;
    }
    mState.store(midi_dev_state_t::open, std::memory_order_release);
    return midi_ok;
}

int midi_output_base_t::start()
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now == midi_dev_state_t::started)
        return midi_already_started;
    mState.store(midi_dev_state_t::started, std::memory_order_release);
    return midi_ok;
}

int midi_output_base_t::stop()
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now != midi_dev_state_t::started)
        return midi_not_started;
    mState.store(midi_dev_state_t::open, std::memory_order_release);
    return midi_ok;
}

int midi_output_base_t::close()
{
    if (state() == midi_dev_state_t::closed)
        return midi_not_open;
    backend_close();
    mState.store(midi_dev_state_t::closed, std::memory_order_release);
    return midi_ok;
}

void midi_output_base_t::shut()
{
    if (state() != midi_dev_state_t::closed)
        close();
}

int midi_output_base_t::send(boost::shared_ptr<midi_msg_t> msg)
{
    const midi_dev_state_t now = state();
    if (now == midi_dev_state_t::closed)
        return midi_not_open;
    if (now != midi_dev_state_t::started)
        return midi_not_started;
    if (!msg)
        return midi_send_refused;
    return backend_send(*msg);
}
