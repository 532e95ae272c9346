// Maps of several uncorrelated noise sources off the grid, on the modelled rigid sphere
// through the beamformer node: every source found once, close to its direction, on the
// finest and the coarsest grid with either method, and nothing else near their level.
#include "soundmap/CSoundMap.h"

#include "beamformer/CZirc.h"
#include "array/CapsuleGeometry.h"
#include "emulation/CSoundScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <vector>

namespace {

constexpr float kRate = 44100.0f;
constexpr int kBlock = 512;
constexpr double kSeconds = 0.6;

struct Source {
    double theta;
    double phi;
    float level; // of the white noise, full scale 1
};

double angleBetween(double t1, double p1, double t2, double p2)
{
    const UnitVector u = unitVectorFromAngles(t1, p1), v = unitVectorFromAngles(t2, p2);
    return std::acos(std::clamp(u.x * v.x + u.y * v.y + u.z * v.z, -1.0, 1.0)) * 180.0 / std::numbers::pi;
}

// The mode covariance of a short run of the scene, all periods in one.
ModeCovarianceFrame covarianceOf(const std::vector<Source>& sources)
{
    CSoundScene scene(kRate);
    std::uint32_t seed = 3;
    for (const Source& s : sources)
        scene.addSource(float(s.theta), float(s.phi), CSceneSignal(CSceneSignal::Kind::Noise, kRate, s.level, seed += 101));
    CZirc zirc;
    EXPECT_EQ(zirc.setFormat(vkAudioInterface::timeDomain(32, kRate, kBlock), vkAudioInterface::timeDomain(1, kRate, kBlock)),
              vkOk);
    EXPECT_EQ(zirc.start(), vkOk);
    CModeCovariance covariance(kRate, kBlock);
    zirc.engine()->setModeTap(&covariance);
    std::vector<std::vector<float>> capsules(32, std::vector<float>(kBlock));
    std::vector<float> beam(kBlock);
    std::vector<float*> in;
    for (auto& c : capsules)
        in.push_back(c.data());
    float* out[] = {beam.data()};
    ModeCovarianceFrame all, period;
    for (int b = 0; b < int(kSeconds * kRate / kBlock); ++b) {
        scene.render(in.data(), kBlock);
        EXPECT_EQ(zirc.process(in.data(), out, kBlock), vkOk);
        if (covariance.fetch(period)) {
            for (int i = 0; i < ModeCovarianceFrame::kEntries; ++i)
                all.sums[i] += period.sums[i];
            all.frames += period.frames;
        }
    }
    zirc.engine()->setModeTap(nullptr);
    return all;
}

struct Verdict {
    std::vector<double> errors;  // per source, degrees to its peak
    float weakestSourceDb = 0.0f; // lowest level of a source's peak re the strongest peak
    float strongestOtherDb = -1e9f; // highest level of a peak that is no source's
};

// Matches each source to the nearest of the peaks; a peak matched to no source is other.
Verdict judge(const CSoundMap& map, const std::vector<Source>& sources)
{
    const auto peaks = map.peaks(8, 40.0f);
    Verdict v;
    std::vector<bool> matched(peaks.size(), false);
    for (const Source& s : sources) {
        int best = -1;
        double nearest = 180.0;
        for (size_t i = 0; i < peaks.size(); ++i) {
            const double a = angleBetween(peaks[i].theta, peaks[i].phi, s.theta, s.phi);
            if (a < nearest) {
                nearest = a;
                best = int(i);
            }
        }
        v.errors.push_back(nearest);
        if (best >= 0) {
            matched[size_t(best)] = true;
            v.weakestSourceDb = std::min(v.weakestSourceDb, 10.0f * std::log10(peaks[best].power / peaks[0].power));
        }
    }
    for (size_t i = 0; i < peaks.size(); ++i)
        if (!matched[i])
            v.strongestOtherDb = std::max(v.strongestOtherDb, 10.0f * std::log10(peaks[i].power / peaks[0].power));
    return v;
}

class SoundMapSources : public ::testing::TestWithParam<std::vector<Source>> {};

TEST_P(SoundMapSources, EverySourceFoundNearItsDirectionAndNothingElseNearItsLevel)
{
    const std::vector<Source>& sources = GetParam();
    const ModeCovarianceFrame covariance = covarianceOf(sources);
    for (auto method : {CSoundMap::kSteeredPower, CSoundMap::kMusic})
        for (int step : {1, 5}) {
            CSoundMap map(step);
            map.setMethod(method);
            map.update(covariance);
            const Verdict v = judge(map, sources);
            // Both within a degree on either grid (they reach 0.4): the power map's peaks
            // refined on the map less the other sources' beams, MUSIC's on the
            // pseudo-spectrum itself.
            for (size_t s = 0; s < sources.size(); ++s)
                EXPECT_LE(v.errors[s], 1.0) << "source " << s << ", method " << method << ", grid " << step;
            EXPECT_LT(v.strongestOtherDb, v.weakestSourceDb - 10.0f) << "method " << method << ", grid " << step;
        }
}

// Directions off every grid, each pair more than 60 degrees apart, one source high above
// the equator; levels up to 6 dB apart.
INSTANTIATE_TEST_SUITE_P(
    Scenes, SoundMapSources,
    ::testing::Values(std::vector<Source>{{47.3, 101.7, 0.1f}, {118.6, 253.2, 0.07f}},
                      std::vector<Source>{{23.4, 71.3, 0.1f}, {97.6, 192.8, 0.1f}, {128.3, 317.1, 0.1f}},
                      std::vector<Source>{{23.4, 71.3, 0.1f},
                                          {97.6, 192.8, 0.08f},
                                          {128.3, 317.1, 0.1f},
                                          {88.7, 12.6, 0.07f},
                                          {161.2, 143.9, 0.05f}}));

} // namespace
