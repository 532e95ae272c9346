#pragma once
// The abstract root of every processing object: formats in and out, start and stop,
// one block at a time as arrays of channel pointers, numbered parameters.
//
// Thread contract: process() runs on the audio thread (no allocation, no wait); every
// other operation runs on the control thread. Whatever reallocates is refused with 5
// while started.

#include "core/contract/vkAudioBuffer.h"
#include "core/contract/vkAudioInterface.h"
#include "core/contract/vkResult.h"

#include <cstdint>

// A parameter name record: 17 characters, zero padded.
using vkParameterName = char[17];

// Type codes of parameter values that this system's tables use.
enum vkParameterType : int {
    vkTypeBool = 0,    // one byte
    vkTypeString = 3,  // character string
    vkTypeWString = 4, // wide character string, 2 bytes a character
    vkTypeInt = 6,     // 32-bit signed
    vkTypeFloat = 9,   // 32-bit float
};

// Bytes per element of a type code; 0 for a code with no width.
int vkParameterTypeWidth(int type);

// A derived class puts its work in slot 2 and writes `using vkAudioClass::process;` so
// that the entry points of slots 3 to 5 stay visible; it never overrides them.
class vkAudioClass {
public:
    vkAudioClass() = default;
    vkAudioClass(const vkAudioClass&) = delete;
    vkAudioClass& operator=(const vkAudioClass&) = delete;

    // Slots 0 to 12, in this order.
    virtual ~vkAudioClass() = default;
    virtual int setFormat(const vkAudioInterface& in, const vkAudioInterface& out);
    virtual int process(float** in, float** out, int frames);
    virtual int process(float** in, float** out);
    virtual int process(vkAudioBuffer& in, vkAudioBuffer& out, int frames);
    virtual int process(vkAudioBuffer& in, vkAudioBuffer& out);
    virtual void reset();
    virtual int stop();
    virtual int start();
    virtual int setObjectParameter(int channel, int id, const void* data, int count, int type);
    virtual int getObjectParameter(int channel, int id, void* data, int count, int type);
    virtual int setChannelParameter(int channel, int id, const void* data, int count, int type);
    virtual int getChannelParameter(int channel, int id, void* data, int count, int type);

    int setObjectParameterTable(const vkParameterName* names, const int* sizes, const int* types, int count);
    int setChannelParameterTable(const vkParameterName* names, const int* sizes, const int* types, int count);
    int copyParameter(const void* from, int id, void* to, int count, int type, bool channelTable) const;
    bool isStarted() const { return mStarted; }
    bool isConfigured() const { return mConfigured; }
    std::uint32_t version() const { return mVersion; }

    const vkAudioInterface& inFormat() const { return mInFormat; }
    const vkAudioInterface& outFormat() const { return mOutFormat; }
    int objectParameterCount() const { return mObjectTable.count; }
    int channelParameterCount() const { return mChannelTable.count; }

protected:
    struct ParameterTable {
        int count = 0;
        const int* sizes = nullptr;
        const int* types = nullptr;
        const vkParameterName* names = nullptr;
    };

    vkAudioInterface mInFormat;
    vkAudioInterface mOutFormat;
    ParameterTable mObjectTable;
    ParameterTable mChannelTable;
    bool mStarted = false;
    bool mConfigured = false;
    std::uint32_t mVersion = 0;
};

// The entry point a processing module exports for the driver layer to load.
extern "C" {
using vkAPIobjectFunction = vkAudioClass* (*)();
}
