#pragma once
// The C entry points of a plug-in class, for its LV2_Descriptor. A class gives a static
// create(rate, features) returning a unique_ptr (null when it refuses), connect,
// activate, run and deactivate; extension data comes from its own extensionData().

#include <lv2/core/lv2.h>

#include <memory>

template <class Plugin>
struct CLv2Entry {
    static LV2_Handle instantiate(const LV2_Descriptor*, double rate, const char* bundle, const LV2_Feature* const* features)
    {
        return Plugin::create(rate, bundle, features).release();
    }
    static void connect(LV2_Handle h, uint32_t port, void* data) { static_cast<Plugin*>(h)->connect(port, data); }
    static void activate(LV2_Handle h) { static_cast<Plugin*>(h)->activate(); }
    static void run(LV2_Handle h, uint32_t frames) { static_cast<Plugin*>(h)->run(frames); }
    static void deactivate(LV2_Handle h) { static_cast<Plugin*>(h)->deactivate(); }
    static void cleanup(LV2_Handle h) { delete static_cast<Plugin*>(h); }

    static LV2_Descriptor descriptor(const char* uri)
    {
        return {uri, instantiate, connect, activate, run, deactivate, cleanup, Plugin::extensionData};
    }
};
