// CZirc's formats, parameter table, pattern selection and pattern queries.

#include "tests/beamformer/nodeFixture.h"

#include <cstring>

using namespace node_test;

namespace {
int getInt(CZirc& z, int beam, int id, int* result = nullptr)
{
    int value = -1;
    const int r = z.getChannelParameter(beam, id, &value, 1, vkTypeInt);
    if (result)
        *result = r;
    return value;
}

int setInt(CZirc& z, int beam, int id, int value) { return z.setChannelParameter(beam, id, &value, 1, vkTypeInt); }
} // namespace

TEST(NodeFormat, TakesThirtyTwoCapsulesAtMostThirtyBeamsAndRatesWithinTenPercent)
{
    CZirc z;
    EXPECT_EQ(z.version(), 10401u);
    EXPECT_EQ(z.setFormat(format(31), format(4)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(33), format(4)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(32), format(31)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(32), format(4, kBlock / 2)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(32, kBlock, 39689.0f), format(4, kBlock, 39689.0f)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(32, kBlock, 48511.0f), format(4, kBlock, 48511.0f)), vkErrFormat);
    EXPECT_EQ(z.setFormat(format(32, kBlock, 39690.0f), format(4, kBlock, 39690.0f)), vkOk);
    EXPECT_EQ(z.setFormat(format(32, kBlock, 48510.0f), format(4, kBlock, 48510.0f)), vkOk);
    ASSERT_EQ(z.setFormat(format(32), format(30)), vkOk);
    EXPECT_EQ(z.beamCount(), 30);
    ASSERT_EQ(z.start(), vkOk);
    EXPECT_EQ(z.setFormat(format(32), format(4)), vkErrStarted);
    EXPECT_FALSE(z.isStarted()); // the started state lives in the engine
    ASSERT_EQ(z.stop(), vkOk);
    EXPECT_EQ(z.setFormat(format(32), format(4)), vkOk);
}

TEST(NodeParameters, DefaultsAfterEveryConfiguration)
{
    CZirc z;
    ASSERT_EQ(z.setFormat(format(32), format(18)), vkOk);
    ASSERT_EQ(setInt(z, 3, CZirc::kTheta, 40), vkOk);
    ASSERT_EQ(setInt(z, 3, CZirc::kPattern, kPatternCard2), vkOk);
    ASSERT_EQ(z.setBeamActive(5, false), vkOk);
    ASSERT_EQ(z.setFormat(format(32), format(18)), vkOk);
    for (int b = 0; b < 18; ++b) {
        EXPECT_EQ(getInt(z, b, CZirc::kTheta), 90);
        EXPECT_EQ(getInt(z, b, CZirc::kPhi), 0);
        EXPECT_EQ(getInt(z, b, CZirc::kPattern), kPatternOmni);
        EXPECT_TRUE(z.engine()->beamActive(b));
    }
    EXPECT_EQ(getInt(z, 0, CZirc::kMbfMode), 1);
    EXPECT_EQ(getInt(z, 0, CZirc::kEqStatus), 1);
}

