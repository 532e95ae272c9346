#pragma once
// The encoder: the engine's 16 equalised mode signals in, AmbiX channels out (order 1, 2
// or 3 by the output's 4, 9 or 16 channels; SN3D or N3D). Each output is a sum over the
// modes of its own degree: the per-mode conversion of ModeToAmbix.h, then the mounting's
// rotation in the harmonic domain (CShRotation), folded into one block-diagonal matrix.
//
// Changes while running. setOrientation and setNorm build the new matrix on the control
// thread and hand it over like CFilterStageBq's taps: three matrices, the control thread
// swaps the one it wrote with the shared middle slot (release), the audio thread takes
// it at its next block (acquire). The audio thread then glides from the matrix it was
// using to the new one linearly over kGlideFrames samples, so a turn of the mounting
// never clicks; a new matrix that arrives mid-glide starts a new glide from where the
// gains stand.
//
// After the matrix each channel passes its degree's alignment filter, and, when enabled,
// the diffuse-field correction above aliasing (AmbiOrderFilters.h). Latency: none beyond
// the modes' own; the filters are minimum phase.
//
// Thread contract: setFormat, start and stop on the control thread; setOrientation,
// setNorm and setAboveAliasing on the control thread at any time.
// process: audio thread: no allocation, no lock, no I/O.

#include "ambisonics/CDegreeFilters.h"
#include "ambisonics/CShRotation.h"
#include "ambisonics/SphericalHarmonics.h"
#include "core/contract/vkAudioClass.h"

#include <array>
#include <atomic>
#include <memory>

class CAmbiEncoder : public vkAudioClass {
public:
    static constexpr int kModes = 16;
    // 1024 samples: 21 ms at 48 kHz, long enough that a jump of 180 degrees is a soft
    // cross-fade, short enough to follow a hand turning the array.
    static constexpr int kGlideFrames = 1024;

    // SN3D, upright mounting, above-aliasing correction off.
    CAmbiEncoder();
    ~CAmbiEncoder() override;

    // in: 16 mode channels; out: 4, 9 or 16 channels; time domain, same rate and block
    // length. 2 for anything else; 5 while started; 7 when memory is short.
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    using vkAudioClass::process;
    // The outputs must not share buffers with the inputs. 6 before setFormat, 2 for a
    // frame count outside 0..block length or missing arrays, else 0.
    int process(float** in, float** out, int frames) override;
    // Settles on the newest matrix with no glide and clears the filters.
    int start() override;
    int stop() override;
    void reset() override;

    // The mounting: the rotation from the array's frame to the world's (AmbiX) frame.
    void setOrientation(const CRotation3& mounting);
    void setNorm(AmbiNorm norm);
    void setAboveAliasing(bool on) { mDiffuse.setEnabled(on); }

    int order() const { return mOrder; }
    AmbiNorm norm() const { return mNorm; }
    CRotation3 orientation() const { return mMounting; }
    bool aboveAliasing() const { return mDiffuse.enabled(); }
    // The matrix the control thread published last: element (channel, mode).
    float gain(int channel, int mode) const { return mPublished[channel][mode]; }

private:
    using Matrix = std::array<std::array<float, kModes>, kModes>;

    void publish();
    void takeNewest();
    void mix(float** in, float** out, int frames);
    void glide(float** in, float** out, int frames);

    int mOrder = 0;
    int mChannels = 0;
    int mBlockLength = 0;
    AmbiNorm mNorm = AmbiNorm::kSn3d;
    CRotation3 mMounting = CRotation3::identity();
    Matrix mPublished{};

    // Hand-over: the control thread owns mSlots[mControlIndex], the audio thread
    // mSlots[mAudioIndex], the middle slot holds the third with kFresh when new.
    static constexpr int kFresh = 4;
    static constexpr int kIndexMask = 3;
    std::array<Matrix, 3> mSlots{};
    int mControlIndex = 0;
    int mAudioIndex = 1;
    std::atomic<int> mMiddle{2};

    // Audio thread: the matrix it glides from, how far the glide is, the ramp of a block.
    Matrix mFrom{};
    int mGlidePosition = kGlideFrames;
    std::unique_ptr<float[]> mRamp;
    std::unique_ptr<float[]> mScratch;

    CDegreeFilters mAlignment;
    CDegreeFilters mDiffuse;
};
