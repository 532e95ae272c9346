#pragma once
// The emulated hardware's default sound scene rendered from its first sample, as the
// emulated driver renders it from the stream's first block: the 32 capsule signals of the
// sound field (before any capsule or preamp gain) and each source's dry signal, delayed
// like the sphere's centre. Link with vk_scene.

#include "emulation/CSoundScene.h"

#include <vector>

namespace default_scene {

struct Take {
    std::vector<std::vector<float>> capsules; // CSoundScene::kCapsules channels
    std::vector<std::vector<double>> dry;     // one per source, in the order of addDefaultSources
};

inline Take render(double sampleRate, long frames)
{
    CSoundScene scene(sampleRate);
    CSoundScene::addDefaultSources(scene);
    std::vector<std::vector<float>> capsules(CSoundScene::kCapsules, std::vector<float>(std::size_t(frames)));
    std::vector<std::vector<float>> dry(std::size_t(scene.sourceCount()), std::vector<float>(std::size_t(frames)));
    std::vector<float*> c, d;
    for (auto& x : capsules)
        c.push_back(x.data());
    for (auto& x : dry)
        d.push_back(x.data());
    scene.render(c.data(), int(frames), d.data());
    Take take;
    take.capsules = std::move(capsules);
    for (const auto& x : dry)
        take.dry.emplace_back(x.begin(), x.end());
    return take;
}

} // namespace default_scene
