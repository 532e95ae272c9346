#include "beamformer/CKorvane.h"

#include "core/primitives/ipps.h"

#include <algorithm>
#include <climits>
#include <new>
#include <thread>

CKorvane::~CKorvane()
{
    releaseStorage();
}

int CKorvane::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (!in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision() || !out.isSinglePrecision()
        || in.sampleRate() != out.sampleRate() || in.frameLength() != out.frameLength() || in.frameLength() < 1
        || out.channels() < 1)
        return vkErrFormat;
    releaseStorage();
    vkAudioClass::setFormat(in, out);
    if (allocateStorage(out.channels(), out.frameLength()) != vkOk) {
        releaseStorage();
        return vkErrOutOfMemory;
    }
    vkAudioInterface beamFormat = out;
    beamFormat.setChannels(1);
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        for (vkxShadowFilter* f : {&b.low, &b.high, &b.eq})
            if (const int r = f->setFormat(beamFormat, beamFormat); r != vkOk)
                return r;
    }
    return mNumModes > 0 ? setNumModes(mNumModes) : vkOk;
}

void CKorvane::releaseStorage()
{
    mBeams.reset();
    mStorage.reset();
    std::fill(std::begin(mModes), std::end(mModes), nullptr);
    mScratch = nullptr;
    mBeamCount = 0;
    mBlockLength = 0;
}

// Block buffers come out of one allocation: the 16 mode buffers, two a beam, scratch.
int CKorvane::allocateStorage(int beams, int blockLength)
{
    const long long stride = (blockLength + 7) & ~7;
    const long long buffers = kModeBuffers + 2LL * beams + 1;
    if (stride * buffers > INT_MAX)
        return vkErrOutOfMemory;
    mBeams.reset(new (std::nothrow) Beam[beams]);
    mStorage.reset(ippsMalloc_32f(static_cast<int>(stride * buffers)));
    if (!mBeams || !mStorage)
        return vkErrOutOfMemory;
    ippsZero_32f(mStorage.get(), static_cast<int>(stride * buffers));
    float* next = mStorage.get();
    for (float*& mode : mModes) {
        mode = next;
        next += stride;
    }
    for (int i = 0; i < beams; ++i) {
        mBeams[i].modalOut = next;
        mBeams[i].hfOut = next + stride;
        next += 2 * stride;
        if (mBeams[i].hfDelay.setDelay(0) != 0 || mBeams[i].trimDelay.setDelay(0) != 0)
            return vkErrOutOfMemory;
    }
    mScratch = next;
    mBeamCount = beams;
    mBlockLength = blockLength;
    mTotalDelay = 0.0f;
    return vkOk;
}

int CKorvane::setNumModes(int count)
{
    mNumModes = count;
    vkAudioInterface modes = mInFormat;
    modes.setChannels(count);
    if (const int r = mEbf.setFormat(mInFormat, modes); r != vkOk)
        return r;
    vkAudioInterface beamFormat = mOutFormat;
    beamFormat.setChannels(1);
    for (int i = 0; i < mBeamCount; ++i)
        if (const int r = mBeams[i].mbf.setFormat(modes, beamFormat); r != vkOk)
            return r;
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        if (const int r = b.hf.setFormat(mInFormat, beamFormat); r != vkOk)
            return r;
        if (const int r = b.hf.setSteeringTracks(b.mbf.thetaTrack(), b.mbf.phiTrack()); r != vkOk)
            return r;
    }
    return vkOk;
}

int CKorvane::setModeWeights(const float* const rows[kModeBuffers])
{
    if (mStarted)
        return vkErrStarted;
    for (float* mode : mModes)
        if (mode)
            ippsZero_32f(mode, mBlockLength);
    return mEbf.setModeWeights(rows);
}

int CKorvane::setEbfFilterMode(int mode)
{
    if (mStarted)
        return vkErrStarted;
    if (mode < 0 || mode > 2 || mEbf.setFilterMode(mode) != vkOk)
        return kErrEbfFilterMode;
    updateHfDelays();
    return vkOk;
}

