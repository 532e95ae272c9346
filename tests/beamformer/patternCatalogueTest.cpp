// The factory builds the twelve patterns in index order, each with its catalogue entry,
// and knows the largest sizes that the filter objects must be made for.

#include "beamformer/CZircFactory.h"
#include "beamformer/CZrPattern.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Entry {
    const char* name;
    int parameters;
    int modalTaps;
    int crossoverTaps;
    int hfType;
    unsigned id; // bits 16..23 of the pattern code
    float groupDelay;
};

// Index order of the whole system.
const Entry kCatalogue[kPatternCount] = {
    {"omni", 1, 1, 55, 1, 10, 42.0f},      {"super3", 5, 251, 41, 2, 43, 160.0f},
    {"super2", 5, 251, 41, 2, 42, 160.0f}, {"super1", 1, 251, 37, 2, 41, 158.0f},
    {"hyper3", 5, 251, 41, 2, 33, 160.0f}, {"hyper2", 5, 251, 41, 2, 32, 160.0f},
    {"hyper1", 1, 251, 37, 2, 31, 158.0f}, {"card3", 5, 251, 41, 2, 23, 160.0f},
    {"card2", 5, 251, 41, 2, 22, 160.0f},  {"card1", 1, 251, 37, 1, 21, 158.0f},
    {"dipole1", 1, 251, 41, 1, 51, 160.0f}, {"torus", 1, 251, 41, 1, 60, 160.0f},
};

const CZrPattern& at(const CZircFactory& f, int index)
{
    return *dynamic_cast<const CZrPattern*>(f.pattern(index));
}

TEST(PatternCatalogue, EveryIndexHoldsItsPatternWithItsFields)
{
    const CZircFactory factory;
    ASSERT_EQ(factory.mNumPatterns, 12);
    for (int i = 0; i < kPatternCount; ++i) {
        SCOPED_TRACE(kCatalogue[i].name);
        const CZrPattern& p = at(factory, i);
        const Entry& e = kCatalogue[i];
        EXPECT_EQ(std::string(p.mName, strnlen(p.mName, 16)), e.name);
        EXPECT_EQ(p.mNumParameters, e.parameters);
        EXPECT_EQ(p.mModalTaps, e.modalTaps);
        EXPECT_EQ(p.mCrossoverTaps, e.crossoverTaps);
        EXPECT_EQ(p.mHfType, e.hfType);
        EXPECT_EQ(p.mPatternCode, 0x0A000001u | (e.id << 16));
        EXPECT_EQ(p.groupDelay(), e.groupDelay);
        EXPECT_EQ(p.mNumOrders, 4);
        EXPECT_EQ(p.mEqTaps, 31);
        EXPECT_EQ(p.mPolarPoints, 73);
        EXPECT_EQ(p.mDesignRate, 44100.0f);
        EXPECT_EQ(p.mParameterFlag, 1);
        EXPECT_EQ(std::string(p.mParameterName), e.parameters == 5 ? "WNG" : "");
        // Names are zero padded to the end of the field.
        for (std::size_t c = std::strlen(e.name); c < 16; ++c)
            EXPECT_EQ(p.mName[c], 0);
    }
}

TEST(PatternCatalogue, ParameterValuesAndTheDefaultIndex)
{
    const CZircFactory factory;
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = *factory.pattern(i);
        SCOPED_TRACE(p.mName);
        if (p.mNumParameters == 5) {
            for (int k = 0; k < 5; ++k)
                EXPECT_EQ(p.mParameterValues[k], -12 + 6 * k);
            EXPECT_EQ(p.defaultParameter(), 2);
        } else {
            EXPECT_EQ(p.mParameterValues[0], 0);
            EXPECT_EQ(p.defaultParameter(), 0);
        }
        for (int k = 0; k < p.mNumParameters; ++k)
            EXPECT_EQ(p.mEqFirLength[k], 31);
    }
}

