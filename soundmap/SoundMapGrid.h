#pragma once
// The directions of the sound map: rows of polar angle theta = 0, step, ..., 180 (the
// first and last rows are the poles, every column the same direction) by columns of
// azimuth phi = 0, step, ..., 360 - step. Point (row, column) is at row * columns + column.

class SoundMapGrid {
public:
    static constexpr int kMinStep = 1;
    static constexpr int kMaxStep = 5;

    // Whole degrees from kMinStep to kMaxStep that divide 180.
    static bool validStep(int degrees);

    // An invalid step falls back to kMaxStep; check with validStep first.
    explicit SoundMapGrid(int stepDegrees = kMaxStep);

    int step() const { return mStep; }
    int rows() const { return 180 / mStep + 1; }
    int columns() const { return 360 / mStep; }
    int points() const { return rows() * columns(); }
    double theta(int row) const { return double(row * mStep); }
    double phi(int column) const { return double(column * mStep); }
    // The nearest row and column of a direction in degrees (azimuth taken modulo 360).
    int rowOf(double thetaDegrees) const;
    int columnOf(double phiDegrees) const;

    // Bilinear between the four grid points around a direction, the azimuth wrapping
    // across the seam; `values` holds points() values.
    float interpolate(const float* values, double thetaDegrees, double phiDegrees) const;

private:
    int mStep;
};
