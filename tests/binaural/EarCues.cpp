#include "tests/binaural/EarCues.h"

#include <fftw3.h>

#include <cmath>
#include <complex>
#include <mutex>

namespace {
constexpr int kFft = 8192;
using Spectrum = std::vector<std::complex<double>>;

std::mutex gPlanner;

Spectrum spectrum(const std::vector<float>& x)
{
    std::vector<double> frame(kFft, 0.0);
    for (std::size_t i = 0; i < x.size() && i < std::size_t(kFft); ++i)
        frame[i] = x[i];
    Spectrum s(kFft / 2 + 1);
    std::lock_guard lock(gPlanner);
    fftw_plan plan = fftw_plan_dft_r2c_1d(kFft, frame.data(), reinterpret_cast<fftw_complex*>(s.data()), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return s;
}

double itd(const Spectrum& l, const Spectrum& r, double rate)
{
    Spectrum cross(kFft / 2 + 1);
    for (int k = 0; k * rate / kFft < 1500.0; ++k)
        cross[k] = l[k] * std::conj(r[k]);
    std::vector<double> xc(kFft);
    {
        std::lock_guard lock(gPlanner);
        fftw_plan plan = fftw_plan_dft_c2r_1d(kFft, reinterpret_cast<fftw_complex*>(cross.data()), xc.data(),
                                              FFTW_ESTIMATE);
        fftw_execute(plan);
        fftw_destroy_plan(plan);
    }
    // Lags within 1.2 ms either way, then a parabola through the peak.
    const int reach = static_cast<int>(0.0012 * rate);
    auto at = [&xc](int lag) { return xc[(lag + kFft) % kFft]; };
    int best = 0;
    for (int lag = -reach; lag <= reach; ++lag)
        if (at(lag) > at(best))
            best = lag;
    const double a = at(best - 1), b = at(best), c = at(best + 1);
    const double denom = a - 2 * b + c;
    const double offset = denom != 0.0 ? 0.5 * (a - c) / denom : 0.0;
    return (best + offset) / rate;
}

double bandEnergy(const Spectrum& s, double rate, double low, double high)
{
    double e = 0.0;
    for (int k = 0; k <= kFft / 2; ++k) {
        const double f = k * rate / kFft;
        if (f >= low && f < high)
            e += std::norm(s[k]);
    }
    return e;
}
} // namespace

EarCues measureEarCues(const std::vector<float>& left, const std::vector<float>& right, double rate)
{
    const Spectrum l = spectrum(left), r = spectrum(right);
    EarCues cues;
    cues.itdSeconds = itd(l, r, rate);
    cues.ildDb = 10.0 * std::log10(bandEnergy(l, rate, 2000.0, 8000.0) / bandEnergy(r, rate, 2000.0, 8000.0));
    const Spectrum* ears[2] = {&l, &r};
    for (int ear = 0; ear < 2; ++ear)
        for (double centre = 1000.0; centre * std::pow(2.0, 1.0 / 6.0) < 0.45 * rate;
             centre *= std::pow(2.0, 1.0 / 3.0))
            cues.bandsDb[ear].push_back(10.0 * std::log10(bandEnergy(*ears[ear], rate, centre * std::pow(2.0, -1.0 / 6.0),
                                                                     centre * std::pow(2.0, 1.0 / 6.0)) + 1e-20));
    return cues;
}

double spectralDistanceDb(const EarCues& a, const EarCues& b)
{
    double sum = 0.0;
    int count = 0;
    for (int ear = 0; ear < 2; ++ear)
        for (std::size_t i = 0; i < a.bandsDb[ear].size(); ++i, ++count)
            sum += std::pow(a.bandsDb[ear][i] - b.bandsDb[ear][i], 2);
    return std::sqrt(sum / count);
}
