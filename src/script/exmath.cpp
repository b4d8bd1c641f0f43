// Expressions: arithmetic, values of arrays, and lists of numbers.
#include "script/ex.h"
#include "kernel/bits.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cmath>
#include <numeric>

namespace ex {

// --- functions of numbers -----------------------------------------------------------------

double combin()
{
    return bracketed([] {
        int n = integer(), k = integer();
        if (n < 0 || k < 0 || k > n) myerr("Combinatorial: %i taken from %i ?", k, n);
        double ways = 1;
        k = std::min(k, n - k);
        for (int i = 1; i <= k; ++i) ways = std::round(ways * (n - k + i) / i);
        return ways;
    });
}

double exponential() { return std::exp(braknu()); }

double logarithm()
{
    return bracketed([] {
        double x = number();
        if (x <= 0) errmsg("Cannot do natural logarithm of", value_text(x).c_str(), nullptr);
        return std::log(x);
    });
}

double logten()
{
    return bracketed([] {
        double x = number();
        if (x <= 0) errmsg("Cannot do logarithm of", value_text(x).c_str(), nullptr);
        return std::log10(x);
    });
}

double power()
{
    return bracketed([] {
        double x = number(), y = number(), value = std::pow(x, y);
        if (!std::isfinite(value)) errmsg("Can't calculate power", nullptr);
        return value;
    });
}

double numbits() { return fmems(uint32_t(tobits(braknu()))); }

// Rooted binary trees: the next taxon can join any of the branches, or the root.
double numclads()
{
    return bracketed([] {
        int n = integer();
        if (n > 150) errmsg("Cannot calculate number of cladograms for more than 150 taxa!", nullptr);
        double trees = 1;
        for (int t = 3; t <= n; ++t) trees *= 2 * t - 3;
        return trees;
    });
}

double getrandom()
{
    return bracketed([] {
        int from = integer(), to = integer();
        if (from < 0 || to < 0) errmsg("Limits of random numbers must be 0 or more", nullptr);
        if (from > to) std::swap(from, to);
        return double(macrandinterval(long(to) + 1 - from) + from);
    });
}

// --- arrays -------------------------------------------------------------------------------

static std::string called(const arrayof &a)
{
    std::string text = "Variable " + std::to_string(a.variable) + " ";
    if (usvarname[a.variable]) text += std::string("(") + usvarname[a.variable] + ") ";
    return text;
}

// The array, "+N" values behind its start, and a count, "/N" or N alone.  Without protection sizes are not known: all the
// cells that follow can be asked for, and one is taken.
static std::vector<double> do_minmaxmean()
{
    arrayof a = readarray();
    std::vector<double> values;
    if (varnumdims) values = arrayvalues(a);
    else
        for (int v = a.base; v < Maxvars; ++v) values.push_back(value_of(v));
    int n = int(values.size()), shift = 0, count = -1;
    while (another()) {
        if (gotc('+')) {
            shift = integer();
            if (shift < 0 || shift >= n)
                errmsg(("Cannot shift " + std::to_string(shift) + " values of variable " + std::to_string(a.variable)).c_str(),
                       ("(only 1-" + std::to_string(n - 1) + " are possible)").c_str(), nullptr);
        } else {
            gotc('/');
            count = integer();
            if (count < 1) errmsg("Number of values must be 1 or more", nullptr);
        }
    }
    if (count < 0) count = varnumdims ? n - shift : 1;
    if (shift + count > n) errmsg((called(a) + "has only " + std::to_string(n) + " entries").c_str(), nullptr);
    return { values.begin() + shift, values.begin() + shift + count };
}

static double sum(const std::vector<double> &values) { return std::accumulate(values.begin(), values.end(), 0.0); }

double maxval()
{
    return bracketed([] {
        double mimame = -1e201;
        for (double x : do_minmaxmean()) mimame = std::max(mimame, x);
        return mimame;
    });
}

double minval()
{
    return bracketed([] {
        double mimame = 1e201;
        for (double x : do_minmaxmean()) mimame = std::min(mimame, x);
        return mimame;
    });
}

double sumval() { return bracketed([] { return sum(do_minmaxmean()); }); }

double meanval()
{
    return bracketed([] {
        std::vector<double> values = do_minmaxmean();
        return sum(values) / double(values.size());
    });
}

// Of a sample: the divisor is one less than the values; 0 for a single one.
double stddev()
{
    return bracketed([] {
        std::vector<double> values = do_minmaxmean();
        if (values.size() < 2) return 0.0;
        double mean = sum(values) / double(values.size()), squares = 0;
        for (double x : values) squares += (x - mean) * (x - mean);
        return std::sqrt(squares / double(values.size() - 1));
    });
}

double varsize()
{
    if (!macprotmod) errmsg("Variable \"varsize\" valid only in macro protection mode", nullptr);
    return bracketed([] {
        arrayof a = readarray();
        return a.dims ? double(a.sizes[0]) : 1.0;
    });
}

// The value of a one-dimensional array at a place between its cells.
double intpol()
{
    if (nofloats) errmsg("Interpolation requires that floating point is enabled!", nullptr);
    return bracketed([] {
        std::vector<double> values = arrayvalues(readarray());
        double at = number();
        if (!(at >= 0) || at > double(values.size() - 1))
            errmsg("Cannot interpolate at", value_text(at).c_str(), "in an array of", intvert(long(values.size())), nullptr);
        size_t i = std::min(size_t(at), values.size() - 1), next = std::min(i + 1, values.size() - 1);
        return values[i] + (at - double(i)) * (values[next] - values[i]);
    });
}

// --- lists --------------------------------------------------------------------------------

// [N]: 0 to N-1 in random order; [N M]: M of them.
double randomlist()
{
    return bracketed([] {
        int n = integer(), wanted = another() ? integer() : n;
        if (n < 1 || n > Maxvars) errmsg("Random lists can be of 1 to", intvert(Maxvars), "numbers", nullptr);
        if (wanted < 1 || wanted > n) myerr("Cannot take %i of %i numbers", wanted, n);
        std::vector<double> list(static_cast<size_t>(n));
        std::iota(list.begin(), list.end(), 0.0);
        for (int i = 0; i < wanted; ++i) std::swap(list[size_t(i)], list[size_t(i + macrandinterval(n - i))]);
        list.resize(size_t(wanted));
        return storelist(list);
    });
}

// [A] or [A N]: the places of the (first N) values of A, in increasing order of value.
double sortlist()
{
    return bracketed([] {
        std::vector<double> values = arrayvalues(readarray());
        if (another()) {
            int n = integer();
            if (n < 1 || n > int(values.size())) myerr("Cannot sort %i values of %i", n, int(values.size()));
            values.resize(size_t(n));
        }
        std::vector<size_t> order(values.size());
        std::iota(order.begin(), order.end(), size_t(0));
        std::stable_sort(order.begin(), order.end(), [&](size_t i, size_t j) { return values[i] < values[j]; });
        return storelist({ order.begin(), order.end() });
    });
}

}
