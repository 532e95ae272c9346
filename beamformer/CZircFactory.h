#pragma once
// Builds the twelve patterns once, owns them, and knows the largest table sizes so that
// the filter objects can be sized before any pattern is chosen. Read-only afterwards.

#include "beamformer/vkPattern.h"
#include "beamformer/vkPatternFactory.h"

#include <cstdint>

// Pattern indices used by settings, the user interface and the "pattern" parameter.
enum tPatternIndex : int {
    kPatternOmni = 0,
    kPatternSuper3 = 1,
    kPatternSuper2 = 2,
    kPatternSuper1 = 3,
    kPatternHyper3 = 4,
    kPatternHyper2 = 5,
    kPatternHyper1 = 6,
    kPatternCard3 = 7,
    kPatternCard2 = 8,
    kPatternCard1 = 9,
    kPatternDipole1 = 10,
    kPatternTorus = 11,
    kPatternCount = 12,
};

class CZircFactory : public vkPatternFactory {
public:
    // Builds all patterns; on a shortage of memory nothing is kept and mNumPatterns is 0.
    CZircFactory();
    ~CZircFactory() override;

    // The pattern at index, or null when index is negative or not below mNumPatterns.
    vkPattern* pattern(int index) const;

    vkPattern** mPatterns;      // mNumPatterns patterns in index order, owned
    int32_t mMaxModalTaps;      // largest mModalTaps: 251
    int32_t mMaxEqTaps;         // largest mEqTaps: 31
    float mMaxGroupDelay;       // largest groupDelay(): 160.0
    int32_t mMaxPolarPoints;    // largest mPolarPoints: 73
    int32_t mNumPatterns;       // 12; 0 after a failed construction
    int32_t mMaxCrossoverTaps;  // largest mCrossoverTaps: 55

private:
    bool build();
    void release();
    void scanMaxima();
};
