// script/matexp.h: the exponential of a square matrix.
#pragma once
#include <vector>

using squarematrix = std::vector<std::vector<double>>;

squarematrix MatExp(const squarematrix &m);         // by a Pade approximation; any matrix that is not too large
squarematrix doEigenMatExp(const squarematrix &m);  // by eigenvalues; "Error calculating Eigen values/vectors" when the
                                                    // matrix lacks a full set of vectors
extern int warned_bad_pade;       // that a result may be inaccurate was said; starts at 0
