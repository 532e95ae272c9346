#include "emulation/CSceneSignal.h"

#include <cmath>
#include <numbers>

namespace {
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// A smooth 10 ms rise and fall over an event of `length` seconds at time `t` within it.
double envelope(double t, double length)
{
    constexpr double ramp = 0.010;
    if (t < 0.0 || t > length)
        return 0.0;
    const double edge = std::min(t, length - t);
    return edge >= ramp ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * edge / ramp);
}
} // namespace

CSceneSignal::CSceneSignal(Kind kind, double sampleRate, float level, std::uint32_t seed, double frequency)
    : mKind(kind)
    , mSampleRate(sampleRate)
    , mLevel(level)
    , mSeed(seed ? seed : 1)
    , mFrequency(frequency)
{
    reset();
}

void CSceneSignal::reset()
{
    mTime = 0;
    mPhase = 0.0;
    mNoiseState = mSeed;
    mBandLow = mBandHigh = 0.0;
}

void CSceneSignal::generate(float* out, int frames)
{
    for (int i = 0; i < frames; ++i)
        out[i] = mLevel * next();
}

float CSceneSignal::next()
{
    float value = 0.0f;
    switch (mKind) {
    case Kind::Melody: value = melody(); break;
    case Kind::Percussion: value = percussion(); break;
    case Kind::Warble: value = warble(); break;
    case Kind::Noise: value = noise(); break;
    case Kind::Sine:
        value = static_cast<float>(std::sin(mPhase));
        mPhase = std::fmod(mPhase + kTwoPi * mFrequency / mSampleRate, kTwoPi);
        break;
    }
    ++mTime;
    return value;
}

// Uniform white noise in [-1, 1) from a 32-bit xorshift generator.
float CSceneSignal::noise()
{
    mNoiseState ^= mNoiseState << 13;
    mNoiseState ^= mNoiseState >> 17;
    mNoiseState ^= mNoiseState << 5;
    return static_cast<float>(mNoiseState * (2.0 / 4294967296.0) - 1.0);
}

float CSceneSignal::melody()
{
    // A pentatonic tune from 523 Hz up, with its second and third harmonics.
    static constexpr double notes[] = {523.25, 587.33, 659.26, 783.99, 880.00, 783.99, 659.26, 1046.50};
    constexpr double noteLength = 0.3;
    const double t = mTime / mSampleRate;
    const int note = static_cast<int>(t / noteLength) % 8;
    const double fundamental = notes[note];
    mPhase = std::fmod(mPhase + kTwoPi * fundamental / mSampleRate, kTwoPi);
    const double tone = std::sin(mPhase) + 0.5 * std::sin(2.0 * mPhase) + 0.25 * std::sin(3.0 * mPhase);
    return static_cast<float>(0.57 * tone * envelope(std::fmod(t, noteLength), noteLength - 0.02));
}

float CSceneSignal::percussion()
{
    // Strokes at 0, 0.25, 0.375 and 0.5 s of every second, decaying with 40 ms, band 1-6 kHz.
    static constexpr double strokes[] = {0.0, 0.25, 0.375, 0.5};
    const double t = std::fmod(mTime / mSampleRate, 1.0);
    double since = 1.0;
    for (double s : strokes)
        if (t >= s)
            since = t - s;
    const double x = noise() * std::exp(-since / 0.040);
    const double lowCoefficient = std::exp(-kTwoPi * 6000.0 / mSampleRate);
    const double highCoefficient = std::exp(-kTwoPi * 1000.0 / mSampleRate);
    mBandLow = (1.0 - lowCoefficient) * x + lowCoefficient * mBandLow;
    mBandHigh = (1.0 - highCoefficient) * mBandLow + highCoefficient * mBandHigh;
    return static_cast<float>(2.5 * (mBandLow - mBandHigh));
}

float CSceneSignal::warble()
{
    // Chirps of 0.15 s every 0.4 s, gliding from 2 to 4 kHz with an 8 Hz trill.
    constexpr double period = 0.4, length = 0.15;
    const double t = mTime / mSampleRate;
    const double within = std::fmod(t, period);
    const double frequency = 2000.0 + 2000.0 * std::min(within / length, 1.0) + 150.0 * std::sin(kTwoPi * 8.0 * t);
    mPhase = std::fmod(mPhase + kTwoPi * frequency / mSampleRate, kTwoPi);
    return static_cast<float>(std::sin(mPhase) * envelope(within, length));
}
