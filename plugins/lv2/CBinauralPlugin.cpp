#include "plugins/lv2/CBinauralPlugin.h"

#include <lv2/atom/util.h>
#include <lv2/core/lv2_util.h>
#include <lv2/patch/patch.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ports = vk_lv2::binaural;

namespace {

constexpr const char* kName = "Vantoria Binaural Decoder";

// The rates a SOFA set is resampled to without doubt; the decoder itself takes any.
constexpr double kMinRate = 22050.0;
constexpr double kMaxRate = 192000.0;

} // namespace

std::unique_ptr<CBinauralPlugin> CBinauralPlugin::create(double rate, const char*, const LV2_Feature* const* features)
{
    const CLv2Host host(features);
    if (!(rate >= kMinRate && rate <= kMaxRate)) {
        host.error(kName, "sample rate %.0f Hz refused: the decoder runs at %.0f to %.0f Hz", rate, kMinRate, kMaxRate);
        return nullptr;
    }
    const int longest = host.maxBlockLength();
    std::unique_ptr<CBinauralPlugin> plugin(new CBinauralPlugin(host));
    if (!plugin->configure(rate, longest > 0 ? longest : kDefaultBlock)) {
        host.error(kName, "the decoder could not be set up at %.0f Hz", rate);
        return nullptr;
    }
    // Without its default set the decoder is silent until a file is given.
    const std::string standard = vk_lv2::kDefaultSofaFile;
    if (plugin->load(standard))
        plugin->workResponse(uint32_t(standard.size() + 1), standard.c_str());
    return plugin;
}

CBinauralPlugin::CBinauralPlugin(const CLv2Host& host)
    : mHost(host)
{
    mUris.atomPath = mHost.urid(LV2_ATOM__Path);
    mUris.atomObject = mHost.urid(LV2_ATOM__Object);
    mUris.atomBlank = mHost.urid(LV2_ATOM__Blank);
    mUris.atomUrid = mHost.urid(LV2_ATOM__URID);
    mUris.patchSet = mHost.urid(LV2_PATCH__Set);
    mUris.patchGet = mHost.urid(LV2_PATCH__Get);
    mUris.patchProperty = mHost.urid(LV2_PATCH__property);
    mUris.patchValue = mHost.urid(LV2_PATCH__value);
    mUris.sofaFile = mHost.urid(vk_lv2::kSofaFileUri);
    if (mHost.map())
        lv2_atom_forge_init(&mForge, const_cast<LV2_URID_Map*>(mHost.map()));
}

bool CBinauralPlugin::configure(double rate, int block)
{
    mBlock = block;
    const float r = float(rate);
    return mDecoder.setFormat(vkAudioInterface::timeDomain(vk_lv2::kAmbixChannels, r, block),
                              vkAudioInterface::timeDomain(vk_lv2::kEars, r, block))
           == vkOk;
}

bool CBinauralPlugin::load(const std::string& path)
{
    std::string message;
    if (mDecoder.loadHrtf(path, message) != vkOk) {
        mHost.error(kName, "SOFA file %s refused: %s; the set in force stays", path.c_str(), message.c_str());
        return false;
    }
    const std::lock_guard<std::mutex> hold(mPathLock);
    mPath = path;
    return true;
}

std::string CBinauralPlugin::sofaFile() const
{
    const std::lock_guard<std::mutex> hold(mPathLock);
    return mPath;
}

void CBinauralPlugin::connect(uint32_t port, void* data)
{
    const int p = int(port);
    if (p >= ports::kFirstInput && p < ports::kFirstInput + vk_lv2::kAmbixChannels)
        mInputs[std::size_t(p - ports::kFirstInput)] = static_cast<const float*>(data);
    else if (p >= ports::kFirstOutput && p < ports::kFirstOutput + vk_lv2::kEars)
        mOutputs[std::size_t(p - ports::kFirstOutput)] = static_cast<float*>(data);
    else if (p == ports::kLatency)
        mLatencyPort = static_cast<float*>(data);
    else if (p == ports::kControl)
        mControl = static_cast<const LV2_Atom_Sequence*>(data);
    else if (p == ports::kNotify)
        mNotify = static_cast<LV2_Atom_Sequence*>(data);
    else
        mOrientation.connect(p, ports::kYaw, data);
}

