// sectortest.h: sectors chosen at random, reduced trees at random, and the whole tree seen as memory.
#pragma once
#include "searchtest.h"
#include "slowtest.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/sectdata.h"
#include "search/sectset.h"
#include "search/slowopt.h"
#include "trees/imagevars.h"

namespace sectors {

inline plain::data randomdata(int taxa, int chars, int seed, const plain::mix &mix = {})
{
    std::mt19937 rng{ unsigned(seed) };
    plain::data m = plain::randommatrix(rng, taxa, chars, mix);
    m.taxactive.assign(size_t(taxa), 1);
    return m;
}

// Sequences that evolved: taxa share groups, as real ones do.
inline plain::data evolved(std::mt19937 &rng, int taxa, int chars, int percent)
{
    plain::data m = plain::blankmatrix(taxa, chars);
    m.taxactive.assign(size_t(taxa), 1);
    for (int c = 0; c < chars; ++c) m.cells[0][size_t(c)] = 1;
    for (int t = 1; t < taxa; ++t) {
        int from = plain::below(rng, t);
        for (int c = 0; c < chars; ++c)
            m.cells[size_t(t)][size_t(c)] = plain::chance(rng, percent) ? 1u << plain::below(rng, 4) : m.cells[size_t(from)][size_t(c)];
    }
    return m;
}

inline plain::tree randombinary(int taxa, int seed)
{
    std::mt19937 rng{ unsigned(seed) };
    return plain::randomtree(rng, taxa);
}

inline double toldscore(const std::string &said)           // in the report of a command
{
    return bestscore("Best score" + said.substr(std::min(said.size(), said.find("best score"))));
}

struct asector { int base, count; };

// Marks a random sector of the tree in anx, whose links are known; most: of its terminals.
inline asector choose(std::mt19937 &rng, int most)
{
    std::vector<int> inner;
    for (int n = ntax + 1; n < hinod; ++n) inner.push_back(n);
    int base = plain::chance(rng, 15) ? rig[ntax] : inner[size_t(plain::below(rng, int(inner.size())))];
    asector s{ base, 1 };
    std::vector<int> open{ base };
    deslist[base] = IN_SECTOR;
    for (size_t i = 0; i < open.size(); ++i)
        for (int d : { lef[open[i]], rig[open[i]] }) {
            bool ends = d < ntax || s.count + int(open.size() - i) >= most || plain::chance(rng, 15);
            deslist[d] = ends ? SECTOR_TERMINAL : IN_SECTOR;
            s.count += ends;
            if (!ends) open.push_back(d);
        }
    return s;
}

// A tree of ntax terminals, terminal 0 next to the root.
inline std::vector<int> randomreduced(std::mt19937 &rng)
{
    std::vector<int> anc(size_t(hinod) + 2, 0);
    int next = ntax + 1;
    anc[0] = anc[1] = ntax;
    for (int t = 2; t < ntax; ++t) {
        int at = plain::below(rng, 2 * t - 3);          // a branch: of a terminal, or of a node
        at = at < t - 1 ? 1 + at : ntax + 1 + at - (t - 1);
        anc[next] = anc[at];
        anc[at] = anc[t] = next++;
    }
    anc[ntax] = hinod;
    return anc;
}

inline std::vector<int> graft(const std::vector<int> &reduced)     // of the open sector, by hand
{
    std::vector<int> whole(wholetree, wholetree + 2 * realntax - 1);
    for (int k = 1; k < hinod; ++k)
        if (k != ntax) whole[sectonod[k]] = sectonod[reduced[k]];
    return whole;
}

// What there is of the whole tree, bit by bit.
struct snapshot {
    std::vector<uint32_t> sets, branches, counts;
    std::vector<int> slow, tree, left, right, sisters, records;
    std::vector<long> slowcounts;
    std::vector<char> variables;
    snapshot()
        : sets(walkrows, walkrows + size_t(hinod) * 3 * rowcells), branches(branchrows, branchrows + size_t(hinod) * rowcells),
          slow(slowrows, slowrows + size_t(hinod) * slowrow), tree(anx, anx + hinod), left(lef, lef + hinod), right(rig, rig + hinod),
          sisters(sis, sis + hinod), variables(imagevars_size())
    {
        if (dopiwe) counts.assign(stepcounts(), stepcounts() + size_t(rowcells) * 16);
        if (dopiwe && have_unpacked) slowcounts.assign(slowsteps(), slowsteps() + nsank + num_cont);
        save_imagevars(variables.data());
    }
    bool operator==(const snapshot &) const = default;
};

// A tree of the image in force, in anx, optimized.
inline double settree(const std::vector<int> &tree)
{
    std::copy(tree.begin(), tree.begin() + hinod, anx);
    return schoptimize(anx, 1);
}

// The ways of weighting that an image can have.
struct weights { const char *before, *after; };
inline const weights allweights[] = {
    { "piwe-;", "" }, { "piwe=3;", "" }, { "piwe=2.5;", "xpiwe[=3;" }, { "piwe=2.5;", "xpiwe[ 0.3;xpiwe/2x3 5.6;" },
    { "piwe=4;", "xpiwe(*0.5;" }, { "piwe=2;", "xpiwe[=3;xpiwe/2x3 1.2;" }, { "piwe=3;", "ccode =1 .;" },
};

// Random data of each kind under each of them; a tree in anx.
template<class F> void eachimage(unsigned seed, int taxa, int chars, F f)
{
    std::mt19937 rng(seed);
    int turn = 0;
    for (const weights &w : allweights)
        for (const mixed::kind &k : mixed::kinds) {
            if (atmost(4) < 4 && turn++ % 4) continue;       // the slow build sees a part of them
            SCOPED_TRACE(std::string(w.before) + w.after + " " + k.what);
            zelrun(w.before);
            mixed::data d = mixed::random(rng, taxa, chars, k);
            {
                mixed::packing image(d, w.after);
                std::vector<int> tree = packedtree(plain::randomtree(rng, taxa, 0, activetaxa(d.m)));
                settree(tree);
                get_sectsch_priv_buf();
                f(rng, tree);
            }
            zelrun("xpiwe-;piwe-;");
            if (testing::Test::HasFatalFailure()) return;
        }
}

struct keepsettings {
    std::string roomy = zelrun("mxram 64;");
    keepsectsettings settings;
    int buffer = use_sectsch_priv_buf;
    ~keepsettings() { use_sectsch_priv_buf = buffer; }
};

}  // namespace sectors
