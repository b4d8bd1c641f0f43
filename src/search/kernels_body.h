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
// They run through the tree once for each stretch of up to BLOCK vectors, over the nodes where something in those
// cells changes; most stretches die after a few nodes.  Each node waits for its neighbour, and whether it changes
// cannot be foretold: so the vectors of a stretch go together, and what is written counts only when it has changed.

template<int K> struct vectors {
    vec v[K];
};

template<int K> inline vectors<K> loadall(const uint32_t *p)
{
    vectors<K> x;
    for (int k = 0; k < K; ++k) x.v[k] = load(p + k * N);
    return x;
}

template<int K> inline void storeall(uint32_t *p, const vectors<K> &x)
{
    for (int k = 0; k < K; ++k) store(p + k * N, x.v[k]);
}

template<int K> inline bool differ(const vectors<K> &a, const vectors<K> &b)
{
    vec x = a.v[0] ^ b.v[0];
    for (int k = 1; k < K; ++k) x |= a.v[k] ^ b.v[k];
    return anybit(x);
}

template<int K> struct stretch {         // K vectors of all rows, with what is read again and again at hand
    const int *lef, *rig;
    uint32_t *walk, *branch;
    size_t row;
    int ntax;
    vectors<K> low, shift;
    logentry *logged;
    uint32_t *logcells;
    int nlog, maxlog;
    int *queue, *changed;    // internal nodes whose final set has changed, and nodes whose branch set has
    int nqueue = 0, nchanged = 0;
    uint32_t *dn(int n) const { return walk + n * 3 * row; }

    stretch(const evaldata *d, int c)
        : lef(d->lef), rig(d->rig), walk(d->walk + c), branch(d->branch + c), row(d->row), ntax(d->ntax), low(loadall<K>(d->low + c)),
          shift(loadall<K>(d->shift + c)), logged(d->logged), logcells(d->logcells), nlog(d->nlog), maxlog(d->maxlog), queue(d->stack),
          changed(d->changed)
    {
    }
};

template<int K, bool LOG> inline void change(stretch<K> &s, uint32_t *where, const vectors<K> &old, const vectors<K> &now, bool changed)
{
    if constexpr (LOG) {
        s.logged[s.nlog] = { where, K };
        storeall(s.logcells + s.nlog * size_t(BLOCK * N), old);
        s.nlog += changed;
    }
    storeall(where, now);
}

// To be called after two entries at most; the log has room for them behind its end.
template<int K, bool LOG> inline void checklog(stretch<K> &s)
{
    if constexpr (LOG) s.nlog = s.nlog > s.maxlog ? s.maxlog + 1 : s.nlog;
}

// First-pass sets of an internal node from its descendants: 0 nothing changed, 1 only the union
// of the descendants (no concern of the ancestor), 2 the set itself.
template<int K, bool LOG> inline int downchange(stretch<K> &s, int n)
{
    const uint32_t *a = s.dn(s.lef[n]), *b = s.dn(s.rig[n]);
    uint32_t *to = s.dn(n);
    vectors<K> olddn = loadall<K>(to), oldeither = loadall<K>(to + s.row), dn, either;
    for (int k = 0; k < K; ++k) {
        firstsets f = firstpass(load(a + k * N), load(b + k * N), s.low.v[k], s.shift.v[k]);
        dn.v[k] = f.dn;
        either.v[k] = f.either;
    }
    bool dnchanged = differ(olddn, dn), eitherchanged = differ(oldeither, either);
    change<K, LOG>(s, to + s.row, oldeither, either, eitherchanged);
    change<K, LOG>(s, to, olddn, dn, dnchanged);
    checklog<K, LOG>(s);
    return dnchanged ? 2 : eitherchanged;
}

// From the node n to the root, as long as something changes; k nodes of the path are there.  Returns how many there are then.
template<int K, bool LOG> inline int downpath(stretch<K> &s, const int *anc, int *path, int n, int k)
{
    for (int what = 2; what == 2 && n != s.ntax; ) {
        n = anc[n];
        what = downchange<K, LOG>(s, n);
        path[k] = n;
        k += what != 0;
    }
    return k;
}

// The root, and a clip, which is the root of a tree of its own, take their first-pass set as the final one.  True if
// the descendants must follow.
template<int K, bool LOG> inline bool upchangeroot(stretch<K> &s, int n)
{
    uint32_t *dn = s.dn(n), *fin = dn + 2 * s.row;
    vectors<K> now = loadall<K>(dn), old = loadall<K>(fin);
    bool changed = differ(old, now);
    change<K, LOG>(s, fin, old, now, changed);
    checklog<K, LOG>(s);
    return changed;
}

template<int K, bool LOG> inline void setbranch(stretch<K> &s, int n, const vectors<K> &now)
{
    uint32_t *br = s.branch + n * s.row;
    vectors<K> old = loadall<K>(br);
    bool changed = differ(old, now);
    change<K, LOG>(s, br, old, now, changed);
    s.changed[s.nchanged] = n;
    s.nchanged += changed;
}

// Final and branch set of a node from its ancestor's final set f.  True if descendants must follow.  A terminal has no
// final set but room for one, and no states in the union of its descendants: what comes out is its branch set.
template<int K, bool LOG> __attribute__((always_inline)) inline bool upchange(stretch<K> &s, int n, const vectors<K> &f)
{
    uint32_t *dn = s.dn(n), *fin = dn + 2 * s.row;
    vectors<K> old = loadall<K>(fin), now, both;
    for (int k = 0; k < K; ++k) {
        now.v[k] = finalset(f.v[k], load(dn + k * N), load(dn + s.row + k * N), s.low.v[k], s.shift.v[k]);
        both.v[k] = now.v[k] | f.v[k];
    }
    bool must = differ(old, now) & (n >= s.ntax);
    change<K, LOG>(s, fin, old, now, must);
    setbranch<K, LOG>(s, n, both);
    checklog<K, LOG>(s);
    return must;
}

