#include "core/contract/vkAudioBuffer.h"

#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <new>

vkAudioBuffer::vkAudioBuffer(const vkAudioInterface& format)
    : mFormat(new (std::nothrow) vkAudioInterface(format))
{
    if (mFormat && allocatePointerArray(mFormat->channels())) {
        mValid = true;
        return;
    }
    delete mFormat;
    mFormat = nullptr;
}

vkAudioBuffer::~vkAudioBuffer()
{
    release();
    delete[] mData;
    delete mFormat;
}

bool vkAudioBuffer::allocatePointerArray(int channels)
{
    mData = new (std::nothrow) float*[channels > 0 ? channels : 1]();
    return mData != nullptr;
}

int vkAudioBuffer::floatsPerChannel() const
{
    return mFormat->isSinglePrecision() ? mFormat->frameLength() : 2 * mFormat->frameLength();
}

int vkAudioBuffer::allocate()
{
    if (!mValid)
        return vkErrInvalidBuffer;
    release();
    const int floats = floatsPerChannel();
    for (int i = 0; i < mFormat->channels(); ++i) {
        mData[i] = ippsMalloc_32f(floats);
        if (!mData[i]) {
            for (int j = 0; j < i; ++j) {
                ippsFree(mData[j]);
                mData[j] = nullptr;
            }
            return vkErrStarted; // out of memory in a buffer allocation
        }
    }
    mOwnsStorage = true;
    clear();
    return vkOk;
}

void vkAudioBuffer::release()
{
    if (!mOwnsStorage)
        return;
    for (int i = 0; i < mFormat->channels(); ++i) {
        ippsFree(mData[i]);
        mData[i] = nullptr;
    }
    mOwnsStorage = false;
}

void vkAudioBuffer::clear()
{
    if (!mValid)
        return;
    const int floats = floatsPerChannel();
    for (int i = 0; i < mFormat->channels(); ++i)
        if (mData[i])
            ippsZero_32f(mData[i], floats);
}

float* vkAudioBuffer::channel(int index) const
{
    if (!mData || !mFormat || index < 0 || index >= mFormat->channels())
        return nullptr;
    return mData[index];
}

int vkAudioBuffer::share(const vkAudioBuffer& source)
{
    if (!mValid)
        return vkErrInvalidBuffer;
    if (!source.mFormat || mFormat->channels() != source.mFormat->channels()
        || mFormat->frameLength() != source.mFormat->frameLength()
        || mFormat->isSinglePrecision() != source.mFormat->isSinglePrecision() || mOwnsStorage || !mData)
        return vkErrFormat;
    for (int i = 0; i < mFormat->channels(); ++i)
        mData[i] = source.channel(i);
    return vkOk;
}

int vkAudioBuffer::share(const vkAudioBuffer& source, int count, int sourceOffset, int offset)
{
    if (!mValid)
        return vkErrInvalidBuffer;
    if (!source.mFormat || mFormat->frameLength() != source.mFormat->frameLength()
        || mFormat->isSinglePrecision() != source.mFormat->isSinglePrecision() || mOwnsStorage || !mData)
        return vkErrFormat;
    if (count < 0 || offset < 0 || sourceOffset < 0 || offset + count > mFormat->channels()
        || sourceOffset + count > source.mFormat->channels())
        return vkErrNoChannelParams; // the range exceeds the channels
    for (int i = 0; i < count; ++i)
        mData[offset + i] = source.channel(sourceOffset + i);
    return vkOk;
}

int vkAudioBuffer::setFormat(const vkAudioInterface& format)
{
    const bool heldStorage = mOwnsStorage;
    if (mFormat && heldStorage) {
        if (format.frameLength() != mFormat->frameLength()
            || format.isSinglePrecision() != mFormat->isSinglePrecision())
            release();
    }
    if (mFormat && format.channels() != mFormat->channels()) {
        release();
        delete[] mData;
        mData = nullptr;
    }
    if (!mFormat) {
        mFormat = new (std::nothrow) vkAudioInterface(format);
        if (!mFormat)
            return vkErrStarted;
    }
    *mFormat = format;
    if (!mData && !allocatePointerArray(format.channels())) {
        mValid = false;
        delete mFormat;
        mFormat = nullptr;
        return vkErrStarted;
    }
    mValid = true;
    if (heldStorage)
        return allocate();
    for (int i = 0; i < format.channels(); ++i)
        mData[i] = nullptr;
    return vkOk;
}
