// The JACK driver for real: a private dummy server, the layer running a processing object
// live, one client feeding a known 32-channel signal and another reading what comes back.

#include "core/contract/vkAudioClass.h"
#include "device/drivers/CJackDriver.h"
#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DummyJackServer.h"
#include "tests/support/JackTestClient.h"

#include <gtest/gtest.h>
#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kChannels = 32;
constexpr int kPeriod = 512;

// Channel 0 carries the frame number, the others a pattern of it reaching twice full
// scale; JACK's floats pass the driver and the layer as they are, so the round trip is bit
// for bit and nothing is clipped.
float frameCode(std::uint32_t n) { return static_cast<float>(n & 0xFFFFF) / 2097152.0f; }
std::uint32_t frameOf(float code) { return static_cast<std::uint32_t>(std::lround(code * 2097152.0f)); }
float pattern(int channel, std::uint32_t n)
{
    return static_cast<float>(static_cast<int>((n * 7 + channel * 1013) % 2001) - 1000) / 512.0f;
}

// A pass-through that counts, on the audio thread, what that thread allocates between blocks.
class CountingPassThrough : public vkAudioClass {
public:
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override
    {
        if (!mCounter)
            mCounter.emplace();
        allocations.store(mCounter->count(), std::memory_order_relaxed);
        return vkAudioClass::process(in, out, frames);
    }
    std::atomic<std::size_t> allocations{0};

private:
    std::optional<AllocationCounter> mCounter;
};

struct Source {
    JackTestClient client{"vk_source", true, kChannels};
    std::uint32_t next = 1;
    static int process(jack_nframes_t frames, void* self)
    {
        auto* s = static_cast<Source*>(self);
        for (int c = 0; c < kChannels; ++c) {
            float* out = s->client.buffer(c, frames);
            for (jack_nframes_t i = 0; i < frames; ++i)
                out[i] = c == 0 ? frameCode(s->next + i) : pattern(c, s->next + i);
        }
        s->next += frames;
        return 0;
    }
};

// Checks every frame that arrives once armed (all connections made): the channels must
// match the frame's pattern, and frame numbers must follow one another.
struct Sink {
    JackTestClient client{"vk_sink", false, kChannels};
    std::uint32_t last = 0;
    std::atomic<bool> armed{false};
    std::atomic<long> frames{0}, wrong{0}, jumps{0};
    static int process(jack_nframes_t n, void* self)
    {
        auto* s = static_cast<Sink*>(self);
        if (!s->armed.load())
            return 0;
        const float* code = s->client.buffer(0, n);
        for (jack_nframes_t i = 0; i < n; ++i) {
            const std::uint32_t frame = frameOf(code[i]);
            if (frame == 0 && s->last == 0)
                continue; // before the signal arrives
            s->jumps += s->last != 0 && frame != ((s->last + 1) & 0xFFFFF);
            s->last = frame;
            ++s->frames;
            for (int c = 1; c < kChannels; ++c)
                s->wrong += s->client.buffer(c, n)[i] != pattern(c, frame);
        }
        return 0;
    }
};

class JackDriver : public ::testing::Test {
protected:
    // Synchronous mode, so that a client late for its period is an xrun rather than a
    // silently repeated period; a real-time priority above the build jobs that share the
    // machine, so that the server's own timer keeps the period.
    static void SetUpTestSuite() { sServer.emplace(std::vector<std::string>{"-S", "-P", "70"}); }
    static void TearDownTestSuite() { sServer.reset(); }
    void SetUp() override { ASSERT_TRUE(sServer->running()) << "jackd did not start or does not answer"; }
    void TearDown() override { hostInit(); }

    static inline std::optional<DummyJackServer> sServer;
};

TEST_F(JackDriver, IsNotListedWithoutAServerAndStartsNone)
{
    const std::string own = getenv("JACK_DEFAULT_SERVER");
    setenv("JACK_DEFAULT_SERVER", (own + "-absent").c_str(), 1);
    hostInit();
    for (int i = 0; i < hostDriverCount(); ++i)
        EXPECT_STRNE(hostDriverName(i), CJackDriver::kName);
    EXPECT_FALSE(CJackDriver::serverReachable()) << "listing must not start a server";
    setenv("JACK_DEFAULT_SERVER", own.c_str(), 1);
}

