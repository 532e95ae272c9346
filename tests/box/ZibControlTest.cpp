#include "box/CZibControl.h"
#include "box/CZibMessage.h"
#include "emulation/emulated_box.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>

#include <chrono>
#include <cmath>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace {
using Clock = std::chrono::steady_clock;
using Confirmed = std::vector<std::pair<int, int>>;

// Records the control's signals as they are emitted on its thread.
struct SignalLog {
    explicit SignalLog(CZibControl& control)
    {
        QObject::connect(&control, &CZibControl::msgConfirmed, &control, [this](int cmd, int value) {
            std::lock_guard<std::mutex> lock(mLock);
            mConfirmed.emplace_back(cmd, value);
        }, Qt::DirectConnection);
        QObject::connect(&control, &CZibControl::connectionProblems, &control, [this] {
            std::lock_guard<std::mutex> lock(mLock);
            mProblems.push_back(Clock::now());
        }, Qt::DirectConnection);
    }
    Confirmed confirmed()
    {
        std::lock_guard<std::mutex> lock(mLock);
        return mConfirmed;
    }
    std::vector<Clock::time_point> problems()
    {
        std::lock_guard<std::mutex> lock(mLock);
        return mProblems;
    }
    bool has(int cmd, int value)
    {
        const Confirmed all = confirmed();
        return std::find(all.begin(), all.end(), std::make_pair(cmd, value)) != all.end();
    }

    std::mutex mLock;
    Confirmed mConfirmed;
    std::vector<Clock::time_point> mProblems;
};

// Polls every 10 ms, as the application does, until `done` or the time is up.
bool waitFor(const std::function<bool()>& done, int limitMs = 3000)
{
    const auto end = Clock::now() + std::chrono::milliseconds(limitMs);
    while (!done() && Clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
}

midi_port_directory_t portsOf(const std::vector<boost::shared_ptr<emulated_box_t>>& boxes)
{
    midi_port_directory_t ports(false);
    for (const auto& box : boxes) {
        ports.addInput(box->input());
        ports.addOutput(box->output());
    }
    return ports;
}

// A capsule's level relative to its nominal sensitivity: the preamp gain less its error.
float levelDb(const CHardwareModel& model, int capsule)
{
    return 20.0f * std::log10(model.capsuleGain(capsule)) - CHardwareModel::kSensitivityDb;
}
} // namespace

