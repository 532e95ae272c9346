// The render pipeline's three threads: every block in order through pools of any size,
// on one core too; a failure of any stage ends the run with the earliest block's error
// and leaves no thread waiting; no allocation while blocks go round.

#include "render/CRenderPipeline.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <sched.h>

#include <limits>

namespace {

struct Block {
    std::int64_t value = -1;
};
using Pipeline = CRenderPipeline<Block, Block>;

std::vector<std::unique_ptr<Block>> pool(int count)
{
    std::vector<std::unique_ptr<Block>> blocks;
    for (int i = 0; i < count; ++i)
        blocks.push_back(std::make_unique<Block>());
    return blocks;
}

constexpr std::int64_t kEndless = std::numeric_limits<std::int64_t>::max();

// Stages that pass each block's index through and fail where told; `written` gets what
// reached the writer.
struct Stages {
    explicit Stages(std::int64_t capacity) { written.reserve(std::size_t(capacity)); }

    Pipeline::Stages make()
    {
        Pipeline::Stages s;
        s.read = [this](Block& in, std::int64_t index, QString& error) {
            in.value = index;
            return fail(index == readFailsAt, "read", index, error);
        };
        s.process = [this](Block& in, Block& out, std::int64_t index, QString& error) {
            out.value = in.value == index ? 2 * index : -1;
            processed = index + 1;
            return fail(index == processFailsAt, "process", index, error);
        };
        s.write = [this](const Block& out, QString& error) {
            if (!fail(out.value == 2 * writeFailsAt, "write", out.value / 2, error))
                return false;
            written.push_back(out.value);
            return true;
        };
        return s;
    }

    static bool fail(bool failing, const char* stage, std::int64_t index, QString& error)
    {
        if (failing)
            error = QStringLiteral("%1 failed at %2").arg(stage).arg(index);
        return !failing;
    }

    // The doubled indices 0 .. count - 1.
    static std::vector<std::int64_t> doubled(std::int64_t count)
    {
        std::vector<std::int64_t> v;
        for (std::int64_t i = 0; i < count; ++i)
            v.push_back(2 * i);
        return v;
    }

    std::int64_t readFailsAt = -1, processFailsAt = -1, writeFailsAt = -1;
    std::int64_t processed = 0;
    std::vector<std::int64_t> written;
};

TEST(RenderPipeline, EveryBlockReachesTheWriterInOrderWhateverThePoolSizes)
{
    for (const auto& [inputs, outputs] : {std::pair{1, 1}, {1, 5}, {7, 2}, {64, 64}}) {
        Pipeline pipeline(pool(inputs), pool(outputs));
        Stages stages(3000);
        QString error;
        // Twice through the same pipeline: a run leaves it ready for the next.
        for (int run = 0; run < 2; ++run) {
            stages.written.clear();
            ASSERT_TRUE(pipeline.run(3000, stages.make(), error)) << qPrintable(error);
            EXPECT_EQ(stages.written, Stages::doubled(3000)) << inputs << " and " << outputs << " blocks";
        }
    }
}

TEST(RenderPipeline, ItWorksOnOneCore)
{
    cpu_set_t saved, one;
    ASSERT_EQ(sched_getaffinity(0, sizeof saved, &saved), 0);
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &saved)) {
            CPU_SET(cpu, &one);
            break;
        }
    // The stages' threads inherit the calling thread's single processor.
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    Pipeline pipeline(pool(16), pool(16));
    Stages stages(5000);
    QString error;
    const bool done = pipeline.run(5000, stages.make(), error);
    sched_setaffinity(0, sizeof saved, &saved);
    ASSERT_TRUE(done) << qPrintable(error);
    EXPECT_EQ(stages.written, Stages::doubled(5000));
}

TEST(RenderPipeline, AReadFailureEndsTheRunAfterTheBlocksBeforeItAreWritten)
{
    Pipeline pipeline(pool(8), pool(8));
    Stages stages(100);
    stages.readFailsAt = 50;
    QString error;
    EXPECT_FALSE(pipeline.run(100, stages.make(), error));
    EXPECT_EQ(error, "read failed at 50");
    EXPECT_EQ(stages.processed, 50);
    EXPECT_EQ(stages.written, Stages::doubled(50));
}

// As one thread doing read, process and write block after block would report: the
// failing write concerns an earlier block than the later failures of the other stages,
// however far ahead of the writer those ran.
TEST(RenderPipeline, AnEarlierWriteFailureWinsOverLaterReadAndProcessFailures)
{
    for (std::int64_t laterFailure : {11, 12, 20, 60}) {
        for (const bool readFails : {false, true}) {
            Pipeline pipeline(pool(32), pool(32));
            Stages stages(100);
            stages.writeFailsAt = 10;
            (readFails ? stages.readFailsAt : stages.processFailsAt) = laterFailure;
            QString error;
            EXPECT_FALSE(pipeline.run(100, stages.make(), error));
            EXPECT_EQ(error, "write failed at 10") << laterFailure << (readFails ? " read" : " process");
            EXPECT_EQ(stages.written, Stages::doubled(10));
        }
    }
}

// An endless run: only the failure can end it, and it must end all three threads.
TEST(RenderPipeline, AFailureOfAnyStageEndsAnEndlessRun)
{
    for (const char* stage : {"read", "process", "write"}) {
        Pipeline pipeline(pool(4), pool(4));
        Stages stages(1000);
        (QByteArray(stage) == "read" ? stages.readFailsAt
         : QByteArray(stage) == "process" ? stages.processFailsAt
                                          : stages.writeFailsAt) = 700;
        QString error;
        EXPECT_FALSE(pipeline.run(kEndless, stages.make(), error));
        EXPECT_EQ(error, QStringLiteral("%1 failed at 700").arg(stage));
        // The processing stage got no further than the pools allow past the failure.
        EXPECT_LE(stages.processed, 701 + 4 + 4) << stage;
        EXPECT_EQ(stages.written, Stages::doubled(700)) << stage;
    }
}

TEST(RenderPipeline, BlocksGoRoundWithoutAllocating)
{
    Pipeline pipeline(pool(8), pool(8));
    Stages stages(4000);
    Pipeline::Stages s = stages.make();
    std::unique_ptr<AllocationCounter> counter;
    std::size_t allocations = 0;
    const auto process = s.process;
    s.process = [&](Block& in, Block& out, std::int64_t index, QString& error) {
        if (index == 100)
            counter = std::make_unique<AllocationCounter>(AllocationCounter::Threads::All);
        if (index == 3900)
            allocations = counter->count();
        return process(in, out, index, error);
    };
    QString error;
    ASSERT_TRUE(pipeline.run(4000, s, error)) << qPrintable(error);
    EXPECT_EQ(stages.written.size(), 4000u);
    EXPECT_EQ(allocations, 0u);
}

} // namespace
