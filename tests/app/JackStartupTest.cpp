// With the emulation switched off the program selects among the real drivers: on a machine
// whose only audio is a JACK server, that server is offered, opened and run.

#include "app/CZircApp.h"
#include "box/CZibControl.h"
#include "core/graph/CAudioGraph.h"
#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "stages/CMaxValue.h"
#include "tests/app/AppTestSupport.h"

#include <QTest>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

extern char** environ;

using apptest::DialogLog;
using apptest::WorkingDirectory;

namespace {
class JackStartup : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string name = "vantoria-app-test-" + std::to_string(getpid());
        setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
        const char* argv[] = {"jackd", "-n", name.c_str(), "-d", "dummy", "-r", "44100", "-p", "512", nullptr};
        if (posix_spawnp(&sServer, "jackd", nullptr, nullptr, const_cast<char**>(argv), environ) != 0)
            sServer = 0;
        for (int i = 0; i < 100 && sServer && !CJackDriver::serverReachable(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    static void TearDownTestSuite()
    {
        if (sServer) {
            kill(sServer, SIGTERM);
            waitpid(sServer, nullptr, 0);
        }
    }
    void SetUp() override
    {
        ASSERT_NE(sServer, 0) << "jackd did not start";
        ASSERT_TRUE(CJackDriver::serverReachable()) << "jackd does not answer";
        CZircSettings s;
        s.mEmulateHardware = false;
        s.write(QStringLiteral("vantoria.ini"));
    }
    void TearDown() override { hostInit(); }

    static pid_t sServer;
    WorkingDirectory dir;
    DialogLog dialogs;
};
pid_t JackStartup::sServer = 0;
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
        level->readLevels(peaks, envelopes, 32);
        return peaks[31] > 0.0f;
    }, 5000));
    app.stop();
    EXPECT_FALSE(hostIsRunning());
}
