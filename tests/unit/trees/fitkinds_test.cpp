// Scores under implied weighting, plain and extended, of every kind of character together: against a
// sum worked out one character at a time from steps of plain optimizers, with tables of nothing.
#include "zeltest.h"
#include "plaincosts.h"
#include "reference.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"
#include <bit>
#include <cmath>

using plain::below, plain::chance, plain::costs, plain::data, plain::tree;

namespace {

using ranges = std::vector<std::pair<long, long>>;     // in thousandths; 0 and 65535 for a missing one

// A matrix with its settings.  Continuous characters come first: character g of the program is
// discrete character g - bounds.size() of m.
struct world {
    data m;
    std::vector<ranges> bounds;
    std::vector<costs> cost;                           // of discrete characters; empty: none
    std::vector<int> active, weight, base, set, fixed; // of all characters
    std::vector<double> givenk, user;                  // user: costs of steps; none: h / (h + k)
    double k = 3, steps = 0, factor = 1, missing = 0, most = 5;
    bool extended = false, concavities = false, equalize = false;
    int size() const { return int(active.size()); }
    int continuous() const { return int(bounds.size()); }
};

// Settings undone whatever a test did.
struct weighting {
    ~weighting() { zelrun("xwipe ; piwe - ; piwe :3 ; cstree - ; nstates num 16 ;"); }
};

std::string number(double x)
{
    char text[40];
    snprintf(text, sizeof text, "%.6f", x);
    return text;
}

ranges somerange(std::mt19937 &rng, int taxa)
{
    ranges r;
    for (int t = 0; t < taxa; ++t) {
        long a = below(rng, 6000), b = chance(rng, 30) ? a + below(rng, 2000) : a;
        r.push_back(chance(rng, 15) ? std::pair<long, long>(0, 65535) : std::pair<long, long>(a, b));
    }
    return r;
}

world someworld(std::mt19937 &rng, bool discreteonly)
{
    world w;
    plain::mix k = plain::everything(discreteonly && chance(rng, 50) ? 8 : discreteonly ? 16 : 32);
    k.maxstates = 2 + below(rng, 6);
    k.inactivetaxa = chance(rng, 50) ? 15 : 0;
    w.m = plain::randommatrix(rng, 5 + below(rng, 6), 4 + below(rng, 8), k);
    for (int c = discreteonly ? 0 : below(rng, 4); c > 0; --c) w.bounds.push_back(somerange(rng, w.m.taxa));
    int n = w.continuous() + w.m.chars;
    w.cost.resize(size_t(w.m.chars));
    for (int c = 0; c < w.m.chars && !discreteonly; ++c) {
        if (!chance(rng, 30)) continue;
        int states = plain::statesof(w.m, c);
        w.cost[c] = chance(rng, 50) ? plain::treecosts(rng, states) : plain::randomcosts(rng, states, chance(rng, 50));
        if (states > 1) w.m.additive[c] = 0;
        else w.cost[c].clear();
    }
    for (int g = 0; g < n; ++g) {
        int c = g - w.continuous();
        w.active.push_back(c < 0 ? !chance(rng, 10) : w.m.active[c]);
        w.weight.push_back(c < 0 ? below(rng, 4) : w.m.weight[c]);
        w.base.push_back(chance(rng, 15) ? below(rng, 4) : 0);
        w.set.push_back(0);
        w.fixed.push_back(0);
        w.givenk.push_back(0);
    }
    w.k = 0.5 + below(rng, 100) / 8.0;
    return w;
}

std::string settings(const world &w)
{
    std::string s = plain::settings(w.m, w.continuous());
    for (int c = 0; c < w.m.chars; ++c)
        if (!w.cost[c].empty()) s += plain::coststext(w.continuous() + c, w.cost[c]);
    for (int g = 0; g < w.size(); ++g)
        s += "ccode " + std::string(w.active[g] ? "[" : "]") + "/" + std::to_string(w.weight[g]) + "=" + std::to_string(w.base[g]) +
             " " + std::to_string(g) + ";\n";
    return s;
}

std::string matrixtext(const world &w)
{
    if (!w.continuous()) return "nstates num " + std::to_string(w.m.width) + ";\n" + plain::xread(w.m);
    std::string text = "nstates num 32; xread " + std::to_string(w.size()) + " " + std::to_string(w.m.taxa) + "\n&[continuous]\n";
    for (int t = 0; t < w.m.taxa; ++t) {
        text += "t" + std::to_string(t);
        for (const ranges &r : w.bounds) {
            auto [a, b] = r[size_t(t)];
            char cell[60];
            snprintf(cell, sizeof cell, " %ld.%03ld-%ld.%03ld", a / 1000, a % 1000, b / 1000, b % 1000);
            text += b == 65535 ? " ?" : cell;
        }
        text += "\n";
    }
    text += "&[numeric]\n";
    for (int t = 0; t < w.m.taxa; ++t) {
        text += "t" + std::to_string(t) + " ";
        for (int c = 0; c < w.m.chars; ++c) text += plain::celltext(w.m.cells[t][c]);
        text += "\n";
    }
    return text + ";\n";
}

void readworld(const world &w)
{
    std::string said = zelrun("piwe = " + number(w.k) + "; procedure " + writefile("fits.xread", matrixtext(w) + settings(w) + "procedure/;\n") + ";");
    ASSERT_FALSE(zelfailed()) << said << matrixtext(w) << settings(w);
    ASSERT_EQ(nc, w.size());
}

// --- Homoplasy ---

data onechar(const data &m, int c)
{
    data one = m;
    one.chars = 1;
    for (auto &row : one.cells) row = { row[size_t(c)] };
    one.additive = { m.additive[size_t(c)] }, one.weight = { 1 }, one.active = { 1 };
    return one;
}

// The character with two states: those that the mask has, and the others.
data splitchar(const data &m, int c, uint32_t mask)
{
    data one = onechar(m, c);
    one.additive = { 0 };
    for (int t = 0; t < m.taxa; ++t) {
        uint32_t states = plain::seen(m, t, c);
        if (states != plain::ANY) one.cells[t][0] = (states & ~mask ? 1u : 0u) | (states & mask ? 2u : 0u);
    }
    return one;
}

long stepson(const data &one, const tree &t, bool soft) { return soft ? plain::softsteps(one, t, 0) : plain::steps(one, t, 0); }

// Fewest states that every active taxon has one of, less 1.
int fewest(const data &m, int c)
{
    std::vector<uint32_t> cells;
    uint32_t all = 0;
    for (int t = 0; t < m.taxa; ++t)
        if (m.taxactive[t] && m.cells[t][c] != plain::ANY) cells.push_back(m.cells[t][c]), all |= m.cells[t][c];
    int least = 99;
    if (cells.empty()) return 0;
    for (uint32_t some = all; some; some = (some - 1) & all)
        if (std::all_of(cells.begin(), cells.end(), [&](uint32_t x) { return x & some; })) least = std::min(least, std::popcount(some));
    return least - 1;
}

uint32_t statesseen(const data &m, int c, bool activeonly = false)
{
    uint32_t all = 0;
    for (int t = 0; t < m.taxa; ++t)
        if (m.cells[t][c] != plain::ANY && (m.taxactive[t] || !activeonly)) all |= m.cells[t][c];
    return all;
}

// Continuous: on the bush of the active taxa that has them in the best order, the gap between ranges.
double fewestchange(const world &w, int g)
{
    long low = 0, high = 65535;
    for (int t = 0; t < w.m.taxa; ++t)
        if (w.m.taxactive[t]) low = std::max(low, w.bounds[g][t].first), high = std::min(high, w.bounds[g][t].second);
    return double(std::max(0L, low - high)) / 1000;
}

std::vector<double> homoplasies(const world &w, const tree &t, int g, bool soft)
{
    int c = g - w.continuous();
    double base = w.base[g];
    if (c < 0) return { double(plain::rangesteps(w.bounds[g], t)) / 1000 + base - fewestchange(w, g) };
    uint32_t seen = statesseen(w.m, c);
    int low = std::countr_zero(seen), high = std::bit_width(seen) - 1;
    if (seen && !w.cost[c].empty()) {
        if (charcodes[g].sankoff_kind != SANK_TREE)
            return { double(plain::sankoff(w.m, t, c, w.cost[c]).steps) + base - minimum_for_fit(g) };
        std::vector<double> h;                                        // each branch of the state tree
        for (int a = low; a <= high; ++a)
            for (int b = a + 1; b <= high; ++b) {
                if (w.cost[c][a][b] != 1) continue;
                uint32_t side = 0;
                for (int s = low; s <= high; ++s)
                    if (w.cost[c][s][b] < w.cost[c][s][a]) side |= 1u << s;
                h.push_back(double(stepson(splitchar(w.m, c, side), t, soft)) + base - 1);
            }
        return h;
    }
    seen = statesseen(w.m, c, true);
    low = std::countr_zero(seen), high = std::bit_width(seen) - 1;
    if (!w.m.additive[c] || !(seen & (seen - 1))) return { double(stepson(onechar(w.m, c), t, soft)) + base - fewest(w.m, c) };
    std::vector<double> h;
    for (int s = low; s < high; ++s) h.push_back(double(stepson(splitchar(w.m, c, ~((2u << s) - 1)), t, soft)) + base - 1);
    return h;
}

// --- Fits ---

double userfit(const world &w, double h)
{
    double sum = 0;
    for (int i = 0; h > 0; ++i, h -= 1) sum += std::min(h, 1.0) * w.user[std::min(size_t(i), w.user.size() - 1)];
    return sum;
}

double basefit(const world &w, double h) { return w.user.empty() ? h / (h + w.k) : userfit(w, h); }

double fitwith(const world &w, double h, double k)
{
    if (w.user.empty()) return (k + 1) / (w.k + 1) * h / (h + k);
    double first = userfit(w, w.k / k);
    return (first > 0 ? userfit(w, 1) / first : 1) * userfit(w, h * w.k / k);
}

double kfor(const world &w, double seen, double all)
{
    double q = std::max(seen / (seen + (all - seen) * w.missing), 1 / w.most);
    return w.equalize ? equalizer_for_kas(w.k, 1 / q) : q * w.k;
}

std::pair<int, int> cellsof(const world &w, int g)
{
    int seen = 0, all = 0, c = g - w.continuous();
    for (int t = 0; t < w.m.taxa; ++t) {
        if (!w.m.taxactive[t]) continue;
        ++all;
        seen += c < 0 ? w.bounds[g][t].second != 65535 : w.m.cells[t][c] != plain::ANY;
    }
    return { seen, all };
}

double kofset(const world &w, int set)
{
    double seen = 0, all = 0;
    for (int g = 0; g < w.size(); ++g) {
        if (w.set[g] != set || !w.active[g]) continue;
        if (w.missing == 0) return w.givenk[g] > 0 ? w.givenk[g] : w.k;      // of the first member
        auto [s, a] = cellsof(w, g);
        seen += s, all += a;
    }
    return kfor(w, seen, all);
}

double kofcharacter(const world &w, int g)
{
    if (w.missing > 0) return kfor(w, cellsof(w, g).first, cellsof(w, g).second);
    return w.givenk[g] > 0 ? w.givenk[g] : w.k;
}

double plainscore(const world &w, const tree &t, bool soft = false)
{
    double sum = 0, step = w.factor * (basefit(w, w.steps + 1) - basefit(w, w.steps));
    std::vector<double> total(size_t(w.size()) + 1), members(size_t(w.size()) + 1);
    for (int g = 0; g < w.size(); ++g) {
        if (!w.active[g]) continue;
        if (w.extended && w.set[g]) members[w.set[g]] += w.weight[g];
        for (double h : homoplasies(w, t, g, soft)) {
            h = std::max(h, 0.0);
            if (w.extended && w.fixed[g]) sum += w.weight[g] * h * step;
            else if (w.extended && w.set[g]) total[w.set[g]] += w.weight[g] * h;
            else if (w.extended && w.concavities) sum += w.weight[g] * fitwith(w, h, kofcharacter(w, g));
            else sum += w.weight[g] * basefit(w, h);
        }
    }
    for (int s = 1; s <= w.size(); ++s) {
        if (members[s] <= 0) continue;
        double h = total[s] / members[s];
        sum += members[s] * (w.concavities ? fitwith(w, h, kofset(w, s)) : basefit(w, h));
    }
    return sum;
}

// --- Extended settings, in the world and as commands ---

std::string extend(std::mt19937 &rng, world *w)
{
    std::string s;
    w->extended = true;
    int sets = below(rng, 3);
    for (int n = 1; n <= sets; ++n) {
        std::string list;
        for (int g = 0; g < w->size(); ++g)
            if (!w->set[g] && chance(rng, 40)) w->set[g] = n, list += " " + std::to_string(g);
        if (!list.empty()) s += "xpiwe [" + list + ";\n";
    }
    if (chance(rng, 50)) {
        w->steps = below(rng, 4);
        w->factor = 0.5 + below(rng, 8) / 4.0;
        std::string list;
        for (int g = 0; g < w->size(); ++g)
            if (!w->set[g] && chance(rng, 25)) w->fixed[g] = 1, list += " " + std::to_string(g);
        if (!list.empty()) s += "xpiwe /" + number(w->steps) + "x" + number(w->factor) + list + ";\n";
    }
    switch (below(rng, 3)) {
        case 0:
            w->concavities = true;
            w->equalize = w->user.empty() && chance(rng, 50);
            w->missing = 0.25 + below(rng, 8) / 4.0;
            w->most = 1 + below(rng, 5);
            s += std::string("xpiwe (") + (w->equalize ? "=" : "") + "*" + number(w->missing) + " <" + number(w->most) + ";\n";
            break;
        case 1:
            w->concavities = true;
            for (int g = 0; g < w->size(); ++g) {
                if (!chance(rng, 50)) continue;
                w->givenk[g] = 0.5 + below(rng, 60) / 4.0;
                s += "xpiwe ( " + std::to_string(g) + " /" + number(w->givenk[g]) + ";\n";
            }
            if (s.find("xpiwe ( ") == std::string::npos) w->concavities = false;
    }
    return s + "xpiwe =;\n";
}

tree activetree(std::mt19937 &rng, const world &w, int collapse)
{
    std::vector<int> in;
    for (int t = 0; t < w.m.taxa; ++t)
        if (w.m.taxactive[t]) in.push_back(t);
    std::shuffle(in.begin() + 1, in.end(), rng);
    return plain::randomtree(rng, w.m.taxa, collapse, in);
}

void comparescores(std::mt19937 &rng, const world &w, const std::string &commands)
{
    optmem();
    for (int i = 0; i < 4; ++i) {
        tree t = activetree(rng, w, i % 3 * 40);
        std::vector<int> anc = plain::stored(t);
        double want = plainscore(w, t);
        ASSERT_NEAR(packdownpass(anc.data()), want, 1e-8) << matrixtext(w) << settings(w) << commands << plain::text(t);
        double shared = 0;
        for (int c = 0; c < nc; ++c)
            if (charcodes[c].active) shared += charcodes[c].weight * charcodes[c].fit;
        ASSERT_NEAR(shared, want, 1e-8);
        ASSERT_NEAR(downpass(anc.data()), want, 1e-8) << matrixtext(w) << settings(w) << commands << plain::text(t);
    }
}

}  // namespace

