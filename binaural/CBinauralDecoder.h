#pragma once
// Binaural monitoring of a third-order AmbiX scene: 16 channels (ACN, SN3D, or N3D when
// told) in, two ears out. The channels are turned against the listener's head (CHeadRotation), then
// convolved with the ear filters of a magnitude-least-squares decoder
// (CBinauralFilters, CBinauralConvolver). The one processing object that the graph,
// the renderer and the plug-ins run.
//
// The output is late by latency() samples, the convolution's partition: 128 samples
// (2.9 ms at 44.1 kHz). Why 128, measured by bench/binaural on the KEMAR decoder (32
// filters of 512 taps, blocks of 512 at 44.1 kHz, processor time a block): partitions
// of 64 take 129 us, 128 take 69 us, 256 take 50 us and 512 take 46 us, and a direct
// convolution takes 1.9 ms. 128 costs little more than the longest partitions for a
// quarter of their delay; shorter ones double the cost for 1.5 ms less.
//
// Thread contract: process() on the audio thread; setHeadOrientation from any thread;
// setFilters and loadHrtf on the control thread, also while audio runs (a new set is
// cross-faded in); everything else only while stopped.
// Audio thread: no allocation, no lock, no I/O.

#include "binaural/CBinauralConvolver.h"
#include "binaural/CHeadRotation.h"
#include "core/contract/vkAudioClass.h"

#include <string>

class CBinauralFilters;

class CBinauralDecoder : public vkAudioClass {
public:
    static constexpr int kInputs = CBinauralConvolver::kInputs;
    static constexpr int kEars = CBinauralConvolver::kEars;
    static constexpr int kPartition = 128;
    static constexpr int kMaxTaps = CBinauralConvolver::kMaxTaps;

    enum Result : int {
        kErrChannels = 101,      // not 16 time-domain channels in and two out at one rate and block
        kErrFilterTooLong = CBinauralConvolver::kErrTooLong,
        kErrFilterRate = CBinauralConvolver::kErrRate,
        kErrHrtf = 104,          // the SOFA file was refused (the message says why)
    };

    CBinauralDecoder() = default;
    ~CBinauralDecoder() override = default;

    using vkAudioClass::process;
    // 5 while started, 101, 7 when memory is short. Drops the filters: load them again.
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    // 6 before setFormat, 2 for more frames than the block. Silence until filters are loaded.
    int process(float** in, float** out, int frames) override;
    // Clears the convolution's history; filters and orientation stay.
    void reset() override;
    // Settles at once: the newest filters and orientation are in force, with no fade.
    int start() override;

    // Loads a filter set (control thread). 6 before setFormat, 8 for an empty set, 102
    // when longer than kMaxTaps, 103 when made for another rate; on any refusal the
    // filters in force stay.
    int setFilters(const CBinauralFilters& filters);
    // Reads a SOFA file, designs its decoder at the session's rate and loads it (control
    // thread; takes a few hundred milliseconds, so a front end may run it on a worker).
    // 104 with `message` saying why when the file is refused, and the filters in force stay.
    int loadHrtf(const std::string& path, std::string& message);
    const std::string& hrtfPath() const { return mHrtfPath; }

    // Any thread. False, and nothing changes, when a value is not finite.
    bool setHeadOrientation(const CHeadOrientation& orientation) { return mRotation.setOrientation(orientation); }
    CHeadOrientation headOrientation() const { return mRotation.orientation(); }

    // The normalisation of the 16 inputs (SN3D unless told). N3D channels are taken back
    // to SN3D, which the filters are designed for, by 1/sqrt(2n+1) per degree n after the
    // head rotation (which acts on each degree alone, so the order does not matter).
    // While stopped.
    void setInputNorm(AmbiNorm norm) { mInputNorm = norm; }
    AmbiNorm inputNorm() const { return mInputNorm; }

    // Samples by which the ears follow the input.
    int latency() const { return mConvolver.latency(); }
    // Audio thread, or while stopped.
    bool hasFilters() const { return mConvolver.hasFilters(); }
    vkxShadowFilterBanks::Transition transition() const { return mConvolver.transition(); }
    bool hasPendingFilters() const { return mConvolver.hasPendingFilters(); }

private:
    CHeadRotation mRotation;
    CBinauralConvolver mConvolver;
    vkIppsFloats mRotatedStorage;
    float* mRotated[kInputs] = {};
    std::string mHrtfPath;
    AmbiNorm mInputNorm = AmbiNorm::kSn3d;
};
