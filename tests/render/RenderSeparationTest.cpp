// With the default scene, a beam steered at one source carries it well above the other
// two. Each source's share of a beam is measured against the source's own dry signal:
// the least-squares fit of the beam by a FIR of the dry signal (which absorbs the beam's
// latency and its response in that direction) and the energy of that fit.

#include "RenderTestSupport.h"

#include "device/scene/CSoundScene.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace render_test;

namespace {

constexpr int kRate = 44100;
constexpr long kSkip = kRate / 2; // the beams' first half second: filters filling
constexpr long kWindow = 3 * kRate;
constexpr int kTaps = 640;        // covers the beam's latency and filter lengths

// The default scene's dry source signals, aligned with the sphere's centre.
std::vector<std::vector<double>> drySignals(long frames)
{
    CSoundScene scene(kRate);
    CSoundScene::addDefaultSources(scene);
    std::vector<std::vector<float>> capsules(32, std::vector<float>(std::size_t(frames)));
    std::vector<std::vector<float>> dry(3, std::vector<float>(std::size_t(frames)));
    std::vector<float*> c, d;
    for (auto& x : capsules)
        c.push_back(x.data());
    for (auto& x : dry)
        d.push_back(x.data());
    scene.render(c.data(), int(frames), d.data());
    std::vector<std::vector<double>> result;
    for (const auto& x : dry)
        result.emplace_back(x.begin(), x.end());
    return result;
}

// The dry signal's autocorrelation over the window and the taps before it, as of a
// signal that is zero outside: positive definite, as a Cholesky factor needs.
std::vector<double> autocorrelate(const std::vector<double>& x)
{
    std::vector<double> r(kTaps);
    const long first = kSkip - kTaps, end = kSkip + kWindow;
    for (int k = 0; k < kTaps; ++k)
        for (long n = first; n + k < end; ++n)
            r[std::size_t(k)] += x[std::size_t(n)] * x[std::size_t(n + k)];
    return r;
}

// sum over the window of a(n) b(n - k), k = 0 .. kTaps - 1.
template <typename A>
std::vector<double> correlate(const A& a, const std::vector<double>& b)
{
    std::vector<double> r(kTaps);
    for (int k = 0; k < kTaps; ++k) {
        double sum = 0.0;
        for (long n = kSkip; n < kSkip + kWindow; ++n)
            sum += double(a[std::size_t(n)]) * b[std::size_t(n - k)];
        r[std::size_t(k)] = sum;
    }
    return r;
}

// The energy of the best fit of the beam by a FIR of one dry signal: c' (T + eps)^-1 c,
// with T the dry signal's Toeplitz autocorrelation, solved by Cholesky.
class DryFit {
public:
    explicit DryFit(const std::vector<double>& autocorrelation)
        : mL(std::size_t(kTaps) * kTaps, 0.0)
    {
        const double loading = 1e-7 * autocorrelation[0];
        for (int i = 0; i < kTaps; ++i)
            for (int j = 0; j <= i; ++j) {
                double sum = autocorrelation[std::size_t(i - j)] + (i == j ? loading : 0.0);
                for (int k = 0; k < j; ++k)
                    sum -= at(i, k) * at(j, k);
                at(i, j) = i == j ? std::sqrt(sum) : sum / at(j, j);
            }
    }

    double fittedEnergy(const std::vector<double>& crossCorrelation) const
    {
        std::vector<double> z(crossCorrelation); // solve L z = c; the energy is |z|^2
        double energy = 0.0;
        for (int i = 0; i < kTaps; ++i) {
            for (int k = 0; k < i; ++k)
                z[std::size_t(i)] -= at(i, k) * z[std::size_t(k)];
            z[std::size_t(i)] /= at(i, i);
            energy += z[std::size_t(i)] * z[std::size_t(i)];
        }
        return energy;
    }

private:
    double& at(int i, int j) { return mL[std::size_t(i) * kTaps + std::size_t(j)]; }
    double at(int i, int j) const { return mL[std::size_t(i) * kTaps + std::size_t(j)]; }
    std::vector<double> mL;
};

TEST(RenderSeparation, EachBeamAtADefaultSourceCarriesItTenDecibelsAboveTheOthers)
{
    QTemporaryDir dir;
    const long frames = kSkip + kWindow;
    const auto dry = drySignals(frames);
    std::vector<DryFit> fits;
    for (const auto& d : dry)
        fits.emplace_back(autocorrelate(d));

    const char* directions[3] = {"30,90,", "150,60,", "270,120,"}; // tune, percussion, chirps
    for (const char* pattern : {"card3", "hyper3", "super3"}) {
        const QString output = dir.filePath(QStringLiteral("%1.wav").arg(pattern));
        QStringList arguments{"--scene", "--duration", "3.5", "--float", "-q", "-o", output};
        for (const char* direction : directions)
            arguments << "--beam" << QString(direction) + pattern;
        QProcess process;
        process.start(VK_RENDER_EXECUTABLE, arguments);
        ASSERT_TRUE(process.waitForFinished(120000));
        ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
        const Channels beams = readWave(output);
        ASSERT_EQ(beams.channels(), 3);
        ASSERT_GE(beams.frames(), frames);

        for (int b = 0; b < 3; ++b) {
            double share[3], total = 0.0;
            for (int s = 0; s < 3; ++s)
                share[s] = fits[std::size_t(s)].fittedEnergy(correlate(beams.data[std::size_t(b)], dry[std::size_t(s)]));
            for (long n = kSkip; n < kSkip + kWindow; ++n)
                total += double(beams.data[std::size_t(b)][std::size_t(n)]) * beams.data[std::size_t(b)][std::size_t(n)];
            // The three fits explain the beam: the measure accounts for all that is in it.
            EXPECT_GT((share[0] + share[1] + share[2]) / total, 0.95) << pattern << " beam " << b;
            for (int s = 0; s < 3; ++s) {
                if (s == b)
                    continue;
                const double margin = 10.0 * std::log10(share[b] / share[s]);
                EXPECT_GE(margin, 10.0) << pattern << " beam " << b << " over source " << s;
            }
        }
    }
}

} // namespace
