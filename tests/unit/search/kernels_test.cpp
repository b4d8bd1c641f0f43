// The vector kernels alone, on random rows, against the formulas for one cell.
#include "zeltest.h"
#include "onecell.h"
#include "search/kernels.h"
#include <algorithm>
#include <numeric>

namespace {

const int widths[] = { 2, 4, 8, 16, 32 };
constexpr int ROW = 128, NODES = 9, TAXA = 5;

// Rows of a tree of five terminals with cells of random classes behind each other.
//      5 -- 0
//       `-- 6 -- 1
//            `-- 7 -- 2
//                 `-- 8 -- 3, 4
struct rows {
    alignas(64) uint32_t walk[NODES * 3 * ROW], branch[NODES * ROW], low[ROW], shift[ROW], cellwts[ROW], fieldwts[ROW * 16];
    alignas(64) uint32_t unions[4 * ROW], fieldbytes[4 * ROW] = {};
    int bits[ROW], cells = 0;
    int anc[NODES] = { 5, 6, 7, 8, 8, NODES, 5, 6, 7 };
    int lef[NODES] = { -1, -1, -1, -1, -1, 0, 1, 2, 3 }, rig[NODES] = { -1, -1, -1, -1, -1, 6, 7, 8, 4 };
    int path[NODES + 1], stack[NODES + 1], changed[NODES + 1];
    int isinclu[NODES] = {}, dirtylist[5], dirty[4] = {}, lowcell[4] = { NOCELL, NOCELL, NOCELL, NOCELL }, hicell[4] = {};
    static constexpr int LOGGED = 1200;
    logentry logged[LOGGED + LOGSLACK];
    alignas(64) uint32_t logcells[(LOGGED + LOGSLACK) * LOGCELLS];
    int64_t fieldfits[ROW * 16];
    uint32_t fieldsteps[ROW * 16] = {};
    evaldata d = {};

    uint32_t *dn(int n) { return walk + n * 3 * ROW; }

    rows(std::mt19937 &rng, int howmany, int kind)
    {
        int per[5] = {};
        cells = howmany;
        for (int c = 0; c < cells; ++c) ++per[rng() % 5];
        if (rng() % 4 == 0) {                                  // often one class only
            std::fill(per, per + 5, 0);
            per[rng() % 5] = cells;
        }
        int c = 0, last = 2;
        for (int k = 0; k < 5; ++k)
            for (int i = 0; i < per[k]; ++i) bits[c++] = last = widths[k];
        for (; c < ROW; ++c) bits[c] = last;
        std::fill(std::begin(walk), std::end(walk), ~0u);
        std::fill(std::begin(branch), std::end(branch), ~0u);
        std::fill(std::begin(unions), std::end(unions), ~0u);
        for (c = 0; c < ROW; ++c) {
            uint32_t all = ~0u >> (32 - bits[c]), tops = ~0u / all << (bits[c] - 1);
            low[c] = ~tops;
            shift[c] = uint32_t(bits[c] - 1);
            cellwts[c] = kind == KW_UNIT ? 1 : rng() % 7 + 1;
            for (int f = 0; f < 16; ++f) fieldwts[c * 16 + f] = kind >= KW_FIELD ? rng() % 9 + 1 : cellwts[c];
            for (int f = 0; f < 16; ++f) fieldfits[c * 16 + f] = fieldwts[c * 16 + f];
        }
        if (kind >= KW_FIELD && rng() % 2) roundweights(int(rng() % 3));
        for (int t = 0; t < TAXA; ++t)
            for (c = 0; c < ROW; ++c) {
                if (c < cells) dn(t)[c] = randomsets(rng, bits[c]);
                dn(t)[ROW + c] = 0;
            }
        for (int n = 0; n < NODES; ++n)
            for (c = 0; c < cells; ++c) branch[n * ROW + c] = randomsets(rng, bits[c]);
        d.cells = cells;
        d.twobits = int(std::count(bits, bits + ROW, 2));
        d.row = ROW;
        d.ntax = TAXA;
        d.maxlog = LOGGED;
        own();
    }

