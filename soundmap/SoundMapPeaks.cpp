#include "soundmap/SoundMapPeaks.h"

#include "array/CapsuleGeometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// Rounds of estimating the sources' powers and refining each peak on the map less the
// others; the positions settle within hundredths of a degree after three.
constexpr int kCompensationRounds = 3;
// Grid steps a peak may climb on the map less the others before it is refined.
constexpr int kMaxClimb = 4;

struct Point {
    int row;
    int column;
};

class PeakTest {
public:
    PeakTest(const SoundMapGrid& grid, const float* power)
        : mPower(power)
        , mRows(grid.rows())
        , mColumns(grid.columns())
    {
    }

    // A pole is one point: column 0 stands for the whole row.
    int index(Point p) const
    {
        const bool pole = p.row == 0 || p.row == mRows - 1;
        return p.row * mColumns + (pole ? 0 : p.column);
    }
    float value(Point p) const { return mPower[index(p)]; }

    bool isPeak(Point p) const
    {
        if (p.row == 0 || p.row == mRows - 1) {
            const int next = p.row == 0 ? 1 : mRows - 2;
            for (int c = 0; c < mColumns; ++c)
                if (!beats(p, {next, c}))
                    return false;
            return true;
        }
        for (int dr = -1; dr <= 1; ++dr)
            for (int dc = -1; dc <= 1; ++dc)
                if ((dr || dc) && !beats(p, {p.row + dr, (p.column + dc + mColumns) % mColumns}))
                    return false;
        return true;
    }

private:
    // Ties go to the point that comes first in row order.
    bool beats(Point p, Point other) const
    {
        const float v = value(p), o = value(other);
        return index(other) > index(p) ? v >= o : v > o;
    }

    const float* mPower;
    int mRows;
    int mColumns;
};

