#pragma once
// Drives a CAudioFile the way the graph does: a format, blocks of channel pointers, and
// a main thread that runs the event loop for the hand-over timer.

#include "audiofile/CAudioFile.h"
#include "audiofile/CWaveFile.h"
#include "tests/audiofile/WaveTestSupport.h"
#include "tests/support/CoreApplication.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace wavetest {

using core_application::application;
using core_application::runEventsUntil;

// One block of `channels` channels of `frames` floats and its pointer array.
struct Block {
    Block(int channels, int frames)
        : samples(std::size_t(channels), std::vector<float>(std::size_t(frames), 0.0f))
    {
        for (auto& channel : samples)
            pointers.push_back(channel.data());
    }
    // Frames from `first` on of the grid signal.
    void fillGrid(std::int64_t first)
    {
        for (std::size_t c = 0; c < samples.size(); ++c)
            for (std::size_t i = 0; i < samples[c].size(); ++i)
                samples[c][i] = gridSample(first + std::int64_t(i), int(c));
    }
    float** data() { return pointers.data(); }

    std::vector<std::vector<float>> samples;
    std::vector<float*> pointers;
};

// A disk side held on purpose: the hook it gives waits, on the disk side, while the gate
// is shut. Open it before a stop, which lets the disk side move everything left.
class DiskGate {
public:
    std::function<void()> hook()
    {
        return [this] {
            std::unique_lock lock(mLock);
            mChange.wait(lock, [this] { return mOpen; });
        };
    }
    void open()
    {
        {
            std::lock_guard lock(mLock);
            mOpen = true;
        }
        mChange.notify_all();
    }

private:
    std::mutex mLock;
    std::condition_variable mChange;
    bool mOpen = false;
};

// A recording node of `channels` inputs that counts the frames it was fed.
struct Recorder {
    Recorder(int channels, int rate, int frames)
        : block(channels, frames)
        , frames(frames)
        , blocksPerBuffer(rate / frames * 5)
    {
        application();
        node.setFormat(vkAudioInterface::timeDomain(channels, float(rate), frames), vkAudioInterface());
    }
    // Feeds `count` blocks of the grid signal, continuing where the last one ended.
    void feed(int count)
    {
        for (int i = 0; i < count; ++i) {
            block.fillGrid(fed);
            node.process(block.data(), nullptr, frames);
            fed += frames;
        }
    }

    // Processes `count` blocks of the frames that would come next without counting them
    // as fed: a node that drops them leaves the file continuous.
    void offer(int count)
    {
        const std::int64_t next = fed;
        feed(count);
        fed = next;
    }

    // A disk side that moves nothing until the gate opens (a stalled disk).
    void holdDisk() { node.setDiskHook(gate.hook()); }
    void stop()
    {
        gate.open();
        node.stopFile();
    }

    DiskGate gate;
    CAudioFile node;
    Block block;
    int frames;
    int blocksPerBuffer;
    std::int64_t fed = 0;
};

// Every sample of a 24-bit file, decoded, frame after frame.
inline std::vector<std::int32_t> readCodes24(const QString& path, int& channels)
{
    CWaveFile wave;
    int rate, tag, bytes, levl;
    channels = 0;
    if (wave.openExisting(path, channels, rate, tag, bytes, levl) != waveOk || bytes != 3)
        return {};
    QByteArray raw(int(wave.numFrames() * channels * 3), '\0');
    wave.readSamples(raw);
    std::vector<std::int32_t> codes(std::size_t(raw.size() / 3));
    const auto* p = reinterpret_cast<const unsigned char*>(raw.constData());
    for (std::size_t i = 0; i < codes.size(); ++i, p += 3)
        codes[i] = std::int32_t(std::uint32_t(p[0]) << 8 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 24) >> 8;
    return codes;
}

// Index of the first sample that isn't the grid signal from `firstFrame` on; -1 when all are.
inline std::int64_t firstGridMismatch(const std::vector<std::int32_t>& codes, int channels,
                                      std::int64_t firstFrame = 0)
{
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const std::int64_t frame = firstFrame + std::int64_t(i) / channels;
        const float expected = gridSample(frame, int(i % std::size_t(channels)));
        if (codes[i] != std::int32_t(expected * 8388608.0f))
            return std::int64_t(i);
    }
    return -1;
}

} // namespace wavetest
