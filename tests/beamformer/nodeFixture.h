#pragma once
// A CZirc fed by the modelled rigid sphere: a plane-wave source is rendered once to the
// 32 capsules, then every beam of the node is steered to a direction of its own, settled
// by a stop and start, and run over the whole rendering. Responses are RMS levels of the
// beams' settled tails, so a batch of up to 30 directions costs one run of the node.

#include "beamformer/CZirc.h"
#include "emulation/CSoundScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace node_test {

constexpr float kRate = 44100.0f;
constexpr int kBlock = 512;

inline vkAudioInterface format(int channels, int block = kBlock, float rate = kRate)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

struct Direction {
    double theta;
    double phi;
};

inline double rms(const float* x, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += double(x[i]) * x[i];
    return std::sqrt(sum / std::max(n, 1));
}

// The capsule signals (and the source's own, as heard at the sphere's centre) of one
// source, `blocks` blocks long.
class Rendering {
public:
    Rendering(Direction source, const CSceneSignal& signal, int blocks)
        : capsules(32, std::vector<float>(size_t(blocks) * kBlock))
        , dry(size_t(blocks) * kBlock)
    {
        CSoundScene scene(kRate);
        EXPECT_GE(scene.addSource(float(source.theta), float(source.phi), signal), 0);
        std::vector<float*> c(32);
        float* d = nullptr;
        for (int b = 0; b < blocks; ++b) {
            for (int ch = 0; ch < 32; ++ch)
                c[ch] = capsules[ch].data() + size_t(b) * kBlock;
            d = dry.data() + size_t(b) * kBlock;
            scene.render(c.data(), kBlock, &d);
        }
    }
    // Silence, for a test to write its own capsule signals into.
    explicit Rendering(int blocks)
        : capsules(32, std::vector<float>(size_t(blocks) * kBlock))
        , dry(size_t(blocks) * kBlock)
    {
    }
    int blocks() const { return int(dry.size() / kBlock); }
    std::vector<std::vector<float>> capsules;
    std::vector<float> dry;
};

// A configured node of `beams` outputs; runs a rendering and keeps every beam's output.
class NodeRig {
public:
    explicit NodeRig(int beams)
        : outputs(beams)
    {
        EXPECT_EQ(zirc.setFormat(format(32), format(beams)), vkOk);
    }

    void setPattern(int pattern)
    {
        for (int b = 0; b < beams(); ++b)
            setPattern(b, pattern);
    }
    void setPattern(int beam, int pattern)
    {
        EXPECT_EQ(zirc.setChannelParameter(beam, CZirc::kPattern, &pattern, 1, vkTypeInt), vkOk);
    }

    // Every beam at its direction, settled, from silence.
    void steer(const std::vector<Direction>& directions)
    {
        zirc.stop();
        for (int b = 0; b < beams(); ++b) {
            const Direction& d = directions[std::min<size_t>(b, directions.size() - 1)];
            zirc.setTheta(b, float(d.theta));
            zirc.setPhi(b, float(d.phi));
        }
        EXPECT_EQ(zirc.start(), vkOk);
    }

    void run(const Rendering& r)
    {
        for (auto& o : outputs)
            o.assign(r.dry.size(), 0.0f);
        std::vector<float*> in(32), out(beams());
        for (int blk = 0; blk < r.blocks(); ++blk) {
            const size_t at = size_t(blk) * kBlock;
            for (int ch = 0; ch < 32; ++ch)
                in[ch] = const_cast<float*>(r.capsules[ch].data()) + at;
            for (int b = 0; b < beams(); ++b)
                out[b] = outputs[b].data() + at;
            ASSERT_EQ(zirc.process(in.data(), out.data(), kBlock), vkOk);
        }
    }

    // RMS of each direction's beam over the last `tail` samples of the rendering.
    std::vector<double> responses(const Rendering& r, const std::vector<Direction>& directions, int tail)
    {
        std::vector<double> levels;
        for (size_t first = 0; first < directions.size(); first += beams()) {
            std::vector<Direction> batch(directions.begin() + first,
                                         directions.begin() + std::min(directions.size(), first + beams()));
            steer(batch);
            run(r);
            for (size_t b = 0; b < batch.size(); ++b)
                levels.push_back(rms(outputs[b].data() + outputs[b].size() - tail, tail));
        }
        return levels;
    }

    int beams() const { return int(outputs.size()); }

    CZirc zirc;
    std::vector<std::vector<float>> outputs;
};

} // namespace node_test
