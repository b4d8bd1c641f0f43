// The exponential of a square matrix (Moler and Van Loan 1978), in two ways.
//
// By a Pade approximation with scaling and squaring: exp(M) = exp(M / 2^s) squared s times; for a norm below 1 the
// quotient of two polynomials,
//     D(M)^-1 N(M),   N(M) = sum c[k] M^k,  D(M) = N(-M),
// is exact to the precision of doubles.
//
// By eigenvalues: exp(M) = V exp(D) V^-1, with D the values and V the vectors.
#include "script/matexp.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "script/eigen.h"
#include "script/ex.h"
#include "script/internals.h"
#include "script/macmem.h"
#include <algorithm>
#include <cmath>

int warned_bad_pade;

static squarematrix SetToIdentity(size_t n)
{
    squarematrix m(n, std::vector<double>(n, 0));
    for (size_t i = 0; i < n; ++i) m[i][i] = 1;
    return m;
}

template<class MATRIX> static MATRIX MultiplyMatrices(const MATRIX &a, const MATRIX &b)
{
    size_t n = a.size();
    MATRIX m(n, typename MATRIX::value_type(n));
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < n; ++k) {
            auto x = a[i][k];
            for (size_t j = 0; j < n; ++j) m[i][j] += x * b[k][j];
        }
    return m;
}

static void MultiplyMatrixByScalar(squarematrix &m, double x)
{
    for (auto &row : m)
        for (double &cell : row) cell *= x;
}

static void AddTwoMatrices(squarematrix &to, const squarematrix &m, double times)
{
    for (size_t i = 0; i < m.size(); ++i)
        for (size_t j = 0; j < m.size(); ++j) to[i][j] += times * m[i][j];
}

// Solves A X = B; B becomes X.  False when A is singular.
template<class MATRIX> static bool GaussianElimination(MATRIX a, MATRIX &b)
{
    size_t n = a.size();
    for (size_t k = 0; k < n; ++k) {
        size_t pivot = k;
        for (size_t i = k + 1; i < n; ++i)
            if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
        if (std::abs(a[pivot][k]) == 0) return false;
        std::swap(a[k], a[pivot]);
        std::swap(b[k], b[pivot]);
        for (size_t i = 0; i < n; ++i) {
            if (i == k || std::abs(a[i][k]) == 0) continue;
            auto factor = a[i][k] / a[k][k];
            for (size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
            for (size_t j = 0; j < n; ++j) b[i][j] -= factor * b[k][j];
        }
    }
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) b[i][j] /= a[i][i];
    return true;
}

static double norm(const squarematrix &m)
{
    double most = 0;
    for (const auto &row : m) {
        double sum = 0;
        for (double x : row) sum += std::fabs(x);
        most = std::max(most, sum);
    }
    return most;
}

// How often the matrix is halved until its norm falls below 1.
static int DivideByTwos(squarematrix &m)
{
    int halvings = 0;
    if (double size = norm(m); size >= 1) halvings = std::ilogb(size) + 1;
    MultiplyMatrixByScalar(m, std::ldexp(1.0, -halvings));
    return halvings;
}

static squarematrix ComputeMatrixExponential(const squarematrix &m)
{
    constexpr int ORDER = 8;
    size_t n = m.size();
    squarematrix power = SetToIdentity(n), above = power, below = power;
    double c = 1;
    for (int k = 1; k <= ORDER; ++k) {
        c *= double(ORDER - k + 1) / double(k * (2 * ORDER - k + 1));
        power = MultiplyMatrices(m, power);
        AddTwoMatrices(above, power, c);
        AddTwoMatrices(below, power, k % 2 ? -c : c);
    }
    if (!GaussianElimination(below, above)) errmsg("Cannot calculate the exponential of this matrix", nullptr);
    return above;
}

