#include "render/CRenderSink.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr float kInteger24Scale = 8388608.0f; // 2^23, the recorders' full scale

// One channel's samples of `Bytes` bytes each into every frame of `to`. The sample size
// is a constant so that each copy compiles to plain moves instead of a call.
template <int Bytes>
void interleave(const char* samples, char* to, int frames, int frameBytes)
{
    for (int i = 0; i < frames; ++i)
        std::memcpy(to + qint64(i) * frameBytes, samples + i * Bytes, Bytes);
}
} // namespace

bool CRenderSink::open(const QString& name, int channels, int sampleRate, int format, int maxFrames)
{
    mChannels = channels;
    mBytesPerSample = format == formatFloat32 ? 4 : 3;
    mFrames = 0;
    mClipped = 0;
    mScratch.assign(std::size_t(maxFrames), 0.0f);
    mPacked.assign(std::size_t(maxFrames) * 3, 0);
    mBytes.resize(qsizetype(maxFrames) * channels * mBytesPerSample);
    const int tag = format == formatFloat32 ? waveTagFloat : waveTagPcm;
    return mWave.create(name, channels, sampleRate, tag, mBytesPerSample, 0) == waveOk;
}

bool CRenderSink::write(const float* const* channels, int frames)
{
    toFileBytes(channels, frames);
    const qint64 bytes = qint64(frames) * mChannels * mBytesPerSample;
    if (mWave.writeSamples(QByteArray::fromRawData(mBytes.constData(), bytes)) != bytes)
        return false;
    mFrames += frames;
    return true;
}

// Interleaves one block into mBytes, channel by channel.
void CRenderSink::toFileBytes(const float* const* channels, int frames)
{
    const int frameBytes = mChannels * mBytesPerSample;
    char* bytes = mBytes.data();
    for (int c = 0; c < mChannels; ++c) {
        const char* samples = reinterpret_cast<const char*>(channels[c]);
        if (mBytesPerSample == 3) {
            mClipped += std::count_if(channels[c], channels[c] + frames, [](float x) { return x >= 1.0f || x < -1.0f; });
            ippsMulC_32f(channels[c], kInteger24Scale, mScratch.data(), frames);
            ippsConvert_32f24s_Sfs(mScratch.data(), mPacked.data(), frames, 0);
            samples = reinterpret_cast<const char*>(mPacked.data());
        }
        char* to = bytes + c * mBytesPerSample;
        if (mBytesPerSample == 3)
            interleave<3>(samples, to, frames, frameBytes);
        else
            interleave<4>(samples, to, frames, frameBytes);
    }
}

void CRenderSink::close()
{
    mWave.close();
}
