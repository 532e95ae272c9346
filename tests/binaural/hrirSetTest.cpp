// Reading head-related responses: the KEMAR set Debian installs, files of another rate
// resampled, and every kind of bad file refused with a message while the set in force
// stays.

#include "binaural/CHrirSet.h"
#include "tests/binaural/SofaFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

namespace {
std::string fixturePath(const std::string& name) { return ::testing::TempDir() + "binaural_" + name + ".sofa"; }

double energy(const float* x, int n)
{
    double e = 0.0;
    for (int i = 0; i < n; ++i)
        e += double(x[i]) * x[i];
    return e;
}

int peakAt(const float* x, int n)
{
    int at = 0;
    for (int i = 1; i < n; ++i)
        if (std::abs(x[i]) > std::abs(x[at]))
            at = i;
    return at;
}

void expectKemar(const CHrirSet& set)
{
    EXPECT_EQ(set.directionCount(), 710);
    EXPECT_EQ(set.length(), 512);
    EXPECT_EQ(set.sampleRate(), 44100.0);
    EXPECT_EQ(set.path(), CHrirSet::kDefaultPath);
}
} // namespace

TEST(HrirSet, TheDefaultKemarSetHasTheLeftEarFirstInTheAmbixFrame)
{
    CHrirSet set;
    std::string message;
    ASSERT_EQ(set.load(CHrirSet::kDefaultPath, 44100.0, message), CHrirSet::kOk) << message;
    expectKemar(set);
    EXPECT_TRUE(message.empty());
    // A source on the left (azimuth 90) is louder and earlier at the left ear.
    const int left = set.nearest(ambiVectorFromAngles(90.0, 0.0));
    EXPECT_NEAR(set.azimuth(left), 90.0, 1e-3);
    EXPECT_NEAR(set.elevation(left), 0.0, 1e-3);
    EXPECT_GT(10.0 * std::log10(energy(set.response(left, 0), 512) / energy(set.response(left, 1), 512)), 6.0);
    EXPECT_LT(peakAt(set.response(left, 0), 512) + 10, peakAt(set.response(left, 1), 512));
    const int up = set.nearest(ambiVectorFromAngles(0.0, 90.0));
    EXPECT_NEAR(set.elevation(up), 90.0, 1e-3);
}

TEST(HrirSet, BadFilesAreRefusedWithAMessageAndTheSetInForceStays)
{
    CHrirSet set;
    std::string message;
    ASSERT_EQ(set.load(CHrirSet::kDefaultPath, 44100.0, message), CHrirSet::kOk);

    const std::string text = fixturePath("text");
    std::ofstream(text) << "not a SOFA file\n";
    SofaFixture few;
    few.directions = 50;
    SofaFixture three;
    three.receivers = 3;
    ASSERT_TRUE(writeSofa(fixturePath("few"), few)) << "ncgen (netcdf-bin) makes the fixtures";
    ASSERT_TRUE(writeSofa(fixturePath("three"), three));
    struct Case {
        std::string path;
        int result;
        std::string says;
    } cases[] = {
        {fixturePath("missing"), CHrirSet::kErrMissing, "does not exist"},
        {text, CHrirSet::kErrNotSofa, "not a SOFA file"},
        {fixturePath("few"), CHrirSet::kErrTooFewDirections, "50 measured directions; at least 100"},
        {fixturePath("three"), CHrirSet::kErrReceivers, "3 receivers"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(set.load(c.path, 44100.0, message), c.result) << c.path;
        EXPECT_NE(message.find(c.path), std::string::npos) << message;
        EXPECT_NE(message.find(c.says), std::string::npos) << message;
        expectKemar(set);
    }
    EXPECT_EQ(set.load(CHrirSet::kDefaultPath, 0.0, message), CHrirSet::kErrRate);
    expectKemar(set);
}

TEST(HrirSet, ResponsesOfAnotherRateAreResampledToTheSessionRate)
{
    SofaFixture half;
    half.sampleRate = 22050.0;
    half.length = 40;
    ASSERT_TRUE(writeSofa(fixturePath("half"), half));
    CHrirSet set;
    std::string message;
    ASSERT_EQ(set.load(fixturePath("half"), 44100.0, message), CHrirSet::kOk) << message;
    EXPECT_EQ(set.sampleRate(), 44100.0);
    EXPECT_EQ(set.directionCount(), 120);
    EXPECT_NEAR(set.length(), 80, 2);
    // The pulse keeps its time in seconds: sample 10 and 12 become about 20 and 24, with
    // the same energy per second (twice the samples at the same height).
    for (int m : {0, 77}) {
        EXPECT_NEAR(peakAt(set.response(m, 0), set.length()), 20, 1);
        EXPECT_NEAR(peakAt(set.response(m, 1), set.length()), 24, 1);
        EXPECT_NEAR(energy(set.response(m, 0), set.length()) / 2.0, 5 * 0.75, 0.4);
    }
    EXPECT_NEAR(set.elevation(13), -30.0, 1e-3);
    EXPECT_NEAR(set.azimuth(13), 30.0, 1e-3);
}
