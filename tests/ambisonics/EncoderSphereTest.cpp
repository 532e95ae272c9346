// The encoder on the modelled rigid sphere: plane waves of noise from 56 directions over
// the sphere (both poles and both sides of the 0/360 seam among them), their AmbiX
// channels against the real SN3D harmonics of the source's direction, the max-rE beam of
// the channels alone, the same with the array mounted turned, and the AmbiX signs.
//
// The reference is the source at the sphere's centre, advanced by radius / c: the
// decomposition's modes, like the sphere's surface, hear a wave up to that much before
// the centre does (the facing side dominates), and a fixed advance is no error of the
// encoder's.

#include "tests/ambisonics/ambiSphereFixture.h"

#include "emulation/RigidSphere.h"

#include <algorithm>
#include <map>

using namespace ambi_test;

namespace {

const std::vector<double> kThirdOctaves = {200,  250,  315,  400,  500,  630,  800,  1000,
                                           1250, 1600, 2000, 2500, 3150, 4000, 5000, 6000};
constexpr double kAdvance = rigid_sphere::kDefaultRadius / rigid_sphere::kSpeedOfSound;

// 50 points of a Fibonacci lattice, the poles, and points on and either side of the seam.
std::vector<Direction> sourceDirections()
{
    std::vector<Direction> d = {{0, 0}, {180, 0}, {90, 0}, {90, 359.9}, {45, 0.1}, {125, 359.5}};
    constexpr int kLattice = 50;
    const double golden = 180.0 * (3.0 - std::sqrt(5.0));
    for (int i = 0; i < kLattice; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / kLattice;
        d.push_back({std::acos(z) / kDegree, std::fmod(i * golden, 360.0)});
    }
    return d;
}

// Every source's modes, rendered once for the whole file.
const std::vector<ModeRendering>& renderings()
{
    static const std::vector<ModeRendering> all = [] {
        std::vector<ModeRendering> r;
        for (const Direction& d : sourceDirections())
            r.push_back(renderModes(d, 24));
        return r;
    }();
    return all;
}

// Transfer of each channel, the centre's source advanced by kAdvance.
std::vector<Spectrum> channelTransfers(const std::vector<std::vector<float>>& channels, const ModeRendering& r)
{
    std::vector<Spectrum> h;
    for (const auto& c : channels) {
        Spectrum t = transfer(c, r.dry, kThirdOctaves);
        for (size_t f = 0; f < t.size(); ++f)
            t[f] *= std::polar(1.0, -2.0 * std::numbers::pi * kThirdOctaves[f] * kAdvance);
        h.push_back(t);
    }
    return h;
}

struct OrderError {
    double levelDb = 0, phaseDeg = 0, residual = 0;
    int count = 0;
};

// Per order, at every frequency from `lowest` up: the channels' projection on the SN3D
// harmonics of d (whose order-n part has unit length) in level and phase, and the part of
// the channels outside that direction, relative to the projection.
void accumulate(const std::vector<Spectrum>& h, const AmbiVector& d, double lowest, std::map<int, OrderError>& e)
{
    double y[kAmbiMaxChannels];
    realSphericalHarmonics(d, 3, AmbiNorm::kSn3d, y);
    for (int n = 0; n <= 3; ++n) {
        for (size_t f = 0; f < kThirdOctaves.size(); ++f) {
            if (kThirdOctaves[f] < lowest)
                continue;
            std::complex<double> p;
            for (int c = n * n; c < (n + 1) * (n + 1); ++c)
                p += h[c][f] * y[c];
            double rest = 0.0;
            for (int c = n * n; c < (n + 1) * (n + 1); ++c)
                rest += std::norm(h[c][f] - p * y[c]);
            OrderError& o = e[n];
            o.levelDb += std::abs(20.0 * std::log10(std::abs(p)));
            o.phaseDeg += std::abs(std::arg(p)) / kDegree;
            o.residual += std::sqrt(rest) / std::abs(p);
            ++o.count;
        }
    }
}

// Power of the order-3 max-rE beam steered to d, summed over the frequencies, from the
// SN3D channels alone: sum_n g_n (2n+1) sum_m Y_nm(d) a_nm, since sum_m Y_nm(d) Y_nm(s) is
// P_n(cos angle) in SN3D.
double beamPower(const std::vector<Spectrum>& h, const AmbiVector& d)
{
    const double c = std::cos(137.9 / (3 + 1.51) * kDegree);
    const double g[4] = {1.0, c, (3 * c * c - 1) / 2, (5 * c * c * c - 3 * c) / 2};
    double y[kAmbiMaxChannels];
    realSphericalHarmonics(d, 3, AmbiNorm::kSn3d, y);
    double power = 0.0;
    for (size_t f = 0; f < kThirdOctaves.size(); ++f) {
        std::complex<double> s;
        for (int k = 0; k < kAmbiMaxChannels; ++k) {
            const int n = acnDegree(k);
            s += g[n] * (2 * n + 1) * y[k] * h[k][f];
        }
        power += std::norm(s);
    }
    return power;
}

AmbiVector unit(const AmbiVector& v)
{
    const double l = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    return {v.x / l, v.y / l, v.z / l};
}

double angleBetween(const AmbiVector& a, const AmbiVector& b)
{
    const AmbiVector u = unit(a), v = unit(b);
    return std::acos(std::clamp(u.x * v.x + u.y * v.y + u.z * v.z, -1.0, 1.0)) / kDegree;
}

// The beam's strongest direction: a 4 degree grid over the whole sphere, then a pattern
// search on the tangent plane down to steps of 0.05 degrees.
AmbiVector strongest(const std::vector<Spectrum>& h)
{
    AmbiVector best{1, 0, 0};
    double top = -1.0;
    for (int el = -90; el <= 90; el += 4) {
        const int steps = std::max(1, int(std::round(90 * std::cos(el * kDegree))));
        for (int a = 0; a < steps; ++a) {
            const AmbiVector d = ambiVectorFromAngles(360.0 * a / steps, el);
            const double p = beamPower(h, d);
            if (p > top) {
                top = p;
                best = d;
            }
        }
    }
    for (double step = 2.0; step >= 0.05; step /= 2.0) {
        bool moved = true;
        while (moved) {
            moved = false;
            // Two tangents at best.
            const AmbiVector helper = std::abs(best.z) < 0.9 ? AmbiVector{0, 0, 1} : AmbiVector{1, 0, 0};
            AmbiVector t1{best.y * helper.z - best.z * helper.y, best.z * helper.x - best.x * helper.z,
                          best.x * helper.y - best.y * helper.x};
            t1 = unit(t1);
            const AmbiVector t2{best.y * t1.z - best.z * t1.y, best.z * t1.x - best.x * t1.z, best.x * t1.y - best.y * t1.x};
            const double s = std::tan(step * kDegree);
            for (auto [u, v] : {std::pair{1, 0}, std::pair{-1, 0}, std::pair{0, 1}, std::pair{0, -1}}) {
                const AmbiVector d = unit({best.x + s * (u * t1.x + v * t2.x), best.y + s * (u * t1.y + v * t2.y),
                                           best.z + s * (u * t1.z + v * t2.z)});
                const double p = beamPower(h, d);
                if (p > top) {
                    top = p;
                    best = d;
                    moved = true;
                }
            }
        }
    }
    return best;
}

struct Encoded {
    std::vector<std::vector<Spectrum>> transfers; // per source direction
};

Encoded encodeAll(const CRotation3& mounting)
{
    Encoded e;
    for (const ModeRendering& r : renderings()) {
        CAmbiEncoder encoder;
        encoder.setOrientation(mounting);
        configure(encoder, 3);
        e.transfers.push_back(channelTransfers(encode(encoder, r.modes), r));
    }
    return e;
}

// The lowest frequency from which each order is held to 1 dB and 10 degrees on average.
// Below it orders 2 and 3 cannot follow the source: their response falls with (ka)^n, the
// equalisers stop integrating at a corner to keep the noise down, and the alignment's
// high-pass (AmbiOrderFilters.h) leaves a phase lead that fades with frequency (18 degrees
// at 1 kHz for order 3). On the modelled sphere the capsule filters' own error also
// raises orders 2 and 3 by up to 8 dB at 200 Hz. The whole band's figures are recorded.
const double kFrom[4] = {200, 200, 500, 1250};

TEST(EncoderOnTheSphere, EveryOrderMatchesTheHarmonicsOfTheSourceTimesTheSource)
{
    const Encoded e = encodeAll(CRotation3::identity());
    const std::vector<Direction> dirs = sourceDirections();
    std::map<int, OrderError> held, whole;
    for (size_t i = 0; i < dirs.size(); ++i) {
        std::map<int, OrderError> one;
        for (int n = 0; n <= 3; ++n) {
            std::map<int, OrderError> part;
            accumulate(e.transfers[i], ambiVector(dirs[i]), kFrom[n], part);
            held[n].levelDb += part[n].levelDb;
            held[n].phaseDeg += part[n].phaseDeg;
            held[n].residual += part[n].residual;
            held[n].count += part[n].count;
        }
        accumulate(e.transfers[i], ambiVector(dirs[i]), 0.0, whole);
    }
    for (int n = 0; n <= 3; ++n) {
        const OrderError& h = held[n];
        const OrderError& w = whole[n];
        EXPECT_LT(h.levelDb / h.count, 1.0) << "order " << n;
        EXPECT_LT(h.phaseDeg / h.count, 10.0) << "order " << n;
        EXPECT_LT(h.residual / h.count, 0.25) << "order " << n;
        const std::string tag = "order" + std::to_string(n);
        RecordProperty(tag + "_from_" + std::to_string(int(kFrom[n])) + "_level_db", std::to_string(h.levelDb / h.count));
        RecordProperty(tag + "_from_" + std::to_string(int(kFrom[n])) + "_phase_deg", std::to_string(h.phaseDeg / h.count));
        RecordProperty(tag + "_200_6000_level_db", std::to_string(w.levelDb / w.count));
        RecordProperty(tag + "_200_6000_phase_deg", std::to_string(w.phaseDeg / w.count));
        std::printf("order %d: from %4.0f Hz %.2f dB %.1f deg residual %.3f; 200 Hz-6 kHz %.2f dB %.1f deg\n", n,
                    kFrom[n], h.levelDb / h.count, h.phaseDeg / h.count, h.residual / h.count, w.levelDb / w.count,
                    w.phaseDeg / w.count);
    }
}

void expectPeaksAt(const Encoded& e, const CRotation3& mounting, const char* name)
{
    const std::vector<Direction> dirs = sourceDirections();
    double worst = 0.0, sum = 0.0;
    for (size_t i = 0; i < dirs.size(); ++i) {
        const AmbiVector expected = mounting.apply(ambiVector(dirs[i]));
        const double off = angleBetween(strongest(e.transfers[i]), expected);
        EXPECT_LT(off, 2.0) << name << " source theta " << dirs[i].theta << " phi " << dirs[i].phi;
        worst = std::max(worst, off);
        sum += off;
    }
    ::testing::Test::RecordProperty(std::string(name) + "_worst_peak_off_deg", std::to_string(worst));
    std::printf("%s: peak off the source by %.2f deg on average, %.2f at worst\n", name, sum / dirs.size(), worst);
}

TEST(EncoderOnTheSphere, MaxReBeamOfTheChannelsPeaksAtTheSource)
{
    expectPeaksAt(encodeAll(CRotation3::identity()), CRotation3::identity(), "upright");
}

TEST(EncoderOnTheSphere, TurnedMountingMovesThePeakByTheRotation)
{
    const CRotation3 mounting = CRotation3::fromYawPitchRoll(40.0, -25.0, 70.0);
    expectPeaksAt(encodeAll(mounting), mounting, "turned");
    const CRotation3 upsideDown = CRotation3::fromYawPitchRoll(0.0, 0.0, 180.0);
    expectPeaksAt(encodeAll(upsideDown), upsideDown, "upside_down");
}

// A source in front gives +X (ACN 3), on the left +Y (ACN 1), above +Z (ACN 2), in phase
// with W; from the opposite side the sign turns.
TEST(EncoderOnTheSphere, FrontLeftAndUpAreThePositiveAxes)
{
    const struct {
        Direction source;
        int channel;
        double sign;
    } cases[] = {{{90, 0}, 3, 1}, {{90, 180}, 3, -1}, {{90, 90}, 1, 1}, {{90, 270}, 1, -1}, {{0, 0}, 2, 1}, {{180, 0}, 2, -1}};
    for (const auto& c : cases) {
        const ModeRendering r = renderModes(c.source, 12);
        CAmbiEncoder encoder;
        configure(encoder, 1);
        const auto channels = encode(encoder, r.modes);
        const std::vector<double> band = {500, 1000, 2000};
        const Spectrum w = transfer(channels[0], r.dry, band);
        const Spectrum axis = transfer(channels[c.channel], r.dry, band);
        for (size_t f = 0; f < band.size(); ++f) {
            const std::complex<double> ratio = axis[f] / w[f];
            EXPECT_NEAR(ratio.real(), c.sign, 0.1) << c.source.theta << " " << c.source.phi << " " << band[f];
            EXPECT_NEAR(ratio.imag(), 0.0, 0.1);
        }
    }
}

} // namespace
