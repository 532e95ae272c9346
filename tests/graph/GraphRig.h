#pragma once
// A configured audio graph with driver-side blocks: 32 input channels and a chosen number
// of outputs, a deterministic noise source, and an application object for the file
// stages' hand-over timers.

#include "graph/CAudioGraph.h"
#include "tests/support/CoreApplication.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

namespace graphtest {

constexpr float kRate = 44100.0f;
constexpr int kBlock = 256;

using core_application::application;
using core_application::runEventsUntil;

inline vkAudioInterface format(int channels, float rate = kRate, int block = kBlock)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

// Channels of one block and their pointer array.
struct Channels {
    Channels(int channels, int frames = kBlock)
        : samples(std::size_t(channels), std::vector<float>(std::size_t(frames), 0.0f))
    {
        for (auto& c : samples)
            pointers.push_back(c.data());
    }
    void fill(float value)
    {
        for (auto& c : samples)
            std::fill(c.begin(), c.end(), value);
    }
    float** data() { return pointers.data(); }
    int size() const { return int(samples.size()); }

    std::vector<std::vector<float>> samples;
    std::vector<float*> pointers;
};

// Independent Gaussian noise on every channel, the same sequence for the same seed.
class Noise {
public:
    explicit Noise(unsigned seed, float deviation = 0.05f)
        : mRng(seed)
        , mDist(0.0f, deviation)
    {
    }
    void fill(Channels& c)
    {
        for (auto& ch : c.samples)
            for (float& x : ch)
                x = mDist(mRng);
    }

private:
    std::mt19937 mRng;
    std::normal_distribution<float> mDist;
};

// A graph configured for 32 driver inputs and `outputs` outputs, in the given input mode.
struct Rig {
    explicit Rig(int outputs, int inputMode = CAudioGraph::inputLive)
        : in(32)
        , out(outputs)
    {
        application();
        EXPECT_EQ(graph.setInputMode(inputMode), vkOk);
        EXPECT_EQ(graph.configure(format(32), format(outputs)), vkOk);
    }
    // Fresh noise into the inputs, then one block.
    int run(Noise& noise)
    {
        noise.fill(in);
        return graph.process(in.data(), out.data(), kBlock);
    }

    CAudioGraph graph;
    Channels in;
    Channels out;
};

// The largest absolute difference between two channels over `n` samples.
inline float maxDifference(const float* a, const float* b, int n)
{
    float d = 0.0f;
    for (int i = 0; i < n; ++i)
        d = std::max(d, std::abs(a[i] - b[i]));
    return d;
}

inline bool allEqual(const float* x, int n, float value)
{
    return std::all_of(x, x + n, [value](float v) { return v == value; });
}

} // namespace graphtest