// In the exponential of a matrix of rates (rows that sum to 0) all rows sum to 1.
static bool inaccurate(const squarematrix &rates, const squarematrix &result)
{
    constexpr double TOLERANCE = 1e-6;
    bool ofrates = true;
    for (size_t i = 0; i < rates.size(); ++i) {
        double sum = 0, size = 0;
        for (size_t j = 0; j < rates.size(); ++j) {
            if (!std::isfinite(result[i][j])) return true;
            sum += rates[i][j];
            size += std::fabs(rates[i][j]);
            ofrates = ofrates && (i == j || rates[i][j] >= 0);
        }
        ofrates = ofrates && std::fabs(sum) <= 1e-9 * size;
    }
    for (size_t i = 0; ofrates && i < result.size(); ++i) {
        double sum = 0;
        for (double x : result[i]) {
            sum += x;
            if (x < -TOLERANCE || x > 1 + TOLERANCE) return true;
        }
        if (std::fabs(sum - 1) > TOLERANCE) return true;
    }
    return false;
}

static void refuse_large(const squarematrix &m)
{
    for (const auto &row : m)
        for (double x : row)
            if (!std::isfinite(x) || std::fabs(x) > 1e100)
                errmsg("Cannot calculate the exponential of this matrix", nullptr);
}

squarematrix MatExp(const squarematrix &given)
{
    refuse_large(given);
    squarematrix m = given;
    int halvings = DivideByTwos(m);
    m = ComputeMatrixExponential(m);
    while (halvings-- > 0) m = MultiplyMatrices(m, m);
    if (!warned_bad_pade && inaccurate(given, m)) {
        warned_bad_pade = 1;
        mywarn("Please beware... transition probabilities of very long\nbranches calculated under Pade's approximmation are\n"
               "very inaccurate");
    }
    return m;
}

// V diag(values) V^-1
static complexmatrix assembled(const eigensystem &e, const std::vector<complexnumber> &values, const complexmatrix &inverse)
{
    complexmatrix scaled = e.vectors;
    for (auto &row : scaled)
        for (size_t k = 0; k < values.size(); ++k) row[k] *= values[k];
    return MultiplyMatrices(scaled, inverse);
}

// Vectors that are nearly the same do not give the matrix back.
static bool reproduces(const eigensystem &e, const complexmatrix &inverse, const squarematrix &m)
{
    constexpr double TOLERANCE = 1e-8;
    complexmatrix back = assembled(e, e.values, inverse);
    double size = norm(m);
    for (size_t i = 0; i < m.size(); ++i)
        for (size_t j = 0; j < m.size(); ++j)
            if (!(std::abs(back[i][j] - m[i][j]) <= TOLERANCE * size)) return false;
    return true;
}

squarematrix doEigenMatExp(const squarematrix &m)
{
    refuse_large(m);
    size_t n = m.size();
    eigensystem e;
    complexmatrix inverse(n, std::vector<complexnumber>(n));
    for (size_t i = 0; i < n; ++i) inverse[i][i] = 1;
    if (!ComputeEigenSystem(m, &e) || !GaussianElimination(e.vectors, inverse) || !reproduces(e, inverse, m))
        errmsg("Error calculating Eigen values/vectors", nullptr);
    for (complexnumber &value : e.values) value = std::exp(value);
    complexmatrix power = assembled(e, e.values, inverse);
    squarematrix result(n, std::vector<double>(n));
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) result[i][j] = power[i][j].real();
    return result;
}

// --- the expression -----------------------------------------------------------------------

double ex::matexp()
{
    if (!macprotmod) errmsg("Matrix exponential available only with protection mode 1 or 2", nullptr);
    return bracketed([] {
        arrayof from = readarray();
        double t = another() ? number() : 1;
        const arrayof &to = listtarget();
        if (from.dims != 2 || to.dims != 2) errmsg("Matrix exponential requires 2-dimensional arrays", nullptr);
        if (from.sizes[0] != from.sizes[1] || !std::equal(from.sizes, from.sizes + 2, to.sizes))
            errmsg("Both arrays must have same dimensions", nullptr);
        std::vector<double> values = arrayvalues(from);
        size_t n = size_t(from.sizes[0]);
        squarematrix m(n, std::vector<double>(n));
        for (size_t i = 0; i < n * n; ++i) m[i / n][i % n] = values[i] * t;
        return storetable(MatExp(m));
    });
}
