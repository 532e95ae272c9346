#pragma once
// What a host offers a plug-in through its features: the URID map, the log, the block
// lengths it runs, the worker. Read once in instantiate; every feature is optional, and
// without a log the messages go to standard error.
// Control thread (instantiate, the worker, state) for log(); the rest is plain reads.

#include <lv2/core/lv2.h>
#include <lv2/log/log.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <cstdarg>
#include <cstdint>

class CLv2Host {
public:
    explicit CLv2Host(const LV2_Feature* const* features);

    // printf-style, one line, prefixed with the plug-in's name.
    void error(const char* plugin, const char* format, ...) const __attribute__((format(printf, 3, 4)));
    void note(const char* plugin, const char* format, ...) const __attribute__((format(printf, 3, 4)));

    const LV2_URID_Map* map() const { return mMap; }
    LV2_URID urid(const char* uri) const { return mMap ? mMap->map(mMap->handle, uri) : 0; }
    const LV2_Worker_Schedule* worker() const { return mWorker; }
    // The longest run() the host promises, and the length it usually runs; 0 when unsaid.
    int maxBlockLength() const { return mMaxBlock; }
    int nominalBlockLength() const { return mNominalBlock; }

private:
    void readOptions(const void* options);
    void vlog(LV2_URID type, const char* plugin, const char* format, va_list args) const;

    const LV2_URID_Map* mMap = nullptr;
    const LV2_Log_Log* mLog = nullptr;
    const LV2_Worker_Schedule* mWorker = nullptr;
    int mMaxBlock = 0;
    int mNominalBlock = 0;
    LV2_URID mErrorType = 0;
    LV2_URID mNoteType = 0;
};
