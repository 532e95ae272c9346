#pragma once
// The interface box in software: an input and an output device under the box's port
// name that answer the box's protocol from a CHardwareModel, as the real box would. What
// the host sends goes straight to the box on the sender's thread; the answer waits in the
// input device's queue. Requests: extension state and kind, array state, memory reads
// (a version-1 calibration block of the model's capsule errors); changes: array set-up,
// bulk clear and preamp gains, written into the model. Nothing here allocates after
// `open`. A silent box takes every message and answers none. The box is there for as
// long as its owner holds it: once it is let go, its output refuses every send, as a
// box that has been unplugged.

#include "box/CZibMessage.h"
#include "box/midi_device.h"
#include "emulation/CHardwareModel.h"

#include <boost/shared_ptr.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

class emulated_box_input_t;
class emulated_box_output_t;

class emulated_box_t : boost::noncopyable {
public:
    // Size of the memory that reads are served from; beyond it the box reads zeros.
    static constexpr int kMemorySize = 96;

    static boost::shared_ptr<emulated_box_t> create(boost::shared_ptr<CHardwareModel> model,
                                                    const std::string& name = kZibPortName);

    boost::shared_ptr<midi_input_dev_t> input() const;
    boost::shared_ptr<midi_output_dev_t> output() const;
    void setSilent(bool silent);
    const std::array<std::uint8_t, kMemorySize>& memory() const { return mMemory; }

    // Handles one message from the host (the output device's send).
    void receive(const midi_msg_t& msg);

private:
    explicit emulated_box_t(boost::shared_ptr<CHardwareModel> model);
    void writeMemory();
    bool act(const CZibMessage& request, CZibMessage& reply);
    void readMemory(int offset, CZibMessage& reply) const;
    void setPreamp(const CZibMessage& request);

    boost::shared_ptr<CHardwareModel> mModel;
    std::array<std::uint8_t, kMemorySize> mMemory{};
    std::atomic<bool> mSilent{false};
    boost::shared_ptr<emulated_box_input_t> mInput;
    boost::shared_ptr<emulated_box_output_t> mOutput;
};
