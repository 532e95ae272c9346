#include "binaural/CBinauralFilters.h"

#include "binaural/CHrirSet.h"
#include "binaural/FftwPlanner.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr int kChannels = CBinauralFilters::kChannels;
constexpr int kEars = CBinauralFilters::kEars;
// Tikhonov weight relative to the mean eigenvalue of the normal matrix.
constexpr double kRegularisation = 1e-3;
// Power, relative to the mean over directions, below which a response's magnitude
// weighs no more in the magnitude fit.
constexpr double kMagnitudeFloor = 1e-2;
// Neighbours expected in the cap that measures a direction's share of the sphere.
constexpr double kDensityNeighbours = 8.0;

using Complex = std::complex<double>;
using Matrix = std::vector<double>;  // row-major

// Area weights of the measured directions, summing to one: a direction counts in
// inverse proportion to the measurements within a cap that would hold about eight of
// them on an even grid.
std::vector<double> areaWeights(const CHrirSet& set)
{
    const int q = set.directionCount();
    const double cosRadius = 1.0 - 2.0 * kDensityNeighbours / q;
    std::vector<double> weights(q);
    double sum = 0.0;
    for (int i = 0; i < q; ++i) {
        const AmbiVector& a = set.direction(i);
        int count = 0;
        for (int j = 0; j < q; ++j) {
            const AmbiVector& b = set.direction(j);
            count += a.x * b.x + a.y * b.y + a.z * b.z >= cosRadius;
        }
        weights[i] = 1.0 / count;
        sum += weights[i];
    }
    for (double& w : weights)
        w /= sum;
    return weights;
}

// Solves G x = b in place for a symmetric positive definite kChannels square G by
// Cholesky; b has `columns` columns.
void solveSpd(Matrix g, Matrix& b, int columns)
{
    const int n = kChannels;
    for (int j = 0; j < n; ++j) {
        double d = g[j * n + j];
        for (int k = 0; k < j; ++k)
            d -= g[j * n + k] * g[j * n + k];
        d = std::sqrt(d);
        g[j * n + j] = d;
        for (int i = j + 1; i < n; ++i) {
            double s = g[i * n + j];
            for (int k = 0; k < j; ++k)
                s -= g[i * n + k] * g[j * n + k];
            g[i * n + j] = s / d;
        }
    }
    for (int c = 0; c < columns; ++c) {
        for (int i = 0; i < n; ++i) {
            double s = b[i * columns + c];
            for (int k = 0; k < i; ++k)
                s -= g[i * n + k] * b[k * columns + c];
            b[i * columns + c] = s / g[i * n + i];
        }
        for (int i = n - 1; i >= 0; --i) {
            double s = b[i * columns + c];
            for (int k = i + 1; k < n; ++k)
                s -= g[k * n + i] * b[k * columns + c];
            b[i * columns + c] = s / g[i * n + i];
        }
    }
}

// The harmonics of every measured direction, N3D: [direction][channel].
Matrix harmonics(const CHrirSet& set)
{
    Matrix y(std::size_t(set.directionCount()) * kChannels);
    for (int m = 0; m < set.directionCount(); ++m)
        realSphericalHarmonics(set.direction(m), kAmbiMaxOrder, AmbiNorm::kN3d, &y[std::size_t(m) * kChannels]);
    return y;
}

