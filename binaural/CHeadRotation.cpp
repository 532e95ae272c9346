#include "binaural/CHeadRotation.h"

#include "ambisonics/CShRotation.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kSteps = 2048.0;        // quantisation steps per degree
constexpr int kBits = 21;                // bits per angle
constexpr std::int64_t kOffset = 1 << 20;
constexpr std::uint64_t kMask = (std::uint64_t(1) << kBits) - 1;

std::uint64_t packAngle(float degrees)
{
    const double wrapped = std::remainder(double(degrees), 360.0);  // -180..180
    const std::int64_t steps = std::llround(wrapped * kSteps);
    return std::uint64_t(std::clamp<std::int64_t>(steps + kOffset, 0, std::int64_t(kMask)));
}

float unpackAngle(std::uint64_t word, int slot)
{
    const std::int64_t steps = std::int64_t((word >> (slot * kBits)) & kMask) - kOffset;
    return static_cast<float>(steps / kSteps);
}

std::uint64_t pack(const CHeadOrientation& o)
{
    return packAngle(o.yaw) | packAngle(o.pitch) << kBits | packAngle(o.roll) << (2 * kBits);
}

CHeadOrientation unpack(std::uint64_t word)
{
    return {unpackAngle(word, 0), unpackAngle(word, 1), unpackAngle(word, 2)};
}

// The channels of a degree: first and one past the last.
constexpr int degreeBegin(int n) { return n * n; }
constexpr int degreeEnd(int n) { return (n + 1) * (n + 1); }

}  // namespace

CHeadRotation::CHeadRotation() : mTarget(pack({})), mApplied(pack({}))
{
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
    build(mApplied, mTo);
    build(mApplied, mFrom);
}

bool CHeadRotation::setOrientation(const CHeadOrientation& o)
{
    if (!std::isfinite(o.yaw) || !std::isfinite(o.pitch) || !std::isfinite(o.roll))
        return false;
    mTarget.store(pack(o), std::memory_order_release);
    return true;
}

CHeadOrientation CHeadRotation::orientation() const { return unpack(mTarget.load(std::memory_order_acquire)); }

void CHeadRotation::build(std::uint64_t packed, Matrix& matrix)
{
    const CHeadOrientation o = unpack(packed);
    const CShRotation rotation(CRotation3::fromYawPitchRoll(o.yaw, o.pitch, o.roll).transpose());
    for (int r = 0; r < kChannels; ++r)
        for (int c = 0; c < kChannels; ++c)
            matrix[r][c] = static_cast<float>(rotation.at(r, c));
}

void CHeadRotation::settle()
{
    mApplied = mTarget.load(std::memory_order_acquire);
    build(mApplied, mTo);
    build(mApplied, mFrom);
}

void CHeadRotation::run(const float* const* in, float* const* out, int frames)
{
    if (frames <= 0)
        return;
    const std::uint64_t target = mTarget.load(std::memory_order_acquire);
    const bool moving = target != mApplied;
    if (moving) {
        mApplied = target;
        build(target, mTo);
    }
    const float step = 1.0f / static_cast<float>(frames);
    for (int n = 0; n <= kAmbiMaxOrder; ++n) {
        for (int r = degreeBegin(n); r < degreeEnd(n); ++r) {
            float* __restrict o = out[r];
            for (int t = 0; t < frames; ++t)
                o[t] = 0.0f;
            for (int c = degreeBegin(n); c < degreeEnd(n); ++c) {
                const float* __restrict x = in[c];
                const float to = mTo[r][c];
                if (!moving) {
                    if (to != 0.0f)
                        for (int t = 0; t < frames; ++t)
                            o[t] += to * x[t];
                    continue;
                }
                // Linear from the last block's gain to the new one, reached at the block's end.
                const float from = mFrom[r][c];
                const float slope = (to - from) * step;
                for (int t = 0; t < frames; ++t)
                    o[t] += (from + slope * static_cast<float>(t + 1)) * x[t];
            }
        }
    }
    if (moving)
        for (int r = 0; r < kChannels; ++r)
            for (int c = 0; c < kChannels; ++c)
                mFrom[r][c] = mTo[r][c];
}
