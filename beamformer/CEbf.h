#pragma once
// Spherical decomposition: the 32 capsule signals become 16 spherical-harmonic mode
// signals (orders 0 to 3, mode channel k = n*n + n + m). A fixed matrix projects the
// capsules on the harmonics sample by sample; each mode then passes its order's modal
// equaliser (a biquad cascade), and in filter mode 1 also a linear-phase mode filter and
// a delay line that brings every mode to the same latency. One instance serves all beams.
//
// Thread contract: the loaders and setFormat run on the control thread while stopped
// (5 while started); setFilterMode is one atomic store and may come at any time.
// process: audio thread: no allocation, no lock, no I/O.

#include "core/contract/vkAudioClass.h"
#include "core/primitives/CBiquadBank.h"
#include "core/primitives/ipps.h"

#include <atomic>

class CDelayLine;

class CEbf : public vkAudioClass {
public:
    static constexpr int kMaxModes = 16;
    static constexpr int kOrders = 4;
    static constexpr int kCapsules = 32;

    // Which filters run after the matrix.
    enum tFilterMode : int {
        kFilterBiquads = 0,        // the loaded biquads (set A in the node); no added latency
        kFilterBiquadsAndFir = 1,  // biquads (set B), mode filters, delay lines: 315 samples
        kFilterNone = 2,           // the bare matrix output
    };

    // Result codes of this class.
    enum : int {
        kErrWeightsOrder = 101,  // setModeWeights needs 16 modes (order 3)
        kErrFiltersOrder = 102,  // setModeIir / setModeFir need 16 modes (order 3)
        kErrWeightsInputs = 103, // setModeWeights needs 32 input channels
    };

    CEbf() = default;
    ~CEbf() override;

    // Both formats time domain, single precision, same rate and block length; the output
    // has 1, 4, 9 or 16 channels, which sets the highest order. Loaded tables stay.
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;

    using vkAudioClass::process;
    // in: the capsule channels; out: numModes() mode channels. 6 before setFormat or
    // before a matrix that fits the input, with the outputs silenced; 2 for a frame count
    // outside 0..block length or missing channel arrays; else 0.
    int process(float** in, float** out, int frames) override;

    // Clears every filter history and delay line.
    void reset() override;
    // Clears the started flag, then the histories, so the next run starts from silence.
    int stop() override;

    // One row of 32 capsule weights per mode. The loaders copy what they are given and
    // build everything before they drop the old tables: a refused load changes nothing.
    // 5 started, 101 / 103 as above, 8 for a missing array, 7 when memory is short.
    int setModeWeights(const float* const rows[kMaxModes]);
    // One biquad cascade per order (six coefficients a section: b0 b1 b2 a0 a1 a2) and one
    // state per mode. 5 started, 102, 8 for a missing array, a section count below 1 or a
    // zero a0 or b0, 7 when memory is short.
    int setModeIir(const double* const sections[kOrders], const int numSections[kOrders]);
    // One FIR per order with the fixed lengths 1, 1, 631, 409, and one delay line per mode
    // that pads it to the common delay of 315 samples. 5 started, 102, 8, 7.
    int setModeFir(const float* const taps[kOrders]);

    // 0, 1 or 2 (tFilterMode); 8 for another value or for mode 1 before setModeFir.
    int setFilterMode(int mode);
    int filterMode() const { return mFilterMode.load(std::memory_order_relaxed); }

    // Delay of the mode filters: 315 once they are loaded, else 0.
    float firDelay() const { return mFirDelay; }
    int order() const { return mOrder; }
    int numModes() const { return mNumModes; }

    // The filters that filter mode 1 runs, for tests and tools; they change only while
    // stopped. The FIR state of mode k, null until setModeFir or for k outside 0..15;
    // ippsFIRGetTaps_32f reads its modeFirLength(k) taps back.
    const IppsFIRState_32f* modeFir(int k) const { return validMode(k) ? mModeFir[k] : nullptr; }
    // Taps of mode k's filter by its order: 1, 1, 631, 409; 0 for k outside 0..15.
    static int modeFirLength(int k);
    // The delay line after mode k's filter, in samples (315, 315, 0, 111 by order), which
    // brings every mode to firDelay(); 0 until setModeFir or for k outside 0..15.
    int modeDelayLength(int k) const { return validMode(k) ? mModeDelayLength[k] : 0; }

private:
    static bool validMode(int k) { return k >= 0 && k < kMaxModes; }
    void mixModes(float** in, float** out, int frames) const;
    void runFilters(float** out, int frames);

    int mOrder = -1;
    int mNumModes = 0;
    std::atomic<int> mFilterMode{kFilterBiquads};
    float* mModeWeights[kMaxModes] = {};
    CBiquadBank mModeIir; // one cascade per mode, 16 channels once loaded
    IppsFIRState_32f* mModeFir[kMaxModes] = {};
    CDelayLine* mModeDelay[kMaxModes] = {};
    int mModeDelayLength[kMaxModes] = {};
    float mFirDelay = 0.0f;
    int mWeightColumns = 0; // capsules per loaded row; 0 while no matrix is loaded
};