    // What is worked on is in these rows, not in those that they were copied from.
    void own()
    {
        d.low = low;
        d.shift = shift;
        d.cellwts = cellwts;
        d.fieldwts = fieldwts;
        d.fieldfits = fieldfits;
        d.fieldsteps = fieldsteps;
        d.walk = walk;
        d.branch = branch;
        d.anc = anc;
        d.lef = lef;
        d.rig = rig;
        d.path = path;
        d.stack = stack;
        d.changed = changed;
        d.isinclu = isinclu;
        d.dirtylist = dirtylist;
        d.dirty = dirty;
        d.lowcell = lowcell;
        d.hicell = hicell;
        d.logged = logged;
        d.logcells = logcells;
    }

    void roundweights(int shift)
    {
        for (int i = 0; i < ROW * 16; ++i) fieldbytes[i % 4 * ROW + i / 16] |= fieldwts[i] >> shift << i % 16 / 4 * 8;
        d.fieldbytes = fieldbytes;
        d.byteshift = shift;
    }

    static uint32_t randomsets(std::mt19937 &rng, int bits)    // no field is empty; some hold every state
    {
        uint32_t x = 0, all = ~0u >> (32 - bits);
        for (int at = 0; at < 32; at += bits) {
            uint32_t f = 1u << rng() % bits;
            if (rng() % 4 == 0) f |= 1u << rng() % bits;
            if (rng() % 8 == 0) f = all;
            x |= f << at;
        }
        return x;
    }

    long steps(const uint32_t *a, const uint32_t *b) const
    {
        long n = 0;
        for (int c = 0; c < cells; ++c)
            n += onecell::weigh(onecell::emptyfields(a[c] & b[c], bits[c]), bits[c], fieldwts + c * 16);
        return n;
    }

    // All sets of the tree below node top, whose final set is its first-pass set; returns the steps.
    long optimize(int top, const int *order, int n)
    {
        long sum = 0;
        for (int i = n - 1; i >= 0; --i)
            for (int c = 0; c < cells; ++c) {
                uint32_t *to = dn(order[i]) + c;
                sum += onecell::weigh(onecell::down(dn(lef[order[i]])[c], dn(rig[order[i]])[c], bits[c], to, to + ROW),
                                      bits[c], fieldwts + c * 16);
            }
        for (int i = 0; i < n; ++i) {
            int y = order[i];
            for (int c = 0; c < cells; ++c) {
                uint32_t *to = dn(y) + c;
                if (y == top) {
                    to[2 * ROW] = to[0];
                    if (y == TAXA) branch[y * ROW + c] = to[0];
                } else {
                    uint32_t f = dn(anc[y])[2 * ROW + c];
                    to[2 * ROW] = onecell::finalset(f, to[0], to[ROW], bits[c]);
                    branch[y * ROW + c] = f | to[2 * ROW];
                }
                for (int k : { lef[y], rig[y] })
                    if (k < TAXA) branch[k * ROW + c] = onecell::terminalbranch(to[2 * ROW], dn(k)[c], bits[c]);
            }
        }
        return sum;
    }
};

const int order[] = { 5, 6, 7, 8 };

template<class F> void eachkernel(F f)
{
    for (int i = 0; kernelsets[i]; ++i) {
        SCOPED_TRACE(kernelsets[i]->name);
        f(*kernelsets[i]);
    }
}

// Every length of row, each weight kind, several draws.
template<class F> void eachlength(unsigned seed, F f)
{
    std::mt19937 rng(seed);
    std::vector<int> lengths(41);
    std::iota(lengths.begin(), lengths.end(), 0);
    lengths.insert(lengths.end(), { 63, 64, 65, 80, 81, 100, ROW });      // whole blocks of the widest vectors, and more
    for (int cells : lengths)
        for (int kind = 0; kind < KERNELWEIGHTS; ++kind)
            for (int draw = 0; draw < 6; ++draw) {
                auto r = std::make_unique<rows>(rng, cells, kind);
                f(rng, *r, kind);
            }
}

}  // namespace

