#include "ambisonics/CShRotation.h"

#include <cmath>
#include <cstdlib>
#include <numbers>

CRotation3 CRotation3::identity() { return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}; }

CRotation3 CRotation3::fromYawPitchRoll(double yawDegrees, double pitchDegrees,
                                        double rollDegrees)
{
    constexpr double kRadians = std::numbers::pi / 180.0;
    const double cy = std::cos(yawDegrees * kRadians), sy = std::sin(yawDegrees * kRadians);
    // A pitch that lifts the front is a negative turn about +y (y points left).
    const double cp = std::cos(-pitchDegrees * kRadians), sp = std::sin(-pitchDegrees * kRadians);
    const double cr = std::cos(rollDegrees * kRadians), sr = std::sin(rollDegrees * kRadians);
    const CRotation3 yaw{{{cy, -sy, 0}, {sy, cy, 0}, {0, 0, 1}}};
    const CRotation3 pitch{{{cp, 0, sp}, {0, 1, 0}, {-sp, 0, cp}}};
    const CRotation3 roll{{{1, 0, 0}, {0, cr, -sr}, {0, sr, cr}}};
    return yaw * pitch * roll;
}

AmbiVector CRotation3::apply(const AmbiVector& d) const
{
    return {m[0][0] * d.x + m[0][1] * d.y + m[0][2] * d.z,
            m[1][0] * d.x + m[1][1] * d.y + m[1][2] * d.z,
            m[2][0] * d.x + m[2][1] * d.y + m[2][2] * d.z};
}

CRotation3 CRotation3::operator*(const CRotation3& other) const
{
    CRotation3 r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) r.m[i][j] += m[i][k] * other.m[k][j];
    return r;
}

CRotation3 CRotation3::transpose() const
{
    CRotation3 r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r.m[i][j] = m[j][i];
    return r;
}

namespace {

// One degree's block, indexed by (m, n) in -l..l.
class Block {
public:
    explicit Block(int degree) : mDegree(degree) {}
    double& operator()(int m, int n) { return mValues[m + mDegree][n + mDegree]; }
    double operator()(int m, int n) const { return mValues[m + mDegree][n + mDegree]; }
    int degree() const { return mDegree; }

private:
    int mDegree;
    double mValues[2 * kAmbiMaxOrder + 1][2 * kAmbiMaxOrder + 1] = {};
};

// The helper P of the recurrence: row i of the order-1 block r1 against row a of the
// previous block, column b of degree l.
double termP(int i, int a, int b, const Block& r1, const Block& prev)
{
    const int l = prev.degree() + 1;
    if (b == l) return r1(i, 1) * prev(a, l - 1) - r1(i, -1) * prev(a, -l + 1);
    if (b == -l) return r1(i, 1) * prev(a, -l + 1) + r1(i, -1) * prev(a, l - 1);
    return r1(i, 0) * prev(a, b);
}

double delta(int a, int b) { return a == b ? 1.0 : 0.0; }

// Element (m, n) of degree l from the order-1 block and degree l-1.
double recurrence(int m, int n, const Block& r1, const Block& prev)
{
    const int l = prev.degree() + 1;
    const int am = std::abs(m);
    const double d0 = delta(m, 0);
    const double denominator = std::abs(n) < l ? double((l + n) * (l - n)) : double(2 * l * (2 * l - 1));
    const double u = std::sqrt((l + m) * (l - m) / denominator);
    const double v = 0.5 * std::sqrt((1 + d0) * (l + am - 1) * (l + am) / denominator) * (1 - 2 * d0);
    const double w = -0.5 * std::sqrt((l - am - 1) * (l - am) / denominator) * (1 - d0);

    double result = 0.0;
    if (u != 0.0) result += u * termP(0, m, n, r1, prev);
    if (v != 0.0) {
        double tv;
        if (m == 0) tv = termP(1, 1, n, r1, prev) + termP(-1, -1, n, r1, prev);
        else if (m > 0)
            tv = termP(1, m - 1, n, r1, prev) * std::sqrt(1 + delta(m, 1)) -
                 termP(-1, -m + 1, n, r1, prev) * (1 - delta(m, 1));
        else
            tv = termP(1, m + 1, n, r1, prev) * (1 - delta(m, -1)) +
                 termP(-1, -m - 1, n, r1, prev) * std::sqrt(1 + delta(m, -1));
        result += v * tv;
    }
    if (w != 0.0) {
        const double tw = m > 0 ? termP(1, m + 1, n, r1, prev) + termP(-1, -m - 1, n, r1, prev)
                                : termP(1, m - 1, n, r1, prev) - termP(-1, -m + 1, n, r1, prev);
        result += w * tw;
    }
    return result;
}

} // namespace

CShRotation::CShRotation() : CShRotation(CRotation3::identity()) {}

CShRotation::CShRotation(const CRotation3& r)
{
    for (auto& row : mMatrix)
        for (double& e : row) e = 0.0;
    mMatrix[0][0] = 1.0;

    // Order 1: the channels are y, z, x, so index -1, 0, 1 stands for axis 1, 2, 0.
    constexpr int kAxis[3] = {1, 2, 0};
    Block r1(1);
    for (int m = -1; m <= 1; ++m)
        for (int n = -1; n <= 1; ++n) r1(m, n) = r.m[kAxis[m + 1]][kAxis[n + 1]];

    Block prev = r1;
    for (int l = 1; l <= kAmbiMaxOrder; ++l) {
        Block current(l);
        if (l == 1) current = r1;
        else
            for (int m = -l; m <= l; ++m)
                for (int n = -l; n <= l; ++n) current(m, n) = recurrence(m, n, r1, prev);
        for (int m = -l; m <= l; ++m)
            for (int n = -l; n <= l; ++n) mMatrix[acnChannel(l, m)][acnChannel(l, n)] = current(m, n);
        prev = current;
    }
}

void CShRotation::apply(const double* in, double* out, int order) const
{
    const int channels = ambiChannelCount(order);
    for (int row = 0; row < channels; ++row) {
        const int n = acnDegree(row);
        double sum = 0.0;
        for (int column = n * n; column < (n + 1) * (n + 1); ++column) sum += mMatrix[row][column] * in[column];
        out[row] = sum;
    }
}