TEST(Fitkinds, EveryKindOfCharacterCountsByItsOwnHomoplasy)
{
    weighting undo;
    std::mt19937 rng(31);
    for (int trial = 0; trial < 60; ++trial) {
        world w = someworld(rng, trial % 3 == 0);
        readworld(w);
        zelrun(trial % 2 ? "cstree +;" : "cstree -;");
        comparescores(rng, w, "");
        if (HasFatalFailure()) return;
    }
}

TEST(Fitkinds, SetsConstantWeightsAndConcavitiesTogether)
{
    weighting undo;
    std::mt19937 rng(32);
    for (int trial = 0; trial < 60; ++trial) {
        world w = someworld(rng, trial % 3 == 0);
        readworld(w);
        zelrun(trial % 2 ? "cstree +;" : "cstree -;");
        std::string commands = extend(rng, &w);
        zelrun("procedure " + writefile("extend", commands + "procedure/;\n") + ";");
        ASSERT_FALSE(zelfailed()) << commands;
        comparescores(rng, w, commands);
        if (HasFatalFailure()) return;
    }
}

TEST(Fitkinds, FunctionsOfTheUserReplaceTheOneOfK)
{
    weighting undo;
    std::mt19937 rng(33);
    for (int trial = 0; trial < 50; ++trial) {
        world w = someworld(rng, true);
        readworld(w);
        std::string commands = "piwe [";
        for (int i = 2 + below(rng, 12); i > 0; --i) {
            w.user.push_back((1 + below(rng, 100)) / 50.0);
            commands += " " + number(w.user.back());
        }
        commands += ";\n";
        if (trial % 2) commands += extend(rng, &w);
        zelrun("procedure " + writefile("extend", commands + "procedure/;\n") + ";");
        ASSERT_FALSE(zelfailed()) << commands;
        comparescores(rng, w, commands);
        if (HasFatalFailure()) return;
    }
}

