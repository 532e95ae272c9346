#include "box/CZibControl.h"
#include "box/CZibMessage.h"
#include "box/emulated_box.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/pointer_cast.hpp>

#include <chrono>
#include <cmath>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {
using Clock = std::chrono::steady_clock;

// Records the control's signals as they are emitted on its thread.
class SignalLog {
public:
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

    std::vector<std::pair<int, int>> confirmed() const
    {
        std::lock_guard<std::mutex> lock(mLock);
        return mConfirmed;
    }
    std::vector<Clock::time_point> problems() const
    {
        std::lock_guard<std::mutex> lock(mLock);
        return mProblems;
    }
    bool hasConfirmed(int cmd, int value) const
    {
        const auto all = confirmed();
        return std::find(all.begin(), all.end(), std::make_pair(cmd, value)) != all.end();
    }

private:
    mutable std::mutex mLock;
    std::vector<std::pair<int, int>> mConfirmed;
    std::vector<Clock::time_point> mProblems;
};

// Polls every 10 ms, as the application does, until `done` or the time is up.
bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::milliseconds(3000))
{
    const auto end = Clock::now() + limit;
    while (!done()) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
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

float levelDb(const CHardwareModel& model, int capsule) { return 20.0f * std::log10(model.capsuleGain(capsule)); }
} // namespace

TEST(ZibControl, LearnsTheBoxReadsItsCalibrationAndSetsThePreamp)
{
    auto model = boost::make_shared<CHardwareModel>();
    auto box = emulated_box_t::create(model);
    CZibControl control(nullptr, portsOf({box}));
    SignalLog log(control);
    control.start(QThread::LowPriority);

    ASSERT_TRUE(waitFor([&] { return control.mPortState != -1; }));
    EXPECT_EQ(control.mPortState, 1);
    ASSERT_TRUE(waitFor([&] { return control.mStartupDone.load(); }));
    EXPECT_EQ(control.mArrayState, 1);
    EXPECT_EQ(control.mExtensionState, 1);
    EXPECT_EQ(control.mExtensionKind, 3);
    ASSERT_TRUE(waitFor([&] { return log.hasConfirmed(cmdReadMemory, 1); }));
    EXPECT_TRUE(log.hasConfirmed(cmdExtensionState, 1));
    EXPECT_TRUE(log.hasConfirmed(cmdExtensionKind, 3));
    EXPECT_TRUE(log.hasConfirmed(cmdArrayState, 1));
    EXPECT_EQ(model->arraySetupWord(), 0x1FEu);
    EXPECT_TRUE(model->bulkCleared());

    float gains[CHardwareModel::kCapsules];
    ASSERT_EQ(control.calibration(gains, CHardwareModel::kCapsules), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        EXPECT_NEAR(gains[i], model->capsuleErrorDb(i), 1.0f / 4096.0f) << i;

    // The same gain for every channel moves every capsule's level by the step asked for.
    float before[CHardwareModel::kCapsules];
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        before[i] = levelDb(*model, i);
    EXPECT_EQ(control.setPreampGain(20.0f, false), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i)
        EXPECT_NEAR(levelDb(*model, i) - before[i], 20.0f, 1e-4f) << i;

    // With calibration every capsule ends at the asked level, to within the box's 0.5 dB
    // steps; this only holds when each gain reaches its own capsule.
    EXPECT_EQ(control.setPreampGain(10.0f, true), 0);
    for (int i = 0; i < CHardwareModel::kCapsules; ++i) {
        EXPECT_EQ(model->preampDb(i), CZibMessage::decodeGain(CZibMessage::encodeGain(10.0f + gains[i]))) << i;
        EXPECT_NEAR(levelDb(*model, i), 10.0f, 0.25f + 1e-4f) << i;
    }

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

    ASSERT_TRUE(waitFor([&] { return !log.problems().empty(); }, std::chrono::milliseconds(6000)));
    const double seconds = std::chrono::duration<double>(log.problems().front() - started).count();
    EXPECT_GE(seconds, 2.2 - 0.05);
    EXPECT_EQ(control.mPortState, 0);
    EXPECT_EQ(control.mArrayState, 0);
    EXPECT_EQ(control.mExtensionState, 0);
    EXPECT_EQ(control.mExtensionKind, -2);
    EXPECT_TRUE(control.mStartupDone);
    EXPECT_TRUE(log.confirmed().empty());
    float gains[1];
    EXPECT_EQ(control.calibration(gains, 1), 1);

    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_EQ(log.problems().size(), 1u);
    EXPECT_FALSE(control.isFinished()) << "the thread goes on polling";
}

TEST(ZibControl, WithoutAPortOfTheBoxsNameTheThreadEnds)
{
    auto box = emulated_box_t::create(boost::make_shared<CHardwareModel>(), "TCAT Dice EVM Platfor");
    CZibControl control(nullptr, portsOf({box}));
    SignalLog log(control);
    control.start();
    ASSERT_TRUE(control.wait(QDeadlineTimer(3000)));
    EXPECT_EQ(control.mPortState, 0);
    EXPECT_EQ(log.problems().size(), 1u);
    EXPECT_FALSE(control.mStartupDone);
}

TEST(ZibControl, AnOutputWithoutItsInputIsClosedAgain)
{
    auto box = emulated_box_t::create(boost::make_shared<CHardwareModel>());
    midi_port_directory_t ports(false);
    ports.addOutput(box->output());
    CZibControl control(nullptr, ports);
    control.start();
    ASSERT_TRUE(control.wait(QDeadlineTimer(3000)));
    EXPECT_EQ(control.mPortState, 0);
    const auto output = boost::dynamic_pointer_cast<midi_output_base_t>(box->output());
    ASSERT_TRUE(output);
    EXPECT_EQ(output->state(), midi_dev_state_t::closed);
}

TEST(ZibControl, TheLastPortOfTheNameIsUsedAndItsAnswersDecide)
{
    struct Case {
        int extensionState;
        int extensionKind;
        int expectedKind;
    };
    for (const Case& c : {Case{0, 3, 0}, Case{1, 7, -2}, Case{1, 1, 1}}) {
        auto first = emulated_box_t::create(boost::make_shared<CHardwareModel>());
        auto lastModel = boost::make_shared<CHardwareModel>();
        lastModel->setExtension(c.extensionState, c.extensionKind);
        lastModel->setArrayAttached(false);
        auto last = emulated_box_t::create(lastModel);
        CZibControl control(nullptr, portsOf({first, last}));
        SignalLog log(control);
        control.start();
        ASSERT_TRUE(waitFor([&] { return control.mStartupDone.load(); }));
        EXPECT_EQ(control.mExtensionKind, c.expectedKind);
        EXPECT_EQ(control.mExtensionState, c.extensionState);
        EXPECT_EQ(control.mArrayState, 0);
        EXPECT_EQ(lastModel->arraySetupWord(), 0u) << "no set-up without an array";
        EXPECT_TRUE(log.hasConfirmed(cmdArrayState, 0));
        EXPECT_FALSE(log.hasConfirmed(cmdReadMemory, 1));
    }
}
