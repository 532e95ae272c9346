#include "beamformer/CZrPattern.h"

CZrPattern::CZrPattern()
    : mCrossoverTaps(0)
    , mHfType(0)
    , mLowCrossover(nullptr)
    , mHighCrossover(nullptr)
{
}

float CZrPattern::groupDelay() const
{
    return vkPattern::groupDelay() + halfLength(mCrossoverTaps);
}
