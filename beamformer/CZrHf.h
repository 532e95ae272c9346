#pragma once
// The high-frequency section of one beam: takes the capsule, or the three capsules, that
// face the beam's direction straight from the 32 inputs, and follows the beam from cell
// to cell with a 250 ms fade that is linear in decibels over 40 dB. It has no steering of
// its own: it reads the per-sample whole-degree tracks of the beam's CMbf, which must run
// before it on the same thread in every block.
//
// Type: 0 off (process writes nothing), 1 nearest capsule, 2 three surrounding capsules
// (their mean). A type change is requested by setHfType from the control thread and
// applied by the audio thread at the first block boundary with no fade running; unless
// nothing was playing, the new type's cell fades in from the old one like any cell
// change, so a pattern change never jumps.
//
// Thread contract: process() runs on the audio thread; setHfType may come from the
// control thread at any time (one atomic store); everything else only while stopped.
// Audio thread: no allocation, no lock, no I/O.

#include "beamformer/vkxShadowFilterBanks.h"
#include "core/contract/vkAudioClass.h"

#include <atomic>
#include <cstdint>
#include <memory>

class CZrHf : public vkAudioClass {
public:
    static constexpr int kCapsules = 32;
    static constexpr int kMaxCellSize = 3;
    static constexpr int kFadeMilliseconds = 250;
    static constexpr float kFadeDepthDb = 40.0f;

    enum Result : int {
        kErrType = 101,         // a type other than 0, 1 or 2
        kErrCapsuleCount = 102, // type 1 or 2 needs exactly 32 input channels
    };

    CZrHf() = default;
    ~CZrHf() override;

    using vkAudioClass::process;
    // Both formats time domain, single precision, same rate and block length.
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    // `in` holds the capsule channels, `out` one channel. With type 0 in force nothing is
    // written; 6 when a steering track is missing.
    int process(float** in, float** out, int frames) override;
    // Clears every envelope and the cell in force: the next block enters its first
    // sample's cell without a fade.
    void reset() override;
    int stop() override;

    // 0, 1 or 2. 101 for another type, 102 for type 1 or 2 without 32 input channels.
    int setHfType(int type);
    // The type last requested (what process applies at its next chance).
    int hfType() const { return mRequestedType.load(std::memory_order_relaxed); }
    // Audio thread, or while stopped: the type process ran with in its last block.
    int appliedType() const { return mHfType; }

    // The beam's direction tracks (CMbf::thetaTrack, phiTrack). 5 started, 8 null.
    int setSteeringTracks(const int* theta, const int* phi);

    int fadeLength() const { return mFadeLength; }

private:
    // The capsules of one cell and the gain each gets when the cell is heard alone.
    struct Cell {
        int index = -1;
        int size = 0;
        int channel[kMaxCellSize] = {};
        float scale = 0.0f;
    };

    void releaseStorage();
    int buildFadeCurve(float sampleRate);
    void applyRequestedType();
    Cell cellOf(int index) const;
    void placeCell(const int32_t* track, int playingType);
    void buildEnvelopes(const int32_t* track, int frames);
    void enter(const Cell& cell);
    int runFade(int s, int frames);
    void hold(int s);
    void mix(float* const* in, float* out, int frames) const;
    void mixSteady(float* const* in, float* out, int frames) const;
    void clearEnvelopes();

    std::atomic<int> mRequestedType{0};
    int mHfType = 0;
    const int32_t* mCellMap = nullptr;
    const int32_t* mCellList = nullptr;
    int mCellStride = 0;
    int mCellSize = 0;

    Cell mCell;      // the cell in force (index -1: none yet)
    Cell mFadeFrom;  // while a fade runs: the cell faded from; mCell is faded to
    int mFadeLeft = 0;
    int mFadeLength = 0;
    vkIppsFloats mFadeCurve; // falling from 1 to 0.01, read from its end as a rise

    int mBlockLength = 0;
    std::unique_ptr<int32_t[]> mCellTrack;
    vkIppsFloats mGainStorage;
    float* mChannelGain[kCapsules] = {};
    int mActiveChannels[kCapsules] = {};
    int mActiveCount = 0;
    int mGainLength = 0;

    const int* mThetaSource = nullptr;
    const int* mPhiSource = nullptr;
};
