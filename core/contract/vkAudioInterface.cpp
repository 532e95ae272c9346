#include "core/contract/vkAudioInterface.h"

vkAudioInterface vkAudioInterface::timeDomain(int channels, float sampleRate, int blockLength)
{
    vkAudioInterface format;
    format.setChannels(channels);
    format.setTimeFormat(sampleRate, blockLength);
    return format;
}

int vkAudioInterface::frameLength() const
{
    return mDomain == 0 ? mBlockLength : (mTransformLength >> 1) + 1;
}

void vkAudioInterface::setTimeFormat(float sampleRate, int blockLength)
{
    mSampleRate = sampleRate;
    mBlockLength = blockLength;
}

bool vkAudioInterface::operator==(const vkAudioInterface& other) const
{
    if (mChannels != other.mChannels || mSinglePrecision != other.mSinglePrecision || mDomain != other.mDomain
        || mSampleRate != other.mSampleRate)
        return false;
    if (mDomain == 1)
        return mTransformLength == other.mTransformLength && mTransformHop == other.mTransformHop
            && mTransformWindow == other.mTransformWindow;
    return mBlockLength == other.mBlockLength;
}
