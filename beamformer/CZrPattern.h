#pragma once
// A pattern of this array: the modal tables of vkPattern plus the split between the
// modal branch and the high-frequency branch.

#include "beamformer/vkPattern.h"

class CZrPattern : public vkPattern {
public:
    CZrPattern();

    // Slot 0: modal, equaliser and crossover delays together.
    float groupDelay() const override;

    int32_t mCrossoverTaps;        // length of both crossover filters: 37, 41 or 55
    int32_t mHfType;               // for CZrHf: 1 nearest capsule, 2 three surrounding
    const float* mLowCrossover;    // low-pass of the modal branch, mCrossoverTaps taps
    const float* mHighCrossover;   // high-pass of the high-frequency branch

protected:
    ~CZrPattern() = default;
};
