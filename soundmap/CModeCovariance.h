#pragma once
// Covariance of the 16 mode signals, summed by the audio thread over a display period
// and handed to the main thread through a triple buffer: the audio thread fills its own
// slot and swaps it with the middle one (release); the reader swaps the middle slot for
// its own when a fresh one is flagged (acquire). Neither side ever waits for the other;
// a reader that is late just gets the newest period.
//
// The modes are band-passed to 1.5-5 kHz first, with steep edges: below, the modal
// equalisers of the four orders part in phase, so a broadband sum would lose the
// coherence between orders that locates a source; above, the capsule grid aliases. The
// edges matter as much as the corners: with one section a side, white noise from 6 to
// 20 kHz and below 1 kHz reached the sums 10 dB below the band's own, and spread each
// source over eigenvectors within 10 dB of its own, which left the subspace map (MUSIC)
// too few noise dimensions to find the sources by. With 24 and 48 dB an octave a source's
// second eigenvector is 17 dB down (the orders' residual phase) and the rest 30 dB.
//
// Thread contract: setPeriod and reset on the control thread while nothing feeds it;
// feedModes on the audio thread; fetch on one reader thread.
// feedModes: audio thread: no allocation, no lock, no I/O.

#include "beamformer/CKorvane.h"
#include "soundmap/ModeBandPass.h"

#include <atomic>
#include <cstdint>

// One period's sums: the upper triangle of sum x_i x_j, row by row (i <= j).
struct ModeCovarianceFrame {
    static constexpr int kModes = 16;
    static constexpr int kEntries = kModes * (kModes + 1) / 2;

    double sums[kEntries] = {};
    std::int64_t frames = 0;    // samples summed
    std::uint64_t sequence = 0; // counts published periods from 1

    static constexpr int index(int i, int j)
    {
        return i <= j ? i * kModes - i * (i - 1) / 2 + (j - i) : index(j, i);
    }
    double at(int i, int j) const { return sums[index(i, j)]; }
};

class CModeCovariance : public CKorvane::ModeTap {
public:
    static constexpr int kModes = ModeCovarianceFrame::kModes;

    static constexpr double kLowEdge = 1500.0; // Hz
    static constexpr double kHighEdge = 5000.0; // Hz, or 0.45 of the rate if lower

    // Samples per published period; at least 1 (smaller values are raised to 1).
    CModeCovariance(double sampleRate, int periodFrames);
    CModeCovariance(const CModeCovariance&) = delete;
    CModeCovariance& operator=(const CModeCovariance&) = delete;

    void setPeriod(int frames);
    int period() const { return mPeriod; }
    // Drops the partial period, every published one and the filters' histories.
    void reset();

    // Adds one block of the 16 mode channels (fewer modes: nothing is summed) and
    // publishes whenever a period is complete.
    void feedModes(const float* const* modes, int count, int frames) override;

    // Copies the newest published period into `out` when one arrived since the last
    // fetch; false (and `out` untouched) otherwise.
    bool fetch(ModeCovarianceFrame& out);

private:
    static constexpr std::uint32_t kFresh = 4;
    static constexpr int kChunk = 64;

    void accumulate(int begin, int end);
    void publish();

    int mPeriod;
    ModeBandPass mBand;
    alignas(64) float mFrames[kChunk][kModes]; // band-passed, interleaved
    // Audio thread's side.
    ModeCovarianceFrame mSlots[3];
    int mWrite = 0;
    std::uint64_t mPublished = 0;
    // Shared: index of the middle slot, with kFresh set while the reader has not taken it.
    std::atomic<std::uint32_t> mMiddle{1};
    // Reader's side.
    int mRead = 2;
};
