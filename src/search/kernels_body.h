// search/kernels_body.h: the text of the kernels, included once in each kernel file, inside its
// unnamed namespace, after N, vec, loosevec, anybit, countbits, partcounts, sumparts, countcells, sumcells, bytemask,
// addbytes and tofeet.
//
// Fields of all widths go through one loop, because the test for an empty field needs only a mask
// of all bits but the top one of each field, and that mask is read from a row beside the sets:
//
//     field x     0 0 0 0    0 1 0 0    1 0 0 0
//     (x & low) + low          carries into the top bit if a low bit is set
//     | x                      the top bit itself
//     top bit     0          1          1
//
// Nothing is added across fields.  With A, B the first-pass sets of two descendants, x = A & B and
// M all bits of the fields where x is empty: the first-pass set of the node is x | (M & (A | B)), a
// step for each field of M.  With F the final set of the ancestor, D and U the first-pass set and
// the union of the descendants (all bits where a step was added), and M the fields where F has a
// state outside D: the final set is F, or D | (U & F) in M.

inline vec load(const uint32_t *p)
{
    return *(const loosevec *) p;
}

inline void store(uint32_t *p, vec x)
{
    *(loosevec *) p = x;
}

// Top bits of the fields of x that hold a state.
inline vec topsfilled(vec x, vec low)
{
    return (((x & low) + low) | x) & ~low;
}

inline vec topsempty(vec x, vec low)
{
    return ~(((x & low) + low) | x | low);
}

// All bits of the fields whose top bits are given.
inline vec wholefields(vec tops, vec shift)
{
    return tops | (tops - tofeet(tops, shift));
}

// Sum of what the marked fields have in a table of 16 places a cell.
template<class T> inline long lookup(const evaldata *d, const T *table, vec tops, int c)
{
    // Few loops, since it is their ends that take long: a top bit 2p + 1 of byte j of the cells has place 4j + p.
    const T *first = table + size_t(c) * 16;
    long total = 0;
    auto add = [&](uint64_t left, const T *at) {
        for (; left; left &= left - 1) total += long(at[4 * __builtin_ctzll(left)]);
    };
    add(bytemask(tops), first + 3);
    add(bytemask(tops << 4), first + 1);
    if (c >= d->twobits) return total;
    add(bytemask(tops << 2), first + 2);
    add(bytemask(tops << 6), first);
    return total;
}

template<int W> inline long weigh(const evaldata *d, vec tops, int c)
{
    if constexpr (W == KW_UNIT) return countbits(tops);
    else if constexpr (W == KW_CELL) return sumcells(countcells(tops) * load(d->cellwts + c));
    else if constexpr (W == KW_FIELD) return lookup(d, d->fieldwts, tops, c);
    else return lookup(d, d->fieldfits, tops, c);
}

// ---- Costs in bytes ------------------------------------------------------------------------
// Looking up the cost of each marked field takes longer than all the rest, so what is above the bound is
// told first by sums of bytes, which are never too high:
//
//     tops                 x....... | ....x... | x...x...      (x: a field is empty)
//     its bytes, row 3     ff         00         ff            & costs of the fields with top bit 7
//     tops << 4, row 1     00         ff         ff            & those with top bit 3

inline vec bytesmarked(vec tops, const uint32_t *bytes, size_t row, bool twobits)
{
    vec sum = addbytes(tops, load(bytes + 3 * row)) + addbytes(tops << 4, load(bytes + row));
    if (twobits) sum += addbytes(tops << 2, load(bytes + 2 * row)) + addbytes(tops << 6, load(bytes));
    return sum;
}

template<int W> constexpr bool hasbytes = W == KW_FIELD || W == KW_FIT;

// ---- Rows ----------------------------------------------------------------------------------
// Adding up the lanes of a vector takes as long as finding the empty fields, and a branch that goes now this way and
// now that way takes longer than both.  So with unit weights it is done, and the bound asked, once for BLOCK vectors.
constexpr int BLOCK = 4;

