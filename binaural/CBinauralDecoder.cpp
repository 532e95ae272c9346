#include "binaural/CBinauralDecoder.h"

#include "binaural/CBinauralFilters.h"
#include "core/primitives/ipps.h"

namespace {

bool isTimeDomainFloat(const vkAudioInterface& f) { return f.isTimeDomain() && f.isSinglePrecision(); }

}  // namespace

int CBinauralDecoder::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (in.channels() != kInputs || out.channels() != kEars || !isTimeDomainFloat(in) || !isTimeDomainFloat(out)
        || in.sampleRate() != out.sampleRate() || in.frameLength() != out.frameLength() || in.frameLength() < 1
        || !(in.sampleRate() > 0.0f))
        return kErrChannels;
    mConfigured = false;
    const int block = in.frameLength();
    mRotatedStorage.reset(ippsMalloc_32f(kInputs * block));
    if (!mRotatedStorage)
        return vkErrOutOfMemory;
    for (int c = 0; c < kInputs; ++c)
        mRotated[c] = mRotatedStorage.get() + std::size_t(c) * block;
    const int status = mConvolver.configure(in.sampleRate(), kPartition);
    if (status != vkOk) {
        mRotatedStorage.reset();
        return status;
    }
    mHrtfPath.clear();
    mRotation.settle();
    return vkAudioClass::setFormat(in, out);
}

int CBinauralDecoder::process(float** in, float** out, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    if (frames > mInFormat.frameLength() || frames < 0)
        return vkErrFormat;
    mRotation.run(in, mRotated, frames);
    if (mInputNorm == AmbiNorm::kN3d)
        for (int c = 1; c < kInputs; ++c)
            ippsMulC_32f_I(float(1.0 / n3dFromSn3d(acnDegree(c))), mRotated[c], frames);
    mConvolver.run(mRotated, out, frames);
    return vkOk;
}

void CBinauralDecoder::reset() { mConvolver.reset(); }

int CBinauralDecoder::start()
{
    mConvolver.settle();
    mRotation.settle();
    return vkAudioClass::start();
}

int CBinauralDecoder::setFilters(const CBinauralFilters& filters)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    return mConvolver.load(filters);
}

int CBinauralDecoder::loadHrtf(const std::string& path, std::string& message)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    const CBinauralFilters filters = CBinauralFilters::designFromSofa(path, mInFormat.sampleRate(), kMaxTaps, message);
    if (filters.isEmpty())
        return kErrHrtf;
    const int status = setFilters(filters);
    if (status == vkOk)
        mHrtfPath = path;
    return status;
}
