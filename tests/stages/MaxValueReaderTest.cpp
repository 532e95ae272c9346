// The level stage and its reader on two threads, as the audio thread and the window run
// them: a reader that takes the levels without pause, and one that stalls for 50 ms
// between takes like a paint that is held up, never make a block take longer, never make
// the audio thread allocate, and never lose or tear a peak.

#include "stages/CMaxValue.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <thread>
#include <vector>

namespace {
constexpr int kChannels = 32;
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kRounds = 5;
constexpr int kBlocksPerRound = 300;

enum Reader { readerNone, readerContinuous, readerStalling, readerKinds };
const char* const kReaderNames[readerKinds] = {"no reader", "continuous reader", "reader stalling 50 ms"};

// Silence but for one spike a block: block b puts spike(b) on channel b % kChannels. The
// spikes grow, so the maximum of a channel since a take is its latest spike.
float spike(int block) { return 1e-4f * static_cast<float>(block + 1); }

// What every take must show, whichever thread takes: per channel 0 or a spike of that
// channel above the last one seen there; the envelopes finite and within the spikes.
class TakeChecker {
public:
    void take(CMaxValue& stage)
    {
        if (stage.takeLevels(mPeaks.data(), mEnvelopes.data(), kChannels) != kChannels)
            ++mFaults;
        for (int c = 0; c < kChannels; ++c) {
            const float p = mPeaks[c];
            if (!(mEnvelopes[c] >= 0.0f && mEnvelopes[c] <= 1.0f))
                ++mFaults;
            if (p == 0.0f)
                continue;
            const long block = std::lround(p / 1e-4f) - 1;
            if (block < 0 || block % kChannels != c || spike(int(block)) != p || p <= mLastSeen[c])
                ++mFaults;
            mLastSeen[c] = std::max(mLastSeen[c], p);
        }
    }
    int faults() const { return mFaults; }
    float lastSeen(int channel) const { return mLastSeen[channel]; }

private:
    std::array<float, kChannels> mPeaks{}, mEnvelopes{}, mLastSeen{};
    int mFaults = 0;
};

// A reader on its own thread until stopped; one at a time shares the checker.
class ReaderThread {
public:
    ReaderThread(CMaxValue& stage, TakeChecker& checker, Reader kind)
    {
        if (kind == readerNone)
            return;
        mThread = std::thread([&stage, &checker, kind, this] {
            while (!mStop.load(std::memory_order_acquire)) {
                checker.take(stage);
                if (kind == readerStalling)
                    std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
        });
    }
    ~ReaderThread()
    {
        mStop.store(true, std::memory_order_release);
        if (mThread.joinable())
            mThread.join();
    }

private:
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

struct AudioSide {
    AudioSide() : samples(kChannels, std::vector<float>(kBlock, 0.0f))
    {
        EXPECT_EQ(stage.setFormat(vkAudioInterface::timeDomain(kChannels, kRate, kBlock),
                                  vkAudioInterface::timeDomain(0, kRate, kBlock)),
                  vkOk);
        for (auto& ch : samples)
            pointers.push_back(ch.data());
    }
    // Block number `block` with its spike; gives the seconds that process took.
    double run(int block)
    {
        float& at = samples[block % kChannels][(block * 7) % kBlock];
        at = spike(block);
        const auto start = std::chrono::steady_clock::now();
        const int result = stage.process(pointers.data(), nullptr, kBlock);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        at = 0.0f;
        failures += result != vkOk;
        return took.count();
    }
    CMaxValue stage;
    std::vector<std::vector<float>> samples;
    std::vector<float*> pointers;
    int failures = 0;
};

double quantile(std::vector<double> times, double q)
{
    const auto at = times.begin() + static_cast<std::ptrdiff_t>(q * double(times.size() - 1));
    std::nth_element(times.begin(), at, times.end());
    return *at;
}

// Blocks that took longer than a quarter of a block's period: a driver at this block
// length could miss its deadline on them.
long lateBlocks(const std::vector<double>& times)
{
    const double late = 0.25 * kBlock / kRate;
    return std::count_if(times.begin(), times.end(), [late](double t) { return t > late; });
}

#if defined(__SANITIZE_THREAD__)
// The thread sanitizer's bookkeeping of every atomic operation sets the pace there; the
// block times under it say nothing about the stage.
constexpr bool kTimesMean = false;
#else
constexpr bool kTimesMean = true;
#endif
} // namespace

// The three conditions take turns, round after round, so that a change in the machine's
// load touches them alike; blocks are paced (0.5 ms apart) so that the stalling reader
// stalls about eight times. Compared are the median and the 90th percentile of the block
// times with generous factors, which a reader that delays many blocks a little fails;
// and the blocks late for a driver's deadline, which a block waiting once for a stalled
// reader (50 ms, thousands of times a block's work) fails.
TEST(MaxValueReader, SlowOrTirelessReadersNeitherDelayBlocksNorLosePeaks)
{
    AudioSide audio;
    TakeChecker checker;
    std::array<std::vector<double>, readerKinds> times;
    for (auto& t : times)
        t.reserve(kRounds * kBlocksPerRound);
    std::size_t allocations = 0;
    int block = 0;
    for (int round = 0; round < kRounds; ++round) {
        for (int kind = 0; kind < readerKinds; ++kind) {
            ReaderThread reader(audio.stage, checker, Reader(kind));
            AllocationCounter counter;
            for (int b = 0; b < kBlocksPerRound; ++b, ++block) {
                times[kind].push_back(audio.run(block));
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
            allocations += counter.count();
        }
    }
    checker.take(audio.stage);

    EXPECT_EQ(audio.failures, 0);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(checker.faults(), 0);
    // The last spike of every channel reached some take: no peak was lost.
    for (int c = 0; c < kChannels; ++c) {
        const int last = (block - 1) - (block - 1 - c) % kChannels;
        EXPECT_EQ(checker.lastSeen(c), spike(last)) << "channel " << c;
    }

    const double median = quantile(times[readerNone], 0.5), upper = quantile(times[readerNone], 0.9);
    for (int kind = 0; kind < readerKinds; ++kind)
        std::cout << kReaderNames[kind] << ": block median " << quantile(times[kind], 0.5) * 1e6 << " us, 90% "
                  << quantile(times[kind], 0.9) * 1e6 << " us, " << lateBlocks(times[kind]) << " late of "
                  << times[kind].size() << "\n";
    if (!kTimesMean)
        return;
    for (int kind : {readerContinuous, readerStalling}) {
        EXPECT_LE(quantile(times[kind], 0.5), 3.0 * median + 10e-6) << kReaderNames[kind];
        EXPECT_LE(quantile(times[kind], 0.9), 4.0 * upper + 50e-6) << kReaderNames[kind];
        EXPECT_LE(lateBlocks(times[kind]), lateBlocks(times[readerNone]) + 2) << kReaderNames[kind];
    }
}
