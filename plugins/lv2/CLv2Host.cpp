#include "plugins/lv2/CLv2Host.h"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

CLv2Host::CLv2Host(const LV2_Feature* const* features)
{
    const void* options = nullptr;
    for (int i = 0; features && features[i]; ++i) {
        const char* uri = features[i]->URI;
        void* data = features[i]->data;
        if (!std::strcmp(uri, LV2_URID__map))
            mMap = static_cast<const LV2_URID_Map*>(data);
        else if (!std::strcmp(uri, LV2_LOG__log))
            mLog = static_cast<const LV2_Log_Log*>(data);
        else if (!std::strcmp(uri, LV2_WORKER__schedule))
            mWorker = static_cast<const LV2_Worker_Schedule*>(data);
        else if (!std::strcmp(uri, LV2_OPTIONS__options))
            options = data;
    }
    mErrorType = urid(LV2_LOG__Error);
    mNoteType = urid(LV2_LOG__Note);
    readOptions(options);
}

// Block lengths are atom:Int options; any other type is ignored.
void CLv2Host::readOptions(const void* options)
{
    if (!mMap)
        return;
    const LV2_URID intType = urid(LV2_ATOM__Int);
    const LV2_URID maxKey = urid(LV2_BUF_SIZE__maxBlockLength);
    const LV2_URID nominalKey = urid(LV2_BUF_SIZE__nominalBlockLength);
    for (auto* o = static_cast<const LV2_Options_Option*>(options); o && o->key; ++o) {
        if (o->type != intType || o->size != sizeof(int32_t) || !o->value)
            continue;
        const int value = *static_cast<const int32_t*>(o->value);
        if (o->key == maxKey)
            mMaxBlock = value;
        else if (o->key == nominalKey)
            mNominalBlock = value;
    }
}

void CLv2Host::vlog(LV2_URID type, const char* plugin, const char* format, va_list args) const
{
    char line[512];
    std::vsnprintf(line, sizeof line, format, args);
    if (mLog && type)
        mLog->printf(mLog->handle, type, "%s: %s\n", plugin, line);
    else
        std::fprintf(stderr, "%s: %s\n", plugin, line);
}

void CLv2Host::error(const char* plugin, const char* format, ...) const
{
    va_list args;
    va_start(args, format);
    vlog(mErrorType, plugin, format, args);
    va_end(args);
}

void CLv2Host::note(const char* plugin, const char* format, ...) const
{
    va_list args;
    va_start(args, format);
    vlog(mNoteType, plugin, format, args);
    va_end(args);
}
