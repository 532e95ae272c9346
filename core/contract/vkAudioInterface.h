#pragma once
// The audio format record: domain, channels, precision, rate, block and transform length.
// Value semantics; copied field by field wherever a format is passed.

#include <cstdint>

class vkAudioInterface {
public:
    vkAudioInterface() = default;
    vkAudioInterface(const vkAudioInterface&) = default;
    vkAudioInterface& operator=(const vkAudioInterface&) = default;
    virtual ~vkAudioInterface() = default;

    // A time-domain, single-precision record.
    static vkAudioInterface timeDomain(int channels, float sampleRate, int blockLength);

    int channels() const { return mChannels; }
    bool isTimeDomain() const { return mDomain == 0; }
    bool isSinglePrecision() const { return mSinglePrecision; }
    float sampleRate() const { return mSampleRate; }
    // Elements per channel of one block: the block length in the time domain,
    // transform length / 2 + 1 in the frequency domain.
    int frameLength() const;
    int transformLength() const { return mTransformLength; }

    void setChannels(int channels) { mChannels = channels; }
    void setDomain(std::uint32_t domain) { mDomain = domain; }
    void setSinglePrecision(bool single) { mSinglePrecision = single; }
    void setTimeFormat(float sampleRate, int blockLength);
    void setTransformLength(int length) { mTransformLength = length; }

    // Equal when channels, precision, domain and rate agree, and then the block length
    // (time domain) or the transform fields (frequency domain).
    bool operator==(const vkAudioInterface& other) const;
    bool operator!=(const vkAudioInterface& other) const { return !(*this == other); }

private:
    std::uint32_t mDomain = 0;
    std::int32_t mChannels = 0;
    bool mSinglePrecision = true;
    float mSampleRate = 0.0f;
    std::int32_t mBlockLength = 0;
    std::int32_t mTransformLength = 0;
    // Kept for a frequency-domain host (a hop size and the like); copied and compared only.
    std::int32_t mTransformHop = 0;
    std::int32_t mTransformWindow = 0;
};
