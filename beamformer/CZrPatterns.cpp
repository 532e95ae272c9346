#include "beamformer/CZrPatterns.h"

#include "beamformer/tables/PatternTables.h"

#include <cstring>

namespace {

using namespace PatternTables;

// What distinguishes one pattern from another; everything else is common to all.
struct tPatternRecord {
    const char* name;
    uint32_t code;
    int32_t crossoverTaps;
    int32_t hfType;
    const float* modalFir;
    const float* polar;
    const int32_t* beamWidth;
};

constexpr int32_t kOrders = 4;
constexpr int32_t kModalTaps = 251;
constexpr int32_t kEqTaps = 31;
constexpr int32_t kPolarPoints = 73;
constexpr int32_t kParameterSteps = 5;
constexpr float kDesignRate = 44100.0f;

void copyName(char (&field)[16], const char* text)
{
    std::memset(field, 0, sizeof field);
    std::memcpy(field, text, strnlen(text, sizeof field));
}

void setCrossover(CZrPattern& p, int32_t taps)
{
    p.mCrossoverTaps = taps;
    switch (taps) {
    case 37:
        p.mLowCrossover = kLowCrossover37;
        p.mHighCrossover = kHighCrossover37;
        break;
    case 55:
        p.mLowCrossover = kLowCrossover55;
        p.mHighCrossover = kHighCrossover55;
        break;
    default:
        p.mLowCrossover = kLowCrossover41;
        p.mHighCrossover = kHighCrossover41;
        break;
    }
}

// Fields common to every pattern, then the record's own.
void fill(CZrPattern& p, const tPatternRecord& r, bool withParameter)
{
    p.mNumOrders = kOrders;
    p.mModalTaps = kModalTaps;
    p.mEqTaps = kEqTaps;
    p.mNumParameters = withParameter ? kParameterSteps : 1;
    p.mPolarPoints = kPolarPoints;
    p.mPatternCode = r.code;
    copyName(p.mName, r.name);
    p.mDesignRate = kDesignRate;
    p.mParameterFlag = 1;
    copyName(p.mParameterName, withParameter ? "WNG" : "");
    p.mModalFir = r.modalFir;
    p.mModalFirLength = kModalLengths;
    p.mParameterValues = withParameter ? kWngValues : kFixedValue;
    p.mBeamWidth = r.beamWidth;
    p.mPolar = r.polar;
    p.mEqFir = kEqFir;
    p.mEqFirLength = kEqLengths;
    p.mHfType = r.hfType;
    setCrossover(p, r.crossoverTaps);
}

// A pattern whose filter set depends on the "WNG" parameter.
void fillVariable(CZrPattern& p, const tPatternRecord& r) { fill(p, r, true); }
// A pattern with one fixed setting.
void fillFixed(CZrPattern& p, const tPatternRecord& r) { fill(p, r, false); }

} // namespace

CZircOmni::CZircOmni()
{
    fillFixed(*this, {"omni", 0x0A0A0001u, 55, 1, kOmniModalFir, kOmniPolar, kOmniBeamWidth});
    // A single tap: order 0 only, passed straight through.
    mModalTaps = 1;
    mModalFirLength = kOmniModalLengths;
}

CZircSuper3::CZircSuper3()
{
    fillVariable(*this, {"super3", 0x0A2B0001u, 41, 2, kSuper3ModalFir, kSuper3Polar, kSuper3BeamWidth});
}

CZircSuper2::CZircSuper2()
{
    fillVariable(*this, {"super2", 0x0A2A0001u, 41, 2, kSuper2ModalFir, kSuper2Polar, kSuper2BeamWidth});
}

CZircSuper1::CZircSuper1()
{
    fillFixed(*this, {"super1", 0x0A290001u, 37, 2, kSuper1ModalFir, kSuper1Polar, kSuper1BeamWidth});
}

CZircHyper3::CZircHyper3()
{
    fillVariable(*this, {"hyper3", 0x0A210001u, 41, 2, kHyper3ModalFir, kHyper3Polar, kHyper3BeamWidth});
}

CZircHyper2::CZircHyper2()
{
    fillVariable(*this, {"hyper2", 0x0A200001u, 41, 2, kHyper2ModalFir, kHyper2Polar, kHyper2BeamWidth});
}

CZircHyper1::CZircHyper1()
{
    fillFixed(*this, {"hyper1", 0x0A1F0001u, 37, 2, kHyper1ModalFir, kHyper1Polar, kHyper1BeamWidth});
}

CZircCard3::CZircCard3()
{
    fillVariable(*this, {"card3", 0x0A170001u, 41, 2, kCard3ModalFir, kCard3Polar, kCard3BeamWidth});
}

CZircCard2::CZircCard2()
{
    fillVariable(*this, {"card2", 0x0A160001u, 41, 2, kCard2ModalFir, kCard2Polar, kCard2BeamWidth});
}

CZircCard1::CZircCard1()
{
    fillFixed(*this, {"card1", 0x0A150001u, 37, 1, kCard1ModalFir, kCard1Polar, kCard1BeamWidth});
}

CZircDipole1::CZircDipole1()
{
    fillFixed(*this, {"dipole1", 0x0A330001u, 41, 1, kDipole1ModalFir, kDipole1Polar, kDipole1BeamWidth});
}

CZircTorus2::CZircTorus2()
{
    fillFixed(*this, {"torus", 0x0A3C0001u, 41, 1, kTorusModalFir, kTorusPolar, kTorusBeamWidth});
}
