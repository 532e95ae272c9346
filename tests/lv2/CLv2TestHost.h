#pragma once
// A small LV2 host for the tests, on lilv: loads the build tree's bundle, offers a URID
// map, a log that keeps its lines, the block-length options and a worker whose requests
// wait in fixed storage until the test runs them (as a host's worker thread would, between
// two run() calls). Its run path allocates nothing itself, so an allocation counted
// around run() is the plug-in's. Link with lilv-0.

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/log/log.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

class CLv2TestHost {
public:
    struct Options {
        int maxBlock = 0;     // 0: not offered
        int nominalBlock = 0; // 0: not offered
        bool worker = true;
        bool log = true;
        bool map = true;
    };

    CLv2TestHost(const char* uri, double rate, const Options& options)
        : mWorld(lilv_world_new())
        , mGiven(options)
    {
        LilvNode* bundle = lilv_new_file_uri(mWorld, nullptr, VK_LV2_BUNDLE "/");
        lilv_world_load_bundle(mWorld, bundle);
        lilv_node_free(bundle);
        LilvNode* pluginUri = lilv_new_uri(mWorld, uri);
        mPlugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(mWorld), pluginUri);
        lilv_node_free(pluginUri);
        if (!mPlugin)
            return;
        makeFeatures();
        mInstance = lilv_plugin_instantiate(mPlugin, rate, mFeatures.data());
        if (!mInstance)
            return;
        mWorkerInterface =
            static_cast<const LV2_Worker_Interface*>(lilv_instance_get_extension_data(mInstance, LV2_WORKER__interface));
        connectPorts();
    }
    ~CLv2TestHost()
    {
        if (mInstance) {
            if (mActive)
                lilv_instance_deactivate(mInstance);
            lilv_instance_free(mInstance);
        }
        lilv_world_free(mWorld);
    }
    CLv2TestHost(const CLv2TestHost&) = delete;
    CLv2TestHost& operator=(const CLv2TestHost&) = delete;

    bool found() const { return mPlugin != nullptr; }
    bool instantiated() const { return mInstance != nullptr; }
    const std::vector<std::string>& log() const { return mLog; }

    int audioInputs() const { return int(mAudioIn.size()); }
    int audioOutputs() const { return int(mAudioOut.size()); }
    // A control port by its symbol (throws for an unknown one); set it before run().
    float& control(const char* symbol)
    {
        LilvNode* s = lilv_new_string(mWorld, symbol);
        const LilvPort* port = lilv_plugin_get_port_by_symbol(mPlugin, s);
        lilv_node_free(s);
        return mControls.at(port ? lilv_port_get_index(mPlugin, port) : ~0u);
    }

    void activate()
    {
        lilv_instance_activate(mInstance);
        mActive = true;
    }
    // One run() on `frames` samples: inputs from `in` at `offset`, outputs to `out` there.
    // The caller's channels must hold offset + frames samples.
    void run(const std::vector<std::vector<float>>& in, std::vector<std::vector<float>>& out, long offset, int frames)
    {
        for (std::size_t c = 0; c < mAudioIn.size(); ++c)
            lilv_instance_connect_port(mInstance, mAudioIn[c], const_cast<float*>(in[c].data() + offset));
        for (std::size_t c = 0; c < mAudioOut.size(); ++c)
            lilv_instance_connect_port(mInstance, mAudioOut[c], out[c].data() + offset);
        // The worker's answers reach the plug-in in the audio thread, before its run().
        for (int k = 0; k < mResponses; ++k)
            mWorkerInterface->work_response(lilv_instance_get_handle(mInstance), mResponseSize[std::size_t(k)],
                                            mResponseData[std::size_t(k)].data());
        mResponses = 0;
        for (AtomPort& port : mAtomPorts)
            port.prepare();
        lilv_instance_run(mInstance, uint32_t(frames));
    }
    // Keeps what the plug-in announced in the last run() (see notifiedPaths); apart from
    // run(), so that an allocation counted around run() is the plug-in's own.
    void collectNotifications()
    {
        for (AtomPort& port : mAtomPorts)
            if (!port.input)
                readNotifications(port);
    }

    // A patch:Set of `property` to a path, sent with the next run() on the atom input.
    void setPath(const char* property, const std::string& path)
    {
        for (AtomPort& port : mAtomPorts) {
            if (!port.input)
                continue;
            LV2_Atom_Forge forge;
            lv2_atom_forge_init(&forge, &mMap);
            lv2_atom_forge_set_buffer(&forge, port.pendingBytes(), AtomPort::kBytes);
            LV2_Atom_Forge_Frame sequence, object;
            lv2_atom_forge_sequence_head(&forge, &sequence, 0);
            lv2_atom_forge_frame_time(&forge, 0);
            lv2_atom_forge_object(&forge, &object, 0, map(this, LV2_PATCH__Set));
            lv2_atom_forge_key(&forge, map(this, LV2_PATCH__property));
            lv2_atom_forge_urid(&forge, map(this, property));
            lv2_atom_forge_key(&forge, map(this, LV2_PATCH__value));
            lv2_atom_forge_path(&forge, path.c_str(), uint32_t(path.size()));
            lv2_atom_forge_pop(&forge, &object);
            lv2_atom_forge_pop(&forge, &sequence);
            port.hasPending = true;
        }
    }
    // Paths the plug-in announced with patch:Set on its atom output, oldest first.
    const std::vector<std::string>& notifiedPaths() const { return mNotified; }

    // The plug-in's state through its state interface: saved into this host's store,
    // restored from it.
    using StateStore = std::map<LV2_URID, std::pair<LV2_URID, std::string>>;
    StateStore saveState()
    {
        StateStore store;
        const auto* state =
            static_cast<const LV2_State_Interface*>(lilv_instance_get_extension_data(mInstance, LV2_STATE__interface));
        if (state)
            state->save(lilv_instance_get_handle(mInstance), storeValue, &store, 0, nullptr);
        return store;
    }
    void restoreState(const StateStore& store)
    {
        const auto* state =
            static_cast<const LV2_State_Interface*>(lilv_instance_get_extension_data(mInstance, LV2_STATE__interface));
        if (state)
            state->restore(lilv_instance_get_handle(mInstance), retrieveValue, const_cast<StateStore*>(&store), 0, nullptr);
    }
    LV2_URID urid(const char* uri) { return map(this, uri); }
    // Worker thread's turn: every waiting request goes to work().
    int runWork()
    {
        const int n = mPending;
        for (int k = 0; k < n; ++k)
            mWorkerInterface->work(lilv_instance_get_handle(mInstance), respond, this, mRequestSize[k],
                                   mRequests[k].data());
        mPending = 0;
        return n;
    }
    bool hasWorkerInterface() const { return mWorkerInterface != nullptr; }