// A record filled in by hand, to reach the cases that no pattern of the catalogue has.
struct HandMadePattern : CZrPattern {
};

TEST(PatternCatalogue, BaseRecordsAreEmptyAndCountOnlyWhatTheyHold)
{
    HandMadePattern p;
    EXPECT_EQ(p.mNumParameters, 0);
    EXPECT_EQ(p.mName[0], 0);
    EXPECT_EQ(p.mParameterFlag, 1);
    EXPECT_EQ(p.mModalFir, nullptr);
    EXPECT_EQ(p.modalRow(0, 0), nullptr);
    EXPECT_EQ(p.groupDelay(), 0.0f);
    p.mModalTaps = 251;
    p.mEqTaps = 31;
    EXPECT_EQ(p.vkPattern::groupDelay(), 140.0f);
    p.mCrossoverTaps = 41;
    EXPECT_EQ(p.groupDelay(), 160.0f);
}

TEST(PatternCatalogue, WithoutAZeroValueTheLastParameterIsTheDefault)
{
    const int32_t values[] = {-12, 6, 12};
    HandMadePattern p;
    p.mParameterValues = values;
    p.mNumParameters = 3;
    EXPECT_EQ(p.defaultParameter(), 2);
    p.mNumParameters = 1;
    EXPECT_EQ(p.defaultParameter(), 0);
}

TEST(PatternCatalogue, IndicesOutsideTheCatalogueGiveNull)
{
    const CZircFactory factory;
    EXPECT_EQ(factory.pattern(12), nullptr);
    EXPECT_EQ(factory.pattern(-1), nullptr);
    EXPECT_STREQ(factory.pattern(0)->mName, "omni");
    EXPECT_STREQ(factory.pattern(11)->mName, "torus");
}

TEST(PatternCatalogue, MaximaCoverEveryPattern)
{
    const CZircFactory factory;
    EXPECT_EQ(factory.mMaxModalTaps, 251);
    EXPECT_EQ(factory.mMaxEqTaps, 31);
    EXPECT_EQ(factory.mMaxPolarPoints, 73);
    EXPECT_EQ(factory.mMaxCrossoverTaps, 55);
    // The 55-tap crossover belongs to "omni", whose single modal tap keeps it short.
    EXPECT_EQ(factory.mMaxGroupDelay, 160.0f);
}

TEST(PatternCatalogue, RowLookupFollowsTheTableShapes)
{
    const CZircFactory factory;
    const vkPattern& card3 = *factory.pattern(kPatternCard3);
    EXPECT_EQ(card3.modalRow(3, 2), card3.mModalFir + (3 * 4 + 2) * 251);
    EXPECT_EQ(card3.modalLengths(4), card3.mModalFirLength + 16);
    EXPECT_EQ(card3.polarRow(1), card3.mPolar + 73);
    EXPECT_EQ(card3.eqRow(4), card3.mEqFir + 4 * 31);
    EXPECT_EQ(card3.modalRow(5, 0), nullptr);
    EXPECT_EQ(card3.modalRow(0, 4), nullptr);
    EXPECT_EQ(card3.polarRow(-1), nullptr);
    const vkPattern& card1 = *factory.pattern(kPatternCard1);
    EXPECT_EQ(card1.modalLengths(1), nullptr);
    EXPECT_EQ(card1.eqRow(1), nullptr);
}

TEST(PatternCatalogue, ModalLengthsAreFullRowsExceptForOmni)
{
    const CZircFactory factory;
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = *factory.pattern(i);
        for (int k = 0; k < p.mNumParameters; ++k)
            for (int n = 0; n < 4; ++n) {
                const int expected = i == kPatternOmni ? (n == 0 ? 1 : 0) : 251;
                EXPECT_EQ(p.modalLengths(k)[n], expected) << p.mName << " p " << k << " n " << n;
            }
    }
    EXPECT_FLOAT_EQ(factory.pattern(kPatternOmni)->mModalFir[0], 3.54089f);
}

} // namespace