// The coefficients c (N3D) minimising sum_m w_m |Y_m c - t_m|^2 + lambda |c|^2, written
// to out[n * stride]; lambda is kRegularisation times the mean eigenvalue of the
// weighted normal matrix.
void weightedFit(const Matrix& y, const std::vector<double>& w, const std::vector<Complex>& t, Complex* out,
                 int stride)
{
    const std::size_t q = w.size();
    Matrix g(kChannels * kChannels, 0.0);
    Matrix b(kChannels * 2, 0.0);
    for (std::size_t m = 0; m < q; ++m) {
        const double* ym = &y[m * kChannels];
        for (int r = 0; r < kChannels; ++r) {
            const double wy = w[m] * ym[r];
            for (int c = 0; c <= r; ++c)
                g[r * kChannels + c] += wy * ym[c];
            b[r * 2] += wy * t[m].real();
            b[r * 2 + 1] += wy * t[m].imag();
        }
    }
    double trace = 0.0;
    for (int r = 0; r < kChannels; ++r) {
        trace += g[r * kChannels + r];
        for (int c = 0; c < r; ++c)
            g[c * kChannels + r] = g[r * kChannels + c];
    }
    for (int r = 0; r < kChannels; ++r)
        g[r * kChannels + r] += kRegularisation * trace / kChannels;
    solveSpd(std::move(g), b, 2);
    for (int n = 0; n < kChannels; ++n)
        out[std::size_t(n) * stride] = Complex(b[n * 2], b[n * 2 + 1]);
}

// The mean arrival time of the responses in samples: where each first reaches a tenth of
// its peak.
double meanOnset(const CHrirSet& set)
{
    double sum = 0.0;
    for (int m = 0; m < set.directionCount(); ++m)
        for (int ear = 0; ear < kEars; ++ear) {
            const float* r = set.response(m, ear);
            float peak = 0.0f;
            for (int t = 0; t < set.length(); ++t)
                peak = std::max(peak, std::abs(r[t]));
            int onset = 0;
            while (onset < set.length() && std::abs(r[onset]) < 0.1f * peak)
                ++onset;
            sum += onset;
        }
    return sum / (kEars * set.directionCount());
}

int nextPowerOfTwo(int n)
{
    int p = 1;
    while (p < n)
        p *= 2;
    return p;
}

// The spectra of every measured response at one ear: [direction][bin], fftSize-point.
std::vector<Complex> earSpectra(const CHrirSet& set, int ear, int fftSize)
{
    const int bins = fftSize / 2 + 1;
    const int q = set.directionCount();
    std::vector<Complex> spectra(std::size_t(q) * bins);
    std::vector<double> frame(fftSize);
    fftw_plan plan;
    {
        std::lock_guard lock(fftwPlannerMutex());
        plan = fftw_plan_dft_r2c_1d(fftSize, frame.data(), reinterpret_cast<fftw_complex*>(spectra.data()),
                                    FFTW_ESTIMATE | FFTW_UNALIGNED);
    }
    for (int m = 0; m < q; ++m) {
        std::fill(frame.begin(), frame.end(), 0.0);
        std::copy_n(set.response(m, ear), set.length(), frame.begin());
        fftw_execute_dft_r2c(plan, frame.data(), reinterpret_cast<fftw_complex*>(&spectra[std::size_t(m) * bins]));
    }
    std::lock_guard lock(fftwPlannerMutex());
    fftw_destroy_plan(plan);
    return spectra;
}

// The decoder spectra of one ear, [channel][bin]: least squares below the magnitude
// frequency, magnitude least squares from there on. The phase the magnitudes take from
// the frequency below advances as that of a delay of `delay` samples: with the phase of
// the frequency below alone, the high band would have no delay and sit at time zero,
// half of it wrapped to the filter's end, while the low band arrives with the head's
// responses.
std::vector<Complex> fitEar(const std::vector<Complex>& h, const Matrix& y, const std::vector<double>& area, int bins,
                            int magnitudeFromBin, double delay)
{
    const int q = static_cast<int>(area.size());
    const Complex delayStep = std::polar(1.0, -std::numbers::pi * delay / (bins - 1));
    std::vector<Complex> coef(std::size_t(kChannels) * bins);
    std::vector<Complex> target(q);
    std::vector<double> w(q);
    for (int k = 0; k < bins; ++k) {
        const bool magnitude = k >= magnitudeFromBin && k > 0;
        double meanPower = 0.0;
        for (int m = 0; magnitude && m < q; ++m)
            meanPower += std::norm(h[std::size_t(m) * bins + k]) / q;
        for (int m = 0; m < q; ++m) {
            const Complex hm = h[std::size_t(m) * bins + k];
            w[m] = area[m];
            if (!magnitude) {
                target[m] = hm;
                continue;
            }
            w[m] = area[m] / std::sqrt(std::norm(hm) + kMagnitudeFloor * meanPower);
            // The phase of the previous frequency's fit in this direction, advanced by
            // the set's common delay over one bin.
            Complex p = 0.0;
            for (int n = 0; n < kChannels; ++n)
                p += y[std::size_t(m) * kChannels + n] * coef[std::size_t(n) * bins + k - 1];
            const double mag = std::abs(p);
            target[m] = std::abs(hm) * (mag > 0.0 ? p / mag : Complex(1.0)) * delayStep;
        }
        weightedFit(y, w, target, &coef[k], bins);
    }
    return coef;
}

}  // namespace