double cosBetween(const UnitVector& a, const UnitVector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

double angleBetween(const SoundMapPeak& a, const SoundMapPeak& b)
{
    const double c = cosBetween(unitVectorFromAngles(a.theta, a.phi), unitVectorFromAngles(b.theta, b.phi));
    return std::acos(std::clamp(c, -1.0, 1.0)) / kDegree;
}

struct Vertex {
    double offset = 0.0; // in steps
    double rise = 0.0;   // of the logarithm above the centre
};

// The top of the parabola through three points a step apart, kept within `limit` steps of
// the centre; none where the points do not curve down.
Vertex vertex(double before, double centre, double after, double limit = 0.5)
{
    const double curvature = before - 2.0 * centre + after;
    if (!(curvature < 0.0))
        return {};
    const double offset = std::clamp(0.5 * (before - after) / curvature, -limit, limit);
    return {offset, 0.25 * (after - before) * offset};
}

// A source modelled on the map: its beam pattern at its direction, scaled by its power.
struct Modelled {
    UnitVector axis;
    double power;
};

// The refinement works on the logarithm of the map, where a main lobe is close to a
// parabola (a Gaussian's logarithm is one); a zero stands in as a very small value. With
// other sources modelled, their beams are taken off the map first.
class PeakRefiner {
public:
    PeakRefiner(const SoundMapGrid& grid, const float* power, const SoundMapBeam* beam,
                std::vector<Modelled> others = {})
        : mGrid(grid)
        , mPower(power)
        , mBeam(beam)
        , mOthers(std::move(others))
    {
    }

    SoundMapPeak refine(Point p) const { return isPole(p) ? refinePole(p.row) : refineInside(p); }

    // Moves up the map, one neighbour at a time, at most kMaxClimb steps.
    Point climb(Point p) const
    {
        for (int step = 0; step < kMaxClimb; ++step) {
            Point best = p;
            for (const Point& n : neighbours(p))
                if (log(n.row, n.column) > log(best.row, best.column))
                    best = n;
            if (best.row == p.row && best.column == p.column)
                break;
            p = best;
        }
        return p;
    }

private:
    bool isPole(Point p) const { return p.row == 0 || p.row == mGrid.rows() - 1; }

    std::vector<Point> neighbours(Point p) const
    {
        const int columns = mGrid.columns();
        std::vector<Point> around;
        if (isPole(p)) {
            const int next = p.row == 0 ? 1 : mGrid.rows() - 2;
            for (int c = 0; c < columns; ++c)
                around.push_back({next, c});
            return around;
        }
        for (int dr = -1; dr <= 1; ++dr)
            for (int dc = -1; dc <= 1; ++dc)
                if (dr || dc) {
                    const Point n{p.row + dr, (p.column + dc + columns) % columns};
                    around.push_back(isPole(n) ? Point{n.row, 0} : n);
                }
        return around;
    }

    double log(int row, int column) const
    {
        double value = mPower[row * mGrid.columns() + column];
        if (!mOthers.empty()) {
            const UnitVector at = unitVectorFromAngles(mGrid.theta(row), mGrid.phi(column));
            for (const Modelled& m : mOthers)
                value -= m.power * mBeam->power(cosBetween(at, m.axis));
        }
        return std::log(std::max(value, 1e-30));
    }

    // On a smooth map the top rises a fraction of a dB above its grid point; the cap keeps
    // a lone spike (a map too coarse for its peak) from reading as a far louder one.
    static float top(double centre, double rise) { return float(std::exp(centre + std::min(rise, std::numbers::ln2))); }

    // One parabola a row apart and one a column apart; each vertex kept within half a step.
    SoundMapPeak refineInside(Point p) const
    {
        const int columns = mGrid.columns();
        const double centre = log(p.row, p.column);
        const Vertex along = vertex(log(p.row - 1, p.column), centre, log(p.row + 1, p.column));
        const Vertex across = vertex(log(p.row, (p.column + columns - 1) % columns), centre,
                                     log(p.row, (p.column + 1) % columns));
        const double step = mGrid.step();
        const double phi = std::fmod(mGrid.phi(p.column) + across.offset * step + 360.0, 360.0);
        return {mGrid.theta(p.row) + along.offset * step, phi, top(centre, along.rise + across.rise)};
    }

    // In the tangent plane at the pole the ring one step away is a circle of radius h:
    // the surface c + g.x + x'Hx/2 gives the ring the Fourier series c + h (g_x cos +
    // g_y sin) + h^2/4 ((H_xx + H_yy) + (H_xx - H_yy) cos 2phi + 2 H_xy sin 2phi).
    SoundMapPeak refinePole(int row) const
    {
        const int next = row == 0 ? 1 : mGrid.rows() - 2;
        const int columns = mGrid.columns();
        double mean = 0.0, cos1 = 0.0, sin1 = 0.0, cos2 = 0.0, sin2 = 0.0;
        for (int c = 0; c < columns; ++c) {
            const double value = log(next, c), phi = mGrid.phi(c) * kDegree;
            mean += value;
            cos1 += value * std::cos(phi);
            sin1 += value * std::sin(phi);
            cos2 += value * std::cos(2.0 * phi);
            sin2 += value * std::sin(2.0 * phi);
        }
        const double n = columns, h = mGrid.step();
        const double centre = log(row, 0);
        const double gx = 2.0 * cos1 / n / h, gy = 2.0 * sin1 / n / h;
        const double trace = 4.0 * (mean / n - centre) / (h * h);
        const double difference = 8.0 * cos2 / n / (h * h), hxy = 4.0 * sin2 / n / (h * h);
        const double hxx = 0.5 * (trace + difference), hyy = 0.5 * (trace - difference);
        const double determinant = hxx * hyy - hxy * hxy;
        const SoundMapPeak atPole{mGrid.theta(row), 0.0, float(std::exp(centre))};
        if (!(hxx < 0.0 && determinant > 0.0))
            return atPole;
        // The vertex solves H x = -g.
        double x = -(hyy * gx - hxy * gy) / determinant, y = -(hxx * gy - hxy * gx) / determinant;
        const double distance = std::hypot(x, y);
        if (distance > 0.5 * h) {
            x *= 0.5 * h / distance;
            y *= 0.5 * h / distance;
        }
        const double radius = std::hypot(x, y);
        if (radius < 1e-9)
            return atPole;
        const double phi = std::fmod(std::atan2(y, x) / kDegree + 360.0, 360.0);
        return {row == 0 ? radius : 180.0 - radius, phi, top(centre, 0.5 * (gx * x + gy * y))};
    }

    const SoundMapGrid& mGrid;
    const float* mPower;
    const SoundMapBeam* mBeam;
    std::vector<Modelled> mOthers;
};

struct Candidate {
    Point point;
    SoundMapPeak peak;
};

// A peak inside the main lobe of a stronger kept peak is part of it. Beyond, the side
// lobes of the stronger peaks add up (uncorrelated sources add in power); a peak no
// louder than their sum, `marginDb` allowed, is one of them.
bool isLobeOfStronger(const SoundMapPeak& peak, const std::vector<Candidate>& kept, const SoundMapBeam& beam,
                      float marginDb)
{
    double thrown = 0.0;
    for (const Candidate& stronger : kept) {
        const double angle = angleBetween(peak, stronger.peak);
        if (angle < beam.mainLobeDegrees())
            return true;
        thrown += stronger.peak.power * std::pow(10.0, beam.levelDb(angle) / 10.0);
    }
    return double(peak.power) <= thrown * std::pow(10.0, marginDb / 10.0);
}

// Each round models every kept peak as a source at its current place with the power that
// the last round's residual top gave it, then climbs and refines each peak on the map
// less the others. The reported power stays the map's own top.
void compensate(std::vector<Candidate>& kept, const SoundMapGrid& grid, const float* power, const SoundMapBeam& beam)
{
    std::vector<double> powers;
    for (const Candidate& k : kept)
        powers.push_back(k.peak.power);
    for (int round = 0; round < kCompensationRounds; ++round) {
        std::vector<Candidate> next = kept;
        for (size_t i = 0; i < kept.size(); ++i) {
            std::vector<Modelled> others;
            for (size_t j = 0; j < kept.size(); ++j)
                if (j != i)
                    others.push_back({unitVectorFromAngles(kept[j].peak.theta, kept[j].peak.phi), powers[j]});
            const PeakRefiner refiner(grid, power, &beam, others);
            next[i].point = refiner.climb(kept[i].point);
            const SoundMapPeak refined = refiner.refine(next[i].point);
            next[i].peak = {refined.theta, refined.phi, kept[i].peak.power};
            powers[i] = refined.power;
        }
        kept = std::move(next);
    }
}

} // namespace

