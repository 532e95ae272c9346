#include "ebfFixture.h"

#include "beamformer/tables/EbfModeFilters.h"

TEST(EbfFormat, RefusesFormatsItCannotRun)
{
    CEbf e;
    vkAudioInterface frequency = ebfFormat(16), doubled = ebfFormat(32);
    frequency.setDomain(1);
    doubled.setSinglePrecision(false);
    const vkAudioInterface refused[][2] = {
        {ebfFormat(32), ebfFormat(5)},         {ebfFormat(32), ebfFormat(0)},
        {ebfFormat(16, 512), ebfFormat(16, 256)}, {ebfFormat(16, 512, 44100.0f), ebfFormat(16, 512, 48000.0f)},
        {ebfFormat(32), frequency},            {doubled, ebfFormat(16)},
        {ebfFormat(0), ebfFormat(16)},
    };
    for (const auto& f : refused)
        EXPECT_EQ(e.setFormat(f[0], f[1]), vkErrFormat);
    EXPECT_EQ(e.order(), -1);
    EXPECT_FALSE(e.isConfigured());

    for (int outputs : {1, 4, 9, 16}) {
        ASSERT_EQ(e.setFormat(ebfFormat(32), ebfFormat(outputs)), vkOk);
        EXPECT_EQ(e.numModes(), outputs);
    }
}

TEST(EbfFormat, LoadersNeedSixteenModesAndThirtyTwoCapsules)
{
    CEbf e;
    ASSERT_EQ(e.setFormat(ebfFormat(32), ebfFormat(4)), vkOk);
    EXPECT_EQ(e.order(), 1);
    EXPECT_EQ(e.setModeWeights(ebfMatrixRows().data()), CEbf::kErrWeightsOrder);
    EXPECT_EQ(e.setModeIir(kEbfBiquadsA.sections, kEbfBiquadsA.numSections), CEbf::kErrFiltersOrder);
    EXPECT_EQ(e.setModeFir(kEbfModeFilters), CEbf::kErrFiltersOrder);

    ASSERT_EQ(e.setFormat(ebfFormat(31), ebfFormat(16)), vkOk);
    EXPECT_EQ(e.setModeWeights(ebfMatrixRows().data()), CEbf::kErrWeightsInputs);
    EXPECT_EQ(e.setModeWeights(nullptr), CEbf::kErrWeightsInputs);
    ASSERT_EQ(e.setFormat(ebfFormat(32), ebfFormat(16)), vkOk);
    EXPECT_EQ(e.setModeWeights(nullptr), vkErrRange);
    EXPECT_EQ(e.setModeFir(nullptr), vkErrRange);
    EXPECT_EQ(e.setModeIir(kEbfBiquadsA.sections, nullptr), vkErrRange);
}

TEST(EbfProcess, RunsNothingBeforeItHasAFormatAndAMatrix)
{
    CEbf e;
    EbfChannels in(32, 64), out(16, 64);
    out.data[0][0] = 5.0f;
    EXPECT_EQ(e.process(in.at(0), out.at(0), 64), vkErrNotConfigured);
    EXPECT_EQ(out.data[0][0], 5.0f);

    ASSERT_EQ(e.setFormat(ebfFormat(32, 64), ebfFormat(16, 64)), vkOk);
    EXPECT_EQ(e.process(in.at(0), out.at(0), 64), vkErrNotConfigured);
    EXPECT_EQ(out.data[0][0], 0.0f); // silence rather than stale samples

    ASSERT_EQ(e.setModeWeights(ebfMatrixRows().data()), vkOk);
    EXPECT_EQ(e.process(in.at(0), out.at(0), 65), vkErrFormat);
    EXPECT_EQ(e.process(in.at(0), out.at(0), -1), vkErrFormat);
    EXPECT_EQ(e.process(nullptr, out.at(0), 64), vkErrFormat);
    EXPECT_EQ(e.process(in.at(0), out.at(0), 0), vkOk);
    EXPECT_EQ(e.process(in.at(0), out.at(0), 64), vkOk);

    // A matrix loaded for 32 capsules does not run on another input count.
    ASSERT_EQ(e.setFormat(ebfFormat(31, 64), ebfFormat(16, 64)), vkOk);
    EXPECT_EQ(e.process(in.at(0), out.at(0), 64), vkErrNotConfigured);
}

TEST_F(EbfTest, WhileStartedEverythingThatReallocatesIsRefused)
{
    ASSERT_EQ(ebf.start(), vkOk);
    EXPECT_EQ(ebf.setFormat(ebfFormat(32), ebfFormat(9)), vkErrStarted);
    EXPECT_EQ(ebf.outFormat().channels(), 16);
    EXPECT_EQ(ebf.setModeWeights(ebfMatrixRows().data()), vkErrStarted);
    EXPECT_EQ(ebf.setModeIir(kEbfBiquadsB.sections, kEbfBiquadsB.numSections), vkErrStarted);
    EXPECT_EQ(ebf.setModeFir(kEbfModeFilters), vkErrStarted);
    EXPECT_EQ(ebf.setFilterMode(CEbf::kFilterNone), vkOk); // a single store is allowed
    EXPECT_EQ(ebf.setFilterMode(3), vkErrRange);
    EXPECT_EQ(ebf.setFilterMode(-1), vkErrRange);
    EXPECT_EQ(ebf.filterMode(), CEbf::kFilterNone);
    ASSERT_EQ(ebf.stop(), vkOk);
    EXPECT_EQ(ebf.setFormat(ebfFormat(32), ebfFormat(9)), vkOk);
}

TEST_F(EbfTest, ARefusedFilterLoadKeepsTheFiltersThatRan)
{
    EbfChannels in(32, 512), before(16, 512), after(16, 512);
    fillNoise(in, 9);
    ASSERT_EQ(ebf.process(in.at(0), before.at(0), 512), vkOk);

    const double zeroB0[6] = {0.0, 1.0, 0.0, 1.0, 0.0, 0.0};
    const double* sections[4] = {zeroB0, zeroB0, zeroB0, zeroB0};
    const int one[4] = {1, 1, 1, 1};
    const int none[4] = {1, 0, 1, 1};
    EXPECT_EQ(ebf.setModeIir(sections, one), vkErrRange);
    EXPECT_EQ(ebf.setModeIir(kEbfBiquadsA.sections, none), vkErrRange);

    ebf.reset();
    ASSERT_EQ(ebf.process(in.at(0), after.at(0), 512), vkOk);
    EXPECT_EQ(after.data, before.data);
}
