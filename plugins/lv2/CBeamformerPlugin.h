#pragma once
// The beamformer plug-in: the application's audio graph (CGraphSession over CAudioGraph)
// in live mode with all 18 beams, fed the host's 32 capsule channels through a
// re-blocker, so the graph always runs whole blocks and the beams come out one block late
// (the reported latency), exactly as the offline renderer makes them.
//
// Controls take the engine's clickless paths: directions glide, gains and mutes fade, a
// new high-pass set and new pattern filters are handed over lock-free and cross-faded.
// Pattern filters are loaded by the host's worker thread, as the application's control
// thread loads them while audio runs; a host without a worker gets them loaded in run(),
// which only copies precomputed taps into memory reserved at instantiate.
// Audio thread (run, workResponse): no allocation, no lock, no I/O.

#include "plugins/lv2/CLv2Host.h"
#include "plugins/lv2/CPatternChoices.h"
#include "plugins/lv2/CReblocker.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "session/CGraphSession.h"

#include <array>
#include <memory>

class CBeamformerPlugin {
public:
    static constexpr int kBeams = vk_lv2::beamformer::kBeams;

    // Null, with the reason logged, for a rate the engine does not run.
    static std::unique_ptr<CBeamformerPlugin> create(double rate, const char* bundle, const LV2_Feature* const* features);
    // The worker interface.
    static const void* extensionData(const char* uri);

    void connect(uint32_t port, void* data);
    void activate();
    void run(uint32_t frames);
    void deactivate();
    // Worker thread: loads one beam's pattern filters.
    LV2_Worker_Status work(const void* data, uint32_t size);

    int latency() const { return mBlocks.blockLength(); }

private:
    // One beam's controls as the graph has them.
    struct Beam {
        float azimuth = -1.0f;
        float polar = -1.0f;
        int pattern = -1;
        int parameter = -1;
        float gainDb = 0.0f;
        float gain = -1.0f;
        bool mute = false;
    };
    struct PatternRequest {
        int beam;
        int pattern;
        int parameter;
    };

    CBeamformerPlugin(const CLv2Host& host, int blockLength);
    bool build(double rate, int blockLength);
    void warmUp();
    float control(int port, float fallback) const;
    Beam readBeam(int beam) const;
    void applyControls(bool all);
    void applyBeam(int beam, const Beam& wanted, bool all);

    CLv2Host mHost;
    CPatternChoices mChoices;
    CGraphSession mSession;
    CReblocker mBlocks;
    std::array<const float*, vk_lv2::kCapsules> mInputs{};
    std::array<float*, kBeams> mOutputs{};
    std::array<const float*, vk_lv2::beamformer::kPortCount> mControls{};
    float* mLatencyPort = nullptr;
    std::array<Beam, kBeams> mBeams;
    int mHighpass = -1;
    // The graph is started by the first run() after activate(), once the controls'
    // first values are in force; so a session starts on them, with no fade from defaults.
    bool mStarted = false;
};
