#pragma once
// Plane waves of white noise on the modelled rigid sphere, through the engine's
// decomposition (the node in its "modes" signal path) and an encoder, and the transfer
// from the source (as heard at the sphere's centre) to each AmbiX channel, estimated by
// averaged cross-spectra at chosen frequencies.

#include "ambisonics/CAmbiEncoder.h"
#include "beamformer/tables/EbfMatrix.h"
#include "tests/beamformer/nodeFixture.h"

#include <complex>
#include <numbers>
#include <vector>

namespace ambi_test {

using node_test::Direction;
using node_test::kBlock;
using node_test::kRate;
using Spectrum = std::vector<std::complex<double>>; // one value per frequency

constexpr double kDegree = std::numbers::pi / 180.0;

// The AmbiX vector of a direction in the array's frame (azimuth = phi, elevation = 90 - theta).
inline AmbiVector ambiVector(Direction d) { return ambiVectorFromAngles(d.phi, 90.0 - d.theta); }

// The 16 mode signals of a noise source from `source`, `blocks` blocks long, and the
// source's own signal.
struct ModeRendering {
    std::vector<std::vector<float>> modes;
    std::vector<float> dry;
};

inline ModeRendering renderModes(Direction source, int blocks)
{
    const node_test::Rendering r(source, CSceneSignal(CSceneSignal::Kind::Noise, kRate, 0.5f, 5), blocks);
    node_test::NodeRig rig(CAmbiEncoder::kModes);
    EXPECT_EQ(rig.zirc.setMbfMode(CKorvane::kModeModes), vkOk);
    EXPECT_EQ(rig.zirc.start(), vkOk);
    rig.run(r);
    return {rig.outputs, r.dry};
}

// The encoder's channels for the given modes, block by block.
inline std::vector<std::vector<float>> encode(CAmbiEncoder& encoder, const std::vector<std::vector<float>>& modes)
{
    const int channels = encoder.outFormat().channels();
    std::vector<std::vector<float>> out(channels, std::vector<float>(modes[0].size()));
    std::vector<float*> in(CAmbiEncoder::kModes), o(channels);
    for (size_t at = 0; at < modes[0].size(); at += kBlock) {
        for (int k = 0; k < CAmbiEncoder::kModes; ++k)
            in[k] = const_cast<float*>(modes[k].data()) + at;
        for (int c = 0; c < channels; ++c)
            o[c] = out[c].data() + at;
        EXPECT_EQ(encoder.process(in.data(), o.data(), kBlock), vkOk);
    }
    return out;
}

inline void configure(CAmbiEncoder& encoder, int order)
{
    const int channels = ambiChannelCount(order);
    EXPECT_EQ(encoder.setFormat(node_test::format(CAmbiEncoder::kModes), node_test::format(channels)), vkOk);
    EXPECT_EQ(encoder.start(), vkOk);
}

// H(f) = sum Y X* / sum |X|^2 over Hann-windowed frames of 2048 with half overlap, the
// first `skip` samples left out (filters settling).
inline Spectrum transfer(const std::vector<float>& y, const std::vector<float>& x,
                         const std::vector<double>& frequencies, int skip = 2048)
{
    constexpr int kFrame = 2048;
    // The windowed exponentials of each frequency, made once.
    std::vector<std::vector<std::complex<double>>> kernels;
    for (double frequency : frequencies) {
        std::vector<std::complex<double>> k(kFrame);
        const double w = 2.0 * std::numbers::pi * frequency / kRate;
        for (int t = 0; t < kFrame; ++t)
            k[t] = std::polar(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * t / kFrame), -w * t);
        kernels.push_back(std::move(k));
    }
    Spectrum cross(frequencies.size()), result(frequencies.size());
    std::vector<double> power(frequencies.size());
    for (size_t start = size_t(skip); start + kFrame <= x.size(); start += kFrame / 2) {
        for (size_t f = 0; f < frequencies.size(); ++f) {
            std::complex<double> X, Y;
            for (int t = 0; t < kFrame; ++t) {
                X += double(x[start + t]) * kernels[f][t];
                Y += double(y[start + t]) * kernels[f][t];
            }
            cross[f] += Y * std::conj(X);
            power[f] += std::norm(X);
        }
    }
    for (size_t f = 0; f < frequencies.size(); ++f)
        result[f] = cross[f] / power[f];
    return result;
}

} // namespace ambi_test
