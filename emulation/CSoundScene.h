#pragma once
// The modelled sound field at the 32 capsules: plane-wave sources around a rigid sphere,
// each capsule with its own sensitivity. Every source reaches every capsule through a
// FIR designed from the sphere's analytic response (capsule_filter::design).
//
// Set-up (addSource, setCapsuleGains) allocates; render() runs on the audio thread:
// no allocation, no lock, no I/O, any block length.

#include "emulation/CSceneSignal.h"
#include "emulation/RigidSphere.h"

#include "array/CapsuleGeometry.h"
#include "core/primitives/CDelayLine.h"

#include <array>
#include <memory>
#include <vector>

struct IppsFIRState_32f;

class CSoundScene {
public:
    static constexpr int kCapsules = kCapsuleCount;

    explicit CSoundScene(double sampleRate, double radius = rigid_sphere::kDefaultRadius);
    ~CSoundScene();
    CSoundScene(const CSoundScene&) = delete;
    CSoundScene& operator=(const CSoundScene&) = delete;

    // Three sources at well-separated directions: a tune at theta 90, phi 30; percussion at
    // theta 60, phi 150; bird-like chirps at theta 120, phi 270. Together they peak near
    // -5 dBFS on the capsules (about -22 dBFS RMS), leaving room for preamp gain.
    static void addDefaultSources(CSoundScene& scene);

    // Adds a source whose wave arrives from (theta, phi) in degrees, in the capsules' frame.
    // Returns its index, or -1 when a filter could not be built.
    int addSource(float thetaDegrees, float phiDegrees, const CSceneSignal& signal);
    int sourceCount() const { return static_cast<int>(mSources.size()); }
    double sampleRate() const { return mSampleRate; }

    // Linear gain of each capsule (sensitivity times preamp); 1 for all at construction.
    void setCapsuleGains(const float* gains);

    // Writes kCapsules channels of `frames` samples. When `dry` is given, also writes each
    // source's own signal, delayed like the sphere's centre, one channel per source.
    void render(float** capsules, int frames, float** dry = nullptr);
    // Back to silence and the signals' beginnings.
    void reset();

private:
    static constexpr int kChunk = 256;
    struct Source {
        explicit Source(const CSceneSignal& s) : signal(s) {}
        ~Source();
        CSceneSignal signal;
        std::array<IppsFIRState_32f*, kCapsules> filters{};
        CDelayLine dryDelay;
    };

    void renderChunk(float** capsules, int offset, int frames, float** dry);

    double mSampleRate;
    double mRadius;
    std::vector<std::unique_ptr<Source>> mSources;
    std::array<float, kCapsules> mGains;
    std::array<float, kChunk> mSignal{};
    std::array<float, kChunk> mFiltered{};
};
