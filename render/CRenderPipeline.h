#pragma once
// The three stages of an offline render, each on a thread of its own: a reader fills
// input blocks, the calling thread turns them into output blocks, a writer stores those.
// The blocks of two fixed pools go round through four CBlockQueues, so a run allocates
// no block, and a stage that runs ahead waits once its pool is used up. The processing
// stage, which sets the pace, is woken for every block it waits for; the reader and the
// writer, which are faster, sleep until half or a quarter of their pool is theirs.
//
// A failure ends the run as one thread reading, processing and writing block after
// block would end it, with the message of the earliest block that failed:
// - the reader's failure at a block ends its stream there: the blocks before it are
//   processed and written first, so an earlier write error still wins;
// - a processing failure (a cancel among them) ends the stream to the writer after the
//   blocks processed so far;
// - the writer's failure stops every stage at once: its block is the oldest in flight.
// Every way out of run() ends both threads, so nothing is left waiting.

#include "render/CBlockQueue.h"

#include <QString>

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

template <typename In, typename Out>
class CRenderPipeline {
public:
    // Each stage gives false with `error` set to end the run.
    struct Stages {
        // Reader thread: block `index` into `in`.
        std::function<bool(In& in, std::int64_t index, QString& error)> read;
        // Calling thread: the blocks in order.
        std::function<bool(In& in, Out& out, std::int64_t index, QString& error)> process;
        // Writer thread: the processed blocks in order.
        std::function<bool(const Out& out, QString& error)> write;
    };

    CRenderPipeline(std::vector<std::unique_ptr<In>> inputs, std::vector<std::unique_ptr<Out>> outputs)
        : mInputPool(std::move(inputs)), mOutputPool(std::move(outputs)),
          mFreeInputs(mInputPool.size(), mInputPool.size() / 2), mInputs(mInputPool.size(), 1),
          mFreeOutputs(mOutputPool.size(), 1), mOutputs(mOutputPool.size(), mOutputPool.size() / 4)
    {
    }
    CRenderPipeline(const CRenderPipeline&) = delete;
    CRenderPipeline& operator=(const CRenderPipeline&) = delete;

    // Runs blocks 0 to `blocks` - 1 through the three stages; false with the error that
    // ended the run.
    bool run(std::int64_t blocks, const Stages& stages, QString& error)
    {
        refill();
        std::thread reader, writer;
        try {
            reader = std::thread([this, blocks, &stages] { readAll(blocks, stages); });
            writer = std::thread([this, &stages] { writeAll(stages); });
            // Named for top and perf.
            pthread_setname_np(reader.native_handle(), "render-read");
            pthread_setname_np(writer.native_handle(), "render-write");
        } catch (const std::system_error& e) {
            abortAll();
            joinAll(reader, writer);
            error = QStringLiteral("cannot start the render's threads: %1").arg(QString::fromLocal8Bit(e.what()));
            return false;
        }
        QString processError;
        const bool processed = processAll(blocks, stages, processError);
        mOutputs.close();
        mFreeInputs.abort();
        mInputs.abort();
        joinAll(reader, writer);
        if (mWriteFailed)
            error = mWriteError;
        else if (!processed)
            error = processError.isEmpty() ? mReadError : processError;
        return processed && !mWriteFailed;
    }

private:
    void refill()
    {
        for (auto* queue : {&mFreeInputs, &mInputs})
            queue->reset();
        for (auto* queue : {&mFreeOutputs, &mOutputs})
            queue->reset();
        for (const auto& block : mInputPool)
            mFreeInputs.push(block.get());
        for (const auto& block : mOutputPool)
            mFreeOutputs.push(block.get());
        mReadError.clear();
        mWriteError.clear();
        mWriteFailed = false;
    }

    void readAll(std::int64_t blocks, const Stages& stages)
    {
        for (std::int64_t index = 0; index < blocks; ++index) {
            In* in = mFreeInputs.pop();
            if (!in)
                return;
            if (!stages.read(*in, index, mReadError))
                break;
            mInputs.push(in);
        }
        mInputs.close();
    }

    // False when a stage failed; `error` is empty when it was not this one.
    bool processAll(std::int64_t blocks, const Stages& stages, QString& error)
    {
        for (std::int64_t index = 0; index < blocks; ++index) {
            In* in = mInputs.pop();
            Out* out = in ? mFreeOutputs.pop() : nullptr;
            if (!out)
                return false;
            const bool done = stages.process(*in, *out, index, error);
            mFreeInputs.push(in);
            if (!done)
                return false;
            mOutputs.push(out);
        }
        return true;
    }

    void writeAll(const Stages& stages)
    {
        while (Out* out = mOutputs.pop()) {
            if (!stages.write(*out, mWriteError)) {
                mWriteFailed = true;
                abortAll();
                return;
            }
            mFreeOutputs.push(out);
        }
    }

    void abortAll()
    {
        for (auto* queue : {&mFreeInputs, &mInputs})
            queue->abort();
        for (auto* queue : {&mFreeOutputs, &mOutputs})
            queue->abort();
    }

    static void joinAll(std::thread& reader, std::thread& writer)
    {
        for (std::thread* thread : {&reader, &writer})
            if (thread->joinable())
                thread->join();
    }

    std::vector<std::unique_ptr<In>> mInputPool;
    std::vector<std::unique_ptr<Out>> mOutputPool;
    CBlockQueue<In> mFreeInputs;
    CBlockQueue<In> mInputs;
    CBlockQueue<Out> mFreeOutputs;
    CBlockQueue<Out> mOutputs;
    // Each written by its own thread and read after the threads have ended.
    QString mReadError;
    QString mWriteError;
    bool mWriteFailed = false;
};
