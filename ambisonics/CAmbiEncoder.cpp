#include "ambisonics/CAmbiEncoder.h"

#include "ambisonics/AmbiOrderFilters.h"
#include "ambisonics/ModeToAmbix.h"
#include "core/primitives/ipps.h"

#include <new>

CAmbiEncoder::CAmbiEncoder()
{
    mDiffuse.setEnabled(false);
    publish();
}

CAmbiEncoder::~CAmbiEncoder() = default;

int CAmbiEncoder::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    const int channels = out.channels();
    if (!in.isTimeDomain() || !out.isTimeDomain() || in.channels() != kModes ||
        in.sampleRate() != out.sampleRate() || in.frameLength() != out.frameLength() ||
        in.frameLength() < 1 || (channels != 4 && channels != 9 && channels != 16))
        return vkErrFormat;
    const int block = in.frameLength();
    mRamp.reset(new (std::nothrow) float[block]);
    mScratch.reset(new (std::nothrow) float[block]);
    const double rate = in.sampleRate();
    if (!mRamp || !mScratch || mAlignment.configure(channels, block, alignmentSections) != vkOk ||
        mDiffuse.configure(channels, block, [rate](int n) { return diffuseSections(n, rate); }) != vkOk) {
        mConfigured = false;
        return vkErrOutOfMemory;
    }
    mChannels = channels;
    mOrder = acnDegree(channels - 1);
    mBlockLength = block;
    mInFormat = in;
    mOutFormat = out;
    mConfigured = true;
    return vkOk;
}

void CAmbiEncoder::setOrientation(const CRotation3& mounting)
{
    mMounting = mounting;
    publish();
}

void CAmbiEncoder::setNorm(AmbiNorm norm)
{
    mNorm = norm;
    publish();
}

// Channel c of degree n: sum over the modes k of degree n of R(c, k) g(k).
void CAmbiEncoder::publish()
{
    const CShRotation rotation(mMounting);
    Matrix& m = mSlots[mControlIndex];
    for (int c = 0; c < kModes; ++c)
        for (int k = 0; k < kModes; ++k)
            m[c][k] = float(rotation.at(c, k) * ambixGainOfMode(k, mNorm));
    mPublished = m;
    const int previous = mMiddle.exchange(mControlIndex | kFresh, std::memory_order_acq_rel);
    mControlIndex = previous & kIndexMask;
}

// Takes a fresh matrix, starting a glide from the gains in force at this moment.
void CAmbiEncoder::takeNewest()
{
    if (!(mMiddle.load(std::memory_order_relaxed) & kFresh))
        return;
    const Matrix& current = mSlots[mAudioIndex];
    const float along = float(mGlidePosition) / kGlideFrames;
    for (int c = 0; c < kModes; ++c)
        for (int k = 0; k < kModes; ++k)
            mFrom[c][k] += along * (current[c][k] - mFrom[c][k]);
    mAudioIndex = mMiddle.exchange(mAudioIndex, std::memory_order_acq_rel) & kIndexMask;
    mGlidePosition = 0;
}

int CAmbiEncoder::start()
{
    if (!mConfigured)
        return vkErrNotConfigured;
    if (mMiddle.load(std::memory_order_acquire) & kFresh)
        mAudioIndex = mMiddle.exchange(mAudioIndex, std::memory_order_acq_rel) & kIndexMask;
    mFrom = mSlots[mAudioIndex];
    mGlidePosition = kGlideFrames;
    mAlignment.reset();
    mDiffuse.reset();
    mStarted = true;
    return vkOk;
}

int CAmbiEncoder::stop()
{
    mStarted = false;
    return vkOk;
}

void CAmbiEncoder::reset()
{
    mAlignment.reset();
    mDiffuse.reset();
}

int CAmbiEncoder::process(float** in, float** out, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mBlockLength || !in || !out)
        return vkErrFormat;
    if (frames == 0)
        return vkOk;
    takeNewest();
    if (mGlidePosition < kGlideFrames)
        glide(in, out, frames);
    else
        mix(in, out, frames);
    mAlignment.process(out, frames);
    mDiffuse.process(out, frames);
    return vkOk;
}

void CAmbiEncoder::mix(float** in, float** out, int frames)
{
    const Matrix& m = mSlots[mAudioIndex];
    for (int c = 0; c < mChannels; ++c) {
        const int n = acnDegree(c);
        ippsZero_32f(out[c], frames);
        for (int k = n * n; k < (n + 1) * (n + 1); ++k)
            ippsAddProductC_32f(in[k], m[c][k], out[c], frames);
    }
}

// out = From x + ramp * (To - From) x, the ramp rising by 1/kGlideFrames a sample and
// held at 1 once the glide ends within the block.
void CAmbiEncoder::glide(float** in, float** out, int frames)
{
    const Matrix& to = mSlots[mAudioIndex];
    for (int s = 0; s < frames; ++s) {
        const int position = mGlidePosition + s + 1;
        mRamp[s] = position >= kGlideFrames ? 1.0f : float(position) / kGlideFrames;
    }
    for (int c = 0; c < mChannels; ++c) {
        const int n = acnDegree(c);
        ippsZero_32f(out[c], frames);
        ippsZero_32f(mScratch.get(), frames);
        for (int k = n * n; k < (n + 1) * (n + 1); ++k) {
            ippsAddProductC_32f(in[k], mFrom[c][k], out[c], frames);
            ippsAddProductC_32f(in[k], to[c][k] - mFrom[c][k], mScratch.get(), frames);
        }
        ippsAddProduct_32f(mScratch.get(), mRamp.get(), out[c], frames);
    }
    mGlidePosition += frames;
    if (mGlidePosition >= kGlideFrames) {
        mGlidePosition = kGlideFrames;
        mFrom = to;
    }
}
