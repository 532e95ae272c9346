#pragma once
// How much of each source a beam carries, measured against the sources' own dry signals.
// A source's share of a beam is the energy of the least-squares fit of the beam by a FIR
// of that source's dry signal: the FIR absorbs the beam's latency and its response in the
// source's direction, so the share counts everything of that signal in the beam and
// nothing else. Used by the renderer's and the application's separation tests.

#include <cmath>
#include <cstddef>
#include <vector>

namespace source_separation {

constexpr int kTaps = 640; // covers a beam's latency and its filters' lengths

using Signal = std::vector<double>;

// The best fit of a beam by a FIR of one dry signal over a window. The dry signal's window
// [first, first + length) and the kTaps samples before it, taken as zero outside, give a
// positive definite Toeplitz autocorrelation T; the fit's energy is c' (T + eps)^-1 c for
// the beam's cross-correlation c, solved by Cholesky. `dry` must outlive the fit, and
// `first` must be at least kTaps.
class DryFit {
public:
    DryFit(const Signal& dry, long first, long length)
        : mDry(dry), mFirst(first), mLength(length), mL(std::size_t(kTaps) * kTaps, 0.0)
    {
        const std::vector<double> r = autocorrelation();
        const double loading = 1e-7 * r[0];
        for (int i = 0; i < kTaps; ++i)
            for (int j = 0; j <= i; ++j) {
                double sum = r[std::size_t(i - j)] + (i == j ? loading : 0.0);
                for (int k = 0; k < j; ++k)
                    sum -= at(i, k) * at(j, k);
                at(i, j) = i == j ? std::sqrt(sum) : sum / at(j, j);
            }
    }

    // The fitted energy for a beam whose window beam[0 .. length) lines up with the dry
    // window: beam[n] against dry[first + n - k], k = 0 .. kTaps - 1.
    double fittedEnergy(const float* beam) const
    {
        std::vector<double> z(kTaps); // solve L z = c; the energy is |z|^2
        for (int k = 0; k < kTaps; ++k) {
            const double* d = mDry.data() + mFirst - k;
            double sum = 0.0;
            for (long n = 0; n < mLength; ++n)
                sum += double(beam[n]) * d[n];
            z[std::size_t(k)] = sum;
        }
        double energy = 0.0;
        for (int i = 0; i < kTaps; ++i) {
            for (int k = 0; k < i; ++k)
                z[std::size_t(i)] -= at(i, k) * z[std::size_t(k)];
            z[std::size_t(i)] /= at(i, i);
            energy += z[std::size_t(i)] * z[std::size_t(i)];
        }
        return energy;
    }

    long length() const { return mLength; }

private:
    std::vector<double> autocorrelation() const
    {
        std::vector<double> r(kTaps);
        const double* x = mDry.data();
        const long begin = mFirst - kTaps, end = mFirst + mLength;
        for (int k = 0; k < kTaps; ++k)
            for (long n = begin; n + k < end; ++n)
                r[std::size_t(k)] += x[n] * x[n + k];
        return r;
    }
    double& at(int i, int j) { return mL[std::size_t(i) * kTaps + std::size_t(j)]; }
    double at(int i, int j) const { return mL[std::size_t(i) * kTaps + std::size_t(j)]; }

    const Signal& mDry;
    long mFirst;
    long mLength;
    std::vector<double> mL;
};

inline double energy(const float* x, long length)
{
    double sum = 0.0;
    for (long n = 0; n < length; ++n)
        sum += double(x[n]) * x[n];
    return sum;
}

// What one beam holds of each source over a window.
struct Shares {
    std::vector<double> source; // the fitted energy of each source
    double total = 0.0;         // the beam's own energy

    // The part of the beam that the fits account for together.
    double explained() const
    {
        double sum = 0.0;
        for (double s : source)
            sum += s;
        return sum / total;
    }
    // How far source `own` stands above source `other`, in dB.
    double marginDb(int own, int other) const
    {
        return 10.0 * std::log10(source[std::size_t(own)] / source[std::size_t(other)]);
    }
};

// The shares of every source of a scene in beams, over one window of the dry timeline.
class SourceSeparation {
public:
    SourceSeparation(const std::vector<Signal>& dry, long first, long length)
    {
        for (const Signal& d : dry)
            mFits.emplace_back(d, first, length);
    }

    // `beam` points at the beam's sample that lines up with the window's first.
    Shares measure(const float* beam) const
    {
        Shares s;
        for (const DryFit& fit : mFits)
            s.source.push_back(fit.fittedEnergy(beam));
        s.total = energy(beam, mFits.front().length());
        return s;
    }

private:
    std::vector<DryFit> mFits;
};

// The delay of a beam against the dry timeline, where only whole steps are possible (a
// stream that began some blocks late): the d in 0, step, .., maxSteps * step for which
// the fit explains most of beam[first + d ...]. `beamFrames` bounds the candidates.
inline long fitDelay(const float* beam, long beamFrames, const DryFit& fit, long first, long step, int maxSteps)
{
    long best = -1;
    double bestPart = -1.0;
    for (int i = 0; i <= maxSteps; ++i) {
        const long d = i * step;
        if (first + d + fit.length() > beamFrames)
            break;
        const float* window = beam + first + d;
        const double part = fit.fittedEnergy(window) / energy(window, fit.length());
        if (part > bestPart) {
            bestPart = part;
            best = d;
        }
    }
    return best;
}

} // namespace source_separation
