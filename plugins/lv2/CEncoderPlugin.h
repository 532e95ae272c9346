#pragma once
// The Ambisonics encoder plug-in: the application's audio graph (CGraphSession) in live
// mode on the host's 32 capsule channels, with no beams, its encoder reading the engine's
// equalised modes and giving third-order AmbiX (ACN, SN3D). A re-blocker feeds the graph
// whole blocks, so the channels come out one block late (the reported latency), as the
// offline renderer makes them. The mounting's yaw, pitch and roll turn the sound field
// through the encoder's own glide. A new mounting builds its rotation matrices, which
// allocates: activate() sets the controls' values, and changes while audio runs go to the
// host's worker (a host without one keeps the mounting it had at activation).
// Audio thread (run): no allocation, no lock, no I/O.

#include "plugins/lv2/CLv2Host.h"
#include "plugins/lv2/CReblocker.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "session/CGraphSession.h"

#include <array>
#include <memory>
#include <vector>

class CEncoderPlugin {
public:
    // Null, with the reason logged, for a rate the engine does not run.
    static std::unique_ptr<CEncoderPlugin> create(double rate, const char* bundle, const LV2_Feature* const* features);
    // The worker interface.
    static const void* extensionData(const char* uri);

    void connect(uint32_t port, void* data);
    void activate();
    void run(uint32_t frames);
    void deactivate();

    // Worker thread: turns the encoder to the requested mounting.
    LV2_Worker_Status work(const void* data, uint32_t size);

    int latency() const { return mBlocks.blockLength(); }

private:
    explicit CEncoderPlugin(const CLv2Host& host);
    bool build(double rate, int blockLength);
    void processBlock(float** in, float** out);
    CGraphSession::Orientation wantedOrientation() const;

    CLv2Host mHost;
    CGraphSession mSession;
    CReblocker mBlocks;
    // The graph's own output: it makes no beams, the channels come from its encoder.
    std::vector<float> mUnusedStorage;
    float* mUnused[1] = {};
    std::array<const float*, vk_lv2::kCapsules> mInputs{};
    std::array<float*, vk_lv2::kAmbixChannels> mOutputs{};
    vk_lv2::COrientationPorts mOrientation;
    float* mLatencyPort = nullptr;
    CGraphSession::Orientation mMounting{};
    bool mStarted = false;
};
