#pragma once
// The engine of the beamformer: one CEbf turns the 32 capsule signals into 16 mode
// signals for all beams; each beam then has a chain of its own: CMbf (modal branch) and
// CZrHf with an alignment delay (high-frequency branch), low and high crossover filters,
// their sum, an equalising filter and a trim delay. The signal path mode decides which
// of these run.
//
// Latency. Every filter stage is padded to a fixed delay whatever the length of the
// filter in force: CMbf to its filter delay (125), each crossover to the crossover delay
// (27, from the longest crossover), the equaliser to the equaliser delay (15). The chain
// is therefore 167 samples long for every pattern, and the trim delay only tops it up to
// the total delay when that is longer. It is the same for every beam and never
// negative: with the total delay of 160 it is 0, so an "omni" beam (55-tap crossover)
// stands in line with a 37- or 41-tap beam at 167 samples, and a pattern change never
// touches the trim line (which would restart it and click). The high-frequency branch
// is delayed by CMbf's filter delay (plus the mode filters' 315 in filter mode 1), so
// both branches meet aligned at the sum.
//
// Mode 0 passes the mode signals straight out: output i is mode i. There are only 16
// modes, so outputs from 16 up are silent.
//
// Thread contract: process() runs on the audio thread. setMode, setEqOn, and for a
// pattern change setLowCrossover, setHighCrossover, setEqFilter and setHfType may come
// from the control thread while it runs; everything else only while stopped (5).
// setModeTap may come from the control thread at any time (see there).
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/CEbf.h"
#include "beamformer/CMbf.h"
#include "beamformer/CZrHf.h"
#include "beamformer/vkxShadowFilter.h"
#include "core/primitives/CDelayLine.h"

#include <atomic>
#include <memory>

class CKorvane : public vkAudioClass {
public:
    static constexpr int kModeBuffers = 16;

    // Receives every block of mode signals on the audio thread (the sound map's
    // covariance). feedModes: no allocation, no lock, no I/O.
    class ModeTap {
    public:
        virtual ~ModeTap() = default;
        virtual void feedModes(const float* const* modes, int count, int frames) = 0;
    };

    // Signal path modes.
    enum tMode : int {
        kModeModes = 0,    // output i is mode signal i
        kModeFull = 1,     // modal branch plus high-frequency branch
        kModeModal = 2,    // modal branch alone, no low crossover
        kModeHf = 3,       // high-frequency branch alone, no crossover, equaliser or trim
        kModeModalLow = 4, // modal branch alone, through the low crossover
    };

    enum Result : int {
        kErrEbfFilterMode = 105, // filter mode above 2, or the filters of mode 1 missing
    };

    CKorvane() = default;
    ~CKorvane() override;

    using vkAudioClass::process;
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    int process(float** in, float** out, int frames) override;
    // Starts CEbf, then every beam's CMbf, CZrHf and three filters; the engine counts as
    // started only when all did.
    int start() override;
    // Clears the flag, then stops every stage and silences every delay line.
    int stop() override;

    int setNumModes(int count);
    int setModeWeights(const float* const rows[kModeBuffers]);
    int setEbfFilterMode(int mode);
    int setModalDelay(float delay);
    int setCrossoverDelay(float delay);
    int setEqDelay(float delay);
    void setTotalDelay(float delay);

    // A filter for one beam; 11 for a beam out of range, else the filter's own result.
    int setLowCrossover(int beam, int length, const float* taps);
    int setHighCrossover(int beam, int length, const float* taps);
    int setEqFilter(int beam, int length, const float* taps);
    // The beam's CZrHf type; a negative beam means all beams, their results ORed.
    int setHfType(int beam, int type);

    // Plain stores that process reads at its next block.
    void setMode(int mode) { mMode.store(mode, std::memory_order_relaxed); }
    int mode() const { return mMode.load(std::memory_order_relaxed); }
    void setEqOn(bool on) { mEqOn.store(on, std::memory_order_relaxed); }
    bool eqOn() const { return mEqOn.load(std::memory_order_relaxed); }
    // While stopped.
    int setBeamActive(int beam, bool active);
    bool beamActive(int beam) const;

    // Attaches a tap (published by one store, release or stronger), or detaches it with
    // null. A detach returns once the audio thread is no longer inside the old tap, so it
    // may be destroyed then.
    void setModeTap(ModeTap* tap);

    // The block's equalised mode signals as the last process() left them, for stages that
    // read them after the engine in the same block (the Ambisonics encoder): numModes()
    // channels of the block's frames. Audio thread, between two process() calls.
    const float* const* modes() const { return mModes; }
    int numModes() const { return mNumModes; }

    int beamCount() const { return mBeamCount; }
    CEbf& ebf() { return mEbf; }
    // Null for a beam out of range.
    CMbf* mbf(int beam);
    CZrHf* hf(int beam);
    // The delay of the beam's trim line (the same for every beam); -1 for a bad beam.
    int trimDelay(int beam) const;

private:
    // The chain of one beam.
    struct Beam {
        CMbf mbf;
        CZrHf hf;
        vkxShadowFilter low;
        vkxShadowFilter high;
        vkxShadowFilter eq;
        CDelayLine hfDelay;
        CDelayLine trimDelay;
        float* modalOut = nullptr;
        float* hfOut = nullptr;
        bool active = false;
    };

    void releaseStorage();
    int allocateStorage(int beams, int blockLength);
    void updateHfDelays();
    void updateTrimDelays();
    bool validBeam(int beam) const { return beam >= 0 && beam < mBeamCount; }

    void copyModes(float** out, int frames) const;
    void feedTap(int frames);
    void runBranches(Beam& beam, float** in, int mode, int frames);
    void combine(Beam& beam, float* out, int mode, int frames);
    void finish(Beam& beam, float* out, int frames);

    std::atomic<int> mMode{kModeFull};
    std::atomic<bool> mEqOn{true};
    std::atomic<ModeTap*> mTap{nullptr};
    std::atomic<bool> mTapBusy{false};
    CEbf mEbf;
    int mNumModes = 0;
    float mTotalDelay = 0.0f;

    int mBeamCount = 0;
    int mBlockLength = 0;
    std::unique_ptr<Beam[]> mBeams;
    vkIppsFloats mStorage; // mode buffers, two buffers a beam, scratch
    float* mModes[kModeBuffers] = {};
    float* mScratch = nullptr;
};