TEST(NodeParameters, ValuesAreCheckedClampedAndReadBack)
{
    CZirc z;
    ASSERT_EQ(z.setFormat(format(32), format(4)), vkOk);
    int r = 0;
    // Pattern: past the end selects "torus"; a new pattern starts at its value 0.
    EXPECT_EQ(setInt(z, 1, CZirc::kPattern, 40), vkOk);
    EXPECT_EQ(getInt(z, 1, CZirc::kPattern), kPatternTorus);
    EXPECT_EQ(setInt(z, 1, CZirc::kPattern, kPatternCard3), vkOk);
    EXPECT_EQ(z.engine()->hf(1)->hfType(), 2);
    int values[5] = {};
    ASSERT_EQ(z.patternNames(kPatternCard3, nullptr, nullptr, values), vkOk);
    EXPECT_EQ(values[2], 0);
    EXPECT_EQ(values[4], 12);
    EXPECT_EQ(z.setPattern(1, kPatternCount), vkErrRange);
    EXPECT_EQ(z.setParameter(1, 0), vkErrRange); // no pattern on the beam now
    EXPECT_EQ(z.setPattern(1, kPatternHyper3), vkOk);
    EXPECT_EQ(z.setParameter(1, 5), vkErrRange);
    EXPECT_EQ(z.setParameter(1, 4), vkOk);
    EXPECT_EQ(z.setParameter(4, 0), CZirc::kErrBeam);
    EXPECT_EQ(z.setTheta(-1, 0.0f), CZirc::kErrBeam);
    EXPECT_EQ(z.setPhi(4, 0.0f), CZirc::kErrBeam);
    EXPECT_EQ(z.setBeamActive(4, false), CZirc::kErrBeam);
    // Angles: the angle given is what reads back; the steering target is clamped.
    EXPECT_EQ(setInt(z, 0, CZirc::kTheta, 200), vkOk);
    EXPECT_EQ(getInt(z, 0, CZirc::kTheta), 200);
    EXPECT_EQ(setInt(z, 0, CZirc::kPhi, 359), vkOk);
    EXPECT_EQ(getInt(z, 0, CZirc::kPhi), 359);
    // Modes for all beams.
    EXPECT_EQ(setInt(z, 0, CZirc::kEqStatus, 5), vkOk);
    EXPECT_EQ(getInt(z, 2, CZirc::kEqStatus), 1);
    EXPECT_EQ(setInt(z, -1, CZirc::kEqStatus, 0), vkOk);
    EXPECT_EQ(getInt(z, 2, CZirc::kEqStatus), 0);
    EXPECT_EQ(setInt(z, -1, CZirc::kMbfMode, 4), vkOk);
    EXPECT_EQ(setInt(z, 0, CZirc::kMbfMode, 5), CZirc::kErrMode);
    EXPECT_EQ(getInt(z, 0, CZirc::kMbfMode), 5);
    EXPECT_EQ(z.engine()->mode(), 4);
    getInt(z, -1, CZirc::kMbfMode, &r);
    EXPECT_EQ(r, vkErrChannel);
    // Table checks, in their order.
    EXPECT_EQ(setInt(z, 0, 5, 0), vkErrParameterId);
    EXPECT_EQ(setInt(z, 4, CZirc::kTheta, 0), vkErrChannel);
    const int two[2] = {1, 2};
    EXPECT_EQ(z.setChannelParameter(0, CZirc::kTheta, two, 2, vkTypeInt), vkErrParameterShape);
    const float f = 1.0f;
    EXPECT_EQ(z.setChannelParameter(0, CZirc::kTheta, &f, 1, vkTypeFloat), vkErrParameterShape);
    getInt(z, 4, 7, &r);
    EXPECT_EQ(r, vkErrChannel);
    getInt(z, 0, 7, &r);
    EXPECT_EQ(r, vkErrParameterId);
}

TEST(NodeParameters, PatternQueriesForTheUserInterface)
{
    CZirc z;
    int nameSize = 0, parameters = 0, points = 0;
    ASSERT_EQ(z.patternInfo(kPatternSuper3, &nameSize, nullptr, &parameters, &points), vkOk);
    EXPECT_EQ(nameSize, 16);
    EXPECT_EQ(parameters, 5);
    EXPECT_EQ(points, z.maxPolarPoints());
    EXPECT_EQ(z.patternInfo(z.patternCount(), nullptr, nullptr, nullptr, nullptr), vkErrRange);
    char name[16], parameterName[16];
    ASSERT_EQ(z.patternNames(kPatternHyper3, name, parameterName, nullptr), vkOk);
    EXPECT_EQ(std::string(name, strnlen(name, 16)), "hyper3");
    EXPECT_EQ(std::string(parameterName, strnlen(parameterName, 16)), "WNG");
    std::vector<float> polar(73, -1.0f);
    int width = -1;
    ASSERT_EQ(z.patternResponse(kPatternCard3, 2, polar.data(), &width), vkOk);
    EXPECT_FLOAT_EQ(polar[0], 1.0f); // on the beam axis
    EXPECT_LT(polar[36], 0.1f);      // at the rear
    EXPECT_EQ(width, 78);
    EXPECT_EQ(z.patternResponse(kPatternCard3, 9, nullptr, &width), vkOk);
    EXPECT_EQ(width, 0);
}