void CBinauralPlugin::activate()
{
    if (mStarted)
        mDecoder.stop();
    mDecoder.reset();
    mStarted = false;
    mPathChanged = true;
}

void CBinauralPlugin::deactivate() { activate(); }

void CBinauralPlugin::applyOrientation()
{
    mDecoder.setHeadOrientation({mOrientation.value(0), mOrientation.value(1), mOrientation.value(2)});
}

// patch:Set of the SOFA file goes to the worker; patch:Get asks for a notification.
void CBinauralPlugin::readMessages()
{
    if (!mControl || !mHost.map())
        return;
    LV2_ATOM_SEQUENCE_FOREACH(mControl, event)
    {
        const LV2_Atom* body = &event->body;
        if (body->type != mUris.atomObject && body->type != mUris.atomBlank)
            continue;
        const auto* object = reinterpret_cast<const LV2_Atom_Object*>(body);
        if (object->body.otype == mUris.patchGet) {
            mPathChanged = true;
            continue;
        }
        if (object->body.otype != mUris.patchSet)
            continue;
        const LV2_Atom* property = nullptr;
        const LV2_Atom* value = nullptr;
        lv2_atom_object_get(object, mUris.patchProperty, &property, mUris.patchValue, &value, 0);
        if (property && property->type == mUris.atomUrid
            && reinterpret_cast<const LV2_Atom_URID*>(property)->body == mUris.sofaFile)
            requestLoad(value);
    }
}

void CBinauralPlugin::requestLoad(const LV2_Atom* value)
{
    const LV2_Worker_Schedule* worker = mHost.worker();
    if (!worker || !value || value->type != mUris.atomPath || value->size < 2 || value->size > kMaxPath)
        return;
    worker->schedule_work(worker->handle, value->size, LV2_ATOM_BODY_CONST(value));
}

LV2_Worker_Status CBinauralPlugin::work(LV2_Worker_Respond_Function respond, LV2_Worker_Respond_Handle handle,
                                        uint32_t size, const void* data)
{
    const char* text = static_cast<const char*>(data);
    if (size < 1 || size > kMaxPath)
        return LV2_WORKER_ERR_UNKNOWN;
    const std::string path(text, strnlen(text, size));
    if (load(path))
        respond(handle, uint32_t(path.size() + 1), path.c_str());
    return LV2_WORKER_SUCCESS;
}

LV2_Worker_Status CBinauralPlugin::workResponse(uint32_t size, const void* data)
{
    const std::size_t n = std::min<std::size_t>(size, kMaxPath - 1);
    std::memcpy(mNotifiedPath.data(), data, n);
    mNotifiedPath[n] = '\0';
    mPathChanged = true;
    return LV2_WORKER_SUCCESS;
}

// The path in force as patch:Set on the notify port, so a host shows what plays.
void CBinauralPlugin::notifyPath()
{
    if (!mNotify || !mHost.map())
        return;
    const uint32_t capacity = mNotify->atom.size;
    lv2_atom_forge_set_buffer(&mForge, reinterpret_cast<uint8_t*>(mNotify), capacity);
    LV2_Atom_Forge_Frame sequence;
    lv2_atom_forge_sequence_head(&mForge, &sequence, 0);
    if (mPathChanged && mNotifiedPath[0]) {
        LV2_Atom_Forge_Frame object;
        lv2_atom_forge_frame_time(&mForge, 0);
        lv2_atom_forge_object(&mForge, &object, 0, mUris.patchSet);
        lv2_atom_forge_key(&mForge, mUris.patchProperty);
        lv2_atom_forge_urid(&mForge, mUris.sofaFile);
        lv2_atom_forge_key(&mForge, mUris.patchValue);
        lv2_atom_forge_path(&mForge, mNotifiedPath.data(), uint32_t(strnlen(mNotifiedPath.data(), kMaxPath)));
        lv2_atom_forge_pop(&mForge, &object);
        mPathChanged = false;
    }
    lv2_atom_forge_pop(&mForge, &sequence);
}

