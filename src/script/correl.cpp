// Least-squares lines, and rank correlations with their permutations.
#include "script/correl.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/ex.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

using series = std::vector<double>;

struct line { double a, b, r; };

static line fittedline(const series &x, const series &y, const series &w)
{
    double total = 0, mx = 0, my = 0, xx = 0, yy = 0, xy = 0;
    for (size_t i = 0; i < x.size(); ++i) {
        total += w[i];
        mx += w[i] * x[i];
        my += w[i] * y[i];
    }
    mx /= total;
    my /= total;
    for (size_t i = 0; i < x.size(); ++i) {
        xx += w[i] * (x[i] - mx) * (x[i] - mx);
        yy += w[i] * (y[i] - my) * (y[i] - my);
        xy += w[i] * (x[i] - mx) * (y[i] - my);
    }
    line l;
    l.b = xx > 0 ? xy / xx : 0;
    l.a = my - l.b * mx;
    l.r = xx > 0 && yy > 0 ? xy / std::sqrt(xx * yy) : 0;
    return l;
}

// --- var & --------------------------------------------------------------------------------

// An array, "+S" values left out at its start, "-T" at its end, "/N" the number of values taken.
static series readseries()
{
    arrayof a = readarray();
    series values = arrayvalues(a);
    for (;;) {
        bool shift = gotc('+'), trim = !shift && gotc('-'), limit = !shift && !trim && gotc('/');
        if (!shift && !trim && !limit) return values;
        int number = imacnu(), n = int(values.size());
        if (limit ? number < 1 || number > n : number < 0 || number >= n) {
            if (limit) myerr("Cannot use %i values (there are %i)", number, n);
            errmsg(("Cannot shift " + std::to_string(number) + " values of variable " + std::to_string(a.variable)).c_str(),
                   ("(only 1-" + std::to_string(n - 1) + " are possible)").c_str(), nullptr);
        }
        if (shift) values.erase(values.begin(), values.begin() + number);
        else values.resize(limit ? size_t(number) : values.size() - size_t(number));
    }
}

void correlate_variables()
{
    series x = readseries(), y = readseries(), w;
    if (gotc('*')) w = readseries();
    bool weighted = !w.empty();
    size_t n = std::min(x.size(), y.size());
    if (weighted) n = std::min(n, w.size());
    if (peep() != ';') {
        int wanted = imacnu();
        if (wanted < 1 || size_t(wanted) > n) myerr("Cannot use %i values (there are %i)", wanted, int(n));
        n = size_t(wanted);
    }
    x.resize(n);
    y.resize(n);
    w.resize(n, 1.0);
    double heaviest = 0, total = 0;
    for (size_t i = 0; i < n; ++i) {
        if (w[i] < 0) myerr("Can't regress with negative weights (check cell %i)", int(i));
        heaviest = std::max(heaviest, w[i]);
        total += w[i];
    }
    if (total <= 0) errmsg("Can't regress with all weights zero", nullptr);
    if (heaviest > 1)
        for (double &weight : w) weight /= heaviest;
    line l = fittedline(x, y, w);
    set_last_correl_vals(l.a, l.b, l.r);
    myp("    Y=%.6f%+.6f*X (r=%.6f)", l.a, l.b, l.r);
}

// --- spearman -----------------------------------------------------------------------------

// Equal values share the mean of their ranks.
static series ranks(const series &x)
{
    std::vector<size_t> order(x.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::sort(order.begin(), order.end(), [&](size_t i, size_t j) { return x[i] < x[j]; });
    series rank(x.size());
    for (size_t i = 0, j; i < x.size(); i = j) {
        for (j = i; j < x.size() && x[order[j]] == x[order[i]]; ++j) {}
        for (size_t k = i; k < j; ++k) rank[order[k]] = double(i + j + 1) / 2;
    }
    return rank;
}

static double spearman_correlation(const series &a, const series &b) { return fittedline(a, b, series(a.size(), 1.0)).r; }

double ex::spearman()
{
    return bracketed([] {
        arrayof first = readarray();
        another();
        arrayof second = readarray();
        series a = arrayvalues(first), b = arrayvalues(second);
        int n = int(std::min(a.size(), b.size())), times = 0, how = 0;
        while (another()) {
            int c = clean_peep();
            if (c == '*' || c == '<' || c == '>') {
                truly_clean_gtch();
                how = c;
                times = integer();
                if (times < 1) errmsg("Number of permutations must be 1 or more", nullptr);
            } else {
                int wanted = integer();
                if (wanted > n) myerr("Cannot use %i values (there are %i)", wanted, n);
                n = wanted;
            }
        }
        if (n < 2) errmsg("Spearman correlation must be done for 2 or more values!", nullptr);
        a.resize(size_t(n));
        b.resize(size_t(n));
        a = ranks(a);
        b = ranks(b);
        double r = spearman_correlation(a, b);
        if (macroreport) {
            char text[120];
            snprintf(text, sizeof text, "Correlation of %i pairs: %.6f", n, r);
            spewem(text, nullptr);
        }
        if (!how) return r;
        constexpr double SAME = 1e-12;
        int as_far = 0;
        for (int t = 0; t < times; ++t) {
            for (size_t i = b.size(); i-- > 1; ) std::swap(b[i], b[size_t(macrandinterval(long(i) + 1))]);
            double other = spearman_correlation(a, b);
            as_far += how == '*' ? std::fabs(other) >= std::fabs(r) - SAME : how == '>' ? other > r + SAME : other < r - SAME;
        }
        return double(as_far) / times;
    });
}
