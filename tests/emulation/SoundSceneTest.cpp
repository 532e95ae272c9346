#include "emulation/CSoundScene.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {
struct Channels {
    Channels(int count, int frames) : data(count, std::vector<float>(frames)), pointers(count)
    {
        for (int c = 0; c < count; ++c)
            pointers[c] = data[c].data();
    }
    float** at(int offset)
    {
        for (std::size_t c = 0; c < data.size(); ++c)
            pointers[c] = data[c].data() + offset;
        return pointers.data();
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

double energy(const std::vector<float>& x, int from)
{
    double e = 0.0;
    for (std::size_t i = from; i < x.size(); ++i)
        e += double(x[i]) * x[i];
    return e;
}
} // namespace

TEST(SoundScene, RenderingDoesNotDependOnTheBlockCuts)
{
    constexpr int frames = 3000;
    CSoundScene whole(44100.0), cut(44100.0);
    CSoundScene::addDefaultSources(whole);
    CSoundScene::addDefaultSources(cut);
    Channels a(32, frames), b(32, frames), dryA(3, frames), dryB(3, frames);
    whole.render(a.at(0), frames, dryA.at(0));
    int offset = 0;
    for (int block : {1, 257, 512, 7, 1223}) {
        cut.render(b.at(offset), block, dryB.at(offset));
        offset += block;
    }
    cut.render(b.at(offset), frames - offset, dryB.at(offset));
    EXPECT_EQ(a.data, b.data);
    EXPECT_EQ(dryA.data, dryB.data);
    EXPECT_GT(energy(a.data[5], 0), 0.0);
}

TEST(SoundScene, CapsulesFacingASourceHearItLouderThanThoseBehind)
{
    constexpr int frames = 8192;
    CSoundScene scene(44100.0);
    // A 4 kHz sine from capsule 0's direction: capsule 16 is on the far side.
    scene.addSource(69.13f, 0.0f, CSceneSignal(CSceneSignal::Kind::Sine, 44100.0, 0.5f, 1, 4000.0));
    Channels out(32, frames);
    scene.render(out.at(0), frames);
    EXPECT_GT(energy(out.data[0], 512), 4.0 * energy(out.data[16], 512));
}

TEST(SoundScene, CapsuleGainsScaleTheirChannelsOnly)
{
    constexpr int frames = 2048;
    CSoundScene plain(48000.0), scaled(48000.0);
    for (CSoundScene* s : {&plain, &scaled})
        s->addSource(90.0f, 90.0f, CSceneSignal(CSceneSignal::Kind::Noise, 48000.0, 0.5f, 3));
    std::vector<float> gains(32, 1.0f);
    gains[3] = std::pow(10.0f, 0.05f * 0.3f);
    scaled.setCapsuleGains(gains.data());
    Channels a(32, frames), b(32, frames);
    plain.render(a.at(0), frames);
    scaled.render(b.at(0), frames);
    EXPECT_NEAR(energy(b.data[3], 0) / energy(a.data[3], 0), gains[3] * gains[3], 1e-4);
    EXPECT_EQ(a.data[4], b.data[4]);
}

TEST(SoundScene, TheDrySignalIsAlignedWithTheSphereCentre)
{
    // At low frequency every capsule hears about what the centre would: the capsule mean
    // matches the delayed dry signal.
    constexpr int frames = 4096;
    CSoundScene scene(44100.0);
    scene.addSource(30.0f, 200.0f, CSceneSignal(CSceneSignal::Kind::Sine, 44100.0, 0.5f, 1, 200.0));
    Channels out(32, frames), dry(1, frames);
    scene.render(out.at(0), frames, dry.at(0));
    double error = 0.0, reference = 0.0;
    for (int i = 512; i < frames; ++i) {
        double mean = 0.0;
        for (int c = 0; c < 32; ++c)
            mean += out.data[c][i] / 32.0;
        error += (mean - dry.data[0][i]) * (mean - dry.data[0][i]);
        reference += double(dry.data[0][i]) * dry.data[0][i];
    }
    EXPECT_LT(error / reference, 1e-3);
}

TEST(SoundScene, RenderAndResetDoNotAllocate)
{
    CSoundScene scene(44100.0);
    CSoundScene::addDefaultSources(scene);
    Channels out(32, 4096), dry(3, 4096);
    scene.render(out.at(0), 100);
    AllocationCounter counter;
    scene.render(out.at(0), 4096, dry.at(0));
    scene.reset();
    scene.render(out.at(0), 333);
    EXPECT_EQ(counter.count(), 0u);
}

TEST(SoundScene, ResetStartsOverFromSilence)
{
    CSoundScene scene(44100.0);
    CSoundScene::addDefaultSources(scene);
    Channels first(32, 1000), again(32, 1000);
    scene.render(first.at(0), 1000);
    scene.render(again.at(0), 1000);
    scene.reset();
    scene.render(again.at(0), 1000);
    EXPECT_EQ(first.data, again.data);
}