// Tops of K vectors from cell c on, counted.
template<int K, class F> inline long counttops(F tops, int c)
{
    vec n = {};
    if constexpr (K >= 2) n = partcounts(tops(c) | tops(c + N) >> 1);
    if constexpr (K >= 4) n += partcounts(tops(c + 2 * N) | tops(c + 3 * N) >> 1);
    if constexpr (K == 1) return countbits(tops(c));
    if constexpr (K == 3) n += partcounts(tops(c + 2 * N));
    return sumparts(n);
}

// Weight of the fields marked from cell c on, and n; some sum above the bound when that is above it.
template<int W, class F> inline long weighrow(const evaldata *d, F tops, int c, long n, long bound)
{
    const int cells = d->cells;
    if constexpr (W == KW_UNIT) {
        int left = (cells - c + N - 1) / N;
        for (; left >= BLOCK; left -= BLOCK, c += BLOCK * N)
            if ((n += counttops<BLOCK>(tops, c)) > bound) return n;
        if (left == 1) n += counttops<1>(tops, c);
        else if (left == 2) n += counttops<2>(tops, c);
        else if (left == 3) n += counttops<3>(tops, c);
        return n;
    }
    for (; c < cells; c += N)
        if ((n += weigh<W>(d, tops(c), c)) > bound) return n;
    return n;
}

// The same in bytes; the limit is in bytes too.
template<class F> inline long byterow(const evaldata *d, F tops, int c, long n, long limit)
{
    const int cells = d->cells;
    for (; c < cells; c += N) {
        n += sumcells(bytesmarked(tops(c), d->fieldbytes + c, d->row, c < d->twobits));
        if (n > limit) return n;
    }
    return n;
}

inline bool usebytes(const evaldata *d, long bound) { return d->fieldbytes && bound < NOLIMIT; }

template<int W, class F> inline long checkrow(const evaldata *d, F tops, long bound)
{
    if (bound < 0) return TOOMANY;
    if constexpr (hasbytes<W>) {
        long limit = bound >> d->byteshift;
        if (usebytes(d, bound) && byterow(d, tops, 0, 0, limit) > limit) return TOOMANY;
    }
    long n = weighrow<W>(d, tops, 0, 0, bound);
    return n > bound ? TOOMANY : n;
}

template<int W> long check(const evaldata *d, const uint32_t *a, const uint32_t *b, long bound)
{
    return checkrow<W>(d, [=](int c) { return topsempty(load(a + c) & load(b + c), load(d->low + c)); }, bound);
}

template<int W> long pair(const evaldata *d, const uint32_t *s, const uint32_t *a, const uint32_t *b, long bound)
{
    return checkrow<W>(d, [=](int c) { return topsempty((load(a + c) | load(b + c)) & load(s + c), load(d->low + c)); }, bound);
}

// Most rows fail in their first vector: its part of the set stays in registers.  With costs in bytes, what they
// let pass is looked up.
template<int W, bool BYTES> int scanrows(const evaldata *d, const uint32_t *set, const uint32_t *base, const int *list,
                                         int from, int n, long bound, long *steps)
{
    const vec first = load(set), firstlow = load(d->low);
    const size_t row = d->row;
    const long limit = BYTES ? bound >> d->byteshift : bound;
    for (int i = from; i < n; ++i) {
        const uint32_t *p = base + list[i] * row;
        auto tops = [=](int c) { return topsempty(load(set + c) & load(p + c), load(d->low + c)); };
        vec firsttops = topsempty(first & load(p), firstlow);
        long sum;
        if constexpr (BYTES) {
            sum = sumcells(bytesmarked(firsttops, d->fieldbytes, row, 0 < d->twobits));
            if (sum > limit || byterow(d, tops, N, sum, limit) > limit) continue;
            sum = weighrow<W>(d, tops, 0, 0, bound);
        } else {
            sum = weigh<W>(d, firsttops, 0);
            if (sum > bound) continue;
            sum = weighrow<W>(d, tops, N, sum, bound);
        }
        if (sum > bound) continue;
        *steps = sum;
        return i;
    }
    return n;
}