int CKorvane::setModalDelay(float delay)
{
    if (mStarted)
        return vkErrStarted;
    for (int i = 0; i < mBeamCount; ++i)
        if (const int r = mBeams[i].mbf.setFilterDelay(delay); r != vkOk)
            return r;
    updateHfDelays();
    updateTrimDelays();
    return vkOk;
}

int CKorvane::setCrossoverDelay(float delay)
{
    if (mStarted)
        return vkErrStarted;
    for (int i = 0; i < mBeamCount; ++i)
        for (vkxShadowFilter* f : {&mBeams[i].low, &mBeams[i].high})
            if (const int r = f->setFilterDelay(delay); r != vkOk)
                return r;
    updateTrimDelays();
    return vkOk;
}

int CKorvane::setEqDelay(float delay)
{
    if (mStarted)
        return vkErrStarted;
    for (int i = 0; i < mBeamCount; ++i)
        if (const int r = mBeams[i].eq.setFilterDelay(delay); r != vkOk)
            return r;
    updateTrimDelays();
    return vkOk;
}

void CKorvane::setTotalDelay(float delay)
{
    mTotalDelay = delay;
    updateTrimDelays();
}

// The high-frequency branch waits for CMbf's filters and, in filter mode 1, for the
// mode filters of CEbf.
void CKorvane::updateHfDelays()
{
    const float ebfDelay = mEbf.filterMode() == CEbf::kFilterBiquadsAndFir ? mEbf.firDelay() : 0.0f;
    for (int i = 0; i < mBeamCount; ++i)
        mBeams[i].hfDelay.setDelay(static_cast<int>(ebfDelay + mBeams[i].mbf.filterDelay()));
}

// Tops the padded chain up to mTotalDelay; never negative (see the header).
void CKorvane::updateTrimDelays()
{
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        const float chain = b.mbf.filterDelay() + b.low.filterDelay() + b.eq.filterDelay();
        b.trimDelay.setDelay(std::max(0, static_cast<int>(mTotalDelay - chain)));
    }
}

int CKorvane::trimDelay(int beam) const
{
    return validBeam(beam) ? mBeams[beam].trimDelay.delay() : -1;
}

int CKorvane::setLowCrossover(int beam, int length, const float* taps)
{
    return validBeam(beam) ? mBeams[beam].low.setFilter(length, taps) : vkErrChannel;
}

int CKorvane::setHighCrossover(int beam, int length, const float* taps)
{
    return validBeam(beam) ? mBeams[beam].high.setFilter(length, taps) : vkErrChannel;
}

int CKorvane::setEqFilter(int beam, int length, const float* taps)
{
    return validBeam(beam) ? mBeams[beam].eq.setFilter(length, taps) : vkErrChannel;
}

int CKorvane::setHfType(int beam, int type)
{
    if (beam >= 0)
        return validBeam(beam) ? mBeams[beam].hf.setHfType(type) : vkErrChannel;
    int result = vkOk;
    for (int i = 0; i < mBeamCount; ++i)
        result |= mBeams[i].hf.setHfType(type);
    return result;
}

int CKorvane::setBeamActive(int beam, bool active)
{
    if (!validBeam(beam))
        return vkErrChannel;
    mBeams[beam].active = active;
    return vkOk;
}

bool CKorvane::beamActive(int beam) const
{
    return validBeam(beam) && mBeams[beam].active;
}

CMbf* CKorvane::mbf(int beam)
{
    return validBeam(beam) ? &mBeams[beam].mbf : nullptr;
}

CZrHf* CKorvane::hf(int beam)
{
    return validBeam(beam) ? &mBeams[beam].hf : nullptr;
}

