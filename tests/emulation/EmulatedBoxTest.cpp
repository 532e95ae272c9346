#include "box/alsa_midi_dev.h"
#include "emulation/emulated_box.h"
#include "box/midi_result.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <cmath>
#include <unistd.h>

TEST(HardwareModel, SeededCapsuleErrorsScaleTheGainUntilTheArrayIsGone)
{
    CHardwareModel model, same, other(7);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i) {
        EXPECT_EQ(model.capsuleErrorDb(i), same.capsuleErrorDb(i));
        EXPECT_NE(model.capsuleErrorDb(i), other.capsuleErrorDb(i));
        EXPECT_GE(model.capsuleErrorDb(i), 0.05f);
        EXPECT_LE(model.capsuleErrorDb(i), 0.6f);
    }
    model.setPreampDb(5, 20.0f);
    const double expected = std::pow(10.0, (20.0 + CHardwareModel::kSensitivityDb - model.capsuleErrorDb(5)) / 20.0);
    EXPECT_NEAR(model.capsuleGain(5), expected, expected * 1e-6);
    model.setArrayAttached(false);
    EXPECT_EQ(model.capsuleGain(5), 0.0f);
}

namespace {
class EmulatedBox : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(mBox->output()->open(), midi_ok);
        ASSERT_EQ(mBox->output()->start(), midi_ok);
        ASSERT_EQ(mBox->input()->open(mPool), midi_ok);
        ASSERT_EQ(mBox->input()->start(), midi_ok);
        CZibMessage m;
        m.mCommand = cmdReadMemory + 32;
        m.encode(mRequest);
    }

    int post()
    {
        boost::shared_ptr<midi_msg_t> msg;
        if (mPool->get(msg) != midi_ok || msg->set_bytes(mRequest, CZibMessage::kSize, true) != midi_ok)
            return midi_pool_empty;
        return mBox->output()->send(msg);
    }

    boost::shared_ptr<emulated_box_t> mBox = emulated_box_t::create(boost::make_shared<CHardwareModel>());
    boost::shared_ptr<midi_msg_pool_t> mPool = boost::make_shared<midi_msg_pool_t>(64, 256);
    std::uint8_t mRequest[CZibMessage::kSize];
};
} // namespace

TEST_F(EmulatedBox, DevicePathsAllocateNothingAfterOpen)
{
    midi_msg_list_t received;
    received.reserve(64);
    AllocationCounter counter(AllocationCounter::Threads::All);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(post(), midi_ok);
        received.clear();
        ASSERT_EQ(mBox->input()->read(received), midi_ok);
        ASSERT_EQ(received.size(), 1u);
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST_F(EmulatedBox, AnswersAreCappedByTheInputsPoolAndStopWhenSilentOrGone)
{
    auto small = boost::make_shared<midi_msg_pool_t>(4, 256);
    auto input = mBox->input();
    input->close();
    ASSERT_EQ(input->open(small), midi_ok);
    ASSERT_EQ(input->start(), midi_ok);
    for (int i = 0; i < 6; ++i)
        post();
    midi_msg_list_t received;
    input->read(received);
    EXPECT_EQ(received.size(), 4u);
    received.clear();

    mBox->setSilent(true);
    EXPECT_EQ(post(), midi_ok);
    input->read(received);
    EXPECT_TRUE(received.empty());

    auto output = mBox->output();
    mBox.reset();
    boost::shared_ptr<midi_msg_t> msg;
    mPool->get(msg);
    msg->clock();
    EXPECT_EQ(output->send(msg), midi_send_refused);
}

TEST(MidiDevices, StateChecksRefuseCallsOutOfOrder)
{
    auto box = emulated_box_t::create(boost::make_shared<CHardwareModel>());
    auto pool = boost::make_shared<midi_msg_pool_t>(4, 16);
    auto in = box->input();
    midi_msg_list_t list;
    EXPECT_EQ(in->read(list), midi_not_open);
    EXPECT_EQ(in->start(), midi_not_open);
    EXPECT_EQ(in->open(pool), midi_ok);
    EXPECT_EQ(in->open(pool), midi_already_open);
    EXPECT_EQ(in->read(list), midi_not_started);
    EXPECT_EQ(in->start(), midi_ok);
    EXPECT_EQ(in->start(), midi_already_started);
    EXPECT_EQ(in->close(), midi_ok) << "close stops a started device";
    EXPECT_EQ(in->close(), midi_not_open);

    auto out = box->output();
    boost::shared_ptr<midi_msg_t> msg;
    pool->get(msg);
    msg->clock();
    EXPECT_EQ(out->send(msg), midi_not_open);
    EXPECT_EQ(out->open(), midi_ok);
    EXPECT_EQ(out->send(msg), midi_not_started);
    EXPECT_EQ(out->start(), midi_ok);
    EXPECT_EQ(out->send(msg), midi_ok);
    EXPECT_EQ(out->stop(), midi_ok);
    EXPECT_EQ(out->stop(), midi_not_started);
}

TEST(AlsaMidi, AMachineWithoutSequencerListsNoPortsAndRefusesToOpen)
{
    if (access("/dev/snd/seq", F_OK) == 0)
        GTEST_SKIP() << "this machine has an ALSA sequencer";
    midi_input_list_t inputs;
    midi_output_list_t outputs;
    midi_input_devices(inputs);
    midi_output_devices(outputs);
    EXPECT_TRUE(inputs.empty());
    EXPECT_TRUE(outputs.empty());
    alsa_midi_input_dev_t in("port", 20, 0);
    alsa_midi_output_dev_t out("port", 20, 0);
    EXPECT_EQ(in.open(boost::make_shared<midi_msg_pool_t>(4, 16)), midi_open_refused);
    EXPECT_EQ(out.open(), midi_open_refused);
}
