#pragma once
// The one model of the emulated interface box and the array attached to it. The emulated
// box writes it as the host's commands arrive; the emulated audio driver reads it on its
// audio thread. Every field is a single atomic word.
// audio thread: no allocation, no lock, no I/O (all readers below).

#include <array>
#include <atomic>
#include <cstdint>

class CHardwareModel {
public:
    static constexpr int kCapsules = 32;
    static constexpr std::uint64_t kDefaultSeed = 0x5EED0032u;
    // What a capsule delivers to the box's input for the modelled sound field, before the
    // preamp: a microphone-level signal, 20 dB below line level.
    static constexpr float kSensitivityDb = -20.0f;
    // Preamp gain of a capsule until the host sets one: the application's default, which
    // makes up for the sensitivity and brings the default scene to about -5 dBFS peak.
    static constexpr float kDefaultPreampDb = 20.0f;

    // The capsules' sensitivity errors are drawn from `seed`; the same seed gives the
    // same array on every machine. By default an array and an extension of kind 3 are
    // attached.
    explicit CHardwareModel(std::uint64_t seed = kDefaultSeed);
    CHardwareModel(const CHardwareModel&) = delete;
    CHardwareModel& operator=(const CHardwareModel&) = delete;

    // What is plugged into the box.
    void setArrayAttached(bool attached);
    bool arrayAttached() const;
    // state 0 none, 1 present; kind 0 none, 1 to 3 a kind of extension.
    void setExtension(int state, int kind);
    int extensionState() const;
    int extensionKind() const;

    // How far a capsule's sensitivity falls short of nominal, in dB (0.05 to 0.6):
    // the gain that its calibration must add.
    float capsuleErrorDb(int capsule) const;

    // Preamp gain of one capsule's channel in dB, as last received by the box.
    void setPreampDb(int capsule, float dB);
    float preampDb(int capsule) const;

    // Linear factor from the sound field at a capsule to its input sample: preamp gain
    // times sensitivity (nominal and the capsule's own error). 0 when no array is attached.
    float capsuleGain(int capsule) const;

    // Set-up state written by the host: the array set-up word (0 until written) and
    // whether the bulk table has been cleared since the array was attached.
    void setArraySetupWord(std::uint32_t word);
    std::uint32_t arraySetupWord() const;
    void clearBulk();
    bool bulkCleared() const;

private:
    std::array<float, kCapsules> mErrorDb{};
    std::array<std::atomic<float>, kCapsules> mPreampDb;
    std::array<std::atomic<float>, kCapsules> mGain;
    std::atomic<bool> mArrayAttached{true};
    std::atomic<int> mExtensionState{1};
    std::atomic<int> mExtensionKind{3};
    std::atomic<std::uint32_t> mSetupWord{0};
    std::atomic<bool> mBulkCleared{false};
};