TEST(Kernels, TheOnesOfThisMachineAreListedNarrowestFirstAndCanBeForced)
{
    ASSERT_STREQ(kernelsets[0]->name, "base");
    for (int i = 0; kernelsets[i]; ++i) {
        EXPECT_TRUE(i == 0 || kernelsets[i]->width > kernelsets[i - 1]->width);
        EXPECT_TRUE(force_kernels(kernelsets[i]->name));
        EXPECT_EQ(kernel, kernelsets[i]);
    }
    const kernelset *before = kernel;
    EXPECT_FALSE(force_kernels("abacus"));
    EXPECT_EQ(kernel, before);
    EXPECT_TRUE(force_kernels(""));
    EXPECT_EQ(kernelsets[1] == nullptr || kernel != kernelsets[0], true);
}

TEST(Kernels, ACheckCountsTheDisjointFieldsOfEveryClass)
{
    eachlength(11, [](std::mt19937 &, rows &r, int kind) {
        long expected = r.steps(r.dn(0), r.dn(1));
        eachkernel([&](const kernelset &k) {
            EXPECT_EQ(k.check[kind](&r.d, r.dn(0), r.dn(1), NOLIMIT), expected) << r.cells << " cells";
        });
    });
}

TEST(Kernels, ACheckPassesExactlyWhenTheCountIsWithinTheBound)
{
    eachlength(12, [](std::mt19937 &, rows &r, int kind) {
        long n = r.steps(r.dn(0), r.dn(1));
        eachkernel([&](const kernelset &k) {
            EXPECT_EQ(k.check[kind](&r.d, r.dn(0), r.dn(1), int(n)), n);
            EXPECT_EQ(k.check[kind](&r.d, r.dn(0), r.dn(1), int(n) - 1), TOOMANY);
            EXPECT_EQ(k.check[kind](&r.d, r.dn(0), r.dn(1), -1), TOOMANY);
        });
    });
}

TEST(Kernels, APairIsCheckedAsTheUnionOfTheTwo)
{
    eachlength(13, [](std::mt19937 &, rows &r, int kind) {
        uint32_t both[ROW];
        for (int c = 0; c < ROW; ++c) both[c] = r.dn(1)[c] | r.dn(2)[c];
        long n = r.steps(r.dn(0), both);
        eachkernel([&](const kernelset &k) {
            EXPECT_EQ(k.pair[kind](&r.d, r.dn(0), r.dn(1), r.dn(2), NOLIMIT), n);
            EXPECT_EQ(k.pair[kind](&r.d, r.dn(0), r.dn(1), r.dn(2), int(n)), n);
            EXPECT_EQ(k.pair[kind](&r.d, r.dn(0), r.dn(1), r.dn(2), int(n) - 1), TOOMANY);
        });
    });
}

TEST(Kernels, AScanFindsWhatChecksOneByOneFind)
{
    eachlength(14, [](std::mt19937 &rng, rows &r, int kind) {
        int list[NODES], n = 0;
        for (int i = 0; i < NODES; ++i) list[n++] = int(rng() % NODES);
        int bound = int(r.steps(r.dn(0), r.branch + list[rng() % n] * ROW)) - int(rng() % 2);
        eachkernel([&](const kernelset &k) {
            int next = 0;
            for (int i = 0; i < n; ++i) {
                long s = r.steps(r.dn(0), r.branch + list[i] * ROW);
                if (s > bound) continue;
                long steps = -1;
                int at = k.scan[kind](&r.d, r.dn(0), r.branch, list, next, n, bound, &steps);
                ASSERT_EQ(at, i);
                EXPECT_EQ(steps, s);
                next = i + 1;
            }
            long steps;
            EXPECT_EQ(k.scan[kind](&r.d, r.dn(0), r.branch, list, next, n, bound, &steps), n);
        });
    });
}

