#include "box/CZibCalibration.h"
#include "box/CZibMessage.h"
#include "box/alsa_midi_dev.h"
#include "box/emulated_box.h"
#include "box/midi_result.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <cmath>
#include <string>
#include <unistd.h>

TEST(HardwareModel, CapsuleErrorsAreFixedByTheSeedAndAFewTenthsOfADecibel)
{
    CHardwareModel a, b, other(7);
    int differing = 0;
    for (int i = 0; i < CHardwareModel::kCapsules; ++i) {
        EXPECT_EQ(a.capsuleErrorDb(i), b.capsuleErrorDb(i));
        EXPECT_GE(a.capsuleErrorDb(i), 0.05f);
        EXPECT_LE(a.capsuleErrorDb(i), 0.6f);
        differing += a.capsuleErrorDb(i) != other.capsuleErrorDb(i);
    }
    EXPECT_EQ(differing, CHardwareModel::kCapsules);
    EXPECT_NE(a.capsuleErrorDb(0), a.capsuleErrorDb(1));
}

TEST(HardwareModel, CapsuleGainIsPreampTimesSensitivityAndSilentWithoutArray)
{
    CHardwareModel model;
    model.setPreampDb(5, 20.0f);
    const double expected = std::pow(10.0, (20.0 - model.capsuleErrorDb(5)) / 20.0);
    EXPECT_NEAR(model.capsuleGain(5), expected, expected * 1e-6);
    EXPECT_NEAR(model.capsuleGain(6), std::pow(10.0, -model.capsuleErrorDb(6) / 20.0), 1e-6);
    model.setArrayAttached(false);
    EXPECT_EQ(model.capsuleGain(5), 0.0f);
    EXPECT_EQ(model.capsuleGain(CHardwareModel::kCapsules), 0.0f);
}

namespace {
class EmulatedBox : public ::testing::Test {
protected:
    void SetUp() override
    {
        mReceived.reserve(64);
        ASSERT_EQ(mBox->output()->open(), midi_ok);
        ASSERT_EQ(mBox->output()->start(), midi_ok);
        ASSERT_EQ(mBox->input()->open(mPool), midi_ok);
        ASSERT_EQ(mBox->input()->start(), midi_ok);
    }

    // Sends one request and collects the answers that are waiting afterwards.
    int request(std::uint32_t command, int type, std::string_view payload = {})
    {
        const int result = post(command, type, payload);
        mReceived.clear();
        mBox->input()->read(mReceived);
        return result;
    }

    int post(std::uint32_t command, int type, std::string_view payload = {})
    {
        CZibMessage m;
        m.mTarget = kZibTargetArray;
        m.mType = type;
        m.mSequence = ++mSequence;
        m.mCommand = command;
        m.setPayload(payload);
        std::uint8_t bytes[CZibMessage::kSize];
        m.encode(bytes);
        boost::shared_ptr<midi_msg_t> msg;
        EXPECT_EQ(mPool->get(msg), midi_ok);
        msg->set_bytes(bytes, CZibMessage::kSize, true);
        return mBox->output()->send(msg);
    }

    // The only answer waiting, decoded.
    CZibMessage answer()
    {
        EXPECT_EQ(mReceived.size(), 1u);
        return answerAt(0);
    }

    CZibMessage answerAt(std::size_t i)
    {
        CZibMessage m;
        if (i < mReceived.size())
            EXPECT_EQ(CZibMessage::decode(mReceived[i]->data(), mReceived[i]->size(), m), 0);
        else
            ADD_FAILURE() << "no answer " << i;
        return m;
    }

    boost::shared_ptr<CHardwareModel> mModel = boost::make_shared<CHardwareModel>();
    boost::shared_ptr<emulated_box_t> mBox = emulated_box_t::create(mModel);
    boost::shared_ptr<midi_msg_pool_t> mPool = boost::make_shared<midi_msg_pool_t>(64, 256);
    midi_msg_list_t mReceived;
    std::uint32_t mSequence = 0;
};
} // namespace

TEST_F(EmulatedBox, AnswersRequestsFromTheModelWithTheRequestsSequence)
{
    EXPECT_EQ(mBox->input()->name(), "TCAT Dice EVM Platform");
    mModel->setExtension(1, 2);
    ASSERT_EQ(request(cmdExtensionKind, CZibMessage::RQ), midi_ok);
    CZibMessage a = answer();
    EXPECT_EQ(a.mType, CZibMessage::RS);
    EXPECT_EQ(a.mSequence, mSequence);
    EXPECT_EQ(a.mCommand, cmdExtensionKind);
    EXPECT_EQ(a.number(), 2u);

    mModel->setArrayAttached(false);
    request(cmdArrayState, CZibMessage::RQ);
    EXPECT_EQ(answer().number(), 0u);

    request(0x00123456, CZibMessage::RQ);
    EXPECT_EQ(answer().mType, CZibMessage::ER) << "an unknown command";
}

