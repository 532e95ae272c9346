#pragma once
// The modal beamformer of one beam: steers the 16 mode signals to one signal per order
// with per-sample table gains that glide one degree per 100 samples (constant gains in a
// block where the direction stands still), then shapes the
// pattern with one linear-phase FIR per order, each padded by a delay line to the same
// latency, filterDelay() samples. A new filter set is loaded into a spare bank, warms up
// unheard and is cross-faded in over 250 ms (vkxShadowFilterBanks).
//
// Thread contract: process() runs on the audio thread; setTheta, setPhi and
// setOrderFilters may be called from the control thread while it runs; everything
// else only while stopped.
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/CMbfGlide.h"
#include "beamformer/vkxShadowFilterBanks.h"
#include "core/contract/vkAudioClass.h"

#include <atomic>

class CMbf : public vkAudioClass {
public:
    static constexpr int kOrders = 4;
    static constexpr int kModes = kOrders * kOrders;
    static constexpr int kAzimuthRows = 2 * (kOrders - 1);
    static constexpr int kFadeTimeConstantMs = 50;

    // Results of its own, beyond the shared codes.
    enum Result : int {
        kErrOrderTooLow = 101,    // the mode input has fewer than 16 channels
        kErrFilterTooLong = 102,  // a filter is longer than 2 trunc(filterDelay) + 1
        kErrNegativeDelay = vkErrFileName,  // setFilterDelay with a negative delay
    };

    CMbf();
    ~CMbf() override;

    using vkAudioClass::process;
    // `in` holds the (N+1)^2 mode channels, `out` one channel.
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    int process(float** in, float** out, int frames) override;
    // Clears the FIR histories and delay lines of the current set; steering and the
    // other banks stay as they are.
    void reset() override;
    int stop() override;
    // Settles at once: the newest set is in force and the direction is the target.
    int start() override;

    // Sizes the FIR memory of all banks for 2 trunc(delay) + 1 taps and drops every
    // filter set. 5 while started, 19 for a negative delay, 7 when memory is short.
    int setFilterDelay(float delay);
    // Loads one set of four order filters (length 0: no filter for that order). The
    // audio thread takes it up at its next block: at once when no set is in force, else
    // after a warm-up as long as its longest filter, by the cross-fade. 101 for a mode
    // input below order 3, 102 for a filter longer than 2 trunc(filterDelay) + 1, 8 for a
    // negative length or missing taps; on any refusal the sets in force stay.
    int setOrderFilters(const int lengths[kOrders], const float* const taps[kOrders]);

    // Target polar angle: trunc(degrees) clamped to 0..180.
    void setTheta(float degrees);
    // Target azimuth: trunc(degrees) modulo 360.
    void setPhi(float degrees);
    float thetaDegrees() const { return mThetaDegrees; }
    float phiDegrees() const { return mPhiDegrees; }

    // The whole-degree direction after each sample of the last block; read by the
    // high-frequency section of the same beam on the audio thread.
    const int* thetaTrack() const { return mPolar.track(); }
    const int* phiTrack() const { return mAzimuth.track(); }
    float filterDelay() const { return mFilterDelay; }
    int maxOrder() const { return mMaxOrder; }

    // Audio thread, or while stopped.
    vkxShadowFilterBanks::Transition transition() const { return mBanks.transition(); }
    bool hasPendingSet() const { return mBanks.hasPending(); }

private:
    // One filter set's storage.
    struct Bank {
        vkxPaddedFir order[kOrders];
        // The order has a filter with a non-zero tap. An all-zero row adds nothing to
        // the output, so neither its FIR nor its delay line runs.
        bool active[kOrders] = {};
    };

    void releaseStorage();
    int allocateStorage(int blockLength);
    int loadBank(Bank& bank, const int lengths[kOrders], const float* const taps[kOrders]);
    void steer(float** in, unsigned orders, bool atRest, int frames);
    void addMode(const float* mode, int k, int row, bool first, float* sum, int frames);
    void addModeAtRest(const float* mode, int k, int row, bool first, float* sum, int frames);
    void runBank(Bank& bank, float* out, int frames);
    unsigned ordersInUse() const;

    int mMaxOrder = -1;
    float mFilterDelay = 0.0f;
    int mBlockLength = 0;
    bool mFirReady = false;  // FIR memory and delay lines are sized for mFilterDelay

    std::atomic<int> mThetaTarget{90};
    std::atomic<int> mPhiTarget{0};
    float mThetaDegrees = 90.0f;
    float mPhiDegrees = 0.0f;
    CMbfGlide mPolar;
    CMbfGlide mAzimuth;

    Bank mBank[vkxShadowFilterBanks::kBankCount];
    vkxShadowFilterBanks mBanks;

    // Block buffers, carved out of one allocation.
    vkIppsFloats mStorage;
    float* mModeGain[kModes] = {};
    float* mAzimuthGain[kAzimuthRows] = {};
    float* mOrderSignals[kOrders] = {};
    float* mBankOutput[2] = {};
    float* mOrderScratch = nullptr;
};