TEST(Kernels, PlacesOfDisjointFieldsAreListedInAscendingOrder)
{
    eachlength(21, [](std::mt19937 &, rows &r, int) {
        std::vector<int> expected;
        for (int c = 0; c < r.cells; ++c) {
            uint32_t empty = onecell::emptyfields(r.dn(0)[c] & r.dn(1)[c], r.bits[c]);
            for (int b = 0; b < 32; ++b)
                if (empty >> b & 1) expected.push_back(c * 16 + (r.bits[c] == 2 ? b + 1 : b) / 2);
        }
        eachkernel([&](const kernelset &k) {
            std::vector<int> places(ROW * 16);
            places.resize(size_t(k.disjoint(&r.d, r.dn(0), r.dn(1), places.data())));
            EXPECT_EQ(places, expected);
        });
    });
}

TEST(Kernels, BothPassesOfATreeGiveTheSetsOfTheFormulas)
{
    eachlength(15, [](std::mt19937 &, rows &r, int kind) {
        auto plain = std::make_unique<rows>(r);
        long steps = plain->optimize(5, order, 4);
        eachkernel([&](const kernelset &k) {
            auto fast = std::make_unique<rows>(r);
            fast->d.walk = fast->walk;
            fast->d.branch = fast->branch;
            fast->d.fieldsteps = fast->fieldsteps;
            long found = k.down[kind](&fast->d, order, 4);
            for (int f = 0; f < ROW * 16; ++f) found += long(fast->fieldsteps[f]) * fast->fieldwts[f];
            EXPECT_EQ(found, steps);
            k.up(&fast->d, order, 4, 1);
            for (int n = 0; n < NODES; ++n)
                for (int c = 0; c < r.cells; ++c) {
                    EXPECT_EQ(fast->branch[n * ROW + c], plain->branch[n * ROW + c]) << "node " << n << " cell " << c;
                    for (int which = 0; which < 3 && n >= TAXA; ++which)
                        EXPECT_EQ(fast->dn(n)[which * ROW + c], plain->dn(n)[which * ROW + c]) << n << " " << which;
                }
        });
    });
}

TEST(Kernels, PaddingStaysFullAndTailsSpoilNothing)
{
    eachlength(16, [](std::mt19937 &, rows &r, int kind) {
        eachkernel([&](const kernelset &k) {
            auto fast = std::make_unique<rows>(r);
            fast->d.walk = fast->walk;
            fast->d.branch = fast->branch;
            fast->d.fieldsteps = fast->fieldsteps;
            k.down[kind](&fast->d, order, 4);
            k.up(&fast->d, order, 4, 1);
            for (int n = 0; n < NODES; ++n)
                for (int c = r.cells; c < ROW; ++c) {
                    EXPECT_EQ(fast->branch[n * ROW + c], ~0u);
                    for (int which = 0; which < 3; which += n < TAXA ? 2 : 1) EXPECT_EQ(fast->dn(n)[which * ROW + c], ~0u);
                }
        });
    });
}

// Node 8 (3 4) is clipped: 2 joins 6.  Sets of both parts must be those of a complete optimization,
// what was overwritten comes back from the log, and joining again gives the sets of the whole tree.
TEST(Kernels, AClipAndItsUndoingGiveTheSetsOfACompleteOptimization)
{
    eachlength(17, [](std::mt19937 &, rows &r, int) {
        r.optimize(5, order, 4);
        auto same = [&](rows &a, rows &b) {
            for (int n = 0; n < NODES; ++n) {
                if (n == 5 || n == 7 || n == 8) continue;
                for (int c = 0; c < r.cells; ++c) ASSERT_EQ(a.branch[n * ROW + c], b.branch[n * ROW + c]) << n << " " << c;
            }
            for (int n : { 5, 6, 8 })
                for (int which = 0; which < 3; ++which)
                    for (int c = 0; c < r.cells; ++c)
                        ASSERT_EQ(a.dn(n)[which * ROW + c], b.dn(n)[which * ROW + c]) << n << " " << which << " " << c;
        };
        eachkernel([&](const kernelset &k) {
            auto whole = std::make_unique<rows>(r), fast = std::make_unique<rows>(r), plain = std::make_unique<rows>(r);
            for (rows *q : { fast.get(), plain.get() }) {
                q->own();
                q->anc[2] = 6;
                q->lef[6] = 2;
                q->rig[6] = 1;
            }
            const int rest[] = { 5, 6 }, clip[] = { 8 };
            plain->optimize(5, rest, 2);
            plain->optimize(8, clip, 1);
            fast->d.logging = 1;
            k.afterclip(&fast->d, 2, 8);
            fast->d.logging = 0;
            same(*fast, *plain);
            ASSERT_LE(fast->d.nlog, fast->d.maxlog);
            auto undone = std::make_unique<rows>(*fast);
            undone->d.walk = undone->walk;
            for (int i = 0; i < undone->d.nlog; ++i) {          // the log points into the rows of fast
                uint32_t *w = fast->logged[i].where;
                bool inwalk = w >= fast->walk && w < fast->walk + NODES * 3 * ROW;
                undone->logged[i].where = inwalk ? undone->walk + (w - fast->walk) : undone->branch + (w - fast->branch);
            }
            undone->d.logged = undone->logged;
            undone->d.logcells = undone->logcells;
            k.restore(&undone->d);
            same(*undone, *whole);
            fast->anc[2] = 7;                                   // and back by optimization
            fast->lef[6] = 7;
            fast->lef[7] = 2;
            fast->rig[7] = 8;
            k.afterjoin(&fast->d, 7);
            same(*fast, *whole);
        });
    });
}

