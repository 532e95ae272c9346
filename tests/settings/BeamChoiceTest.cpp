#include "settings/BeamChoice.h"

#include <gtest/gtest.h>

namespace {

const QStringList kWng{"-12", "-6", "0", "6", "12"};

struct Case {
    const char* text;
    int index;
};

TEST(BeamChoice, ClosestParameterTakesTheTextItselfOrTheNearestValueWithTiesGoingUp)
{
    const Case cases[] = {
        {"6", 3},   {"-12", 0}, {"3", 3},  {"-3", 2}, {"-9", 1}, {"4", 3},  {"2", 2},
        {"7", 3},   {"11", 4},  {"20", 4}, {"-20", 0}, {"abc", 2}, {"", 2},
    };
    for (const Case& c : cases)
        EXPECT_EQ(beam_choice::closestParameter(kWng, c.text), c.index) << "text " << c.text;
}

TEST(BeamChoice, APatternChangeThroughASingleValueListDoesNotRememberTheOldValue)
{
    const QStringList fixed{"0"};
    const int inFixed = beam_choice::closestParameter(fixed, "6");
    EXPECT_EQ(inFixed, 0);
    EXPECT_EQ(beam_choice::closestParameter(kWng, fixed[inFixed]), 2);
    EXPECT_EQ(beam_choice::closestParameter(fixed, "-12"), 0);
    EXPECT_EQ(beam_choice::closestParameter({}, "6"), 0);
}

TEST(BeamChoice, AnUnknownPatternNameSelectsPatternZero)
{
    const QStringList names{"omni", "super3", "hyper3", "card3"};
    EXPECT_EQ(beam_choice::patternIndex(names, "card3"), 3);
    EXPECT_EQ(beam_choice::patternIndex(names, "Card3"), 0);
    EXPECT_EQ(beam_choice::patternIndex(names, ""), 0);
}

} // namespace
