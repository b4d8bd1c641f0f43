// What several benchmarks use: the clock, commands, data that evolve along a tree.
#pragma once
#include "kernel/commands.h"
#include "kernel/driver.h"
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

inline double cpu()
{
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

inline void command(const std::string &text)
{
    gtkZel(text.c_str());
    if (!gtkZel_noerrors) fprintf(stderr, "failed: %s\n", text.c_str());
}

// Characters that change along a random tree; the rates of characters differ as those of sites of a gene
// do, so some are nearly constant and some saturated.
struct model {
    int taxa, chars, leaststates, moststates;
    double rate;                   // changes expected on a branch
    unsigned seed;
    double shape = 0;              // rates differ exponentially, and only informative characters are taken; above 0: rates, and
                                   // lengths of branches too, differ as a gamma distribution of this shape, and all are taken
};

inline bool informative(const std::string &column)
{
    int count[128] = {}, common = 0;
    for (char c : column) common += ++count[int(c)] == 2;
    return common >= 2;
}

inline std::vector<std::string> generated(const model &m)
{
    std::mt19937 rng(m.seed);
    std::vector<int> anc(size_t(2 * m.taxa - 1), -1), leaves{ 0 };
    for (int n = 1; n < 2 * m.taxa - 1; n += 2) {               // a leaf becomes two
        size_t at = rng() % leaves.size();
        anc[size_t(n)] = anc[size_t(n) + 1] = leaves[at];
        leaves[at] = n;
        leaves.push_back(n + 1);
    }
    std::exponential_distribution<double> rates(1);
    std::uniform_real_distribution<double> chance(0, 1);
    bool all = m.shape > 0;
    std::gamma_distribution<double> uneven(all ? m.shape : 1, all ? 1 / m.shape : 1);
    std::vector<double> lengths(anc.size(), 1);
    if (all)
        for (double &x : lengths) x = uneven(rng);
    std::vector<std::string> rows(size_t(m.taxa));
    std::string state(anc.size(), '0'), column(size_t(m.taxa), '0');
    for (int c = 0; c < m.chars;) {
        int states = m.leaststates + int(rng() % unsigned(m.moststates - m.leaststates + 1));
        double rate = (all ? uneven(rng) : rates(rng)) * m.rate;
        for (size_t n = 1; n < anc.size(); ++n) {
            state[n] = state[size_t(anc[n])];
            if (chance(rng) < rate * lengths[n]) state[n] = char('0' + rng() % unsigned(states));
        }
        for (size_t t = 0; t < rows.size(); ++t) column[t] = state[size_t(leaves[t])];
        if (!all && !informative(column)) continue;
        for (size_t t = 0; t < rows.size(); ++t) rows[t] += column[t];
        ++c;
    }
    return rows;
}

// A matrix file of its data, which the caller removes.
inline std::string modelfile(const model &m)
{
    std::vector<std::string> rows = generated(m);
    std::string file = "/tmp/zel_bench" + std::to_string(getpid()) + ".xread";
    if (FILE *f = fopen(file.c_str(), "w")) {
        fprintf(f, "xread %i %i\n", m.chars, m.taxa);
        for (int t = 0; t < m.taxa; ++t) fprintf(f, "t%i %s\n", t, rows[size_t(t)].c_str());
        fprintf(f, ";\nprocedure/;\n");
        fclose(f);
    }
    return file;
}
