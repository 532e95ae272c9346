#include "emulation/emulated_box.h"

#include "box/CZibCalibration.h"
#include "box/CZibMessage.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include <cmath>

// The box's side of its MIDI port: what it sends to the host.
class emulated_box_input_t : public midi_input_base_t {
public:
    explicit emulated_box_input_t(const std::string& name) : midi_input_base_t(name) {}
    ~emulated_box_input_t() override { shut(); }
    void answer(const std::uint8_t* data, int size) { deliver(data, size, true); }

private:
    bool backend_open() override { return true; }
    void backend_close() override {}
};

// What the host sends to the box; the box may be gone while the host holds the device.
class emulated_box_output_t : public midi_output_base_t {
public:
    emulated_box_output_t(const std::string& name, boost::weak_ptr<emulated_box_t> box)
        : midi_output_base_t(name), mBox(std::move(box))
    {
    }
    ~emulated_box_output_t() override { shut(); }

private:
    bool backend_open() override { return true; }
    void backend_close() override {}
    int backend_send(const midi_msg_t& msg) override
    {
        const boost::shared_ptr<emulated_box_t> box = mBox.lock();
        if (!box)
            return -7;
        box->receive(msg);
        return 0;
    }

    boost::weak_ptr<emulated_box_t> mBox;
};

namespace {
// Layout of the box's memory: 17 bytes passed over, version, size, calibration block.
constexpr int kVersionAt = 17;
constexpr int kBlockAt = 19;
constexpr int kValuesAt = kBlockAt + 1;
constexpr std::uint8_t kVersion = 1;
constexpr int kSizeExtra = 3;

void setNumber(CZibMessage& reply, std::uint32_t value)
{
    char text[8];
    CZibMessage::writeHex(text, value, 8);
    reply.setPayload({text, sizeof text});
}
} // namespace

emulated_box_t::emulated_box_t(boost::shared_ptr<CHardwareModel> model) : mModel(std::move(model))
{
    writeMemory();
}

boost::shared_ptr<emulated_box_t> emulated_box_t::create(boost::shared_ptr<CHardwareModel> model,
                                                         const std::string& name)
{
    boost::shared_ptr<emulated_box_t> box(new emulated_box_t(std::move(model)));
    box->mInput = boost::make_shared<emulated_box_input_t>(name);
    box->mOutput = boost::make_shared<emulated_box_output_t>(name, box);
    return box;
}

boost::shared_ptr<midi_input_dev_t> emulated_box_t::input() const { return mInput; }
boost::shared_ptr<midi_output_dev_t> emulated_box_t::output() const { return mOutput; }
void emulated_box_t::setSilent(bool silent) { mSilent.store(silent, std::memory_order_relaxed); }

// The calibration gain of each capsule is its sensitivity error, in 1/4096 dB, rounded.
void emulated_box_t::writeMemory()
{
    mMemory[kVersionAt] = kVersion;
    mMemory[kVersionAt + 1] = CZibCalibration::kBlockSize + kSizeExtra;
    mMemory[kBlockAt] = 1;
    for (int i = 0; i < CHardwareModel::kCapsules; ++i) {
        const long v = std::lround(mModel->capsuleErrorDb(i) * 4096.0);
        mMemory[kValuesAt + 2 * i] = static_cast<std::uint8_t>(v >> 8);
        mMemory[kValuesAt + 2 * i + 1] = static_cast<std::uint8_t>(v & 0xFF);
    }
}

void emulated_box_t::receive(const midi_msg_t& msg)
{
    CZibMessage request;
    if (mSilent.load(std::memory_order_relaxed) || !msg.is_long()
        || CZibMessage::decode(msg.data(), msg.size(), request) != 0)
        return;
    CZibMessage reply;
    reply.mTarget = request.mTarget;
    reply.mSequence = request.mSequence;
    reply.mCommand = request.mCommand;
    const bool known = act(request, reply);
    reply.mType = !known ? CZibMessage::ER : request.mType == CZibMessage::CH ? CZibMessage::CF : CZibMessage::RS;
    std::uint8_t bytes[CZibMessage::kSize];
    reply.encode(bytes);
    mInput->answer(bytes, CZibMessage::kSize);
}

bool emulated_box_t::act(const CZibMessage& request, CZibMessage& reply)
{
    switch (request.mCommand) {
    case cmdExtensionState: setNumber(reply, static_cast<std::uint32_t>(mModel->extensionState())); return true;
    case cmdExtensionKind: setNumber(reply, static_cast<std::uint32_t>(mModel->extensionKind())); return true;
    case cmdArrayState: setNumber(reply, mModel->arrayAttached() ? 1u : 0u); return true;
    case cmdArraySetup: mModel->setArraySetupWord(request.number()); return true;
    case cmdBulkClear: mModel->clearBulk(); return true;
    case cmdBulkPreamp: setPreamp(request); return true;
    default: break;
    }
    if ((request.mCommand & kZibCommandGroupMask) != cmdReadMemory)
        return false;
    readMemory(static_cast<int>(request.mCommand & ~kZibCommandGroupMask), reply);
    return true;
}

void emulated_box_t::readMemory(int offset, CZibMessage& reply) const
{
    char text[2 * CZibCalibration::kUnit];
    for (int i = 0; i < CZibCalibration::kUnit; ++i) {
        const int at = offset + i;
        CZibMessage::writeHex(text + 2 * i, at < kMemorySize ? mMemory[at] : 0, 2);
    }
    reply.setPayload({text, sizeof text});
}

// The box's preamp channels run in pairs swapped against the capsules: the first gain
// goes to capsule 1, the second to capsule 0, and so on.
void emulated_box_t::setPreamp(const CZibMessage& request)
{
    for (int channel = 0; channel < CHardwareModel::kCapsules; ++channel) {
        const int code = CZibMessage::readHex(request.payload(), 2 * static_cast<std::size_t>(channel), 2);
        if (code >= 0)
            mModel->setPreampDb(channel ^ 1, CZibMessage::decodeGain(static_cast<std::uint8_t>(code)));
    }
}
