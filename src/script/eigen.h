// script/eigen.h: eigenvalues and eigenvectors of a square matrix.
#pragma once
#include "script/matexp.h"
#include <complex>

using complexnumber = std::complex<double>;
using complexmatrix = std::vector<std::vector<complexnumber>>;

struct eigensystem {
    std::vector<complexnumber> values;
    complexmatrix vectors;        // vectors[i][k]: row i of the vector, of length 1, of values[k]
};

// False when the values do not converge.  Of a matrix that lacks a full set of vectors, some come out (nearly) the same.
bool ComputeEigenSystem(const squarematrix &m, eigensystem *e);