TEST(Kernels, AClipWidensTheUnionsOfClustersWithChangedBranchSetsAndTellsWhere)
{
    eachlength(18, [](std::mt19937 &, rows &r, int) {
        r.optimize(5, order, 4);
        eachkernel([&](const kernelset &k) {
            auto q = std::make_unique<rows>(r);
            q->own();
            std::fill(q->unions, q->unions + 4 * ROW, 0);
            auto include = [](rows &of, uint32_t *unions) {
                for (int n = 0; n < NODES; ++n)
                    for (int c = 0; c < ROW; ++c) unions[n % 4 * ROW + c] |= of.branch[n * ROW + c];
            };
            for (int n = 0; n < NODES; ++n) q->isinclu[n] = n % 4;
            include(*q, q->unions);
            auto before = std::make_unique<rows>(*q);
            q->d.unions = q->unions;
            q->anc[2] = 6;
            q->lef[6] = 2;
            q->rig[6] = 1;
            k.afterclip(&q->d, 2, 8);
            include(*q, before->unions);                        // which are those expected now
            bool changed[4] = {};
            for (int n = 0; n < NODES; ++n)
                changed[n % 4] |= !std::equal(q->branch + n * ROW, q->branch + n * ROW + r.cells, before->branch + n * ROW);
            EXPECT_EQ(q->d.ndirty, std::count(changed, changed + 4, true));
            for (int u = 0; u < 4; ++u) {
                EXPECT_EQ(q->dirty[u], changed[u]);
                EXPECT_EQ(std::count(q->dirtylist, q->dirtylist + q->d.ndirty, u), changed[u]);
                for (int c = 0; c < ROW; ++c) {
                    ASSERT_EQ(q->unions[u * ROW + c], before->unions[u * ROW + c]) << u << " " << c;
                    uint32_t was = 0;
                    for (int n = u; n < NODES; n += 4) was |= before->branch[n * ROW + c];
                    if (q->unions[u * ROW + c] != was) { EXPECT_TRUE(q->lowcell[u] <= c && c < q->hicell[u]) << u << " " << c; }
                }
            }
        });
    });
}

TEST(Kernels, AFullLogTellsThatNotAllWasKept)
{
    eachlength(19, [](std::mt19937 &, rows &r, int) {
        r.optimize(5, order, 4);
        eachkernel([&](const kernelset &k) {
            int all = 0;
            for (int room : { rows::LOGGED, 0, 1, 2, 3, 4, 5 }) {
                auto q = std::make_unique<rows>(r);
                q->own();
                q->anc[2] = 6;
                q->lef[6] = 2;
                q->rig[6] = 1;
                q->d.maxlog = room;
                q->d.logging = 1;
                k.afterclip(&q->d, 2, 8);
                if (room == rows::LOGGED) all = q->d.nlog;
                EXPECT_EQ(q->d.nlog > room, all > room);
                EXPECT_EQ(q->d.nlog, std::min(all, room + 1));
            }
        });
    });
}
