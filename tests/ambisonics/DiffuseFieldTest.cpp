// The above-aliasing correction measured in a diffuse field on the modelled sphere: 40
// uncorrelated noise sources spread over the sphere, their sum at the sphere's centre as
// the reference. In such a field W's power should equal the centre's and each order's
// channels together (SN3D) the same again.

#include "tests/ambisonics/ambiSphereFixture.h"

#include <cstdio>

using namespace ambi_test;

namespace {

constexpr int kSources = 40;
constexpr int kBlocks = 48;
const std::vector<double> kBands = {1000, 2000, 4000, 6300, 8000, 10000, 12500, 14000, 16000};

struct DiffuseRendering {
    std::vector<std::vector<float>> modes;
    std::vector<float> centre;
};

const DiffuseRendering& diffuseField()
{
    static const DiffuseRendering field = [] {
        CSoundScene scene(kRate);
        const double golden = 180.0 * (3.0 - std::sqrt(5.0));
        for (int i = 0; i < kSources; ++i) {
            const double z = 1.0 - (2.0 * i + 1.0) / kSources;
            EXPECT_GE(scene.addSource(float(std::acos(z) / kDegree), float(std::fmod(i * golden, 360.0)),
                                      CSceneSignal(CSceneSignal::Kind::Noise, kRate, 0.1f, 100 + i)),
                      0);
        }
        node_test::Rendering r(kBlocks);
        std::vector<std::vector<float>> dry(kSources, std::vector<float>(size_t(kBlocks) * kBlock));
        std::vector<float*> c(32), d(kSources);
        for (int b = 0; b < kBlocks; ++b) {
            for (int ch = 0; ch < 32; ++ch)
                c[ch] = r.capsules[ch].data() + size_t(b) * kBlock;
            for (int s = 0; s < kSources; ++s)
                d[s] = dry[s].data() + size_t(b) * kBlock;
            scene.render(c.data(), kBlock, d.data());
        }
        for (const auto& s : dry)
            for (size_t t = 0; t < s.size(); ++t)
                r.dry[t] += s[t];
        node_test::NodeRig rig(CAmbiEncoder::kModes);
        EXPECT_EQ(rig.zirc.setMbfMode(CKorvane::kModeModes), vkOk);
        EXPECT_EQ(rig.zirc.start(), vkOk);
        rig.run(r);
        return DiffuseRendering{rig.outputs, r.dry};
    }();
    return field;
}

// Power in a third-octave band: the mean of Hann-windowed DFT powers at 9 frequencies
// across it, over every frame.
double bandPower(const std::vector<float>& x, double centre)
{
    std::vector<double> frequencies;
    for (int i = -4; i <= 4; ++i)
        frequencies.push_back(centre * std::pow(2.0, i / 36.0));
    constexpr int kFrame = 2048;
    double sum = 0.0;
    int count = 0;
    for (size_t start = 2048; start + kFrame <= x.size(); start += kFrame / 2)
        for (double f : frequencies) {
            std::complex<double> X;
            const double w = 2.0 * std::numbers::pi * f / kRate;
            for (int t = 0; t < kFrame; ++t)
                X += double(x[start + t]) * std::polar(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * t / kFrame), -w * t);
            sum += std::norm(X);
            ++count;
        }
    return sum / count;
}

// Per band: W's power and each order's summed power relative to the centre, in dB.
std::vector<std::array<double, 4>> orderPowers(bool corrected)
{
    const DiffuseRendering& field = diffuseField();
    CAmbiEncoder encoder;
    encoder.setAboveAliasing(corrected);
    configure(encoder, 3);
    const auto channels = encode(encoder, field.modes);
    std::vector<std::array<double, 4>> result;
    for (double band : kBands) {
        const double reference = bandPower(field.centre, band);
        std::array<double, 4> orders{};
        for (int n = 0; n <= 3; ++n) {
            double p = 0.0;
            for (int c = n * n; c < (n + 1) * (n + 1); ++c)
                p += bandPower(channels[c], band);
            orders[n] = 10.0 * std::log10(p / reference);
        }
        result.push_back(orders);
    }
    return result;
}

TEST(DiffuseField, CorrectionKeepsWFlatTo16kHzAndTheHigherOrdersFromRising)
{
    const auto plain = orderPowers(false);
    const auto corrected = orderPowers(true);
    for (size_t b = 0; b < kBands.size(); ++b) {
        std::printf("%6.0f Hz  plain W %+5.1f dB orders %+5.1f %+5.1f %+5.1f   corrected W %+5.1f dB orders %+5.1f %+5.1f %+5.1f\n",
                    kBands[b], plain[b][0], plain[b][1], plain[b][2], plain[b][3], corrected[b][0], corrected[b][1],
                    corrected[b][2], corrected[b][3]);
        const std::string tag = std::to_string(int(kBands[b])) + "Hz";
        RecordProperty("plain_w_" + tag, std::to_string(plain[b][0]));
        RecordProperty("corrected_w_" + tag, std::to_string(corrected[b][0]));
        EXPECT_NEAR(corrected[b][0], 0.0, 2.0) << kBands[b];
        for (int n = 1; n <= 3; ++n)
            EXPECT_LT(corrected[b][n], 2.0) << "order " << n << " at " << kBands[b];
    }
    // Without the correction W rises well above the centre at the top.
    EXPECT_GT(plain.back()[0], 8.0);
    // Below aliasing the correction changes nothing that matters.
    EXPECT_NEAR(corrected[0][0], plain[0][0], 0.3);
}

} // namespace
