// script/matexp.h: the exponential of a square matrix.
#pragma once
#include <vector>

using squarematrix = std::vector<std::vector<double>>;

squarematrix MatExp(const squarematrix &m);
extern int warned_bad_pade;       // that a result may be inaccurate was said; starts at 0