// The same with unit weights, the first K vectors counted at once.
template<int K> int scancounts(const evaldata *d, const uint32_t *set, const uint32_t *base, const int *list,
                               int from, int n, long bound, long *steps)
{
    const size_t row = d->row;
    const uint32_t *low = d->low;
    const bool more = d->cells > K * N;
    vec part[K], lows[K];
    for (int k = 0; k < K; ++k) {
        part[k] = load(set + k * N);
        lows[k] = load(low + k * N);
    }
    for (int i = from; i < n; ++i) {
        const uint32_t *p = base + list[i] * row;
        long sum = counttops<K>([&](int c) { return topsempty(part[c / N] & load(p + c), lows[c / N]); }, 0);
        if (sum > bound) continue;
        if (more) {
            sum = weighrow<KW_UNIT>(d, [=](int c) { return topsempty(load(set + c) & load(p + c), load(low + c)); }, K * N, sum, bound);
            if (sum > bound) continue;
        }
        *steps = sum;
        return i;
    }
    return n;
}

template<int W> int scan(const evaldata *d, const uint32_t *set, const uint32_t *base, const int *list,
                         int from, int n, long bound, long *steps)
{
    if (bound < 0) return n;
    if (!d->cells) {
        *steps = 0;
        return from;
    }
    if constexpr (W == KW_UNIT) {
        if (d->cells > 3 * N) return scancounts<4>(d, set, base, list, from, n, bound, steps);
        if (d->cells > 2 * N) return scancounts<3>(d, set, base, list, from, n, bound, steps);
        if (d->cells > N) return scancounts<2>(d, set, base, list, from, n, bound, steps);
        return scancounts<1>(d, set, base, list, from, n, bound, steps);
    } else {
        if constexpr (hasbytes<W>)
            if (usebytes(d, bound)) return scanrows<W, true>(d, set, base, list, from, n, bound, steps);
        return scanrows<W, false>(d, set, base, list, from, n, bound, steps);
    }
}

int disjoint(const evaldata *d, const uint32_t *a, const uint32_t *b, int *places)
{
    typedef uint64_t words __attribute__((vector_size(N * 4)));
    int n = 0;
    for (int c = 0; c < d->cells; c += N) {
        vec tops = topsempty(load(a + c) & load(b + c), load(d->low + c));
        if (!anybit(tops)) continue;
        words w = (words) tops;
        for (int i = 0; i < N / 2; ++i)
            for (uint64_t left = w[i]; left; left &= left - 1) places[n++] = (c + 2 * i) * 16 + (__builtin_ctzll(left) >> 1);
    }
    return n;
}

// One more step for each field marked.
inline void countsteps(const evaldata *d, vec tops, int c)
{
    typedef uint64_t words __attribute__((vector_size(N * 4)));
    if (!anybit(tops)) return;
    words w = (words) tops;
    for (int i = 0; i < N / 2; ++i) {
        uint32_t *steps = d->fieldsteps + (size_t(c) + 2 * i) * 16;
        for (uint64_t left = w[i]; left; left &= left - 1) ++steps[__builtin_ctzll(left) >> 1];
    }
}

struct firstsets { vec dn, either, tops; };

inline firstsets firstpass(vec a, vec b, vec low, vec shift)
{
    vec both = a & b, either = a | b, tops = topsempty(both, low), m = wholefields(tops, shift);
    return { both | (m & either), either | m, tops };
}

