#include "beamformer/CZircFactory.h"

#include "beamformer/CZrPatterns.h"

#include <algorithm>
#include <new>

namespace {

// How to build and how to delete the pattern at each index. The patterns are deleted
// through their own type, since vkPattern has no virtual destructor.
struct tPatternMaker {
    vkPattern* (*make)();
    void (*destroy)(vkPattern*);
};

template <class T>
vkPattern* makePattern()
{
    return new (std::nothrow) T;
}

template <class T>
void destroyPattern(vkPattern* p)
{
    delete static_cast<T*>(p);
}

template <class T>
constexpr tPatternMaker maker()
{
    return {&makePattern<T>, &destroyPattern<T>};
}

constexpr tPatternMaker kMakers[kPatternCount] = {
    maker<CZircOmni>(),   maker<CZircSuper3>(), maker<CZircSuper2>(),  maker<CZircSuper1>(),
    maker<CZircHyper3>(), maker<CZircHyper2>(), maker<CZircHyper1>(),  maker<CZircCard3>(),
    maker<CZircCard2>(),  maker<CZircCard1>(),  maker<CZircDipole1>(), maker<CZircTorus2>(),
};

} // namespace

CZircFactory::CZircFactory()
    : mPatterns(nullptr)
    , mMaxModalTaps(0)
    , mMaxEqTaps(0)
    , mMaxGroupDelay(0.0f)
    , mMaxPolarPoints(0)
    , mNumPatterns(0)
    , mMaxCrossoverTaps(0)
{
    if (build())
        scanMaxima();
    else
        release();
}

CZircFactory::~CZircFactory()
{
    release();
}

vkPattern* CZircFactory::pattern(int index) const
{
    return index >= 0 && index < mNumPatterns ? mPatterns[index] : nullptr;
}

bool CZircFactory::build()
{
    mPatterns = new (std::nothrow) vkPattern*[kPatternCount]();
    if (!mPatterns)
        return false;
    mNumPatterns = kPatternCount;
    for (int i = 0; i < kPatternCount; ++i) {
        mPatterns[i] = kMakers[i].make();
        if (!mPatterns[i])
            return false;
    }
    return true;
}

void CZircFactory::release()
{
    for (int i = 0; mPatterns && i < mNumPatterns; ++i)
        if (mPatterns[i])
            kMakers[i].destroy(mPatterns[i]);
    delete[] mPatterns;
    mPatterns = nullptr;
    mNumPatterns = 0;
}

void CZircFactory::scanMaxima()
{
    for (int i = 0; i < mNumPatterns; ++i) {
        const vkPattern& p = *mPatterns[i];
        mMaxModalTaps = std::max(mMaxModalTaps, p.mModalTaps);
        mMaxEqTaps = std::max(mMaxEqTaps, p.mEqTaps);
        mMaxGroupDelay = std::max(mMaxGroupDelay, p.groupDelay());
        mMaxPolarPoints = std::max(mMaxPolarPoints, p.mPolarPoints);
        const auto* zr = dynamic_cast<const CZrPattern*>(&p);
        if (zr)
            mMaxCrossoverTaps = std::max(mMaxCrossoverTaps, zr->mCrossoverTaps);
    }
}
