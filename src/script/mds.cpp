// Multidimensional scaling: points in few dimensions whose distances are as near as can be to given ones.
//
// SMACOF (De Leeuw 1977): each step minimizes a function that touches the stress from above, so that the
// stress never grows.  With V the matrix of weights (v[i][j] = -w[i][j], rows summing to 0), the next
// configuration solves V X' = B(X) X, where b[i][j] = -w[i][j] d[i][j] / distance(i, j) and rows sum to 0.
// The start is classical scaling (Torgerson 1952): squared distances, centred both ways, times -0.5.
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include "script/arrays.h"
#include "script/internals.h"
#include "script/vars.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>

using table = std::vector<std::vector<double>>;

constexpr int MOSTSTEPS = 3000, POWERSTEPS = 500;
constexpr double SMALLGAIN = 1e-12;            // of the stress, relative to the distances

static table newtable(size_t rows, size_t columns) { return table(rows, std::vector<double>(columns, 0)); }

// The axes of the largest eigenvalues of the centred matrix, by repeated multiplication from random values.  What is added
// to the diagonal makes all eigenvalues positive, so that the largest is also the one of largest size: distances that no
// points have give negative ones, which are no axes.
static table starting_points(const table &d, size_t dims)
{
    size_t n = d.size();
    table centred = newtable(n, n), points = newtable(n, dims);
    std::vector<double> mean(n, 0);
    double all = 0;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) {
            mean[i] += d[i][j] * d[i][j] / double(n);
            all += d[i][j] * d[i][j] / double(n * n);
        }
    double shift = 0;
    for (size_t i = 0; i < n; ++i) {
        double sum = 0;
        for (size_t j = 0; j < n; ++j) {
            centred[i][j] = -0.5 * (d[i][j] * d[i][j] - mean[i] - mean[j] + all);
            sum += std::fabs(centred[i][j]);
        }
        shift = std::max(shift, sum);
    }
    randinit();
    for (size_t k = 0; k < dims; ++k) {
        std::vector<double> v(n), next(n);
        for (double &x : v) x = rand() % 10000 / 10000.0;
        double value = 0;
        for (int step = 0; step < POWERSTEPS; ++step) {
            double length = 0;
            for (size_t i = 0; i < n; ++i) {
                next[i] = shift * v[i];
                for (size_t j = 0; j < n; ++j) next[i] += centred[i][j] * v[j];
                length += next[i] * next[i];
            }
            length = std::sqrt(length);
            if (length == 0) break;
            double change = 0;
            for (size_t i = 0; i < n; ++i) {
                change = std::max(change, std::fabs(next[i] / length - v[i]));
                v[i] = next[i] / length;
            }
            value = length - shift;
            if (change < 1e-12) break;
        }
        for (size_t i = 0; i < n; ++i) {
            points[i][k] = v[i] * std::sqrt(std::max(0.0, value)) + (rand() % 10000 / 10000.0 - 0.5) * 1e-6;
            for (size_t j = 0; j < n; ++j) centred[i][j] -= value * v[i] * v[j];
        }
    }
    return points;
}

static double apart(const table &points, size_t i, size_t j)
{
    double sum = 0;
    for (size_t k = 0; k < points[i].size(); ++k) sum += (points[i][k] - points[j][k]) * (points[i][k] - points[j][k]);
    return std::sqrt(sum);
}

static double stress(const table &points, const table &d, const table &w)
{
    double sum = 0;
    for (size_t i = 0; i < d.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            double off = apart(points, i, j) - d[i][j];
            sum += w[i][j] * off * off;
        }
    return sum;
}

// The inverse of V + 11'/n, which serves for V on centred configurations.  False when the weights leave some points
// without any link to the others.
static bool invert(table v, table *inverse)
{
    size_t n = v.size();
    table &out = *inverse = newtable(n, n);
    for (size_t i = 0; i < n; ++i) out[i][i] = 1;
    double largest = 0;
    for (size_t i = 0; i < n; ++i) largest = std::max(largest, v[i][i]);
    for (auto &row : v)
        for (double &x : row) x += largest / double(n);
    for (size_t k = 0; k < n; ++k) {
        size_t pivot = k;
        for (size_t i = k + 1; i < n; ++i)
            if (std::fabs(v[i][k]) > std::fabs(v[pivot][k])) pivot = i;
        if (std::fabs(v[pivot][k]) <= 1e-13 * largest) return false;
        std::swap(v[k], v[pivot]);
        std::swap(out[k], out[pivot]);
        double scale = v[k][k];
        for (size_t j = 0; j < n; ++j) v[k][j] /= scale, out[k][j] /= scale;
        for (size_t i = 0; i < n; ++i) {
            double factor = i == k ? 0 : v[i][k];
            for (size_t j = 0; factor != 0 && j < n; ++j) v[i][j] -= factor * v[k][j], out[i][j] -= factor * out[k][j];
        }
    }
    return true;
}

