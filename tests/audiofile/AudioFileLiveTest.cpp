// The transport driven from the control thread while another thread runs blocks without
// pause, as the window does while the driver calls the graph: takes started and stopped
// mid-stream, a player sought, paused and resumed. Every block is whole (a take holds a
// continuous stretch of what was fed; a played block is silence or one stretch of the
// file), and each operation takes effect for every block begun after it returned. Under
// the thread sanitizer this is the streaming file's race test.

#include "tests/audiofile/AudioFileHarness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

using namespace wavetest;
using namespace std::chrono_literals;

namespace {

constexpr int kRate = 8000; // buffers of 5 s are 40000 frames: a take or a seek crosses them
constexpr int kFrames = 256;
constexpr int kMaxBlocks = 200000;

// Runs blocks on its own thread until destroyed. `block(n)` runs block n; the runner
// publishes how many blocks began (before each) and how many ended (after each).
class BlockRunner {
public:
    template <class Block>
    explicit BlockRunner(Block block)
        : mThread([this, block] {
            for (int n = 0; n < kMaxBlocks && !mStop.load(std::memory_order_acquire); ++n) {
                mBegun.store(n + 1, std::memory_order_seq_cst);
                block(n);
                mEnded.store(n + 1, std::memory_order_release);
                std::this_thread::sleep_for(200us);
            }
        })
    {
    }
    ~BlockRunner()
    {
        mStop.store(true, std::memory_order_release);
        mThread.join();
    }
    // The first block that begins after this call.
    int nextBlock() const { return mBegun.load(std::memory_order_seq_cst); }
    // Blocks ended: what they left is the caller's to read.
    int ended() const { return mEnded.load(std::memory_order_acquire); }
    // Waits until `done(ended)` holds for the count of ended blocks; false after 20 s.
    template <class Done>
    bool waitFor(Done done) const
    {
        for (int wait = 0; wait < 20000; ++wait) {
            if (done(mEnded.load(std::memory_order_acquire)))
                return true;
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

private:
    std::atomic<bool> mStop{false};
    std::atomic<int> mBegun{0};
    std::atomic<int> mEnded{0};
    std::thread mThread; // last: it starts once the rest is built
};

} // namespace

// Five takes, each started and stopped while blocks of the grid signal run: each file is
// the grid from a block that began around its start on, block after block, and its last
// frame was fed before its stop returned.
TEST(LiveTransport, TakesStartedAndStoppedMidStreamHoldWholeContinuousStretches)
{
    QTemporaryDir dir;
    Recorder rec(4, kRate, kFrames);
    std::atomic<std::int64_t> fed{0}; // frames of the blocks that ended
    BlockRunner runner([&](int) {
        rec.feed(1);
        fed.store(rec.fed, std::memory_order_release);
    });
    for (int take = 0; take < 5; ++take) {
        SCOPED_TRACE(take);
        const QString path = scratchPath(dir, qPrintable(QStringLiteral("take%1.wav").arg(take)));
        ASSERT_EQ(rec.node.openFile(path, CAudioFile::modeRecording), vkOk);
        // The take's first block is the one running now at the earliest, the one begun
        // after the start at the latest.
        const std::int64_t earliest = fed.load(std::memory_order_acquire);
        ASSERT_EQ(rec.node.startFile(true), vkOk);
        const int after = runner.nextBlock();
        const std::int64_t latest = std::int64_t(after) * kFrames;
        ASSERT_TRUE(runner.waitFor([&](int ended) { return ended >= after + 30 + 20 * take; }));
        ASSERT_EQ(rec.node.stopFile(), vkOk);
        const std::int64_t end = std::int64_t(runner.nextBlock()) * kFrames;

        int channels = 0;
        const std::vector<std::int32_t> codes = readCodes24(path, channels);
        ASSERT_EQ(channels, 4);
        const std::int64_t frames = std::int64_t(codes.size()) / 4;
        EXPECT_EQ(frames % kFrames, 0);
        EXPECT_GE(frames, (30 + 20 * take) * kFrames);
        bool found = false;
        for (std::int64_t first = earliest; first <= latest && !found; first += kFrames)
            found = firstGridMismatch(codes, 4, first) == -1 && first + frames <= end;
        EXPECT_TRUE(found) << "no continuous stretch from frame " << earliest << " to " << latest;
    }
}

namespace {

// A one-channel float file whose samples are their frame numbers over 2^20 (exact below
// 2^24), so that a played block tells which frames it holds.
constexpr double kFrameUnit = 1.0 / 1048576.0;
constexpr std::int64_t kFileFrames = 300000;

void writeCountingFile(const QString& path)
{
    CWaveFile wave;
    ASSERT_EQ(wave.create(path, 1, kRate, waveTagFloat, 4, 0), waveOk);
    QByteArray bytes;
    for (std::int64_t frame = 0; frame < kFileFrames; ++frame) {
        const float value = float(double(frame) * kFrameUnit);
        bytes.append(reinterpret_cast<const char*>(&value), 4);
    }
    ASSERT_EQ(wave.writeSamples(bytes), qint64(bytes.size()));
}

constexpr std::int64_t kSilent = -1;
constexpr std::int64_t kTorn = -2;

// The first frame a played block holds, kSilent for silence, kTorn for anything else
// (frames out of order, stale samples).
std::int64_t blockStart(const std::vector<float>& out)
{
    if (std::all_of(out.begin(), out.end(), [](float x) { return x == 0.0f; }))
        return kSilent;
    const double first = double(out[0]) / kFrameUnit;
    if (first != std::floor(first))
        return kTorn;
    for (std::size_t i = 0; i < out.size(); ++i) {
        const std::int64_t frame = std::int64_t(first) + std::int64_t(i);
        const float expected = frame < kFileFrames ? float(double(frame) * kFrameUnit) : 0.0f;
        if (out[i] != expected)
            return kTorn;
    }
    return std::int64_t(first);
}

// The starts of blocks [from, to): the played ones go on from `first` block by block.
::testing::AssertionResult playsOnFrom(const std::vector<std::int64_t>& starts, int from, int to,
                                        std::int64_t first)
{
    std::int64_t next = first;
    for (int n = from; n < to; ++n) {
        if (starts[std::size_t(n)] == kSilent)
            continue;
        if (starts[std::size_t(n)] != next)
            return ::testing::AssertionFailure() << "block " << n << " starts at " << starts[std::size_t(n)]
                                                 << " instead of " << next;
        next += kFrames;
    }
    if (next == first)
        return ::testing::AssertionFailure() << "nothing played in blocks " << from << " to " << to;
    return ::testing::AssertionSuccess();
}

} // namespace

// Seeks while running and while paused, pauses and resumes: the blocks begun after each
// returned play the new place from its first frame, or silence while paused or while the
// disk side fills the ring; no block is torn.
TEST(LiveTransport, SeeksPausesAndResumesTakeEffectFromTheNextBlock)
{
    QTemporaryDir dir;
    const QString path = scratchPath(dir, "count.wav");
    writeCountingFile(path);
    application();
    CAudioFile node;
    ASSERT_EQ(node.setFormat(vkAudioInterface(), vkAudioInterface::timeDomain(1, float(kRate), kFrames)), vkOk);
    ASSERT_EQ(node.openFile(path, CAudioFile::modePlaying), vkOk);
    ASSERT_EQ(node.startFile(true), vkOk);

    std::vector<std::int64_t> starts(kMaxBlocks, kSilent);
    Block out(1, kFrames);
    BlockRunner runner([&](int n) {
        node.process(nullptr, out.data(), kFrames);
        starts[std::size_t(n)] = blockStart(out.samples[0]);
    });
    // Waits for `count` played blocks from block `from` on; gives the block after them.
    const auto playAfter = [&](int from, int count) {
        int end = from;
        runner.waitFor([&](int ended) {
            for (; end < ended && count > 0; ++end)
                count -= starts[std::size_t(end)] >= 0;
            return count == 0;
        });
        return end;
    };

    for (const std::int64_t target : {120000, 777, 250001, 39999}) {
        SCOPED_TRACE(target);
        ASSERT_EQ(node.seekFile(int(target)), vkOk);
        const int from = runner.nextBlock();
        EXPECT_TRUE(playsOnFrom(starts, from, playAfter(from, 40), target));
    }

    ASSERT_EQ(node.pauseFile(), vkOk);
    const std::int64_t pausedAt = node.position();
    int from = runner.nextBlock();
    ASSERT_TRUE(runner.waitFor([&](int ended) { return ended >= from + 30; }));
    for (int n = from; n < from + 30; ++n)
        EXPECT_EQ(starts[std::size_t(n)], kSilent) << "block " << n << " while paused";
    EXPECT_EQ(node.position(), pausedAt);

    ASSERT_EQ(node.startFile(true), vkOk);
    from = runner.nextBlock();
    EXPECT_TRUE(playsOnFrom(starts, from, playAfter(from, 30), pausedAt));

    ASSERT_EQ(node.pauseFile(), vkOk);
    ASSERT_EQ(node.seekFile(5000), vkOk);
    ASSERT_EQ(node.startFile(true), vkOk);
    from = runner.nextBlock();
    EXPECT_TRUE(playsOnFrom(starts, from, playAfter(from, 30), 5000));
    EXPECT_EQ(std::count(starts.begin(), starts.begin() + runner.ended(), kTorn), 0);
}