TEST_F(EmulatedBox, ChangesGoIntoTheModelWithPreampChannelsSwappedInPairs)
{
    request(cmdArraySetup, CZibMessage::CH, "000001FE");
    EXPECT_EQ(answer().mType, CZibMessage::CF);
    EXPECT_EQ(mModel->arraySetupWord(), 0x1FEu);
    request(cmdBulkClear, CZibMessage::CH, std::string(64, '0'));
    EXPECT_TRUE(mModel->bulkCleared());

    std::string gains;
    for (int channel = 0; channel < 32; ++channel) {
        char hex[2];
        CZibMessage::writeHex(hex, static_cast<std::uint32_t>(100 + channel), 2);
        gains.append(hex, 2);
    }
    request(cmdBulkPreamp, CZibMessage::CH, gains);
    EXPECT_EQ(answer().mType, CZibMessage::CF);
    for (int channel = 0; channel < 32; ++channel)
        EXPECT_EQ(mModel->preampDb(channel ^ 1), 0.5f * static_cast<float>(100 + channel) - 97.5f) << channel;
}

TEST_F(EmulatedBox, MemoryHoldsAVersionOneBlockOfTheCapsuleErrors)
{
    CZibCalibration calibration;
    int offset = 0;
    int reads = 0;
    do {
        request(cmdReadMemory + static_cast<std::uint32_t>(offset), CZibMessage::RQ);
        offset = calibration.take(offset, answer().payload());
        ++reads;
    } while (offset >= 0);
    EXPECT_EQ(reads, 3);
    ASSERT_TRUE(calibration.mValid);
    ASSERT_EQ(calibration.mDb.size(), 32u);
    for (int i = 0; i < 32; ++i)
        EXPECT_NEAR(calibration.mDb[static_cast<std::size_t>(i)], mModel->capsuleErrorDb(i), 0.5f / 4096.0f) << i;
}

TEST_F(EmulatedBox, DevicePathsAllocateNothingAfterOpen)
{
    request(cmdArrayState, CZibMessage::RQ); // warm-up
    CZibMessage m;
    m.mType = CZibMessage::RQ;
    m.mCommand = cmdReadMemory + 32;
    std::uint8_t bytes[CZibMessage::kSize];
    m.encode(bytes);

    AllocationCounter counter(AllocationCounter::Threads::All);
    for (int i = 0; i < 50; ++i) {
        boost::shared_ptr<midi_msg_t> msg;
        ASSERT_EQ(mPool->get(msg), midi_ok);
        msg->set_bytes(bytes, CZibMessage::kSize, true);
        ASSERT_EQ(mBox->output()->send(msg), midi_ok);
        msg.reset();
        mReceived.clear();
        ASSERT_EQ(mBox->input()->read(mReceived), midi_ok);
        ASSERT_EQ(mReceived.size(), 1u);
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST_F(EmulatedBox, ASilentOrVanishedBoxAnswersNothing)
{
    mBox->setSilent(true);
    EXPECT_EQ(request(cmdArrayState, CZibMessage::RQ), midi_ok);
    EXPECT_TRUE(mReceived.empty());
    mBox->setSilent(false);
    request(cmdArrayState, CZibMessage::RQ);
    EXPECT_EQ(mReceived.size(), 1u);

    // Answers beyond what the input's pool holds are dropped, and the rest kept.
    boost::shared_ptr<midi_msg_pool_t> small = boost::make_shared<midi_msg_pool_t>(4, 256);
    auto input = mBox->input();
    input->close();
    ASSERT_EQ(input->open(small), midi_ok);
    ASSERT_EQ(input->start(), midi_ok);
    for (int i = 0; i < 6; ++i)
        post(cmdArrayState, CZibMessage::RQ);
    mReceived.clear();
    input->read(mReceived);
    ASSERT_EQ(mReceived.size(), 4u);
    EXPECT_EQ(answerAt(3).mSequence, mSequence - 2);

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
    EXPECT_EQ(in->stop(), midi_not_open);
    EXPECT_EQ(in->close(), midi_not_open);
    EXPECT_EQ(in->open(pool), midi_ok);
    EXPECT_EQ(in->open(pool), midi_already_open);
    EXPECT_EQ(in->read(list), midi_not_started);
    EXPECT_EQ(in->stop(), midi_not_started);
    EXPECT_EQ(in->start(), midi_ok);
    EXPECT_EQ(in->start(), midi_already_started);
    EXPECT_EQ(in->read(list), midi_ok);
    EXPECT_EQ(in->close(), midi_ok) << "close stops a started device";
    EXPECT_EQ(in->read(list), midi_not_open);

    auto out = box->output();
    boost::shared_ptr<midi_msg_t> msg;
    pool->get(msg);
    msg->clock();
    EXPECT_EQ(out->send(msg), midi_not_open);
    EXPECT_EQ(out->open(), midi_ok);
    EXPECT_EQ(out->open(), midi_already_open);
    EXPECT_EQ(out->send(msg), midi_not_started);
    EXPECT_EQ(out->start(), midi_ok);
    EXPECT_EQ(out->start(), midi_already_started);
    EXPECT_EQ(out->send(msg), midi_ok);
    EXPECT_EQ(out->stop(), midi_ok);
    EXPECT_EQ(out->stop(), midi_not_started);
    EXPECT_EQ(out->close(), midi_ok);
    EXPECT_EQ(out->close(), midi_not_open);
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
    EXPECT_EQ(in.start(), midi_not_open);
}
