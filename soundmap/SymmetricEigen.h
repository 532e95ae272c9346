#pragma once
// Eigenvalues and eigenvectors of a small real symmetric matrix by cyclic Jacobi
// rotations, in double precision. For the 16 x 16 mode covariance on the main thread.

#include <vector>

struct SymmetricEigen {
    std::vector<double> values;               // descending
    std::vector<std::vector<double>> vectors; // vectors[i] belongs to values[i], unit length
};

// `matrix` is n x n, row-major, symmetric (only its upper triangle is read).
SymmetricEigen symmetricEigen(const std::vector<double>& matrix, int n);
