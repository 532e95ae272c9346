#pragma once
// The signal of one source of the modelled scene: synthetic, deterministic, and easy to
// tell apart by ear and by correlation.
//
// audio thread: generate() does no allocation, no lock, no I/O.

#include <cstdint>

class CSceneSignal {
public:
    enum class Kind {
        Melody,     // a tune of harmonic tones, 0.3 s a note
        Percussion, // band-limited noise strokes in a rhythm
        Warble,     // bird-like chirps gliding between 2 and 4 kHz
        Noise,      // steady white noise
        Sine,       // a steady sine at `frequency`
    };

    CSceneSignal(Kind kind, double sampleRate, float level, std::uint32_t seed = 1, double frequency = 1000.0);

    void generate(float* out, int frames);
    void reset();
    Kind kind() const { return mKind; }

private:
    float next();
    float melody();
    float percussion();
    float warble();
    float noise();

    Kind mKind;
    double mSampleRate;
    float mLevel;
    std::uint32_t mSeed;
    double mFrequency;
    std::int64_t mTime = 0;
    double mPhase = 0.0;
    std::uint32_t mNoiseState = 1;
    double mBandLow = 0.0, mBandHigh = 0.0; // one-pole filter states of the strokes
};
