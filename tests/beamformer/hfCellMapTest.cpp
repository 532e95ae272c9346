// The compiled-in cell maps against the rules they stand for, recomputed here from the
// cell centres in double precision: every entry obeys its rule unless the direction lies
// within 0.01 degrees of a border, where either side is right.

#include "array/CapsuleGeometry.h"
#include "beamformer/tables/HfCellMaps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <set>

namespace {
using Vec = std::array<double, 3>;
constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kBorder = 0.01; // degrees

Vec direction(double theta, double phi)
{
    return {std::sin(theta * kDegree) * std::cos(phi * kDegree), std::sin(theta * kDegree) * std::sin(phi * kDegree),
            std::cos(theta * kDegree)};
}

double dot(const Vec& a, const Vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vec cross(const Vec& a, const Vec& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double angle(const Vec& a, const Vec& b) { return std::acos(std::clamp(dot(a, b), -1.0, 1.0)) / kDegree; }

Vec centre(int capsule) { return direction(HfCells::kCentreTheta[capsule], HfCells::kCentrePhi[capsule]); }

int corner(int cell, int row) { return HfCells::kTriangleList[row * HfCells::kTriangleCells + cell]; }

// Signed angular distance of d from the nearest edge of a triangle, positive inside.
double insideMargin(int cell, const Vec& d)
{
    const Vec a = centre(corner(cell, 0)), b = centre(corner(cell, 1)), c = centre(corner(cell, 2));
    const double orient = dot(cross(a, b), c) > 0 ? 1.0 : -1.0;
    double margin = 180.0;
    for (const auto& [p, q] : {std::pair{a, b}, std::pair{b, c}, std::pair{c, a}}) {
        const Vec n = cross(p, q);
        const double s = orient * dot(n, d) / std::sqrt(dot(n, n));
        margin = std::min(margin, std::asin(std::clamp(s, -1.0, 1.0)) / kDegree);
    }
    return margin;
}

// Nearest capsule and how much nearer it is than the runner-up, in degrees.
std::pair<int, double> nearest(const Vec& d)
{
    int best = 0;
    double first = 360.0, second = 360.0;
    for (int s = 0; s < HfCells::kCapsules; ++s) {
        const double a = angle(centre(s), d);
        if (a < first) {
            second = first;
            first = a;
            best = s;
        } else if (a < second) {
            second = a;
        }
    }
    return {best, second - first};
}

int entry(const int32_t* map, int theta, int phi) { return map[theta * HfCells::kColumns + phi]; }
} // namespace

TEST(HfCellMaps, CentresAreTheFaceCentresNearTheMeasuredCapsules)
{
    const std::set<int> pentagons = {1, 3, 4, 8, 13, 14, 17, 19, 20, 24, 29, 30};
    for (int s = 0; s < HfCells::kCapsules; ++s) {
        const auto& measured = kCapsuleDirections[s];
        EXPECT_LT(angle(centre(s), direction(measured.theta, measured.phi)), 0.05) << s;
        // Five capsules round a pentagon centre at 37.38 degrees, six round a hexagon
        // centre (three at 37.38 and three at 41.81 degrees).
        int neighbours = 0;
        for (int t = 0; t < HfCells::kCapsules; ++t)
            neighbours += t != s && angle(centre(s), centre(t)) < 42.0;
        EXPECT_EQ(neighbours, pentagons.count(s) ? 5 : 6) << s;
    }
    for (int cell = 0; cell < HfCells::kTriangleCells; ++cell) {
        int pentagonCorners = 0;
        for (int row = 0; row < 3; ++row)
            pentagonCorners += static_cast<int>(pentagons.count(corner(cell, row)));
        EXPECT_EQ(pentagonCorners, 1) << cell;
    }
    for (int s = 0; s < HfCells::kNearestCells; ++s)
        EXPECT_EQ(HfCells::kNearestList[s], s);
}

TEST(HfCellMaps, EveryEntryObeysItsRuleAndTheTriangleHoldsTheNearestCapsule)
{
    int checked = 0;
    for (int theta = 0; theta < HfCells::kRows; ++theta) {
        for (int phi = 0; phi < 360; ++phi) {
            const Vec d = direction(theta, phi);
            const auto [capsule, lead] = nearest(d);
            const int single = entry(HfCells::kNearestMap, theta, phi);
            const int triangle = entry(HfCells::kTriangleMap, theta, phi);
            ASSERT_GE(triangle, 0);
            ASSERT_LT(triangle, HfCells::kTriangleCells);
            const double margin = insideMargin(triangle, d);
            ASSERT_GT(margin, -kBorder) << theta << " " << phi;
            if (lead > kBorder) {
                ASSERT_EQ(single, capsule) << theta << " " << phi;
            }
            if (lead > kBorder && margin > kBorder) {
                ++checked;
                ASSERT_TRUE(single == corner(triangle, 0) || single == corner(triangle, 1)
                            || single == corner(triangle, 2))
                    << theta << " " << phi;
            }
        }
        // Column 360 closes the seam: the nearest capsule repeats column 0, the triangle
        // is one that holds the direction.
        EXPECT_EQ(entry(HfCells::kNearestMap, theta, 360), entry(HfCells::kNearestMap, theta, 0));
        EXPECT_GT(insideMargin(entry(HfCells::kTriangleMap, theta, 360), direction(theta, 0)), -kBorder);
    }
    EXPECT_GT(checked, HfCells::kMapSize * 9 / 10);
    // A tie goes to the lower capsule: the poles lie as near 12 and 28, 15 and 31.
    for (int phi = 0; phi <= 360; ++phi) {
        EXPECT_EQ(entry(HfCells::kNearestMap, 0, phi), 12);
        EXPECT_EQ(entry(HfCells::kNearestMap, 180, phi), 15);
    }
    // Along the equator phi = 0 runs on the edge between cells 16 and 44.
    for (int theta = 70; theta <= 110; ++theta) {
        EXPECT_EQ(entry(HfCells::kTriangleMap, theta, 0), 16);
        EXPECT_EQ(entry(HfCells::kTriangleMap, theta, 360), 44);
    }
}
