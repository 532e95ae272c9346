// The map of the modelled scene through the beamformer node: the node feeds its mode
// signals to an attached covariance, the map is made from the periods it publishes.
#include "soundmap/CSoundMap.h"

#include "beamformer/CZirc.h"
#include "array/CapsuleGeometry.h"
#include "emulation/CSoundScene.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr float kRate = 44100.0f;
constexpr int kBlock = 512;
constexpr int kBeams = 4;

struct Direction {
    double theta;
    double phi;
};

double angleBetween(Direction a, Direction b)
{
    const UnitVector u = unitVectorFromAngles(a.theta, a.phi), v = unitVectorFromAngles(b.theta, b.phi);
    return std::acos(std::clamp(u.x * v.x + u.y * v.y + u.z * v.z, -1.0, 1.0)) * 180.0 / std::numbers::pi;
}

// Runs `blocks` blocks of the scene through a node with the covariance attached and
// returns the whole run's map. Counts the allocations of the node's blocks.
class MapRig {
public:
    MapRig()
        : scene(kRate)
        , capsules(32, std::vector<float>(kBlock))
        , beams(kBeams, std::vector<float>(kBlock))
    {
        EXPECT_EQ(zirc.setFormat(vkAudioInterface::timeDomain(32, kRate, kBlock),
                                 vkAudioInterface::timeDomain(kBeams, kRate, kBlock)),
                  vkOk);
        EXPECT_EQ(zirc.start(), vkOk);
        zirc.engine()->setModeTap(&covariance);
        map.setSmoothing(CSoundMap::kWholeRun);
    }
    ~MapRig() { zirc.engine()->setModeTap(nullptr); }

    void run(int blocks)
    {
        std::vector<float*> in, out;
        for (auto& c : capsules)
            in.push_back(c.data());
        for (auto& b : beams)
            out.push_back(b.data());
        ModeCovarianceFrame frame;
        for (int b = 0; b < blocks; ++b) {
            scene.render(in.data(), kBlock);
            AllocationCounter counter;
            ASSERT_EQ(zirc.process(in.data(), out.data(), kBlock), vkOk);
            allocations += counter.count();
            if (covariance.fetch(frame))
                map.update(frame);
        }
    }

    CSoundScene scene;
    CZirc zirc;
    CModeCovariance covariance{kRate, 4410};
    CSoundMap map;
    std::vector<std::vector<float>> capsules, beams;
    size_t allocations = 0;
};

// Each expected direction has one of the strongest peaks within `tolerance` degrees.
void expectPeaksAt(const CSoundMap& map, const std::vector<Direction>& sources, double tolerance)
{
    const auto peaks = map.peaks(int(sources.size()), 30.0f);
    ASSERT_EQ(peaks.size(), sources.size());
    for (const Direction& s : sources) {
        double nearest = 180.0;
        for (const SoundMapPeak& p : peaks)
            nearest = std::min(nearest, angleBetween(s, {p.theta, p.phi}));
        EXPECT_LE(nearest, tolerance) << "source at " << s.theta << ", " << s.phi;
    }
}

TEST(SoundMapScene, DefaultSceneThreeStrongestPeaksOnTheSources)
{
    MapRig rig;
    CSoundScene::addDefaultSources(rig.scene);
    rig.run(int(3 * kRate / kBlock));
    expectPeaksAt(rig.map, {{90.0, 30.0}, {60.0, 150.0}, {120.0, 270.0}}, 5.0);
    EXPECT_EQ(rig.allocations, 0u);

    rig.map.setMethod(CSoundMap::kMusic);
    expectPeaksAt(rig.map, {{90.0, 30.0}, {60.0, 150.0}, {120.0, 270.0}}, 5.0);
}

TEST(SoundMapScene, SilenceGivesASilentMapAndDetachStopsTheFeed)
{
    MapRig rig;
    rig.run(40);
    EXPECT_TRUE(rig.map.silent());
    EXPECT_TRUE(rig.map.peaks(3, 30.0f).empty());

    rig.zirc.engine()->setModeTap(nullptr);
    rig.covariance.reset();
    CSoundScene::addDefaultSources(rig.scene);
    rig.run(40);
    ModeCovarianceFrame frame;
    EXPECT_FALSE(rig.covariance.fetch(frame));
}

} // namespace
