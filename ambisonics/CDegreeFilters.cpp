#include "ambisonics/CDegreeFilters.h"

#include "ambisonics/SphericalHarmonics.h"
#include "core/contract/vkResult.h"
#include "core/primitives/ipps.h"

#include <new>

CDegreeFilters::~CDegreeFilters() { release(); }

void CDegreeFilters::release()
{
    for (IppsIIRState64f_32f*& s : mStates) {
        if (s)
            ippsIIRFree64f_32f(s);
        s = nullptr;
    }
    mChannels = 0;
}

int CDegreeFilters::configure(int channels, int blockLength, const Design& design)
{
    release();
    mFiltered.reset(new (std::nothrow) float[blockLength]);
    mFade.reset(new (std::nothrow) float[blockLength]);
    mKeep.reset(new (std::nothrow) float[blockLength]);
    if (!mFiltered || !mFade || !mKeep)
        return vkErrOutOfMemory;
    for (int c = 0; c < channels; ++c) {
        const std::vector<double> taps = design(acnDegree(c));
        if (taps.empty())
            continue;
        if (ippsIIRInitAlloc64f_BiQuad_32f(&mStates[c], taps.data(), int(taps.size() / 6), nullptr) != ippStsNoErr) {
            release();
            return vkErrOutOfMemory;
        }
    }
    mChannels = channels;
    mMix = enabled() ? kFadeFrames : 0;
    return vkOk;
}

void CDegreeFilters::reset()
{
    for (int c = 0; c < mChannels; ++c)
        if (mStates[c])
            ippsIIRSetDlyLine64f_32f(mStates[c], nullptr);
    mMix = enabled() ? kFadeFrames : 0;
}

void CDegreeFilters::process(float** channels, int frames)
{
    const int target = enabled() ? kFadeFrames : 0;
    const bool steady = mMix == target;
    if (steady && target == 0)
        return;
    // Switched on from rest: the filters start from silence, under the fade.
    if (mMix == 0)
        for (int c = 0; c < mChannels; ++c)
            if (mStates[c])
                ippsIIRSetDlyLine64f_32f(mStates[c], nullptr);
    if (!steady) {
        for (int s = 0; s < frames; ++s) {
            mMix += mMix < target ? 1 : (mMix > target ? -1 : 0);
            mFade[s] = float(mMix) / kFadeFrames;
            mKeep[s] = 1.0f - mFade[s];
        }
    }
    for (int c = 0; c < mChannels; ++c) {
        if (!mStates[c])
            continue;
        ippsIIR64f_32f(channels[c], mFiltered.get(), frames, mStates[c]);
        if (steady) {
            if (target == kFadeFrames)
                ippsCopy_32f(mFiltered.get(), channels[c], frames);
            continue;
        }
        ippsMul_32f_I(mKeep.get(), channels[c], frames);
        ippsAddProduct_32f(mFiltered.get(), mFade.get(), channels[c], frames);
    }
}