static table MD_Scaling(const table &d, const table &w, size_t dims)
{
    size_t n = d.size();
    table points = starting_points(d, dims), v = newtable(n, n), inverse;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j)
            if (i != j) {
                v[i][j] = -w[i][j];
                v[i][i] += w[i][j];
            }
    if (!invert(v, &inverse)) errmsg("Weights leave some elements without any distance", nullptr);
    double size = 0;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < i; ++j) size += w[i][j] * d[i][j] * d[i][j];
    double before = stress(points, d, w);
    for (int step = 0; step < MOSTSTEPS && size > 0; ++step) {
        intrupt(1);
        table moved = newtable(n, dims);
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < n; ++j) {
                double distance = i == j ? 0 : apart(points, i, j);
                if (distance == 0) continue;
                for (size_t k = 0; k < dims; ++k)
                    moved[i][k] += w[i][j] * d[i][j] / distance * (points[i][k] - points[j][k]);
            }
        table next = newtable(n, dims);
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < n; ++j)
                for (size_t k = 0; k < dims; ++k) next[i][k] += inverse[i][j] * moved[j][k];
        double after = stress(next, d, w);
        if (after > before) break;
        points = next;
        if (before - after <= SMALLGAIN * size) break;
        before = after;
    }
    return points;
}

static table squaretable(const arrayof &a)
{
    std::vector<double> values = arrayvalues(a);
    size_t n = size_t(a.sizes[0]);
    table t = newtable(n, n);
    for (size_t i = 0; i < n * n; ++i) t[i / n][i % n] = values[i];
    return t;
}

static table readweights(size_t n)
{
    arrayof a = readarray();
    std::vector<double> given = arrayvalues(a);
    if (std::any_of(given.begin(), given.end(), [](double x) { return x < 0; })) errmsg("User weights can't be negative!", nullptr);
    bool square = a.dims == 2 && size_t(a.sizes[0]) == n && size_t(a.sizes[1]) == n;
    if (!square && !(a.dims == 1 && size_t(a.sizes[0]) == n))
        myerr("User weights must be an array of %i or of %i x %i values", int(n), int(n), int(n));
    table w = newtable(n, n);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j)
            w[i][j] = square ? std::max(given[i * n + j], given[j * n + i]) : std::max(given[i], given[j]);
    return w;
}

void do_mds()
{
    arrayof to = readarray(), from = readarray();
    if (to.dims != 2 || from.dims != 2) errmsg("Scaling requires 2-dimensional arrays", nullptr);
    size_t dims = size_t(to.sizes[0]), n = size_t(from.sizes[0]);
    if (from.sizes[0] != from.sizes[1] || to.sizes[1] != from.sizes[0])
        errmsg("Distances must be an array of N x N values, and the result of K x N", nullptr);
    if (dims >= n) errmsg("Requested projection is no reduction in dimensionality!", nullptr);
    table d = squaretable(from), w = newtable(n, n);
    for (size_t i = 0; i < n; ++i) {
        if (d[i][i] != 0) errmsg("Diagonals for input distances must be 0", nullptr);
        for (size_t j = 0; j < i; ++j)
            if (d[i][j] != d[j][i]) errmsg("Input distances must be symmetric", nullptr);
    }
    for (auto &row : w) std::fill(row.begin(), row.end(), 1.0);
    if (gotc('/')) w = readweights(n);
    table points = MD_Scaling(d, w, dims);
    std::vector<int> cells;
    datacells(to, &cells);
    for (size_t k = 0; k < dims; ++k)
        for (size_t i = 0; i < n; ++i) set_value(cells[k * n + i], points[i][k]);
    double off = 0, size = 0;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < i; ++j) {
            double x = apart(points, i, j) - d[i][j];
            off += x * x;
            size += d[i][j] * d[i][j];
        }
    set_last_correl_vals(last_correl_a, last_correl_b, size > 0 ? 1 - off / size : 1);
    if (report_status) myp("Scaled %i elements to %i dimensions (explained: %.6f)", int(n), int(dims), last_correl_r);
}
