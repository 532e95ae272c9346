#include "soundmap/SymmetricEigen.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

double offDiagonal(const std::vector<double>& a, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j)
            sum += a[i * n + j] * a[i * n + j];
    return sum;
}

// One rotation in the (p, q) plane that zeroes a[p][q]; v collects the rotations.
void rotate(std::vector<double>& a, std::vector<double>& v, int n, int p, int q)
{
    const double apq = a[p * n + q];
    const double tau = (a[q * n + q] - a[p * n + p]) / (2.0 * apq);
    const double t = (tau >= 0 ? 1.0 : -1.0) / (std::abs(tau) + std::sqrt(1.0 + tau * tau));
    const double c = 1.0 / std::sqrt(1.0 + t * t);
    const double s = t * c;
    for (int k = 0; k < n; ++k) {
        const double akp = a[k * n + p], akq = a[k * n + q];
        a[k * n + p] = c * akp - s * akq;
        a[k * n + q] = s * akp + c * akq;
    }
    for (int k = 0; k < n; ++k) {
        const double apk = a[p * n + k], aqk = a[q * n + k];
        a[p * n + k] = c * apk - s * aqk;
        a[q * n + k] = s * apk + c * aqk;
    }
    for (int k = 0; k < n; ++k) {
        const double vkp = v[k * n + p], vkq = v[k * n + q];
        v[k * n + p] = c * vkp - s * vkq;
        v[k * n + q] = s * vkp + c * vkq;
    }
}

} // namespace

SymmetricEigen symmetricEigen(const std::vector<double>& matrix, int n)
{
    std::vector<double> a(size_t(n) * n), v(size_t(n) * n, 0.0);
    for (int i = 0; i < n; ++i) {
        v[i * n + i] = 1.0;
        for (int j = i; j < n; ++j)
            a[i * n + j] = a[j * n + i] = matrix[i * n + j];
    }
    double scale = 0.0;
    for (double x : a)
        scale = std::max(scale, std::abs(x));
    for (int sweep = 0; sweep < 64 && offDiagonal(a, n) > 1e-30 * scale * scale; ++sweep)
        for (int p = 0; p < n; ++p)
            for (int q = p + 1; q < n; ++q)
                if (a[p * n + q] != 0.0)
                    rotate(a, v, n, p, q);

    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](int x, int y) { return a[x * n + x] > a[y * n + y]; });
    SymmetricEigen result;
    for (int i : order) {
        result.values.push_back(a[i * n + i]);
        std::vector<double> column(n);
        for (int k = 0; k < n; ++k)
            column[k] = v[k * n + i];
        result.vectors.push_back(std::move(column));
    }
    return result;
}
