#include "core/contract/vkAudioClass.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <cstring>

int vkParameterTypeWidth(int type)
{
    switch (type) {
    case 0: case 1: case 3:
        return 1;
    case 2: case 4: case 5: case 8:
        return 2;
    case 6: case 9: case 11: case 14: case 17:
        return 4;
    case 7: case 10: case 12: case 15: case 18:
        return 8;
    case 13: case 16:
        return 16;
    default:
        return 0;
    }
}

int vkAudioClass::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    mInFormat = in;
    mOutFormat = out;
    mConfigured = true;
    return vkOk;
}

int vkAudioClass::process(float** in, float** out, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    const int n = std::min(mInFormat.channels(), mOutFormat.channels());
    int status = 0;
    for (int i = 0; i < n; ++i) {
        if (mInFormat.isSinglePrecision())
            status |= ippsCopy_32f(in[i], out[i], frames);
        else
            status |= ippsCopy_32fc(reinterpret_cast<const Ipp32fc*>(in[i]), reinterpret_cast<Ipp32fc*>(out[i]),
                                    frames);
    }
    return status ? vkErrLibraryBase + status : vkOk;
}

int vkAudioClass::process(float** in, float** out)
{
    return process(in, out, mInFormat.frameLength());
}

int vkAudioClass::process(vkAudioBuffer& in, vkAudioBuffer& out, int frames)
{
    if (!in.format() || *in.format() != mInFormat || !out.format() || *out.format() != mOutFormat
        || frames > mInFormat.frameLength())
        return vkErrFormat;
    return process(in.data(), out.data(), frames);
}

int vkAudioClass::process(vkAudioBuffer& in, vkAudioBuffer& out)
{
    if (!in.format() || *in.format() != mInFormat || !out.format() || *out.format() != mOutFormat)
        return vkErrFormat;
    return process(in.data(), out.data(), in.format()->frameLength());
}

void vkAudioClass::reset() {}

int vkAudioClass::stop()
{
    mStarted = false;
    return vkOk;
}

int vkAudioClass::start()
{
    mStarted = true;
    return vkOk;
}

int vkAudioClass::setObjectParameter(int, int, const void*, int, int) { return vkErrNoObjectParams; }
int vkAudioClass::getObjectParameter(int, int, void*, int, int) { return vkErrNoObjectParams; }
int vkAudioClass::setChannelParameter(int, int, const void*, int, int) { return vkErrNoChannelParams; }
int vkAudioClass::getChannelParameter(int, int, void*, int, int) { return vkErrNoChannelParams; }

int vkAudioClass::setObjectParameterTable(const vkParameterName* names, const int* sizes, const int* types,
                                          int count)
{
    if (count < 0)
        return vkErrRange;
    mObjectTable = {count, sizes, types, names};
    return vkOk;
}

int vkAudioClass::setChannelParameterTable(const vkParameterName* names, const int* sizes, const int* types,
                                           int count)
{
    if (count < 0)
        return vkErrRange;
    mChannelTable = {count, sizes, types, names};
    return vkOk;
}

int vkAudioClass::copyParameter(const void* from, int id, void* to, int count, int type, bool channelTable) const
{
    const ParameterTable& table = channelTable ? mChannelTable : mObjectTable;
    if (type == vkTypeString || type == vkTypeWString) {
        if (count > table.sizes[id])
            return vkErrParameterShape;
        // The characters, then a terminating zero of the character's width.
        const std::size_t bytes = static_cast<std::size_t>(std::max(count, 0)) * vkParameterTypeWidth(type);
        std::memcpy(to, from, bytes);
        std::memset(static_cast<char*>(to) + bytes, 0, vkParameterTypeWidth(type));
        return vkOk;
    }
    if (count != table.sizes[id] || type != table.types[id])
        return vkErrParameterShape;
    const int width = vkParameterTypeWidth(type);
    if (width == 0)
        return vkErrTypeWidth;
    std::memcpy(to, from, static_cast<std::size_t>(count) * width);
    return vkOk;
}