void CBinauralPlugin::run(uint32_t frames)
{
    if (mLatencyPort)
        *mLatencyPort = float(latency());
    readMessages();
    applyOrientation();
    if (!mStarted) {
        mDecoder.start();
        mStarted = true;
    }
    notifyPath();
    const float* in[vk_lv2::kAmbixChannels];
    float* out[vk_lv2::kEars];
    for (uint32_t done = 0; done < frames;) {
        const int n = int(std::min<uint32_t>(frames - done, uint32_t(mBlock)));
        for (int c = 0; c < vk_lv2::kAmbixChannels; ++c)
            in[c] = mInputs[std::size_t(c)] + done;
        for (int e = 0; e < vk_lv2::kEars; ++e)
            out[e] = mOutputs[std::size_t(e)] + done;
        mDecoder.process(const_cast<float**>(in), out, n);
        done += uint32_t(n);
    }
}

LV2_State_Status CBinauralPlugin::save(LV2_State_Store_Function store, LV2_State_Handle handle,
                                       const LV2_Feature* const* features)
{
    const std::string path = sofaFile();
    if (path.empty() || !mHost.map())
        return LV2_STATE_SUCCESS;
    const auto* mapPath = static_cast<const LV2_State_Map_Path*>(lv2_features_data(features, LV2_STATE__mapPath));
    const auto* freePath = static_cast<const LV2_State_Free_Path*>(lv2_features_data(features, LV2_STATE__freePath));
    char* abstract = mapPath ? mapPath->abstract_path(mapPath->handle, path.c_str()) : nullptr;
    const char* stored = abstract ? abstract : path.c_str();
    const LV2_State_Status status = LV2_State_Status(store(handle, mUris.sofaFile, stored, std::strlen(stored) + 1,
                                                           mUris.atomPath, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE));
    if (abstract)
        freePath ? freePath->free_path(freePath->handle, abstract) : std::free(abstract);
    return status;
}

LV2_State_Status CBinauralPlugin::restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle,
                                          const LV2_Feature* const* features)
{
    if (!mHost.map())
        return LV2_STATE_SUCCESS;
    size_t size = 0;
    uint32_t type = 0;
    uint32_t flags = 0;
    const void* value = retrieve(handle, mUris.sofaFile, &size, &type, &flags);
    if (!value || type != mUris.atomPath || size < 2)
        return LV2_STATE_SUCCESS;
    const auto* mapPath = static_cast<const LV2_State_Map_Path*>(lv2_features_data(features, LV2_STATE__mapPath));
    const auto* freePath = static_cast<const LV2_State_Free_Path*>(lv2_features_data(features, LV2_STATE__freePath));
    const std::string stored(static_cast<const char*>(value), strnlen(static_cast<const char*>(value), size));
    char* absolute = mapPath ? mapPath->absolute_path(mapPath->handle, stored.c_str()) : nullptr;
    const std::string path = absolute ? absolute : stored;
    if (absolute)
        freePath ? freePath->free_path(freePath->handle, absolute) : std::free(absolute);
    // Restore runs outside the audio thread and the decoder cross-fades to the new set.
    if (load(path))
        workResponse(uint32_t(path.size() + 1), path.c_str());
    return LV2_STATE_SUCCESS;
}

const void* CBinauralPlugin::extensionData(const char* uri)
{
    static const LV2_Worker_Interface worker = {
        [](LV2_Handle h, LV2_Worker_Respond_Function respond, LV2_Worker_Respond_Handle handle, uint32_t size,
           const void* data) { return static_cast<CBinauralPlugin*>(h)->work(respond, handle, size, data); },
        [](LV2_Handle h, uint32_t size, const void* data) {
            return static_cast<CBinauralPlugin*>(h)->workResponse(size, data);
        },
        nullptr,
    };
    static const LV2_State_Interface state = {
        [](LV2_Handle h, LV2_State_Store_Function store, LV2_State_Handle handle, uint32_t,
           const LV2_Feature* const* features) { return static_cast<CBinauralPlugin*>(h)->save(store, handle, features); },
        [](LV2_Handle h, LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle, uint32_t,
           const LV2_Feature* const* features) {
            return static_cast<CBinauralPlugin*>(h)->restore(retrieve, handle, features);
        },
    };
    if (std::strcmp(uri, LV2_WORKER__interface) == 0)
        return &worker;
    if (std::strcmp(uri, LV2_STATE__interface) == 0)
        return &state;
    return nullptr;
}