template<int W> long down(const evaldata *d, const int *list, int n)
{
    long steps = 0;
    const size_t row = d->row;
    while (n--) {
        uint32_t *to = d->walk + list[n] * 3 * row;
        const uint32_t *a = d->walk + d->lef[list[n]] * 3 * row, *b = d->walk + d->rig[list[n]] * 3 * row;
        for (int c = 0; c < d->cells; c += N) {
            firstsets f = firstpass(load(a + c), load(b + c), load(d->low + c), load(d->shift + c));
            store(to + c, f.dn);
            store(to + row + c, f.either);
            if constexpr (W == KW_FIT) countsteps(d, f.tops, c);
            else steps += weigh<W>(d, f.tops, c);
        }
    }
    return steps;
}

// The final set of an internal node; for a terminal the part of F that its branch set adds to D.
inline vec finalset(vec f, vec dn, vec either, vec low, vec shift)
{
    vec m = wholefields(topsfilled(~dn & f, low), shift);
    return f ^ (m & (((either & f) | dn) ^ f));
}

inline vec terminalbranch(vec f, vec dn, vec low, vec shift)
{
    return f | (wholefields(topsfilled(~dn & f, low), shift) & dn);
}

void branchofterminal(const evaldata *d, int t)
{
    const size_t row = d->row;
    const uint32_t *dn = d->walk + t * 3 * row, *f = d->walk + (d->anc[t] * 3 + 2) * row;
    uint32_t *to = d->branch + t * row;
    for (int c = 0; c < d->cells; c += N)
        store(to + c, terminalbranch(load(f + c), load(dn + c), load(d->low + c), load(d->shift + c)));
}

void up(const evaldata *d, const int *list, int n, int terminals)
{
    const size_t row = d->row;
    for (int i = 0; i < n; ++i) {
        int y = list[i];
        uint32_t *dn = d->walk + y * 3 * row, *to = dn + 2 * row, *br = d->branch + y * row;
        if (y == d->ntax) {
            for (int c = 0; c < d->cells; c += N) {
                store(to + c, load(dn + c));
                store(br + c, load(dn + c));
            }
        } else {
            const uint32_t *f = d->walk + (d->anc[y] * 3 + 2) * row;
            for (int c = 0; c < d->cells; c += N) {
                vec anc = load(f + c);
                vec fin = finalset(anc, load(dn + c), load(dn + row + c), load(d->low + c), load(d->shift + c));
                store(to + c, fin);
                store(br + c, fin | anc);
            }
        }
        if (terminals) {
            if (d->lef[y] < d->ntax) branchofterminal(d, d->lef[y]);
            if (d->rig[y] < d->ntax) branchofterminal(d, d->rig[y]);
        }
    }
}

// ---- Incremental passes --------------------------------------------------------------------
// They run through the tree once for each vector of cells, over the nodes where something in those
// cells changes; most vectors die after a few nodes.

struct stretch {             // cells c .. c + N - 1 of all rows, with what is read again and again at hand
    evaldata *d;
    const int *anc, *lef, *rig, *isinclu;
    uint32_t *walk, *branch, *unions;
    size_t row;
    int ntax, c;
    vec low, shift;
    uint32_t **logged, *logcells;
    int nlog, maxlog;
    bool logging;
    uint32_t *dn(int n) const { return walk + n * 3 * row; }
};

inline stretch firststretch(evaldata *d)
{
    return { d, d->anc, d->lef, d->rig, d->isinclu, d->walk, d->branch, d->unions, d->row, d->ntax, 0, load(d->low), load(d->shift),
             d->logged, d->logcells, d->nlog, d->maxlog, d->logging != 0 };
}

inline void nextstretch(stretch &s)
{
    s.c += N;
    s.walk += N;
    s.branch += N;
    if (s.unions) s.unions += N;
    s.low = load(s.d->low + s.c);
    s.shift = load(s.d->shift + s.c);
}

inline void keeplog(const stretch &s)
{
    if (s.logging) s.d->nlog = s.nlog;
}