TEST_F(JackDriver, IsListedAndTakesTheServersRateAndPeriod)
{
    hostInit();
    bool listed = false;
    for (int i = 0; i < hostDriverCount(); ++i)
        listed |= hostDriverName(i) && std::string(hostDriverName(i)) == CJackDriver::kName;
    ASSERT_TRUE(listed);
    ASSERT_EQ(hostLoadDriver(CJackDriver::kName), 0);
    EXPECT_EQ(hostSampleRate(), 44100.0);
    EXPECT_EQ(hostBlockLength(), kPeriod);
    EXPECT_EQ(hostDriverInputs(), kChannels);
    EXPECT_EQ(hostCanSampleRate(48000.0), 0);
    EXPECT_EQ(hostCanSampleRate(22050.0), 2);
}

// The dummy server in synchronous mode has a period of capture latency and one of
// playback latency; the driver reports them once its ports are connected.
TEST_F(JackDriver, ReportsTheServersLatenciesOfItsConnectedPorts)
{
    hostInit();
    ASSERT_EQ(hostLoadDriver(CJackDriver::kName), 0);
    ASSERT_EQ(hostOpen(), 0);
    EXPECT_EQ(hostInputLatency(), 0) << "ports connected to nothing have none";
    EXPECT_EQ(hostOutputLatency(), 0);
    ASSERT_EQ(hostStart(), 1); // connects the first ports to the server's
    for (int i = 0; i < 100 && (hostInputLatency() == 0 || hostOutputLatency() == 0); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(hostInputLatency(), kPeriod);
    EXPECT_EQ(hostOutputLatency(), kPeriod);
    ASSERT_EQ(hostStop(), 1);
}

TEST_F(JackDriver, CarriesAKnownSignalThroughAnObjectLiveForTenSeconds)
{
    hostInit();
    ASSERT_EQ(hostLoadDriver(CJackDriver::kName), 0);
    int all[kChannels];
    for (int c = 0; c < kChannels; ++c)
        all[c] = c;
    ASSERT_EQ(hostSetInputs(all, kChannels), 0);
    ASSERT_EQ(hostSetOutputs(all, kChannels), 0);
    ASSERT_EQ(hostOpen(), 0);
    CountingPassThrough object;
    vkHostState& s = hostState();
    ASSERT_EQ(object.setFormat(s.mInFormat, s.mOutFormat), 0);
    hostSetObject(&object);
    ASSERT_EQ(hostSetTarget(vkTargetObject), 0);

    Source source;
    Sink sink;
    ASSERT_TRUE(source.client.ok() && sink.client.ok());
    ASSERT_TRUE(source.client.activate(Source::process, &source));
    ASSERT_TRUE(sink.client.activate(Sink::process, &sink));
    ASSERT_EQ(hostStart(), 1);
    jack_client_t* wiring = jack_client_open("vk_wiring", JackNoStartServer, nullptr);
    ASSERT_NE(wiring, nullptr);
    for (int c = 0; c < kChannels; ++c) {
        const std::string in = "vantoria:in_" + std::to_string(c + 1);
        const std::string out = "vantoria:out_" + std::to_string(c + 1);
        ASSERT_EQ(jack_connect(wiring, source.client.port(c), in.c_str()), 0) << in;
        ASSERT_EQ(jack_connect(wiring, out.c_str(), sink.client.port(c)), 0) << out;
    }
    jack_client_close(wiring);
    // Rewiring the graph may cost the server a period: count from here on.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const int xrunsBefore = source.client.xruns.load();
    const int missedBefore = s.mMissed.load();
    s.mResetFlag.store(0);
    sink.armed = true;
    std::this_thread::sleep_for(std::chrono::seconds(10));
    sink.armed = false; // the outputs fall silent when the stream stops
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_EQ(hostStop(), 1);

    // The dummy server runs on a timer; on a busy machine it may itself be late and report
    // an xrun to every client. That is the machine's, not a fault of the path: what the
    // path owes is that each one the server reports is counted, and that the signal
    // arrives whole around it.
    EXPECT_EQ(s.mMissed.load() - missedBefore, source.client.xruns.load() - xrunsBefore);
    EXPECT_EQ(s.mResetFlag.load(), 0) << "the driver asked for a reset";
    EXPECT_GT(s.mBlockCount.load(), 9 * 44100 / kPeriod);
    EXPECT_GT(sink.frames.load(), 9L * 44100);
    EXPECT_EQ(sink.wrong.load(), 0);
    EXPECT_EQ(sink.jumps.load(), 0);
    EXPECT_EQ(object.allocations.load(), 0u) << "the audio thread allocated";
}

// A block that takes four periods makes the server miss its deadline: the xrun it reports
// counts as a missed callback, and the stream goes on without asking for a reset.
TEST_F(JackDriver, AnXrunCountsAsAMissedCallback)
{
    class SlowOnce : public vkAudioClass {
    public:
        using vkAudioClass::process;
        int process(float** in, float** out, int frames) override
        {
            if (blocks.fetch_add(1) == 20)
                std::this_thread::sleep_for(std::chrono::milliseconds(4 * kPeriod * 1000 / 44100));
            return vkAudioClass::process(in, out, frames);
        }
        std::atomic<int> blocks{0};
    };
    hostInit();
    ASSERT_EQ(hostLoadDriver(CJackDriver::kName), 0);
    ASSERT_EQ(hostOpen(), 0);
    SlowOnce object;
    ASSERT_EQ(object.setFormat(hostState().mInFormat, hostState().mOutFormat), 0);
    hostSetObject(&object);
    ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
    ASSERT_EQ(hostStart(), 1);
    for (int i = 0; i < 300 && hostMissedCallbacks() == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const int blocks = object.blocks.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_GE(hostMissedCallbacks(), 1);
    EXPECT_GT(object.blocks.load(), blocks) << "the stream goes on";
    EXPECT_FALSE(hostResetRequested());
    ASSERT_EQ(hostStop(), 1);
}

// A server of its own, ended with SIGKILL while the stream runs: the driver asks for a
// reset at once, names the server, and loads again only once a server answers.
TEST(JackServerLoss, AKilledServerAsksForAResetAndPlayReachesTheNextOne)
{
    std::optional<DummyJackServer> server(std::in_place);
    ASSERT_TRUE(server->running());
    hostInit();
    ASSERT_EQ(hostLoadDriver(CJackDriver::kName), 0);
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    vkHostState& s = hostState();
    for (int i = 0; i < 200 && s.mBlockCount.load() < 10; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GE(s.mBlockCount.load(), 10);

    server->killHard();
    for (int i = 0; i < 500 && !hostResetRequested(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_TRUE(hostResetRequested()) << "the shutdown was not reported";
    const std::string name = getenv("JACK_DEFAULT_SERVER");
    EXPECT_EQ(std::string(hostDriverMessage()), std::string("the JACK server \"").append(name).append("\" has stopped"));

    EXPECT_NE(hostReset(), vkHostOk);
    EXPECT_FALSE(hostResetRequested());
    EXPECT_FALSE(hostIsOpen());
    EXPECT_FALSE(hostIsRunning());
    EXPECT_EQ(hostCurrentDriver(), nullptr);
    EXPECT_EQ(std::string(hostDriverMessage()), std::string("No JACK server \"").append(name).append("\" is running"));
    EXPECT_NE(hostReset(), vkHostOk) << "still no server";

    server.emplace();
    ASSERT_TRUE(server->running());
    ASSERT_EQ(hostReset(), vkHostOk);
    EXPECT_TRUE(hostIsOpen());
    EXPECT_STREQ(hostCurrentDriver(), CJackDriver::kName);
    EXPECT_EQ(hostBlockLength(), kPeriod);
    ASSERT_EQ(hostStart(), 1);
    for (int i = 0; i < 200 && s.mBlockCount.load() < 10; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_GE(s.mBlockCount.load(), 10) << "the new server runs the stream";
    EXPECT_EQ(hostStop(), 1);
    hostInit();
}

} // namespace
