#pragma once
// Turns the 16 third-order AmbiX channels against the listener's head: a head turned by
// yaw, pitch and roll (degrees, CRotation3::fromYawPitchRoll: yaw > 0 turns the head to
// the left, so a source ahead moves to the right) hears the scene rotated by the
// transpose. Any thread may set the orientation; the audio thread picks up the newest
// at the start of each block and moves the rotation matrix linearly across the block
// from the last block's to the new one, so a tracker updating at 100 Hz turns the scene
// without steps.
//
// The orientation travels in one 64-bit atomic word (three angles wrapped to
// -180..180 in 1/2048 degree), so the three angles always arrive together.
// Audio thread: no allocation, no lock, no I/O.

#include "ambisonics/SphericalHarmonics.h"

#include <atomic>
#include <cstdint>

struct CHeadOrientation {
    float yaw = 0.0f;
    float pitch = 0.0f;
    float roll = 0.0f;
};

class CHeadRotation {
public:
    static constexpr int kChannels = kAmbiMaxChannels;

    CHeadRotation();

    // Any thread. False, and nothing changes, when a value is not finite.
    bool setOrientation(const CHeadOrientation& orientation);
    // The newest orientation set (as quantised).
    CHeadOrientation orientation() const;

    // Audio thread (or while stopped): out = the block turned from the last block's
    // rotation to the newest. in and out must not overlap.
    void run(const float* const* in, float* const* out, int frames);
    // While stopped: the newest rotation is in force at once.
    void settle();

private:
    using Matrix = float[kChannels][kChannels];
    static void build(std::uint64_t packed, Matrix& matrix);

    std::atomic<std::uint64_t> mTarget;
    std::uint64_t mApplied;  // the word the audio thread's mTo was built from
    Matrix mFrom;
    Matrix mTo;
};