inline void change(stretch &s, uint32_t *where, vec old, vec now)
{
    if (s.logging) {
        if (s.nlog < s.maxlog) {
            s.logged[s.nlog] = where;
            store(s.logcells + s.nlog++ * size_t(N), old);
        } else
            s.nlog = s.maxlog + 1;
    }
    store(where, now);
}

inline void widen(const stretch &s, int k, vec now)
{
    evaldata *d = s.d;
    uint32_t *u = s.unions + k * s.row;
    vec was = load(u), wider = was | now;
    if (!d->dirty[k]) {
        d->dirty[k] = 1;
        d->dirtylist[d->ndirty++] = k;
        d->lowcell[k] = NOCELL;
        d->hicell[k] = 0;
    }
    bool changed = anybit(was ^ wider);
    if (d->inters) {
        uint32_t *p = d->inters + k * s.row + s.c;
        vec before = load(p), narrower = before & now;
        changed |= anybit(before ^ narrower);
        store(p, narrower);
    }
    if (!changed) return;
    store(u, wider);
    if (s.c < d->lowcell[k]) d->lowcell[k] = s.c;
    if (s.c + N > d->hicell[k]) d->hicell[k] = s.c + N;
}

inline void setbranch(stretch &s, int n, vec now)
{
    uint32_t *br = s.branch + n * s.row;
    vec old = load(br);
    if (!anybit(old ^ now)) return;
    change(s, br, old, now);
    if (s.unions) widen(s, s.isinclu[n], now);
}

// First-pass sets of an internal node from its descendants: 0 nothing changed, 1 only the union
// of the descendants (no concern of the ancestor), 2 the set itself.
inline int downchange(stretch &s, int n)
{
    firstsets f = firstpass(load(s.dn(s.lef[n])), load(s.dn(s.rig[n])), s.low, s.shift);
    uint32_t *to = s.dn(n);
    vec olddn = load(to), oldeither = load(to + s.row);
    int what = 0;
    if (anybit(oldeither ^ f.either)) {
        change(s, to + s.row, oldeither, f.either);
        what = 1;
    }
    if (anybit(olddn ^ f.dn)) {
        change(s, to, olddn, f.dn);
        what = 2;
    }
    return what;
}

// The root, and a clip, which is the root of a tree of its own, take their first-pass set as the final one.  True if
// the descendants must follow.
inline bool upchangeroot(stretch &s, int n)
{
    uint32_t *dn = s.dn(n), *fin = dn + 2 * s.row;
    vec now = load(dn);
    if (n < s.ntax) {
        setbranch(s, n, now);
        return false;
    }
    vec old = load(fin);
    if (!anybit(old ^ now)) return false;
    change(s, fin, old, now);
    return true;
}

// Final and branch set of a node from its ancestor's final set.  True if the descendants must follow.
inline bool upchange(stretch &s, int n)
{
    uint32_t *dn = s.dn(n), *fin = dn + 2 * s.row;
    vec f = load(s.dn(s.anc[n]) + 2 * s.row);
    if (n < s.ntax) {
        setbranch(s, n, terminalbranch(f, load(dn), s.low, s.shift));
        return false;
    }
    vec old = load(fin), now = finalset(f, load(dn), load(dn + s.row), s.low, s.shift);
    bool changed = anybit(old ^ now);
    if (changed) change(s, fin, old, now);
    setbranch(s, n, now | f);
    return changed;
}

// Final sets of path[k - 1] .. path[0], each the ancestor of the next, and of all that hangs from
// them and must follow; force: the descendants of path[0] must follow in any case.
__attribute__((always_inline)) inline void uppath(stretch &s, int k, bool force, int sp)
{
    int *path = s.d->path, *stack = s.d->stack;
    while (k--) {
        int n = path[k];
        bool follow = n == s.ntax ? upchangeroot(s, n) : upchange(s, n);
        if (!k) follow |= force;
        if (!follow || n < s.ntax) continue;
        int l = s.lef[n], r = s.rig[n];
        if (!k || l != path[k - 1]) stack[sp++] = l;
        if ((!k || r != path[k - 1]) && r != l) stack[sp++] = r;
    }
    while (sp) {
        int n = stack[--sp];
        if (upchange(s, n)) {
            stack[sp++] = s.lef[n];
            stack[sp++] = s.rig[n];
        }
    }
}

