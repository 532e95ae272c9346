#pragma once
// The ear filters at run time: 16 input channels convolved with one FIR per channel and
// ear and summed into two ears, by uniformly partitioned overlap-save convolution. The
// input is cut into partitions of P samples; each partition's spectrum (FFT of 2P) goes
// into a delay line of spectra that every filter set shares, and an ear's partition is
// the sum over channels and filter partitions of spectrum times filter spectrum, turned
// back once per ear. The output is late by exactly P samples (latency()), whatever the
// host's block.
//
// Filter sets change without a click: a new set is transformed into a spare bank on the
// control thread and handed over through vkxShadowFilterBanks; since the input spectra
// are shared, the new set is heard at once, cross-faded in over 5 time constants of
// 10 ms while both sets run.
//
// Thread contract: run() on the audio thread; load() on the control thread, also while
// audio runs; everything else only while stopped.
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/vkxShadowFilterBanks.h"

struct fftwf_plan_s;
class CBinauralFilters;

class CBinauralConvolver {
public:
    static constexpr int kInputs = 16;
    static constexpr int kEars = 2;
    static constexpr int kMaxTaps = 1024;
    static constexpr int kFadeTimeConstantMs = 10;

    enum Result : int {
        kErrPartition = 101,  // partition not a power of two from 16 to kMaxTaps
        kErrTooLong = 102,    // filters longer than kMaxTaps
        kErrRate = 103,       // filters for another sample rate
    };

    CBinauralConvolver() = default;
    CBinauralConvolver(const CBinauralConvolver&) = delete;
    CBinauralConvolver& operator=(const CBinauralConvolver&) = delete;
    ~CBinauralConvolver();

    // Audio stopped: memory for three banks of kMaxTaps filters, the transforms planned,
    // every bank empty. 0, 101, 8 for a rate that is not positive, 7 when memory is short.
    int configure(double sampleRate, int partition);
    // Control thread: transforms a filter set into a spare bank and hands it to the audio
    // thread (at once when none is in force, else by the cross-fade). 6 before
    // configure, 8 for an empty set, 102, 103; on any refusal the sets in force stay.
    int load(const CBinauralFilters& filters);

    // Audio thread: `frames` samples of 16 channels in, two ears out, latency() late.
    // Silence while no set is in force.
    void run(const float* const* in, float* const* out, int frames);
    // Audio stopped: clears every history.
    void reset();
    // Audio stopped: the newest set is in force at once.
    void settle() { mBanks.settle(); }

    int partition() const { return mPartition; }
    int latency() const { return mPartition; }
    // Audio thread, or while stopped.
    bool hasFilters() const { return mBanks.current() >= 0 || mBanks.hasPending(); }
    vkxShadowFilterBanks::Transition transition() const { return mBanks.transition(); }
    bool hasPendingFilters() const { return mBanks.hasPending(); }

private:
    void release();
    void runPartition();
    void convolveEar(int bank, int ear, float* out);
    // Split-complex spectra: real parts, then imaginary parts at +mStride.
    float* inputSpectrum(int channel, int slot) const;
    float* filterSpectrum(int bank, int channel, int ear, int part) const;

    int mPartition = 0;
    int mMaxParts = 0;   // kMaxTaps / partition: filter partitions and spectra kept
    int mStride = 0;     // floats of one half of a spectrum, padded for alignment
    double mSampleRate = 0.0;
    int mParts[vkxShadowFilterBanks::kBankCount] = {};

    fftwf_plan_s* mForward = nullptr;
    fftwf_plan_s* mInverse = nullptr;
    vkIppsFloats mStorage;
    float* mInputTime = nullptr;      // per channel 2P: the last partition, then the newest
    float* mInputSpectra = nullptr;   // per channel mMaxParts spectra, a ring
    float* mFilterSpectra = nullptr;  // per bank, channel, ear, partition a spectrum
    float* mSum = nullptr;            // one spectrum
    float* mSumTime = nullptr;        // 2P
    float* mEarOut[2][kEars] = {};    // P each: the current and the next set's ears
    float* mOutput[kEars] = {};       // P each: the partition being played
    float* mLoadTime = nullptr;       // 2P, control thread
    int mSlot = 0;
    int mFill = 0;
    vkxShadowFilterBanks mBanks;
};
