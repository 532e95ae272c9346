#pragma once
// The binaural decoder plug-in: the engine's CBinauralDecoder on 16 AmbiX channels (ACN,
// SN3D), two ears out, late by the decoder's partition (the reported latency), the head's
// yaw, pitch and roll as controls, and the SOFA file as a path parameter of the plug-in's
// state. The KEMAR set is loaded at instantiate; a path set through the host (patch:Set)
// is read and designed on the host's worker and handed over by the decoder's own
// cross-fade; a file that is missing or refused is logged and the set in force stays.
// Audio thread (run, workResponse): no allocation, no lock, no I/O.

#include "binaural/CBinauralDecoder.h"
#include "plugins/lv2/CLv2Host.h"
#include "plugins/lv2/vkLv2Ports.h"

#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/state/state.h>

#include <array>
#include <memory>
#include <mutex>
#include <string>

class CBinauralPlugin {
public:
    static constexpr int kMaxPath = 4096;
    // The decoder's block when the host names no longest run(); longer runs are split.
    static constexpr int kDefaultBlock = vk_lv2::kDefaultBlock;

    // Null, with the reason logged, when the decoder cannot run at `rate`.
    static std::unique_ptr<CBinauralPlugin> create(double rate, const char* bundle, const LV2_Feature* const* features);
    // The worker and state interfaces.
    static const void* extensionData(const char* uri);

    void connect(uint32_t port, void* data);
    void activate();
    void run(uint32_t frames);
    void deactivate();

    // Worker thread: loads the SOFA file named by the request; answers with its path when
    // the decoder took it.
    LV2_Worker_Status work(LV2_Worker_Respond_Function respond, LV2_Worker_Respond_Handle handle, uint32_t size,
                           const void* data);
    // Audio thread: the loaded path, for the next notification.
    LV2_Worker_Status workResponse(uint32_t size, const void* data);
    LV2_State_Status save(LV2_State_Store_Function store, LV2_State_Handle handle, const LV2_Feature* const* features);
    LV2_State_Status restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle,
                             const LV2_Feature* const* features);

    int latency() const { return mDecoder.latency(); }
    // The file whose filters are in force; empty while none is.
    std::string sofaFile() const;

private:
    struct Uris {
        LV2_URID atomPath = 0;
        LV2_URID atomObject = 0;
        LV2_URID atomBlank = 0;
        LV2_URID atomUrid = 0;
        LV2_URID patchSet = 0;
        LV2_URID patchGet = 0;
        LV2_URID patchProperty = 0;
        LV2_URID patchValue = 0;
        LV2_URID sofaFile = 0;
    };

    explicit CBinauralPlugin(const CLv2Host& host);
    bool configure(double rate, int block);
    // Control thread: reads and designs the file; false, with the reason logged, when refused.
    bool load(const std::string& path);
    void readMessages();
    void requestLoad(const LV2_Atom* value);
    void notifyPath();
    void applyOrientation();

    CLv2Host mHost;
    Uris mUris;
    CBinauralDecoder mDecoder;
    int mBlock = 0;
    std::array<const float*, vk_lv2::kAmbixChannels> mInputs{};
    std::array<float*, vk_lv2::kEars> mOutputs{};
    vk_lv2::COrientationPorts mOrientation;
    float* mLatencyPort = nullptr;
    const LV2_Atom_Sequence* mControl = nullptr;
    LV2_Atom_Sequence* mNotify = nullptr;
    LV2_Atom_Forge mForge{};
    bool mStarted = false;

    // Audio thread: the path in force as the worker last reported it, and whether the
    // host should hear of it.
    std::array<char, kMaxPath> mNotifiedPath{};
    bool mPathChanged = true;

    // Worker and state threads: the path in force.
    mutable std::mutex mPathLock;
    std::string mPath;
};
