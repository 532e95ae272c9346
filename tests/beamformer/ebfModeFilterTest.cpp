// Read access to the mode filters of filter mode 1: what the accessors give is what runs.

#include "ebfFixture.h"

#include "beamformer/CKorvane.h"
#include "beamformer/CZirc.h"
#include "beamformer/tables/EbfModeFilters.h"

#include <vector>

namespace {

// The taps that mode k's FIR state runs, read back from the state itself.
std::vector<float> runningTaps(const CEbf& ebf, int k)
{
    std::vector<float> taps(static_cast<std::size_t>(CEbf::modeFirLength(k)), -99.0f);
    EXPECT_EQ(ippsFIRGetTaps_32f(ebf.modeFir(k), taps.data()), ippStsNoErr) << "mode " << k;
    return taps;
}

std::vector<float> tableTaps(int order)
{
    return {kEbfModeFilters[order], kEbfModeFilters[order] + kEbfModeFilterLengths[order]};
}

} // namespace

TEST(EbfModeFilters, TheNodeRunsTheGeneratedTapsPaddedToOneDelay)
{
    CZirc zirc;
    ASSERT_EQ(zirc.setFormat(ebfFormat(32), ebfFormat(4)), vkOk);
    const CEbf& ebf = zirc.engine()->ebf();
    ASSERT_EQ(ebf.firDelay(), 315.0f);
    for (int k = 0; k < CEbf::kMaxModes; ++k) {
        const int n = ebfMode(k).n;
        ASSERT_NE(ebf.modeFir(k), nullptr) << "mode " << k;
        EXPECT_EQ(CEbf::modeFirLength(k), kEbfModeFilterLengths[n]);
        const std::vector<float> taps = runningTaps(ebf, k);
        EXPECT_EQ(taps, tableTaps(n)) << "mode " << k;
        // Linear phase, so the filter's own delay is its centre; the line makes up the rest.
        for (std::size_t i = 0; i < taps.size() / 2; ++i)
            ASSERT_EQ(taps[i], taps[taps.size() - 1 - i]) << "mode " << k << " tap " << i;
        EXPECT_EQ(ebf.modeDelayLength(k) + (CEbf::modeFirLength(k) - 1) / 2, 315) << "mode " << k;
    }
}

TEST(EbfModeFilters, AccessorsFollowTheLoadsAndIgnoreModesOutOfRange)
{
    CEbf e;
    ASSERT_EQ(e.setFormat(ebfFormat(32), ebfFormat(16)), vkOk);
    for (int k = 0; k < CEbf::kMaxModes; ++k) {
        EXPECT_EQ(e.modeFir(k), nullptr);
        EXPECT_EQ(e.modeDelayLength(k), 0);
    }
    for (int k : {-1, CEbf::kMaxModes}) {
        EXPECT_EQ(e.modeFir(k), nullptr);
        EXPECT_EQ(e.modeDelayLength(k), 0);
        EXPECT_EQ(CEbf::modeFirLength(k), 0);
    }

    // Other taps than the table's: the accessors read the loaded filters, not the table.
    std::vector<std::vector<float>> scaled(CEbf::kOrders);
    const float* rows[CEbf::kOrders];
    for (int n = 0; n < CEbf::kOrders; ++n) {
        scaled[n] = tableTaps(n);
        for (float& t : scaled[n])
            t *= 0.5f * float(n + 1);
        rows[n] = scaled[n].data();
    }
    ASSERT_EQ(e.setModeFir(rows), vkOk);
    for (int k = 0; k < CEbf::kMaxModes; ++k)
        EXPECT_EQ(runningTaps(e, k), scaled[ebfMode(k).n]) << "mode " << k;

    // A load refused while started leaves the running filters as they are.
    ASSERT_EQ(e.setModeWeights(ebfMatrixRows().data()), vkOk);
    const IppsFIRState_32f* before = e.modeFir(9);
    ASSERT_EQ(e.start(), vkOk);
    EXPECT_EQ(e.setModeFir(kEbfModeFilters), vkErrStarted);
    EXPECT_EQ(e.modeFir(9), before);
    EXPECT_EQ(runningTaps(e, 9), scaled[3]);
    ASSERT_EQ(e.stop(), vkOk);
    ASSERT_EQ(e.setModeFir(kEbfModeFilters), vkOk);
    EXPECT_EQ(runningTaps(e, 9), tableTaps(3));
}
