#include "beamformer/vkPattern.h"

vkPattern::vkPattern()
    : mNumOrders(0)
    , mModalTaps(0)
    , mEqTaps(0)
    , mNumParameters(0)
    , mPolarPoints(0)
    , mPatternCode(0)
    , mName{}
    , mDesignRate(0.0f)
    , mParameterFlag(1)
    , mParameterName{}
    , mModalFir(nullptr)
    , mModalFirLength(nullptr)
    , mParameterValues(nullptr)
    , mBeamWidth(nullptr)
    , mPolar(nullptr)
    , mEqFir(nullptr)
    , mEqFirLength(nullptr)
{
}

float vkPattern::halfLength(int32_t taps)
{
    return taps >= 1 ? (static_cast<float>(taps) - 1.0f) * 0.5f : 0.0f;
}

float vkPattern::groupDelay() const
{
    return halfLength(mModalTaps) + halfLength(mEqTaps);
}

const float* vkPattern::modalRow(int p, int n) const
{
    if (!mModalFir || p < 0 || p >= mNumParameters || n < 0 || n >= mNumOrders)
        return nullptr;
    return mModalFir + (static_cast<long>(p) * mNumOrders + n) * mModalTaps;
}

const int32_t* vkPattern::modalLengths(int p) const
{
    if (!mModalFirLength || p < 0 || p >= mNumParameters)
        return nullptr;
    return mModalFirLength + static_cast<long>(p) * mNumOrders;
}

const float* vkPattern::polarRow(int p) const
{
    if (!mPolar || p < 0 || p >= mNumParameters)
        return nullptr;
    return mPolar + static_cast<long>(p) * mPolarPoints;
}

const float* vkPattern::eqRow(int p) const
{
    if (!mEqFir || p < 0 || p >= mNumParameters)
        return nullptr;
    return mEqFir + static_cast<long>(p) * mEqTaps;
}

int vkPattern::defaultParameter() const
{
    if (mParameterValues)
        for (int p = 0; p < mNumParameters; ++p)
            if (mParameterValues[p] == 0)
                return p;
    return mNumParameters - 1;
}