void afterclip(evaldata *d, int sister, int x)
{
    for (stretch s = firststretch(d); ; nextstretch(s)) {
        int k = 0, sp = 0;
        d->path[k++] = sister;
        for (int n = sister, what = 2; what == 2 && n != s.ntax; ) {
            n = s.anc[n];
            what = downchange(s, n);
            if (what) d->path[k++] = n;
        }
        if (upchangeroot(s, x)) {
            d->stack[sp++] = s.lef[x];
            d->stack[sp++] = s.rig[x];
        }
        uppath(s, k, false, sp);
        if (s.c + N >= d->cells) return keeplog(s);
    }
}

void afterjoin(evaldata *d, int a)
{
    for (stretch s = firststretch(d); ; nextstretch(s)) {
        int k = 0;
        downchange(s, a);
        d->path[k++] = a;
        for (int n = a, what = 2; what == 2 && n != s.ntax; ) {
            n = s.anc[n];
            what = downchange(s, n);
            if (what) d->path[k++] = n;
        }
        uppath(s, k, true, 0);
        if (s.c + N >= d->cells) return keeplog(s);
    }
}

void redopath(const evaldata *d, int top, int x)
{
    const size_t row = d->row;
    const vec zero = {};
    for (int n = top; ; n = d->anc[n]) {
        uint32_t *to = d->walk + n * 3 * row;
        const uint32_t *a = d->walk + d->lef[n] * 3 * row, *b = d->walk + d->rig[n] * 3 * row;
        for (int c = 0; c < d->cells; c += N) {
            firstsets f = firstpass(load(a + c), load(b + c), load(d->low + c), load(d->shift + c));
            store(to + c, f.dn);
            store(to + row + c, f.either);
            store(to + 2 * row + c, zero);
        }
        if (n == x) return;
    }
}

void joinrow(const evaldata *d, uint32_t *to, const uint32_t *a, const uint32_t *b)
{
    for (int c = 0; c < d->cells; c += N)
        store(to + c, firstpass(load(a + c), load(b + c), load(d->low + c), load(d->shift + c)).dn);
}

int renew(const evaldata *d, const int *list, int n, int sure)
{
    const size_t row = d->row;
    for (int i = 0; i < n; ++i) {
        uint32_t *to = d->walk + list[i] * 3 * row;
        const uint32_t *a = d->walk + d->lef[list[i]] * 3 * row, *b = d->walk + d->rig[list[i]] * 3 * row;
        vec differs = {};
        for (int c = 0; c < d->cells; c += N) {
            firstsets f = firstpass(load(a + c), load(b + c), load(d->low + c), load(d->shift + c));
            differs |= load(to + c) ^ f.dn;
            store(to + c, f.dn);
            store(to + row + c, f.either);
        }
        if (i >= sure && !anybit(differs)) return i + 1;
    }
    return n;
}

void restore(evaldata *d)
{
    for (int i = 0; i < d->nlog; ++i) store(d->logged[i], load(d->logcells + i * size_t(N)));
    d->nlog = 0;
}

void orrow(const evaldata *d, uint32_t *to, const uint32_t *from)
{
    for (int c = 0; c < d->cells; c += N) store(to + c, load(to + c) | load(from + c));
}

// ---- Subtrees exchanged ---------------------------------------------------------------------
// A subtree replaced by one of the same taxa changes few cells of its set, and on the way to the root most
// of these come out as they were after a few nodes.

