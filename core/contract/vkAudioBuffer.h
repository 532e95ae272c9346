#pragma once
// One block of several channels as an array of channel pointers. An owning buffer
// allocates one aligned array per channel; a borrowing buffer points into other
// buffers' channels (share) and frees nothing of them.

#include "core/contract/vkAudioInterface.h"

class vkAudioBuffer {
public:
    explicit vkAudioBuffer(const vkAudioInterface& format);
    vkAudioBuffer(const vkAudioBuffer&) = delete;
    vkAudioBuffer& operator=(const vkAudioBuffer&) = delete;
    virtual ~vkAudioBuffer();

    int allocate();
    void release();
    void clear();
    float* channel(int index) const;
    float** data() const { return mData; }
    int share(const vkAudioBuffer& source);
    int share(const vkAudioBuffer& source, int count, int sourceOffset, int offset);
    int setFormat(const vkAudioInterface& format);

    bool isValid() const { return mValid; }
    bool ownsStorage() const { return mOwnsStorage; }
    // The buffer's format record; null once a failed set-up dropped it.
    const vkAudioInterface* format() const { return mFormat; }

private:
    int floatsPerChannel() const;
    bool allocatePointerArray(int channels);

    float** mData = nullptr;
    bool mOwnsStorage = false;
    bool mValid = false;
    vkAudioInterface* mFormat = nullptr;
};