std::vector<SoundMapPeak> findSoundMapPeaks(const SoundMapGrid& grid, const float* power, int maxPeaks,
                                            float rangeDb, float floor, const SoundMapBeam* beam, float marginDb)
{
    std::vector<SoundMapPeak> peaks;
    if (maxPeaks <= 0)
        return peaks;
    const float largest = *std::max_element(power, power + grid.points());
    if (!(largest > floor))
        return peaks;
    const float lowest = largest * std::pow(10.0f, -rangeDb / 10.0f);
    const PeakTest test(grid, power);
    const PeakRefiner refiner(grid, power, beam);
    std::vector<Candidate> candidates;
    for (int r = 0; r < grid.rows(); ++r) {
        const bool pole = r == 0 || r == grid.rows() - 1;
        for (int c = 0; c < (pole ? 1 : grid.columns()); ++c) {
            const float v = test.value({r, c});
            if (v >= lowest && v > floor && test.isPeak({r, c}))
                candidates.push_back({{r, c}, refiner.refine({r, c})});
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        return a.peak.power > b.peak.power;
    });
    std::vector<Candidate> kept;
    for (const Candidate& c : candidates) {
        if (int(kept.size()) == maxPeaks)
            break;
        if (!beam || !isLobeOfStronger(c.peak, kept, *beam, marginDb))
            kept.push_back(c);
    }
    if (beam && kept.size() > 1)
        compensate(kept, grid, power, *beam);
    for (const Candidate& k : kept)
        peaks.push_back(k.peak);
    return peaks;
}

namespace {

// The vertex of the parabola within a step; where the logarithm does not curve down (on
// the flank of a sharp peak, whose logarithm is convex there), a whole step uphill.
double climb(double before, double centre, double after)
{
    if (before - 2.0 * centre + after < 0.0)
        return vertex(before, centre, after, 1.0).offset;
    if (std::max(before, after) <= centre)
        return 0.0;
    return after > before ? 1.0 : -1.0;
}

} // namespace

SoundMapPeak polishSoundMapPeak(const SoundMapPeak& peak, double stepDegrees,
                                const std::function<double(double, double)>& value)
{
    const auto normalised = [](double x, double y, double z) {
        const double n = std::sqrt(x * x + y * y + z * z);
        return UnitVector{x / n, y / n, z / n};
    };
    const auto theta = [](const UnitVector& v) { return std::acos(std::clamp(v.z, -1.0, 1.0)) / kDegree; };
    const auto phi = [](const UnitVector& v) { return std::fmod(std::atan2(v.y, v.x) / kDegree + 360.0, 360.0); };
    const auto logAt = [&](const UnitVector& v) { return std::log(std::max(value(theta(v), phi(v)), 1e-30)); };

    UnitVector p = unitVectorFromAngles(peak.theta, peak.phi);
    double centre = logAt(p);
    for (double step = 0.5 * stepDegrees; step >= 0.01; step *= 0.5) {
        // Two tangents: along the meridian and the parallel, or x and y at a pole.
        const double r = std::hypot(p.x, p.y);
        const UnitVector along = r > 1e-9 ? UnitVector{p.z * p.x / r, p.z * p.y / r, -r} : UnitVector{1.0, 0.0, 0.0};
        const UnitVector across = r > 1e-9 ? UnitVector{-p.y / r, p.x / r, 0.0} : UnitVector{0.0, 1.0, 0.0};
        const double h = std::tan(step * kDegree);
        double move[2] = {};
        int axis = 0;
        for (const UnitVector& e : {along, across}) {
            const double before = logAt(normalised(p.x - h * e.x, p.y - h * e.y, p.z - h * e.z));
            const double after = logAt(normalised(p.x + h * e.x, p.y + h * e.y, p.z + h * e.z));
            move[axis++] = climb(before, centre, after) * h;
        }
        const UnitVector moved = normalised(p.x + move[0] * along.x + move[1] * across.x,
                                            p.y + move[0] * along.y + move[1] * across.y,
                                            p.z + move[0] * along.z + move[1] * across.z);
        const double there = logAt(moved);
        if (there >= centre) {
            p = moved;
            centre = there;
        }
    }
    const double t = theta(p);
    return {t, t > 1e-9 && t < 180.0 - 1e-9 ? phi(p) : 0.0, float(std::exp(centre))};
}