inline int sisterof(const evaldata *d, int n)
{
    int a = d->anc[n];
    return d->lef[a] == n ? d->rig[a] : d->lef[a];
}

inline void changefields(const evaldata *d, vec tops, int c, int by)
{
    typedef uint64_t words __attribute__((vector_size(N * 4)));
    if (!anybit(tops)) return;
    words w = (words) tops;
    for (int i = 0; i < N / 2; ++i) {
        int *changes = d->fieldchanges + (size_t(c) + 2 * i) * 16;
        for (uint64_t left = w[i]; left; left &= left - 1) changes[__builtin_ctzll(left) >> 1] += by;
    }
}

// A field whose set changes adds one step at most, or saves one: what is still to come can save no more.
template<int W> long above(const evaldata *d, int n, const uint32_t *row, long bound)
{
    const size_t width = d->row;
    const uint32_t *old = d->walk + n * 3 * width;
    long sum = 0, open = 0;
    if constexpr (W != KW_FIT) {
        for (int c = 0; c < d->cells; c += N) {
            vec x = load(row + c) ^ load(old + c);
            if (anybit(x)) open += weigh<W>(d, topsfilled(x, load(d->low + c)), c);
        }
        if (-open > bound) return TOOMANY;
    }
    for (int c = 0; c < d->cells; c += N) {
        vec now = load(row + c), was = load(old + c), low = load(d->low + c), shift = load(d->shift + c);
        if (!anybit(now ^ was)) continue;
        if constexpr (W != KW_FIT) open -= weigh<W>(d, topsfilled(now ^ was, low), c);
        for (int m = n; m != d->ntax; ) {
            vec beside = load(d->walk + sisterof(d, m) * 3 * width + c);
            firstsets f = firstpass(now, beside, low, shift);
            vec before = topsempty(was & beside, low);
            if constexpr (W == KW_FIT) {
                changefields(d, f.tops & ~before, c, 1);
                changefields(d, before & ~f.tops, c, -1);
            } else sum += weigh<W>(d, f.tops & ~before, c) - weigh<W>(d, before & ~f.tops, c);
            m = d->anc[m];
            now = f.dn;
            was = load(d->walk + m * 3 * width + c);
            if (!anybit(now ^ was)) break;
        }
        if (sum - open > bound) return TOOMANY;
    }
    return sum;
}

void setabove(const evaldata *d, int n, const uint32_t *row)
{
    const size_t width = d->row;
    for (int c = 0; c < d->cells; c += N) {
        vec now = load(row + c), low = load(d->low + c), shift = load(d->shift + c);
        for (int m = n; ; ) {
            uint32_t *to = d->walk + m * 3 * width + c;
            if (!anybit(now ^ load(to))) break;
            store(to, now);
            if (m == d->ntax) break;
            now = firstpass(now, load(d->walk + sisterof(d, m) * 3 * width + c), low, shift).dn;
            m = d->anc[m];
        }
    }
}

void tally(const evaldata *d, const uint32_t *a, const uint32_t *b, int by)
{
    for (int c = 0; c < d->cells; c += N) changefields(d, topsempty(load(a + c) & load(b + c), load(d->low + c)), c, by);
}

constexpr kernelset makekernels(const char *name)
{
    return { name, N,
             { check<KW_UNIT>, check<KW_CELL>, check<KW_FIELD>, check<KW_FIT> },
             { pair<KW_UNIT>, pair<KW_CELL>, pair<KW_FIELD>, pair<KW_FIT> },
             { scan<KW_UNIT>, scan<KW_CELL>, scan<KW_FIELD>, scan<KW_FIT> }, disjoint,
             { down<KW_UNIT>, down<KW_CELL>, down<KW_FIELD>, down<KW_FIT> },
             up, afterclip, afterjoin, redopath, joinrow, renew, restore, orrow,
             { above<KW_UNIT>, above<KW_CELL>, above<KW_FIELD>, above<KW_FIT> }, setabove, tally };
}