private:
    static constexpr int kMaxRequests = 256;
    static constexpr int kMaxRequestSize = 4096;
    static constexpr int kMaxResponseSize = 4096;

    static LV2_URID map(LV2_URID_Map_Handle h, const char* uri)
    {
        auto& uris = static_cast<CLv2TestHost*>(h)->mUrids;
        const auto [it, fresh] = uris.emplace(uri, LV2_URID(uris.size() + 1));
        return it->second;
    }
    static int vprintf(LV2_Log_Handle h, LV2_URID, const char* format, va_list args)
    {
        char line[1024];
        const int n = std::vsnprintf(line, sizeof line, format, args);
        static_cast<CLv2TestHost*>(h)->mLog.emplace_back(line);
        return n;
    }
    static int printf(LV2_Log_Handle h, LV2_URID type, const char* format, ...)
    {
        va_list args;
        va_start(args, format);
        const int n = vprintf(h, type, format, args);
        va_end(args);
        return n;
    }
    static LV2_Worker_Status schedule(LV2_Worker_Schedule_Handle h, uint32_t size, const void* data)
    {
        auto* self = static_cast<CLv2TestHost*>(h);
        if (self->mPending >= kMaxRequests || size > kMaxRequestSize)
            return LV2_WORKER_ERR_NO_SPACE;
        std::memcpy(self->mRequests[std::size_t(self->mPending)].data(), data, size);
        self->mRequestSize[std::size_t(self->mPending++)] = size;
        return LV2_WORKER_SUCCESS;
    }
    static LV2_Worker_Status respond(LV2_Worker_Respond_Handle h, uint32_t size, const void* data)
    {
        auto* self = static_cast<CLv2TestHost*>(h);
        if (self->mResponses >= kMaxRequests || size > kMaxResponseSize)
            return LV2_WORKER_ERR_NO_SPACE;
        std::memcpy(self->mResponseData[std::size_t(self->mResponses)].data(), data, size);
        self->mResponseSize[std::size_t(self->mResponses++)] = size;
        return LV2_WORKER_SUCCESS;
    }
    static LV2_State_Status storeValue(LV2_State_Handle h, uint32_t key, const void* value, size_t size, uint32_t type,
                                       uint32_t)
    {
        (*static_cast<StateStore*>(h))[key] = {type, std::string(static_cast<const char*>(value), size)};
        return LV2_STATE_SUCCESS;
    }
    static const void* retrieveValue(LV2_State_Handle h, uint32_t key, size_t* size, uint32_t* type, uint32_t* flags)
    {
        const auto& store = *static_cast<const StateStore*>(h);
        const auto it = store.find(key);
        if (it == store.end())
            return nullptr;
        *size = it->second.second.size();
        *type = it->second.first;
        *flags = LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE;
        return it->second.second.data();
    }

    // An atom sequence port: the input holds the test's messages for one run, the
    // output the plug-in's.
    struct AtomPort {
        static constexpr uint32_t kBytes = 16384;
        bool input = true;
        std::vector<std::uint64_t> buffer = std::vector<std::uint64_t>(kBytes / 8);
        std::vector<std::uint64_t> pending = std::vector<std::uint64_t>(kBytes / 8);
        bool hasPending = false;
        LV2_URID sequenceType = 0;
        LV2_URID chunkType = 0;
        std::uint8_t* pendingBytes() { return reinterpret_cast<std::uint8_t*>(pending.data()); }
        auto* sequence() { return reinterpret_cast<LV2_Atom_Sequence*>(buffer.data()); }
        // Input: the pending messages or an empty sequence. Output: the whole buffer free.
        void prepare()
        {
            if (input && hasPending) {
                buffer = pending;
                hasPending = false;
            } else if (input) {
                *sequence() = LV2_Atom_Sequence{{sizeof(LV2_Atom_Sequence_Body), sequenceType}, {0, 0}};
            } else {
                sequence()->atom = {kBytes - sizeof(LV2_Atom), chunkType};
            }
        }
    };

    void readNotifications(AtomPort& port)
    {
        const LV2_URID set = map(this, LV2_PATCH__Set);
        const LV2_URID value = map(this, LV2_PATCH__value);
        const LV2_URID pathType = map(this, LV2_ATOM__Path);
        LV2_Atom_Sequence* sequence = port.sequence();
        if (sequence->atom.type != port.sequenceType)
            return;
        LV2_ATOM_SEQUENCE_FOREACH(sequence, event)
        {
            const auto* object = reinterpret_cast<const LV2_Atom_Object*>(&event->body);
            if (object->body.otype != set)
                continue;
            const LV2_Atom* path = nullptr;
            lv2_atom_object_get(object, value, &path, 0);
            if (path && path->type == pathType)
                mNotified.emplace_back(static_cast<const char*>(LV2_ATOM_BODY_CONST(path)));
        }
    }

    void makeFeatures()
    {
        const Options& options = mGiven;
        mMap = {this, map};
        mLogFeature = {this, printf, vprintf};
        mSchedule = {this, schedule};
        const LV2_URID intType = map(this, LV2_ATOM__Int);
        if (options.maxBlock > 0)
            mOptions.push_back({LV2_OPTIONS_INSTANCE, 0, map(this, LV2_BUF_SIZE__maxBlockLength), sizeof(int32_t),
                                intType, &options.maxBlock});
        if (options.nominalBlock > 0)
            mOptions.push_back({LV2_OPTIONS_INSTANCE, 0, map(this, LV2_BUF_SIZE__nominalBlockLength),
                                sizeof(int32_t), intType, &options.nominalBlock});
        mOptions.push_back({LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr});
        mFeatureList = {{LV2_OPTIONS__options, mOptions.data()}};
        if (options.map)
            mFeatureList.push_back({LV2_URID__map, &mMap});
        if (options.log)
            mFeatureList.push_back({LV2_LOG__log, &mLogFeature});
        if (options.worker)
            mFeatureList.push_back({LV2_WORKER__schedule, &mSchedule});
        for (LV2_Feature& f : mFeatureList)
            mFeatures.push_back(&f);
        mFeatures.push_back(nullptr);
    }

    void connectPorts()
    {
        const uint32_t ports = lilv_plugin_get_num_ports(mPlugin);
        std::vector<float> defaults(ports), minima(ports), maxima(ports);
        lilv_plugin_get_port_ranges_float(mPlugin, minima.data(), maxima.data(), defaults.data());
        mControls.assign(ports, 0.0f);
        LilvNode* audio = lilv_new_uri(mWorld, LV2_CORE__AudioPort);
        LilvNode* controlClass = lilv_new_uri(mWorld, LV2_CORE__ControlPort);
        LilvNode* input = lilv_new_uri(mWorld, LV2_CORE__InputPort);
        LilvNode* atomClass = lilv_new_uri(mWorld, LV2_ATOM__AtomPort);
        for (uint32_t i = 0; i < ports; ++i) {
            const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, i);
            if (lilv_port_is_a(mPlugin, port, audio)) {
                (lilv_port_is_a(mPlugin, port, input) ? mAudioIn : mAudioOut).push_back(i);
            } else if (lilv_port_is_a(mPlugin, port, controlClass)) {
                mControls[i] = defaults[i];
                lilv_instance_connect_port(mInstance, i, &mControls[i]);
            } else if (lilv_port_is_a(mPlugin, port, atomClass)) {
                AtomPort& atomPort = mAtomPorts.emplace_back();
                atomPort.input = lilv_port_is_a(mPlugin, port, input);
                atomPort.sequenceType = map(this, LV2_ATOM__Sequence);
                atomPort.chunkType = map(this, LV2_ATOM__Chunk);
                mAtomIndex.push_back(i);
            } else {
                lilv_instance_connect_port(mInstance, i, nullptr);
            }
        }
        for (std::size_t k = 0; k < mAtomPorts.size(); ++k)
            lilv_instance_connect_port(mInstance, mAtomIndex[k], mAtomPorts[k].buffer.data());
        lilv_node_free(atomClass);
        lilv_node_free(audio);
        lilv_node_free(controlClass);
        lilv_node_free(input);
    }

    LilvWorld* mWorld;
    const Options mGiven;
    const LilvPlugin* mPlugin = nullptr;
    LilvInstance* mInstance = nullptr;
    const LV2_Worker_Interface* mWorkerInterface = nullptr;
    bool mActive = false;
    std::map<std::string, LV2_URID> mUrids;
    std::vector<std::string> mLog;
    LV2_URID_Map mMap{};
    LV2_Log_Log mLogFeature{};
    LV2_Worker_Schedule mSchedule{};
    std::vector<LV2_Options_Option> mOptions;
    std::vector<LV2_Feature> mFeatureList;
    std::vector<const LV2_Feature*> mFeatures;
    std::vector<uint32_t> mAudioIn;
    std::vector<uint32_t> mAudioOut;
    std::vector<float> mControls;
    std::vector<std::array<unsigned char, kMaxRequestSize>> mRequests =
        std::vector<std::array<unsigned char, kMaxRequestSize>>(kMaxRequests);
    std::array<uint32_t, kMaxRequests> mRequestSize{};
    std::vector<std::array<unsigned char, kMaxResponseSize>> mResponseData =
        std::vector<std::array<unsigned char, kMaxResponseSize>>(kMaxRequests);
    std::array<uint32_t, kMaxRequests> mResponseSize{};
    int mResponses = 0;
    std::vector<AtomPort> mAtomPorts;
    std::vector<uint32_t> mAtomIndex;
    std::vector<std::string> mNotified;
    int mPending = 0;
};
