#include "beamformer/CZrHf.h"

#include "beamformer/tables/HfCellMaps.h"
#include "core/primitives/ipps.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

struct tCellTables {
    const int32_t* map;
    const int32_t* list;
    int stride;
    int size;
};

// Indexed by type; type 0 has no tables.
constexpr tCellTables kCellTables[3] = {
    {nullptr, nullptr, 0, 0},
    {HfCells::kNearestMap, HfCells::kNearestList, HfCells::kNearestCells, 1},
    {HfCells::kTriangleMap, HfCells::kTriangleList, HfCells::kTriangleCells, 3},
};

} // namespace

CZrHf::~CZrHf() = default;

int CZrHf::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted)
        return vkErrStarted;
    if (!in.isTimeDomain() || !out.isTimeDomain() || !in.isSinglePrecision() || !out.isSinglePrecision()
        || in.sampleRate() != out.sampleRate() || in.frameLength() != out.frameLength() || in.frameLength() < 1)
        return vkErrFormat;
    releaseStorage();
    vkAudioClass::setFormat(in, out);
    const int blockLength = in.frameLength();
    const int stride = (blockLength + 7) & ~7;
    mCellTrack.reset(new (std::nothrow) int32_t[blockLength]());
    mGainStorage.reset(ippsMalloc_32f(stride * kCapsules));
    if (!mCellTrack || !mGainStorage || buildFadeCurve(in.sampleRate()) != vkOk) {
        releaseStorage();
        return vkErrOutOfMemory;
    }
    ippsZero_32f(mGainStorage.get(), stride * kCapsules);
    for (int ch = 0; ch < kCapsules; ++ch)
        mChannelGain[ch] = mGainStorage.get() + ch * stride;
    mBlockLength = blockLength;
    reset();
    return vkOk;
}

void CZrHf::releaseStorage()
{
    mBlockLength = 0;
    mCellTrack.reset();
    mGainStorage.reset();
    mFadeCurve.reset();
    mFadeLength = 0;
    std::fill(std::begin(mChannelGain), std::end(mChannelGain), nullptr);
    mActiveCount = 0;
    mGainLength = 0;
}

// mFadeCurve[i] = 10^(-40 i / ((L - 1) 20)): 1 at i = 0, 0.01 at the end.
int CZrHf::buildFadeCurve(float sampleRate)
{
    const int length = static_cast<int>(kFadeMilliseconds * static_cast<double>(sampleRate) * 0.001);
    if (length < 2)
        return vkOk;
    mFadeCurve.reset(ippsMalloc_32f(length));
    if (!mFadeCurve)
        return vkErrOutOfMemory;
    const double step = -kFadeDepthDb / ((length - 1) * 20.0);
    for (int i = 0; i < length; ++i)
        mFadeCurve[i] = static_cast<float>(std::pow(10.0, step * i));
    mFadeLength = length;
    return vkOk;
}

int CZrHf::setHfType(int type)
{
    if (type < 0 || type > 2)
        return kErrType;
    if (type != 0 && mInFormat.channels() != kCapsules)
        return kErrCapsuleCount;
    mRequestedType.store(type, std::memory_order_release);
    return vkOk;
}

int CZrHf::setSteeringTracks(const int* theta, const int* phi)
{
    if (mStarted)
        return vkErrStarted;
    if (!theta || !phi)
        return vkErrRange;
    mThetaSource = theta;
    mPhiSource = phi;
    return vkOk;
}

void CZrHf::reset()
{
    clearEnvelopes();
    if (mCellTrack)
        std::fill_n(mCellTrack.get(), mBlockLength, 0);
    mFadeLeft = 0;
    mCell = Cell{};
    mFadeFrom = Cell{};
}

int CZrHf::stop()
{
    mStarted = false;
    reset();
    return vkOk;
}

CZrHf::Cell CZrHf::cellOf(int index) const
{
    Cell cell;
    cell.index = index;
    cell.size = mCellSize;
    for (int r = 0; r < mCellSize; ++r)
        cell.channel[r] = mCellList[r * mCellStride + index];
    cell.scale = 1.0f / static_cast<float>(mCellSize);
    return cell;
}

// Switches the tables to the requested type, but never inside a fade, so the envelopes
// stay continuous. Leaves mCell as it was: the old type's capsules, still valid as the
// cell to fade from.
void CZrHf::applyRequestedType()
{
    const int type = mRequestedType.load(std::memory_order_acquire);
    if (type == mHfType || mFadeLeft > 0)
        return;
    const tCellTables& tables = kCellTables[type];
    mCellMap = tables.map;
    mCellList = tables.list;
    mCellStride = tables.stride;
    mCellSize = tables.size;
    mHfType = type;
    if (type == 0) {
        clearEnvelopes();
        mCell = Cell{};
    }
}

