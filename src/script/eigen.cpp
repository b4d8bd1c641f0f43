// Eigenvalues and eigenvectors of any square matrix, by the QR algorithm (Francis 1961) in complex arithmetic, where
// pairs of conjugate values need no care of their own.
//
// M = Q H Q*, with H zero below the subdiagonal (reflections of Householder); then rotations make the subdiagonal
// zero too, from the lower end up, so that the diagonal T of the triangle holds the values:
//
//     H  x x x x      T  1 x x x
//        x x x x  =>     . 2 x x      the vector of value k has zeros below row k, 1 in row k, and
//        . x x x         . . 3 x      follows above it by substitution; Q turns it into that of M
//        . . x x         . . . 4
#include "script/eigen.h"
#include <algorithm>
#include <cmath>
#include <limits>

constexpr double EPSILON = std::numeric_limits<double>::epsilon();

static complexmatrix identity(size_t n)
{
    complexmatrix m(n, std::vector<complexnumber>(n, 0));
    for (size_t i = 0; i < n; ++i) m[i][i] = 1;
    return m;
}

static double largest(const complexmatrix &m)
{
    double most = 0;
    for (const auto &row : m)
        for (complexnumber x : row) most = std::max(most, std::abs(x));
    return most;
}

// Reflects rows and columns k+1... so that column k is zero below row k+1.
static void Orthes(complexmatrix &h, complexmatrix &q)
{
    size_t n = h.size();
    std::vector<complexnumber> v(n);
    for (size_t k = 0; k + 2 < n; ++k) {
        double length = 0;
        for (size_t i = k + 1; i < n; ++i) length += std::norm(h[i][k]);
        length = std::sqrt(length);
        double first = std::abs(h[k + 1][k]);
        if (length == 0 || length == first) continue;
        for (size_t i = k + 1; i < n; ++i) v[i] = h[i][k];
        v[k + 1] += first == 0 ? complexnumber(length) : h[k + 1][k] * (length / first);
        double square = 2 * length * (length + first);
        for (size_t j = 0; j < n; ++j) {
            complexnumber dot = 0;
            for (size_t i = k + 1; i < n; ++i) dot += std::conj(v[i]) * h[i][j];
            for (size_t i = k + 1; i < n; ++i) h[i][j] -= v[i] * (2.0 * dot / square);
        }
        for (complexmatrix *m : { &h, &q })
            for (size_t i = 0; i < n; ++i) {
                complexnumber dot = 0;
                for (size_t j = k + 1; j < n; ++j) dot += (*m)[i][j] * v[j];
                for (size_t j = k + 1; j < n; ++j) (*m)[i][j] -= (2.0 * dot / square) * std::conj(v[j]);
            }
    }
}

// Of the two values of the last two rows, the one nearer to the last cell.
static complexnumber wilkinson(const complexmatrix &h, size_t last)
{
    complexnumber a = h[last - 1][last - 1], b = h[last - 1][last], c = h[last][last - 1], d = h[last][last];
    complexnumber half = (a - d) / 2.0, root = std::sqrt(half * half + b * c);
    if (std::abs(half - root) > std::abs(half + root)) root = -root;
    return half + root == complexnumber(0) ? d : d - b * c / (half + root);
}

// One step, H - sI = QR, H' = RQ + sI, on rows first...last, as rotations of neighbouring rows and columns.
static void qrstep(complexmatrix &h, complexmatrix &q, size_t first, size_t last, complexnumber shift)
{
    struct rotation { double c; complexnumber s; };
    size_t n = h.size();
    std::vector<rotation> turns(n);
    for (size_t i = first; i <= last; ++i) h[i][i] -= shift;
    for (size_t k = first; k < last; ++k) {
        double x = std::abs(h[k][k]), length = std::hypot(x, std::abs(h[k + 1][k]));
        rotation &r = turns[k];
        if (length == 0) { r = { 1, 0 }; continue; }
        complexnumber phase = x == 0 ? complexnumber(1) : h[k][k] / x;
        r = { x / length, phase * std::conj(h[k + 1][k]) / length };
        for (size_t j = k; j < n; ++j) {
            complexnumber above = h[k][j], below = h[k + 1][j];
            h[k][j] = r.c * above + r.s * below;
            h[k + 1][j] = r.c * below - std::conj(r.s) * above;
        }
    }
    for (size_t k = first; k < last; ++k)
        for (complexmatrix *m : { &h, &q }) {
            size_t rows = m == &q ? n : k + 2;
            for (size_t i = 0; i < rows; ++i) {
                complexnumber left = (*m)[i][k], right = (*m)[i][k + 1];
                (*m)[i][k] = turns[k].c * left + std::conj(turns[k].s) * right;
                (*m)[i][k + 1] = turns[k].c * right - turns[k].s * left;
            }
        }
    for (size_t i = first; i <= last; ++i) h[i][i] += shift;
}

static bool Hqr2(complexmatrix &h, complexmatrix &q)
{
    constexpr int MOSTSTEPS = 60, STUCK = 10;
    double size = largest(h);
    size_t last = h.size();
    if (last) --last;
    for (int steps = 0; last > 0; ++steps) {
        size_t first = last;
        for (; first > 0; --first) {
            double beside = std::abs(h[first][first]) + std::abs(h[first - 1][first - 1]);
            if (std::abs(h[first][first - 1]) <= EPSILON * (beside == 0 ? size : beside)) {
                h[first][first - 1] = 0;
                break;
            }
        }
        if (first == last) {
            --last;
            steps = -1;
            continue;
        }
        if (steps == MOSTSTEPS) return false;
        complexnumber shift = steps % STUCK == STUCK - 1 ? complexnumber(std::abs(h[last][last - 1]), 0) + h[last][last]
                                                         : wilkinson(h, last);
        qrstep(h, q, first, last, shift);
    }
    return true;
}

// The vectors of a triangle.  Values that are the same to rounding are held apart by it.
static complexmatrix backsubstitution(const complexmatrix &t)
{
    size_t n = t.size();
    complexmatrix x = identity(n);
    double least = std::max(EPSILON * largest(t), std::numeric_limits<double>::min());
    for (size_t k = 0; k < n; ++k)
        for (size_t i = k; i-- > 0; ) {
            complexnumber sum = 0, apart = t[i][i] - t[k][k];
            for (size_t j = i + 1; j <= k; ++j) sum += t[i][j] * x[j][k];
            if (std::abs(apart) < least) apart = least;
            x[i][k] = -sum / apart;
        }
    return x;
}

bool ComputeEigenSystem(const squarematrix &m, eigensystem *e)
{
    size_t n = m.size();
    complexmatrix h(n), q = identity(n);
    for (size_t i = 0; i < n; ++i) h[i].assign(m[i].begin(), m[i].end());
    Orthes(h, q);
    if (!Hqr2(h, q)) return false;
    complexmatrix x = backsubstitution(h);
    e->values.resize(n);
    e->vectors = complexmatrix(n, std::vector<complexnumber>(n, 0));
    for (size_t k = 0; k < n; ++k) {
        e->values[k] = h[k][k];
        double length = 0;
        for (size_t i = 0; i < n; ++i) {
            for (size_t j = 0; j <= k; ++j) e->vectors[i][k] += q[i][j] * x[j][k];
            length += std::norm(e->vectors[i][k]);
        }
        for (size_t i = 0; i < n; ++i) e->vectors[i][k] /= std::sqrt(length);
    }
    return true;
}