template<int K> inline void follow(stretch<K> &s, int n, bool must)
{
    s.queue[s.nqueue] = n;
    s.nqueue += must;
}

// Final sets of path[k - 1] .. path[0], each the ancestor of the next, and of all that hangs from
// them and must follow; force: the descendants of path[0] must follow in any case.
template<int K, bool LOG> inline void uppath(stretch<K> &s, const int *anc, const int *path, int k, bool force)
{
    int n = path[k - 1];
    bool must = n == s.ntax ? upchangeroot<K, LOG>(s, n) : upchange<K, LOG>(s, n, loadall<K>(s.dn(anc[n]) + 2 * s.row));
    while (--k) {
        int below = path[k - 1], beside = s.lef[n] == below ? s.rig[n] : s.lef[n];
        vectors<K> f = loadall<K>(s.dn(n) + 2 * s.row);
        if (beside != below) follow(s, beside, upchange<K, LOG>(s, beside, f));
        must = upchange<K, LOG>(s, below, f);
        n = below;
    }
    follow(s, n, must | force);
    for (int i = 0; i < s.nqueue; ++i) {
        n = s.queue[i];
        vectors<K> f = loadall<K>(s.dn(n) + 2 * s.row);
        int l = s.lef[n], r = s.rig[n];
        follow(s, l, upchange<K, LOG>(s, l, f));
        follow(s, r, upchange<K, LOG>(s, r, f));
    }
}

// The unions of the clusters of all nodes whose branch set has changed; c is the first cell of the stretch.
template<int K> inline void widen(evaldata *d, const stretch<K> &s, int c)
{
    int *dirty = d->dirty, *dirtylist = d->dirtylist, *lowcell = d->lowcell, *hicell = d->hicell, ndirty = d->ndirty;
    for (int i = 0; i < s.nchanged; ++i) {
        int n = s.changed[i], cluster = d->isinclu[n];
        uint32_t *u = d->unions + cluster * s.row + c;
        const uint32_t *br = s.branch + n * s.row;
        vec wider = {};
        for (int k = 0; k < K; ++k) {
            vec now = load(br + k * N), was = load(u + k * N);
            wider |= now & ~was;
            store(u + k * N, was | now);
        }
        if (d->inters)
            for (int k = 0; k < K; ++k) {
                uint32_t *p = d->inters + cluster * s.row + c + k * N;
                vec now = load(br + k * N), was = load(p);
                wider |= was & ~now;
                store(p, was & now);
            }
        bool changed = anybit(wider);
        dirtylist[ndirty] = cluster;
        ndirty += !dirty[cluster];
        dirty[cluster] = 1;
        int first = lowcell[cluster], from = changed ? c : NOCELL, end = hicell[cluster];
        lowcell[cluster] = from < first ? from : first;
        hicell[cluster] = changed ? c + K * N : end;
    }
    d->ndirty = ndirty;
}

template<int K, bool LOG> void clippasses(evaldata *d, int sister, int x, int c)
{
    stretch<K> s(d, c);
    d->path[0] = sister;
    int k = downpath<K, LOG>(s, d->anc, d->path, sister, 1);
    if (x < s.ntax) setbranch<K, LOG>(s, x, loadall<K>(s.dn(x)));
    else follow(s, x, upchangeroot<K, LOG>(s, x));
    uppath<K, LOG>(s, d->anc, d->path, k, false);
    if (d->unions) widen(d, s, c);
    if constexpr (LOG) d->nlog = s.nlog;
}

template<int K> void joinpasses(evaldata *d, int a, int c)
{
    stretch<K> s(d, c);
    downchange<K, false>(s, a);
    d->path[0] = a;
    int k = downpath<K, false>(s, d->anc, d->path, a, 1);
    uppath<K, false>(s, d->anc, d->path, k, true);
    if (d->unions) widen(d, s, c);
}

// Calls f with the number of vectors of each stretch, as a constant, and its first cell.
template<class F> inline void eachstretch(const evaldata *d, F f)
{
    int left = (d->cells + N - 1) / N, stretches = (left + BLOCK - 1) / BLOCK, c = 0;
    do {
        int k = stretches ? (left + stretches - 1) / stretches : 1;
        switch (k) {
        case 1: f.template operator()<1>(c); break;
        case 2: f.template operator()<2>(c); break;
        case 3: f.template operator()<3>(c); break;
        default: f.template operator()<BLOCK>(c);
        }
        c += k * N;
        left -= k;
    } while (--stretches > 0);
}

void afterclip(evaldata *d, int sister, int x)
{
    if (d->logging) eachstretch(d, [=]<int K>(int c) { clippasses<K, true>(d, sister, x, c); });
    else eachstretch(d, [=]<int K>(int c) { clippasses<K, false>(d, sister, x, c); });
}

void afterjoin(evaldata *d, int a)
{
    eachstretch(d, [=]<int K>(int c) { joinpasses<K>(d, a, c); });
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
    for (int i = 0; i < d->nlog; ++i) {
        uint32_t *where = d->logged[i].where;
        const uint32_t *cells = d->logcells + i * size_t(BLOCK * N);
        for (int k = 0; k < d->logged[i].vectors; ++k) store(where + k * N, load(cells + k * N));
    }
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