void CZrHf::enter(const Cell& cell)
{
    for (int r = 0; r < cell.size; ++r) {
        const int ch = cell.channel[r];
        if (std::find(mActiveChannels, mActiveChannels + mActiveCount, ch) == mActiveChannels + mActiveCount)
            mActiveChannels[mActiveCount++] = ch;
    }
}

// Adding rather than storing lets a capsule of both cells keep its full gain: it gets
// g + (1 - g) of its share. Returns the sample where the fade stopped.
int CZrHf::runFade(int s, int frames)
{
    const float* curve = mFadeCurve.get();
    for (; mFadeLeft > 0 && s < frames; ++s) {
        const float g = curve[--mFadeLeft];
        for (int r = 0; r < mCell.size; ++r)
            mChannelGain[mCell.channel[r]][s] += g * mCell.scale;
        for (int r = 0; r < mFadeFrom.size; ++r)
            mChannelGain[mFadeFrom.channel[r]][s] += (curve[0] - g) * mFadeFrom.scale;
    }
    enter(mCell);
    enter(mFadeFrom);
    return s;
}

void CZrHf::hold(int s)
{
    for (int r = 0; r < mCell.size; ++r)
        mChannelGain[mCell.channel[r]][s] = mCell.scale;
}

void CZrHf::mix(float* const* in, float* out, int frames) const
{
    ippsMul_32f(mChannelGain[mActiveChannels[0]], in[mActiveChannels[0]], out, frames);
    for (int a = 1; a < mActiveCount; ++a)
        ippsAddProduct_32f(mChannelGain[mActiveChannels[a]], in[mActiveChannels[a]], out, frames);
}

// A block that stays in one cell with no fade needs no envelopes: each capsule of the
// cell at its share. The envelopes stay clear for the next block.
void CZrHf::mixSteady(float* const* in, float* out, int frames) const
{
    ippsMulC_32f(in[mCell.channel[0]], mCell.scale, out, frames);
    for (int r = 1; r < mCell.size; ++r)
        ippsAddProductC_32f(in[mCell.channel[r]], mCell.scale, out, frames);
}

void CZrHf::clearEnvelopes()
{
    if (mGainLength > 0)
        for (int a = 0; a < mActiveCount; ++a)
            ippsZero_32f(mChannelGain[mActiveChannels[a]], mGainLength);
    mActiveCount = 0;
    mGainLength = 0;
}

// The cell the block starts in: after a type change the new type's cell fades in from
// the old type's; after a reset the first sample's cell comes in at once.
void CZrHf::placeCell(const int32_t* track, int playingType)
{
    if (playingType != 0 && playingType != mHfType) {
        mFadeFrom = mCell;
        mCell = cellOf(track[0]);
        mFadeLeft = mFadeLength;
    } else if (mCell.index < 0) {
        mCell = cellOf(track[0]);
    }
}

// Envelopes along the track: a running fade first, then each sample either holds the
// cell or, on a new cell, starts a fade (during which the track is not looked at).
void CZrHf::buildEnvelopes(const int32_t* track, int frames)
{
    int s = 0;
    if (mFadeLeft > 0)
        s = runFade(0, frames);
    else
        enter(mCell);
    while (s < frames) {
        if (track[s] != mCell.index) {
            mFadeFrom = mCell;
            mCell = cellOf(track[s]);
            mFadeLeft = mFadeLength;
            s = runFade(s, frames);
        } else {
            hold(s++);
        }
    }
}

int CZrHf::process(float** in, float** out, int frames)
{
    if (mBlockLength == 0)
        return vkErrNotConfigured;
    if (frames < 0 || frames > mBlockLength || !in || !out)
        return vkErrFormat;
    const int playingType = mCell.index >= 0 ? mHfType : 0;
    applyRequestedType();
    if (mHfType == 0 || frames == 0)
        return vkOk;
    if (!mThetaSource || !mPhiSource || mFadeLength == 0)
        return vkErrNotConfigured;

    clearEnvelopes();
    int32_t* track = mCellTrack.get();
    for (int s = 0; s < frames; ++s)
        track[s] = mCellMap[mThetaSource[s] * HfCells::kColumns + mPhiSource[s]];
    placeCell(track, playingType);
    if (mFadeLeft == 0 && std::all_of(track, track + frames, [&](int32_t c) { return c == mCell.index; })) {
        mixSteady(in, out[0], frames);
        return vkOk;
    }
    buildEnvelopes(track, frames);
    mix(in, out[0], frames);
    mGainLength = frames;
    return vkOk;
}
