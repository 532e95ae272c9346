// Peak measurement: independent chains of fused multiply-adds on the widest target that
// the processor runs, timed as the best of a few short runs.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "bench/support/MachinePeak.cpp"
#include "hwy/foreach_target.h" // IWYU pragma: keep

#include "hwy/highway.h"

#include "bench/support/MachinePeak.h"

#include <algorithm>
#include <cstdint>
#include <ctime>

HWY_BEFORE_NAMESPACE();
namespace vk::bench::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Enough chains to cover the multiply-add latency times the number of units (4 x 2 on
// current x86), few enough to stay in 16 registers.
constexpr int kChains = 12;

// Runs `rounds` steps of kChains fused multiply-adds; returns the multiply-adds done
// (lanes included) and leaves a value that depends on all of them in *sink.
std::int64_t FmaChains(std::int64_t rounds, double* sink)
{
    const hn::ScalableTag<double> d;
    const auto m = hn::Set(d, 0.999999);
    const auto a = hn::Set(d, 1e-9);
    hn::Vec<decltype(d)> acc[kChains];
    for (int j = 0; j < kChains; ++j)
        acc[j] = hn::Set(d, 1.0 + j);
    for (std::int64_t r = 0; r < rounds; ++r) {
#pragma GCC unroll 16
        for (int j = 0; j < kChains; ++j)
            acc[j] = hn::MulAdd(acc[j], m, a);
    }
    auto sum = acc[0];
    for (int j = 1; j < kChains; ++j)
        sum = hn::Add(sum, acc[j]);
    *sink = hn::GetLane(sum);
    return rounds * kChains * static_cast<std::int64_t>(hn::Lanes(d));
}

} // namespace vk::bench::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vk::bench {
HWY_EXPORT(FmaChains);

namespace {

double measurePeak()
{
    constexpr std::int64_t kRounds = 4'000'000;
    constexpr int kRuns = 5;
    double best = 0.0;
    double sink = 0.0;
    for (int run = 0; run < kRuns; ++run) {
        const double start = vkThreadCpuSeconds();
        const std::int64_t macs = HWY_DYNAMIC_DISPATCH(FmaChains)(kRounds, &sink);
        best = std::max(best, static_cast<double>(macs) / (vkThreadCpuSeconds() - start));
    }
    // The accumulated value is finite by construction; testing it keeps the work alive.
    return sink == sink ? best : 0.0;
}

} // namespace
} // namespace vk::bench

double vkThreadCpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

double vkMachinePeakMacsPerSecond()
{
    static const double peak = vk::bench::measurePeak();
    return peak;
}
#endif
