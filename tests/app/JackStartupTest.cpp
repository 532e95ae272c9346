// With the emulation switched off the program selects among the real drivers: on a machine
// whose only audio is a JACK server, that server is offered, opened and run.

#include "app/CZircApp.h"
#include "box/CZibControl.h"
#include "core/graph/CAudioGraph.h"
#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "stages/CMaxValue.h"
#include "tests/app/AppTestSupport.h"
#include "tests/support/DummyJackServer.h"

#include <QTest>

#include <optional>

using apptest::WorkingDirectory;

namespace {
class JackStartup : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sServer.emplace(); }
    static void TearDownTestSuite() { sServer.reset(); }
    void SetUp() override
    {
        ASSERT_TRUE(sServer->running()) << "jackd did not start or does not answer";
        CZircSettings s;
        s.mEmulateHardware = false;
        s.write(QStringLiteral("vantoria.ini"));
    }
    void TearDown() override { hostInit(); }

    static inline std::optional<DummyJackServer> sServer;
    WorkingDirectory dir;
    DialogAnswers dialogs;
};
} // namespace

TEST_F(JackStartup, TheServerIsOfferedOpenedAndRuns)
{
    dialogs.itemAnswer = QString::fromLatin1(CJackDriver::kName);
    CZircApp app;

    EXPECT_TRUE(dialogs.offeredItems.contains(QString::fromLatin1(CJackDriver::kName)));
    EXPECT_FALSE(dialogs.offeredItems.contains(QStringLiteral("ASIO TCAT Dice EVM Platform")));
    EXPECT_EQ(app.box()->mPortState.load(), 0); // nothing answers as the box
    EXPECT_TRUE(dialogs.warnings.empty());
    EXPECT_EQ(app.device().mDevice, QString::fromLatin1(CJackDriver::kName));
    EXPECT_EQ(app.device().mBlockLength, 512);
    EXPECT_EQ(app.windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, )"));
    ASSERT_EQ(app.graphResult(), 0);
    EXPECT_EQ(app.graph()->inputMode(), CAudioGraph::inputLive);

    app.start();
    ASSERT_TRUE(hostIsRunning());
    // Silence from the server still carries the graph's anti-denormal offset to the meter.
    float peaks[32] = {};
    float envelopes[32] = {};
    CMaxValue* level = app.graph()->maxValue(CAudioGraph::stageInputLevel);
    EXPECT_TRUE(QTest::qWaitFor([&] {
        level->takeLevels(peaks, envelopes, 32);
        return peaks[31] > 0.0f;
    }, 5000));
    app.stop();
    EXPECT_FALSE(hostIsRunning());
}
