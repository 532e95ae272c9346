#pragma once
// A fixed pool of MIDI messages, all made at construction. `get` hands one out in a
// shared pointer whose last owner gives it back; neither step allocates, so messages can
// be taken and let go on a driver's callback thread. Taking and giving back are
// last-in-first-out. The pool's record lives until the last message is back.

#include "box/midi_msg.h"

#include <boost/core/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

class midi_msg_pool_t : boost::noncopyable {
public:
    // `messageSize` below midi_msg_t::kMinCapacity is raised to it.
    midi_msg_pool_t(int count, int messageSize);

    // A free message, cleared, or -12 when none is left.
    int get(boost::shared_ptr<midi_msg_t>& out);

    int count() const;
    int message_size() const;
    int in_use() const;

private:
    boost::shared_ptr<midi_msg_pool_record_t> mRecord;
};
