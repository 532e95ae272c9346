// Beams of the node on the modelled rigid sphere: where they point, how wide they are,
// what they reject, how the two branches meet, and that every pattern has one latency.

#include "tests/beamformer/nodeFixture.h"

#include <array>
#include <numbers>

using namespace node_test;

namespace {
using Vec = std::array<double, 3>;
constexpr double kDegree = std::numbers::pi / 180.0;

Vec unit(Direction d)
{
    return {std::sin(d.theta * kDegree) * std::cos(d.phi * kDegree),
            std::sin(d.theta * kDegree) * std::sin(d.phi * kDegree), std::cos(d.theta * kDegree)};
}

double dot(const Vec& a, const Vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double angleBetween(Direction a, Direction b)
{
    return std::acos(std::clamp(dot(unit(a), unit(b)), -1.0, 1.0)) / kDegree;
}

Vec normalised(const Vec& v)
{
    const double n = std::sqrt(dot(v, v));
    return {v[0] / n, v[1] / n, v[2] / n};
}

Direction fromVector(const Vec& v)
{
    const double phi = std::atan2(v[1], v[0]) / kDegree;
    return {std::acos(std::clamp(v[2], -1.0, 1.0)) / kDegree, phi < 0 ? phi + 360.0 : phi};
}

// The whole-degree direction the node steers to when given d.
Direction steered(Direction d)
{
    return {std::clamp(std::trunc(d.theta), 0.0, 180.0), std::fmod(std::trunc(d.phi), 360.0)};
}

double dB(double ratio) { return 20.0 * std::log10(ratio); }

// Sources across the phi = 0 seam, near both poles and in between.
const std::vector<Direction> kSources = {{90, 0}, {62, 357}, {7, 130}, {173, 250}, {115, 200}};

Rendering sine(Direction source, double frequency, int blocks = 6)
{
    return Rendering(source, CSceneSignal(CSceneSignal::Kind::Sine, kRate, 0.5f, 1, frequency), blocks);
}

constexpr int kTail = 1024;

// Unit tangents at d along the meridian and along the parallel.
std::array<Vec, 2> tangents(Direction d)
{
    const double t = d.theta * kDegree, p = d.phi * kDegree;
    return {Vec{std::cos(t) * std::cos(p), std::cos(t) * std::sin(p), -std::sin(t)},
            Vec{-std::sin(p), std::cos(p), 0.0}};
}
// The direction of the strongest beam: a 15 degree grid over the sphere, then a 3 degree
// grid round its best point.
Direction strongest(NodeRig& rig, const Rendering& r)
{
    auto best = [&](const std::vector<Direction>& grid) {
        const auto levels = rig.responses(r, grid, kTail);
        return grid[std::max_element(levels.begin(), levels.end()) - levels.begin()];
    };
    std::vector<Direction> coarse = {{0, 0}, {180, 0}};
    for (int theta = 15; theta < 180; theta += 15)
        for (int phi = 0; phi < 360; phi += 15)
            coarse.push_back({double(theta), double(phi)});
    const Direction c = best(coarse);
    const Vec u = unit(c);
    const auto [t1, t2] = tangents(c);
    std::vector<Direction> fine;
    for (int a = -12; a <= 12; a += 3)
        for (int b = -12; b <= 12; b += 3) {
            const double x = std::tan(a * kDegree), y = std::tan(b * kDegree);
            fine.push_back(steered(fromVector(normalised(
                {u[0] + x * t1[0] + y * t2[0], u[1] + x * t1[1] + y * t2[1], u[2] + x * t1[2] + y * t2[2]}))));
        }
    return best(fine);
}

// Full -3 dB width of the beam along the great circle through `source` with tangent t,
// the beam steered to whole degrees as the node does, crossings interpolated in dB.
double beamWidth(NodeRig& rig, const Rendering& r, Direction source, const Vec& t)
{
    const Vec s = unit(source);
    std::vector<Direction> grid;
    std::vector<double> offsets;
    for (int k = -45; k <= 45; k += 3) {
        const double a = k * kDegree;
        const Direction d = steered(
            fromVector({s[0] * std::cos(a) + t[0] * std::sin(a), s[1] * std::cos(a) + t[1] * std::sin(a),
                        s[2] * std::cos(a) + t[2] * std::sin(a)}));
        grid.push_back(d);
        offsets.push_back(std::copysign(angleBetween(d, source), dot(unit(d), t)));
    }
    const auto levels = rig.responses(r, grid, kTail);
    const double peak = *std::max_element(levels.begin(), levels.end());
    const size_t centre = grid.size() / 2;
    auto crossing = [&](int step) {
        for (size_t i = centre; i + step < grid.size(); i += step) {
            const double a = dB(levels[i] / peak), b = dB(levels[i + step] / peak);
            if (b < -3.0)
                return offsets[i] + (offsets[i + step] - offsets[i]) * (-3.0 - a) / (b - a);
        }
        return offsets[step > 0 ? grid.size() - 1 : 0];
    };
    return crossing(1) - crossing(-1);
}

} // namespace

TEST(NodeOnTheSphere, Hyper3PeaksAtItsSourceWithThePatternsBeamWidth)
{
    NodeRig rig(CZirc::kMaxBeams);
    rig.setPattern(kPatternHyper3);
    int width = 0;
    ASSERT_EQ(rig.zirc.patternResponse(kPatternHyper3, 2, nullptr, &width), vkOk);
    double farthest = 0.0, narrowest = 360.0, widest = 0.0;
    for (const Direction& source : kSources) {
        const Rendering r = sine(source, 2000.0);
        const double off = angleBetween(strongest(rig, r), source);
        EXPECT_LT(off, 5.0) << source.theta << " " << source.phi;
        farthest = std::max(farthest, off);
        for (const Vec& t : tangents(source)) {
            const double measured = beamWidth(rig, r, source, t);
            EXPECT_NEAR(measured, width, 10.0) << source.theta << " " << source.phi;
            narrowest = std::min(narrowest, measured);
            widest = std::max(widest, measured);
        }
    }
    RecordProperty("peak_off_source_degrees", std::to_string(farthest));
    RecordProperty("width_range_degrees", std::to_string(narrowest) + " " + std::to_string(widest));
}

TEST(NodeOnTheSphere, Card3RejectsTheRearByTwentyDecibels)
{
    NodeRig rig(2);
    rig.setPattern(kPatternCard3);
    double weakest = 1000.0;
    for (const Direction& source : kSources) {
        const Direction rear = fromVector({-unit(source)[0], -unit(source)[1], -unit(source)[2]});
        const auto levels = rig.responses(sine(source, 2000.0), {steered(source), steered(rear)}, kTail);
        EXPECT_GT(dB(levels[0] / levels[1]), 20.0) << source.theta << " " << source.phi;
        weakest = std::min(weakest, dB(levels[0] / levels[1]));
    }
    RecordProperty("least_rear_rejection_db", std::to_string(weakest));
}

// Before the equaliser, the modal branch below the crossover and the facing capsule above
// it (the high crossover's -6 dB offsets the sphere's on-axis rise) sum to the source's
// level: no notch or bump where the branches meet, so they meet aligned.
TEST(NodeOnTheSphere, CrossoverSumOfABeamAtACapsuleIsFlat)
{
    const Direction capsule{90.0, 31.7175}; // capsule 1
    NodeRig rig(2);
    rig.setPattern(0, kPatternOmni);
    rig.setPattern(1, kPatternCard1);
    ASSERT_EQ(rig.zirc.setEqStatus(false), vkOk);
    double worst = 0.0;
    for (double f = 3000.0; f <= 14000.0; f += 1000.0) {
        const Rendering r = sine(capsule, f);
        const double dry = rms(r.dry.data() + r.dry.size() - kTail, kTail);
        const auto levels = rig.responses(r, {{90.0, 32.0}, {90.0, 32.0}}, kTail);
        ASSERT_EQ(levels.size(), 2u);
        for (double level : levels) {
            EXPECT_NEAR(dB(level / dry), 0.0, 1.5) << f;
            worst = std::max(worst, std::abs(dB(level / dry)));
        }
    }
    RecordProperty("largest_deviation_db", std::to_string(worst));
}

// With the decomposition's bare matrix every stage is a linear-phase filter, so a click
// on all capsules comes out of every beam symmetric about its latency, which the energy
// centroid finds to a fraction of a sample whatever the pattern's filter lengths.
TEST(NodeOnTheSphere, EveryPatternHasTheSameLatency)
{
    constexpr int kClick = 100;
    Rendering r(2);
    for (auto& capsule : r.capsules)
        capsule[kClick] = 1.0f;
    NodeRig rig(kPatternCount);
    ASSERT_EQ(rig.zirc.engine()->setEbfFilterMode(CEbf::kFilterNone), vkOk);
    for (int p = 0; p < kPatternCount; ++p)
        rig.setPattern(p, p);
    auto centroid = [&](const std::vector<float>& y) {
        double moment = 0.0, energy = 0.0;
        for (size_t i = 0; i < y.size(); ++i) {
            moment += double(i) * y[i] * y[i];
            energy += double(y[i]) * y[i];
        }
        return moment / energy - kClick;
    };
    for (bool eq : {true, false}) {
        ASSERT_EQ(rig.zirc.setEqStatus(eq), vkOk);
        rig.steer({{90, 0}});
        rig.run(r);
        for (int p = 0; p < kPatternCount; ++p) {
            // 125 modal filters, 27 crossover, 15 equaliser; without the equaliser the
            // beam runs 15 samples earlier.
            EXPECT_NEAR(centroid(rig.outputs[p]), eq ? 167.0 : 152.0, 0.01) << p;
            EXPECT_EQ(rig.zirc.engine()->trimDelay(p), 0);
        }
    }
}
