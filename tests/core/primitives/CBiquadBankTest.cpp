#include "core/primitives/CBiquadBank.h"
#include "core/primitives/ipps.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using vk::test::randomFloats;

// count stable sections (poles of radius 0.3 to 0.95), a0 not 1.
std::vector<double> randomSections(int count, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<double> taps;
    for (int s = 0; s < count; ++s) {
        const double r = 0.3 + 0.65 * u(gen);
        const double angle = 3.0 * u(gen);
        const double a0 = 0.5 + 1.5 * u(gen);
        const double b[3] = {0.2 + u(gen), u(gen) - 0.5, u(gen) - 0.5};
        taps.insert(taps.end(), {b[0] * a0, b[1] * a0, b[2] * a0, a0, -2.0 * r * std::cos(angle) * a0, r * r * a0});
    }
    return taps;
}

struct Bank {
    std::vector<std::vector<double>> sections;
    std::vector<int> counts;
    std::vector<const double*> pointers;

    explicit Bank(const std::vector<int>& sectionCounts, unsigned seed)
        : counts(sectionCounts)
    {
        for (std::size_t c = 0; c < counts.size(); ++c)
            sections.push_back(randomSections(counts[c], seed + static_cast<unsigned>(c)));
        for (const auto& s : sections)
            pointers.push_back(s.data());
    }
    int channels() const { return static_cast<int>(counts.size()); }
};

// Each channel through its own one-channel state, in one call.
std::vector<std::vector<float>> oneByOne(const Bank& bank, std::vector<std::vector<float>> signals)
{
    for (int c = 0; c < bank.channels(); ++c) {
        IppsIIRState64f_32f* iir = nullptr;
        EXPECT_EQ(ippsIIRInitAlloc64f_BiQuad_32f(&iir, bank.pointers[c], bank.counts[c], nullptr), ippStsNoErr);
        ippsIIR64f_32f_I(signals[c].data(), static_cast<int>(signals[c].size()), iir);
        ippsIIRFree64f_32f(iir);
    }
    return signals;
}

std::vector<std::vector<float>> randomSignals(int channels, int frames, unsigned seed)
{
    std::vector<std::vector<float>> signals;
    for (int c = 0; c < channels; ++c)
        signals.push_back(randomFloats(static_cast<std::size_t>(frames), seed + static_cast<unsigned>(c)));
    return signals;
}

// Runs the bank over signals in the given cuts, in place; gives the allocations made.
std::size_t runInBlocks(
    CBiquadBank& bank, std::vector<std::vector<float>>& signals, const std::vector<int>& cuts, int count)
{
    std::vector<float*> at(signals.size());
    AllocationCounter counter;
    int done = 0;
    for (const int n : cuts) {
        for (std::size_t c = 0; c < signals.size(); ++c)
            at[c] = signals[c].data() + done;
        bank.process(at.data(), count, n);
        done += n;
    }
    return counter.count();
}

// Nineteen channels: a full set and one of three, with different numbers of sections
// side by side, so that lanes pass through sections of their neighbours.
TEST(CBiquadBank, EveryChannelIsItsOwnCascadeBitForBitOnEveryInstructionSet)
{
    const Bank cascades({2, 2, 4, 4, 1, 5, 3, 4, 2, 4, 3, 4, 4, 4, 4, 4, 2, 6, 1}, 31);
    const auto input = randomSignals(cascades.channels(), 3000, 32);
    const auto expected = oneByOne(cascades, input);
    vk::test::forEachInstructionSet([&] {
        CBiquadBank bank;
        ASSERT_EQ(bank.setCascades(cascades.channels(), cascades.pointers.data(), cascades.counts.data()), ippStsNoErr);
        auto signals = input;
        EXPECT_EQ(runInBlocks(bank, signals, vk::test::randomCuts(3000, 700, 33), cascades.channels()), 0u);
        for (int c = 0; c < cascades.channels(); ++c)
            ASSERT_EQ(signals[c], expected[c]) << "channel " << c;
    });
}

TEST(CBiquadBank, RunsTheFirstChannelsAskedForAndClearsHistory)
{
    const Bank cascades({2, 4, 4, 4, 4, 4}, 41);
    CBiquadBank bank;
    ASSERT_EQ(bank.setCascades(6, cascades.pointers.data(), cascades.counts.data()), ippStsNoErr);
    const auto input = randomSignals(6, 500, 42);

    // Five of six: the sixth is left as it was.
    auto signals = input;
    runInBlocks(bank, signals, {500}, 5);
    const auto expected = oneByOne(cascades, input);
    for (int c = 0; c < 5; ++c)
        EXPECT_EQ(signals[c], expected[c]) << "channel " << c;
    EXPECT_EQ(signals[5], input[5]);

    // Cleared, the next block starts from silence as a new bank would.
    bank.clearHistory();
    signals = input;
    runInBlocks(bank, signals, {200, 300}, 6);
    EXPECT_EQ(signals, expected);
}

TEST(CBiquadBank, RefusedCascadesLeaveThoseInForce)
{
    const Bank cascades({3, 3}, 51);
    CBiquadBank bank;
    ASSERT_EQ(bank.setCascades(2, cascades.pointers.data(), cascades.counts.data()), ippStsNoErr);

    std::vector<double> zeroA0 = cascades.sections[1];
    zeroA0[6 + 3] = 0.0;
    std::vector<double> zeroB0 = cascades.sections[1];
    zeroB0[12] = 0.0;
    const double* withZeroA0[2] = {cascades.pointers[0], zeroA0.data()};
    const double* withZeroB0[2] = {cascades.pointers[0], zeroB0.data()};
    const double* withNull[2] = {cascades.pointers[0], nullptr};
    const int noSections[2] = {3, 0};
    EXPECT_EQ(bank.setCascades(2, withZeroA0, cascades.counts.data()), ippStsDivByZeroErr);
    EXPECT_EQ(bank.setCascades(2, withZeroB0, cascades.counts.data()), ippStsDivByZeroErr);
    EXPECT_EQ(bank.setCascades(2, withNull, cascades.counts.data()), ippStsNullPtrErr);
    EXPECT_EQ(bank.setCascades(2, cascades.pointers.data(), noSections), ippStsIIROrderErr);
    EXPECT_EQ(bank.setCascades(0, cascades.pointers.data(), cascades.counts.data()), ippStsSizeErr);
    EXPECT_EQ(bank.setCascades(2, nullptr, cascades.counts.data()), ippStsNullPtrErr);

    EXPECT_EQ(bank.channels(), 2);
    const auto input = randomSignals(2, 300, 52);
    auto signals = input;
    runInBlocks(bank, signals, {300}, 2);
    EXPECT_EQ(signals, oneByOne(cascades, input));
}

} // namespace
