#include "ebfFixture.h"

#include "beamformer/tables/EbfModeFilters.h"
#include "tests/support/AllocationCounter.h"

#include <cmath>

namespace {

// Largest difference between a run and the reference, relative to the reference's peak.
double relativeError(const EbfChannels& got, const std::vector<std::vector<double>>& want)
{
    double worst = 0.0;
    for (std::size_t k = 0; k < want.size(); ++k) {
        double peak = 1e-30, err = 0.0;
        for (std::size_t t = 0; t < want[k].size(); ++t) {
            peak = std::max(peak, std::abs(want[k][t]));
            err = std::max(err, std::abs(got.data[k][t] - want[k][t]));
        }
        worst = std::max(worst, err / peak);
    }
    return worst;
}

// Runs the whole input through `e` in blocks of the given lengths, cycling through them.
void runInBlocks(CEbf& e, EbfChannels& in, EbfChannels& out, std::initializer_list<int> lengths)
{
    const int total = static_cast<int>(in.data[0].size());
    auto it = lengths.begin();
    for (int done = 0; done < total;) {
        const int n = std::min(*it, total - done);
        ASSERT_EQ(e.process(in.at(done), out.at(done), n), vkOk);
        done += n;
        if (++it == lengths.end())
            it = lengths.begin();
    }
}

} // namespace

TEST_F(EbfTest, TheSameSignalOnAllCapsulesIsPureOmni)
{
    ASSERT_EQ(ebf.setFilterMode(CEbf::kFilterNone), vkOk);
    EbfChannels in(32, 512), out(16, 512);
    for (int t = 0; t < 512; ++t)
        for (auto& ch : in.data)
            ch[t] = std::sin(0.05f * t);
    ASSERT_EQ(ebf.process(in.at(0), out.at(0), 512), vkOk);
    for (int t = 0; t < 512; ++t) {
        const float x = in.data[0][t];
        EXPECT_NEAR(out.data[0][t], 0.28209479f * x, 1e-6);
        // The capsules' measured angles leave up to 2.6e-5 of the input in orders 1 and 2.
        for (int k = 1; k < 9; ++k)
            EXPECT_NEAR(out.data[k][t], 0.0f, 3e-5 * std::abs(x) + 1e-7) << "mode " << k;
    }
}

TEST_F(EbfTest, MatrixAndSetAMatchADoublePrecisionReferenceWhereverBlocksAreCut)
{
    const int frames = 4000;
    EbfChannels in(32, frames), once(16, frames), split(16, frames);
    fillNoise(in, 7);
    const auto reference = referenceModes(in, kEbfBiquadsA);

    CEbf big;
    ASSERT_EQ(configure(big, frames), vkOk);
    runInBlocks(big, in, once, {frames});
    runInBlocks(ebf, in, split, {1, 509, 512, 97});
    EXPECT_LT(relativeError(once, reference), 1e-5);
    for (int k = 0; k < 16; ++k)
        for (int t = 0; t < frames; ++t)
            ASSERT_NEAR(split.data[k][t], once.data[k][t], 1e-6 * (1.0 + std::abs(once.data[k][t])));
}

TEST_F(EbfTest, FilterModeOneDelaysEveryModeBy315Samples)
{
    EXPECT_EQ(ebf.firDelay(), 0.0f);
    EXPECT_EQ(ebf.setFilterMode(CEbf::kFilterBiquadsAndFir), vkErrRange); // no mode filters yet
    // Without biquads the mode filters and delay lines are all that runs after the matrix.
    CEbf e;
    ASSERT_EQ(e.setFormat(ebfFormat(32, 1024), ebfFormat(16, 1024)), vkOk);
    ASSERT_EQ(e.setModeWeights(ebfMatrixRows().data()), vkOk);
    ASSERT_EQ(e.setModeFir(kEbfModeFilters), vkOk);
    ASSERT_EQ(e.setFilterMode(CEbf::kFilterBiquadsAndFir), vkOk);
    EXPECT_EQ(e.firDelay(), 315.0f);

    // Impulses of distinct heights on all capsules reach every mode, with height g[k].
    EbfChannels in(32, 1024), out(16, 1024);
    for (int s = 0; s < 32; ++s)
        in.data[s][0] = std::sin(2.0f * s + 1.0f);
    ASSERT_EQ(e.process(in.at(0), out.at(0), 1024), vkOk);
    const EbfMatrix w = makeEbfMatrix();
    for (int k = 0; k < 16; ++k) {
        double g = 0.0;
        for (int s = 0; s < 32; ++s)
            g += double(w[k][s]) * in.data[s][0];
        ASSERT_GT(std::abs(g), 1e-4) << "mode " << k;
        const int n = ebfMode(k).n;
        const int length = kEbfModeFilterLengths[n];
        const int start = 315 - (length - 1) / 2;
        for (int t = 0; t < 1024; ++t) {
            const bool inside = t >= start && t < start + length;
            const double want = inside ? g * kEbfModeFilters[n][t - start] : 0.0;
            ASSERT_NEAR(out.data[k][t], want, 1e-7) << "mode " << k << " sample " << t;
        }
        for (int j = 1; j <= (length - 1) / 2; ++j) // linear phase about sample 315
            ASSERT_EQ(out.data[k][315 + j], out.data[k][315 - j]) << "mode " << k;
    }
}

TEST_F(EbfTest, StopClearsAllHistorySoTheNextRunStartsFromSilence)
{
    ASSERT_EQ(ebf.setModeFir(kEbfModeFilters), vkOk);
    for (int mode : {CEbf::kFilterBiquads, CEbf::kFilterBiquadsAndFir}) {
        ASSERT_EQ(ebf.setFilterMode(mode), vkOk);
        CEbf fresh;
        ASSERT_EQ(configure(fresh), vkOk);
        ASSERT_EQ(fresh.setModeFir(kEbfModeFilters), vkOk);
        ASSERT_EQ(fresh.setFilterMode(mode), vkOk);

        EbfChannels noise(32, 512), in(32, 512), a(16, 512), b(16, 512);
        fillNoise(noise, 11);
        fillNoise(in, 12);
        ASSERT_EQ(ebf.start(), vkOk);
        ASSERT_EQ(ebf.process(noise.at(0), a.at(0), 512), vkOk);
        ASSERT_EQ(ebf.stop(), vkOk);
        ASSERT_EQ(ebf.process(in.at(0), a.at(0), 512), vkOk);
        ASSERT_EQ(fresh.process(in.at(0), b.at(0), 512), vkOk);
        EXPECT_EQ(a.data, b.data) << "filter mode " << mode;
    }
}

TEST_F(EbfTest, ProcessAllocatesNothingInAnyFilterMode)
{
    ASSERT_EQ(ebf.setModeFir(kEbfModeFilters), vkOk);
    EbfChannels in(32, 512), out(16, 512);
    fillNoise(in, 5);
    AllocationCounter counter;
    for (int mode : {CEbf::kFilterBiquads, CEbf::kFilterBiquadsAndFir, CEbf::kFilterNone}) {
        ebf.setFilterMode(mode);
        for (int i = 0; i < 4; ++i)
            ebf.process(in.at(0), out.at(0), 512);
    }
    EXPECT_EQ(counter.count(), 0u);
}