TEST(Fitkinds, SoftPolytomiesAreResolvedForEachCharacterAndThreshold)
{
    weighting undo;
    std::mt19937 rng(34);
    for (int trial = 0; trial < 50; ++trial) {
        world w = someworld(rng, true);
        readworld(w);
        std::string commands;
        if (trial % 2) {
            commands = extend(rng, &w);
            zelrun("procedure " + writefile("extend", commands + "procedure/;\n") + ";");
        }
        optmem();
        tree t = activetree(rng, w, 40);
        size_t widest = 0;
        for (auto &d : plain::children(t)) widest = std::max(widest, d.size());
        if (widest > 5) continue;
        std::vector<int> anc = plain::stored(t);
        double want = plainscore(w, t, true);
        ASSERT_NEAR(softpolyoptimize(anc.data()), want, 1e-8) << matrixtext(w) << settings(w) << commands << plain::text(t);
    }
}

TEST(Fitkinds, CollapsingABranchCostsWhatTheTreeWithoutItScoresMore)
{
    weighting undo;
    std::mt19937 rng(35);
    for (int trial = 0; trial < 50; ++trial) {
        world w = someworld(rng, trial % 2);
        std::fill(w.m.taxactive.begin(), w.m.taxactive.end(), 1);
        readworld(w);
        zelrun("tread " + plain::text(plain::randomtree(rng, w.m.taxa, 20)) + ";");
        std::istringstream lines(zelrun("tables =; blength /; tables -;"));
        tree t = plain::fromstored(mem_tree[0], w.m.taxa);
        double whole = plainscore(w, t);
        auto kids = plain::children(t);
        std::vector<double> want(t.nodes(), 0);
        for (int n = t.taxa + 1; n < t.nodes(); ++n)
            if (t.anc[n] != t.root() || kids[t.root()].size() > 2) want[n] = plainscore(w, plain::without(t, n)) - whole;
        for (std::string line; std::getline(lines, line); ) {
            size_t tab = line.find('\t');
            if (tab == std::string::npos || line.find_first_not_of(" ", tab + 1) == std::string::npos) continue;
            int n = std::stoi(line);
            EXPECT_NEAR(std::stod(line.substr(tab + 1)), want[n], 6e-6) << matrixtext(w) << settings(w) << plain::text(t) << " node " << n;
        }
    }
}