CBinauralFilters::CBinauralFilters(int length, double sampleRate, std::vector<float> taps)
    : mLength(length), mSampleRate(sampleRate), mTaps(std::move(taps))
{
    mTaps.resize(std::size_t(kChannels) * kEars * std::max(length, 0), 0.0f);
}

CBinauralFilters CBinauralFilters::designMagLs(const CHrirSet& hrirs, int maxLength)
{
    if (hrirs.isEmpty() || maxLength < 1)
        return {};
    const int fftSize = nextPowerOfTwo(2 * hrirs.length());
    const int bins = fftSize / 2 + 1;
    const int magnitudeFromBin = static_cast<int>(std::ceil(kMagnitudeFromHz * fftSize / hrirs.sampleRate()));
    const int length = std::min(maxLength, hrirs.length());
    const int fade = std::max(1, length / 8);

    const Matrix y = harmonics(hrirs);
    const std::vector<double> area = areaWeights(hrirs);
    const double delay = meanOnset(hrirs);

    std::vector<float> taps(std::size_t(kChannels) * kEars * length);
    std::vector<double> impulse(fftSize);
    std::vector<Complex> spectrum(bins);
    fftw_plan inverse;
    {
        std::lock_guard lock(fftwPlannerMutex());
        inverse = fftw_plan_dft_c2r_1d(fftSize, reinterpret_cast<fftw_complex*>(spectrum.data()), impulse.data(),
                                       FFTW_ESTIMATE | FFTW_UNALIGNED);
    }
    for (int ear = 0; ear < kEars; ++ear) {
        const std::vector<Complex> coef =
            fitEar(earSpectra(hrirs, ear, fftSize), y, area, bins, magnitudeFromBin, delay);
        for (int n = 0; n < kChannels; ++n) {
            std::copy_n(&coef[std::size_t(n) * bins], bins, spectrum.begin());
            // A real filter: DC and the Nyquist bin carry no phase.
            spectrum.front() = spectrum.front().real();
            spectrum.back() = spectrum.back().real();
            fftw_execute_dft_c2r(inverse, reinterpret_cast<fftw_complex*>(spectrum.data()), impulse.data());
            // N3D coefficients act on N3D channels; the input is SN3D, sqrt(2n+1) smaller.
            const double scale = n3dFromSn3d(acnDegree(n)) / fftSize;
            float* out = &taps[std::size_t(n * kEars + ear) * length];
            for (int t = 0; t < length; ++t) {
                const int intoFade = t - (length - fade);
                const double window =
                    intoFade < 0 ? 1.0 : 0.5 + 0.5 * std::cos(std::numbers::pi * (intoFade + 1) / (fade + 1));
                out[t] = static_cast<float>(impulse[t] * scale * window);
            }
        }
    }
    {
        std::lock_guard lock(fftwPlannerMutex());
        fftw_destroy_plan(inverse);
    }
    return CBinauralFilters(length, hrirs.sampleRate(), std::move(taps));
}

CBinauralFilters CBinauralFilters::designFromSofa(const std::string& path, double sampleRate, int maxLength,
                                                  std::string& message)
{
    CHrirSet set;
    if (set.load(path, sampleRate, message) != CHrirSet::kOk)
        return {};
    return designMagLs(set, maxLength);
}
