#pragma once
// A decomposition configured as the node uses it: 32 capsules in, 16 modes out, the
// matrix and biquad set A loaded, plus a reference chain in double precision.

#include "beamformer/CEbf.h"
#include "beamformer/tables/EbfBiquads.h"
#include "beamformer/tables/EbfMatrix.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

// Channels of equal length with a pointer array, as process takes them.
struct EbfChannels {
    EbfChannels(int channels, int frames) : data(channels, std::vector<float>(frames)), ptrs(channels)
    {
        for (int c = 0; c < channels; ++c)
            ptrs[c] = data[c].data();
    }
    float** at(int offset)
    {
        for (std::size_t c = 0; c < data.size(); ++c)
            ptrs[c] = data[c].data() + offset;
        return ptrs.data();
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> ptrs;
};

inline vkAudioInterface ebfFormat(int channels, int block = 512, float rate = 44100.0f)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

// Fills every channel with white noise in -1..1 from a fixed seed.
inline void fillNoise(EbfChannels& c, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (auto& ch : c.data)
        for (float& x : ch)
            x = u(rng);
}

// Runs the capsule signals through the matrix and a biquad cascade per order, all in
// double precision and sample by sample.
inline std::vector<std::vector<double>> referenceModes(const EbfChannels& in, const EbfBiquadSet& set)
{
    const EbfMatrix w = makeEbfMatrix();
    const std::size_t frames = in.data[0].size();
    std::vector<std::vector<double>> out(kEbfModeCount, std::vector<double>(frames));
    for (int k = 0; k < kEbfModeCount; ++k) {
        const int n = ebfMode(k).n;
        std::vector<double> d(2 * set.numSections[n], 0.0);
        for (std::size_t t = 0; t < frames; ++t) {
            double x = 0.0;
            for (int s = 0; s < kCapsuleCount; ++s)
                x += double(w[k][s]) * in.data[s][t];
            for (int i = 0; i < set.numSections[n]; ++i) {
                const double* c = set.sections[n] + 6 * i;
                const double y = c[0] * x + d[2 * i];
                d[2 * i] = c[1] * x + d[2 * i + 1] - c[4] * y;
                d[2 * i + 1] = c[2] * x - c[5] * y;
                x = y;
            }
            out[k][t] = x;
        }
    }
    return out;
}

class EbfTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(configure(ebf), vkOk); }

    static int configure(CEbf& e, int block = 512)
    {
        int r = e.setFormat(ebfFormat(32, block), ebfFormat(16, block));
        if (r == vkOk)
            r = e.setModeWeights(ebfMatrixRows().data());
        if (r == vkOk)
            r = e.setModeIir(kEbfBiquadsA.sections, kEbfBiquadsA.numSections);
        return r;
    }

    CEbf ebf;
};