int CKorvane::start()
{
    if (const int r = mEbf.start(); r != vkOk)
        return r;
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        for (vkAudioClass* stage : {static_cast<vkAudioClass*>(&b.mbf), static_cast<vkAudioClass*>(&b.hf),
                                    static_cast<vkAudioClass*>(&b.low), static_cast<vkAudioClass*>(&b.high),
                                    static_cast<vkAudioClass*>(&b.eq)})
            if (const int r = stage->start(); r != vkOk)
                return r;
    }
    mStarted = true;
    return vkOk;
}

int CKorvane::stop()
{
    mStarted = false;
    const int result = mEbf.stop();
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        b.mbf.stop();
        b.hf.stop();
        b.hfDelay.setDelay(b.hfDelay.delay());
        b.trimDelay.setDelay(b.trimDelay.delay());
        b.low.stop();
        b.high.stop();
        b.eq.stop();
    }
    return result;
}

void CKorvane::setModeTap(ModeTap* tap)
{
    mTap.store(tap, std::memory_order_seq_cst);
    if (tap)
        return;
    while (mTapBusy.load(std::memory_order_seq_cst))
        std::this_thread::yield();
}

// The busy flag is raised before the tap is read again, so a detach that has seen it
// lowered knows the audio thread will read null from then on.
void CKorvane::feedTap(int frames)
{
    if (!mTap.load(std::memory_order_acquire))
        return;
    mTapBusy.store(true, std::memory_order_seq_cst);
    if (ModeTap* tap = mTap.load(std::memory_order_seq_cst))
        tap->feedModes(mModes, mNumModes, frames);
    mTapBusy.store(false, std::memory_order_release);
}

void CKorvane::copyModes(float** out, int frames) const
{
    for (int i = 0; i < mBeamCount; ++i) {
        if (i < kModeBuffers)
            ippsCopy_32f(mModes[i], out[i], frames);
        else
            ippsZero_32f(out[i], frames);
    }
}

// An inactive beam costs no CMbf and no CZrHf; its filters run on on silence.
void CKorvane::runBranches(Beam& b, float** in, int mode, int frames)
{
    if (!b.active) {
        ippsZero_32f(b.modalOut, frames);
        ippsZero_32f(b.hfOut, frames);
        return;
    }
    b.mbf.process(mModes, &b.modalOut, frames);
    if (mode == kModeFull || mode == kModeHf) {
        // CZrHf reads the direction tracks that CMbf has just written.
        b.hf.process(in, &b.hfOut, frames);
        if (b.hf.appliedType() == 0)
            ippsZero_32f(b.hfOut, frames); // type 0 writes nothing: keep the branch silent
        b.hfDelay.process(b.hfOut, b.hfOut, frames);
    } else {
        ippsZero_32f(b.hfOut, frames);
    }
}

void CKorvane::combine(Beam& b, float* out, int mode, int frames)
{
    if (mode == kModeModal)
        ippsCopy_32f(b.modalOut, out, frames);
    else
        b.low.process(&b.modalOut, &out, frames);
    b.high.process(&b.hfOut, &mScratch, frames);
    ippsAdd_32f_I(mScratch, out, frames);
}

void CKorvane::finish(Beam& b, float* out, int frames)
{
    if (eqOn())
        b.eq.process(&out, &mScratch, frames);
    else
        ippsCopy_32f(out, mScratch, frames);
    b.trimDelay.process(mScratch, out, frames);
}

int CKorvane::process(float** in, float** out, int frames)
{
    if (mBlockLength == 0 || mNumModes == 0)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mBlockLength || !in || !out)
        return vkErrFormat;
    if (frames == 0)
        return vkOk;
    mEbf.process(in, mModes, frames);
    feedTap(frames);
    const int mode = mMode.load(std::memory_order_relaxed);
    if (mode == kModeModes) {
        copyModes(out, frames);
        return vkOk;
    }
    for (int i = 0; i < mBeamCount; ++i) {
        Beam& b = mBeams[i];
        runBranches(b, in, mode, frames);
        if (mode == kModeHf) {
            ippsCopy_32f(b.hfOut, out[i], frames);
            continue;
        }
        combine(b, out[i], mode, frames);
        finish(b, out[i], frames);
    }
    return vkOk;
}