TEST(ZibControl, LearnsTheBoxReadsItsCalibrationAndSetsThePreamp)
{
    auto model = boost::make_shared<CHardwareModel>();
    auto box = emulated_box_t::create(model);
    CZibControl control(nullptr, portsOf({box}));
    SignalLog log(control);
    control.start(QThread::LowPriority);

    ASSERT_TRUE(waitFor([&] { return control.mStartupDone.load(); }));
    EXPECT_EQ(control.mPortState, 1);
    EXPECT_EQ(control.mArrayState, 1);
    EXPECT_EQ(control.mExtensionState, 1);
    EXPECT_EQ(control.mExtensionKind, 3);
    ASSERT_TRUE(waitFor([&] { return log.has(cmdReadMemory, 1); }));
    EXPECT_TRUE(log.has(cmdExtensionState, 1) && log.has(cmdExtensionKind, 3) && log.has(cmdArrayState, 1));
    EXPECT_EQ(model->arraySetupWord(), 0x1FEu);
    EXPECT_TRUE(model->bulkCleared());

    float gains[CHardwareModel::kCapsules];
    ASSERT_EQ(control.calibration(gains, CHardwareModel::kCapsules), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        EXPECT_NEAR(gains[i], model->capsuleErrorDb(i), 1.0f / 4096.0f) << i;

    // One gain for all channels moves every capsule's level by the step asked for.
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        model->setPreampDb(i, 0.0f);
    float before[CHardwareModel::kCapsules];
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        before[i] = levelDb(*model, i);
    EXPECT_EQ(control.setPreampGain(20.0f, false), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        EXPECT_NEAR(levelDb(*model, i) - before[i], 20.0f, 1e-4f) << i;

    // With calibration every capsule ends at the level asked for, within the box's 0.5 dB
    // steps; this holds only when each gain reaches its own capsule.
    EXPECT_EQ(control.setPreampGain(10.0f, true), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        EXPECT_NEAR(levelDb(*model, i), 10.0f, 0.25f + 1e-4f) << i;

    // Every change is answered, so nothing times out.
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    EXPECT_TRUE(log.problems().empty());
    EXPECT_EQ(control.mPortState, 1);
}

TEST(ZibControl, ASilentBoxIsGivenUpOnceAfterElevenPolls)
{
    auto box = emulated_box_t::create(boost::make_shared<CHardwareModel>());
    box->setSilent(true);
    CZibControl control(nullptr, portsOf({box}));
    SignalLog log(control);
    const auto started = Clock::now();
    control.start(QThread::LowPriority);

    ASSERT_TRUE(waitFor([&] { return !log.problems().empty(); }, 6000));
    EXPECT_GE(std::chrono::duration<double>(log.problems().front() - started).count(), 2.2 - 0.05);
    EXPECT_EQ(control.mPortState, 0);
    EXPECT_EQ(control.mArrayState, 0);
    EXPECT_EQ(control.mExtensionState, 0);
    EXPECT_EQ(control.mExtensionKind, -2);
    EXPECT_TRUE(control.mStartupDone);
    EXPECT_TRUE(log.confirmed().empty());
    float gain;
    EXPECT_EQ(control.calibration(&gain, 1), 1);

    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_EQ(log.problems().size(), 1u);
    EXPECT_FALSE(control.isFinished()) << "the thread goes on polling";
}

TEST(ZibControl, WithoutBothPortsOfTheExactNameTheThreadEnds)
{
    auto misnamed = emulated_box_t::create(boost::make_shared<CHardwareModel>(), "TCAT Dice EVM Platfor");
    auto box = emulated_box_t::create(boost::make_shared<CHardwareModel>());
    midi_port_directory_t outputOnly(false);
    outputOnly.addOutput(box->output());
    for (const midi_port_directory_t& ports : {portsOf({misnamed}), outputOnly}) {
        CZibControl control(nullptr, ports);
        SignalLog log(control);
        control.start();
        ASSERT_TRUE(control.wait(QDeadlineTimer(3000)));
        EXPECT_EQ(control.mPortState, 0);
        EXPECT_EQ(log.problems().size(), 1u);
        EXPECT_FALSE(control.mStartupDone);
    }
    EXPECT_EQ(boost::dynamic_pointer_cast<midi_output_base_t>(box->output())->state(), midi_dev_state_t::closed)
        << "an output without its input is closed again";
}

TEST(ZibControl, TheLastPortOfTheNameIsUsedAndItsAnswersDecide)
{
    struct Case {
        int extensionState, extensionKind, expectedKind;
    };
    for (const Case& c : {Case{0, 3, 0}, Case{1, 7, -2}, Case{1, 1, 1}}) {
        auto lastModel = boost::make_shared<CHardwareModel>();
        lastModel->setExtension(c.extensionState, c.extensionKind);
        lastModel->setArrayAttached(false);
        auto first = emulated_box_t::create(boost::make_shared<CHardwareModel>());
        auto last = emulated_box_t::create(lastModel);
        CZibControl control(nullptr, portsOf({first, last}));
        SignalLog log(control);
        control.start();
        ASSERT_TRUE(waitFor([&] { return control.mStartupDone.load(); }));
        EXPECT_EQ(control.mExtensionKind, c.expectedKind);
        EXPECT_EQ(control.mArrayState, 0);
        EXPECT_EQ(lastModel->arraySetupWord(), 0u) << "no set-up without an array";
        EXPECT_FALSE(log.has(cmdReadMemory, 1));
    }
}

namespace {
// A box run by a script: each request goes to `mOnRequest`, which may answer with bytes
// of its own making through the input.
struct ScriptedInput : midi_input_base_t {
    ScriptedInput() : midi_input_base_t(kZibPortName) {}
    ~ScriptedInput() override { shut(); }
    bool backend_open() override { return true; }
    void backend_close() override {}
    using midi_input_base_t::deliver;
};

struct ScriptedOutput : midi_output_base_t {
    explicit ScriptedOutput(std::function<void(const CZibMessage&)> onRequest)
        : midi_output_base_t(kZibPortName), mOnRequest(std::move(onRequest))
    {
    }
    ~ScriptedOutput() override { shut(); }
    bool backend_open() override { return true; }
    void backend_close() override {}
    int backend_send(const midi_msg_t& msg) override
    {
        CZibMessage request;
        if (CZibMessage::decode(msg.data(), msg.size(), request) == 0)
            mOnRequest(request);
        return 0;
    }
    std::function<void(const CZibMessage&)> mOnRequest;
};
} // namespace

TEST(ZibControl, AnswersAreMatchedBySequenceNumberAndMalformedOnesDropped)
{
    auto input = boost::make_shared<ScriptedInput>();
    auto reply = [&input](const CZibMessage& request, std::uint32_t sequence, std::uint32_t value, bool lowerCase) {
        CZibMessage answer = request;
        answer.mType = CZibMessage::RS;
        answer.mTarget = kZibTargetArray;
        answer.mSequence = sequence;
        char text[8];
        CZibMessage::writeHex(text, value, 8);
        answer.setPayload({text, 8});
        std::uint8_t bytes[CZibMessage::kSize];
        answer.encode(bytes);
        if (lowerCase)
            bytes[13] = 'a'; // the target "0A"
        input->deliver(bytes, CZibMessage::kSize, true);
    };
    // Extension state: a malformed answer saying 1, then a good one saying 0.
    // Array state: 0, under a sequence number that was never sent.
    auto output = boost::make_shared<ScriptedOutput>([&reply](const CZibMessage& request) {
        if (request.mCommand == cmdExtensionState) {
            reply(request, request.mSequence, 1, true);
            reply(request, request.mSequence, 0, false);
        } else if (request.mCommand == cmdArrayState) {
            reply(request, request.mSequence + 100, 0, false);
        }
    });
    midi_port_directory_t ports(false);
    ports.addInput(input);
    ports.addOutput(output);
    CZibControl control(nullptr, ports);
    SignalLog log(control);
    control.start();

    ASSERT_TRUE(waitFor([&] { return control.mStartupDone.load(); }));
    EXPECT_EQ(control.mExtensionKind, 0);
    EXPECT_EQ(log.confirmed(), (Confirmed{{cmdExtensionState, 0}, {cmdArrayState, 0}}));
    EXPECT_TRUE(log.problems().empty());
    // The array state's request is still open, and times out.
    ASSERT_TRUE(waitFor([&] { return !log.problems().empty(); }, 6000));
    EXPECT_EQ(control.mExtensionKind, -2);
}
