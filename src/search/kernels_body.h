// search/kernels_body.h: the text of the kernels, included once in each kernel file, inside its
// unnamed namespace, after N, vec, loosevec, anybit, countbits, countcells, sumcells and tofeet.
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

// Sum of what the marked fields have in a table of 16 places a cell; part of it when that is above the limit.
template<class T> inline long lookup(const T *table, vec tops, int c, long limit)
{
    typedef uint64_t words __attribute__((vector_size(N * 4)));
    if (!anybit(tops)) return 0;
    words w = (words) tops;
    long sum = 0;
    for (int i = 0; i < N / 2 && sum <= limit; ++i) {
        const T *at = table + (size_t(c) + 2 * i) * 16;
        for (uint64_t left = w[i]; left; left &= left - 1) sum += long(at[__builtin_ctzll(left) >> 1]);
    }
    return sum;
}

template<int W> inline long weigh(const evaldata *d, vec tops, int c, long limit = NOLIMIT)
{
    if constexpr (W == KW_UNIT) return countbits(tops);
    else if constexpr (W == KW_CELL) return sumcells(countcells(tops) * load(d->cellwts + c));
    else if constexpr (W == KW_FIELD) return lookup(d->fieldwts, tops, c, limit);
    else return lookup(d->fieldfits, tops, c, limit);
}

template<int W> long check(const evaldata *d, const uint32_t *a, const uint32_t *b, long bound)
{
    long n = 0;
    if (bound < 0) return TOOMANY;
    for (int c = 0; c < d->cells; c += N) {
        n += weigh<W>(d, topsempty(load(a + c) & load(b + c), load(d->low + c)), c, bound - n);
        if (n > bound) return TOOMANY;
    }
    return n;
}

template<int W> long pair(const evaldata *d, const uint32_t *s, const uint32_t *a, const uint32_t *b, long bound)
{
    long n = 0;
    if (bound < 0) return TOOMANY;
    for (int c = 0; c < d->cells; c += N) {
        n += weigh<W>(d, topsempty((load(a + c) | load(b + c)) & load(s + c), load(d->low + c)), c, bound - n);
        if (n > bound) return TOOMANY;
    }
    return n;
}

// Most rows fail in their first vector: its part of the set stays in registers.
template<int W> int scan(const evaldata *d, const uint32_t *set, const uint32_t *base, const int *list,
                         int from, int n, long bound, long *steps)
{
    if (bound < 0) return n;
    if (!d->cells) {
        *steps = 0;
        return from;
    }
    const vec first = load(set), firstlow = load(d->low);
    const size_t row = d->row;
    const int cells = d->cells;
    for (int i = from; i < n; ++i) {
        const uint32_t *p = base + list[i] * row;
        long sum = weigh<W>(d, topsempty(first & load(p), firstlow), 0, bound);
        if (sum > bound) continue;
        for (int c = N; c < cells; c += N) {
            sum += weigh<W>(d, topsempty(load(set + c) & load(p + c), load(d->low + c)), c, bound - sum);
            if (sum > bound) break;
        }
        if (sum > bound) continue;
        *steps = sum;
        return i;
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

struct stretch {             // cells c .. c + N - 1 of all rows
    evaldata *d;
    int c;
    size_t row;
    vec low, shift;
    uint32_t *dn(int n) const { return d->walk + n * 3 * row + c; }
};

inline void change(evaldata *d, uint32_t *where, vec old, vec now)
{
    if (d->logging) {
        if (d->nlog < d->maxlog) {
            savedblock *b = d->log + d->nlog++;
            b->where = where;
            store(b->old, old);
        } else
            d->nlog = d->maxlog + 1;
    }
    store(where, now);
}

inline void setbranch(const stretch &s, int n, vec now)
{
    evaldata *d = s.d;
    uint32_t *br = d->branch + n * s.row + s.c;
    vec old = load(br);
    if (!anybit(old ^ now)) return;
    change(d, br, old, now);
    if (!d->unions) return;
    int k = d->isinclu[n];
    uint32_t *u = d->unions + k * s.row + s.c;
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

// First-pass sets of an internal node from its descendants: 0 nothing changed, 1 only the union
// of the descendants (no concern of the ancestor), 2 the set itself.
inline int downchange(const stretch &s, int n)
{
    firstsets f = firstpass(load(s.dn(s.d->lef[n])), load(s.dn(s.d->rig[n])), s.low, s.shift);
    uint32_t *to = s.dn(n);
    vec olddn = load(to), oldeither = load(to + s.row);
    int what = 0;
    if (anybit(oldeither ^ f.either)) {
        change(s.d, to + s.row, oldeither, f.either);
        what = 1;
    }
    if (anybit(olddn ^ f.dn)) {
        change(s.d, to, olddn, f.dn);
        what = 2;
    }
    return what;
}

// Final and branch set of a node from its ancestor's final set; the root, and a clip, which is the
// root of a tree of its own, take their first-pass set.  True if the descendants must follow.
inline bool upchange(const stretch &s, int n, bool isroot)
{
    uint32_t *dn = s.dn(n);
    const size_t row = s.row;
    if (isroot) {
        vec old = load(dn + 2 * row), now = load(dn);
        if (n < s.d->ntax) {
            setbranch(s, n, now);
            return false;
        }
        if (!anybit(old ^ now)) return false;
        change(s.d, dn + 2 * row, old, now);
        return true;
    }
    vec f = load(s.dn(s.d->anc[n]) + 2 * row);
    if (n < s.d->ntax) {
        setbranch(s, n, terminalbranch(f, load(dn), s.low, s.shift));
        return false;
    }
    vec old = load(dn + 2 * row), now = finalset(f, load(dn), load(dn + row), s.low, s.shift);
    bool changed = anybit(old ^ now);
    if (changed) change(s.d, dn + 2 * row, old, now);
    setbranch(s, n, now | f);
    return changed;
}

// Final sets of path[k - 1] .. path[0], each the ancestor of the next, and of all that hangs from
// them and must follow; force: the descendants of path[0] must follow in any case.
inline void uppath(const stretch &s, int k, bool force, int sp)
{
    evaldata *d = s.d;
    int *path = d->path, *stack = d->stack;
    while (k--) {
        int n = path[k];
        bool follow = upchange(s, n, n == d->ntax);
        if (!k) follow |= force;
        if (!follow || n < d->ntax) continue;
        int l = d->lef[n], r = d->rig[n];
        if (!k || l != path[k - 1]) stack[sp++] = l;
        if ((!k || r != path[k - 1]) && r != l) stack[sp++] = r;
    }
    while (sp) {
        int n = stack[--sp];
        if (upchange(s, n, false)) {
            stack[sp++] = d->lef[n];
            stack[sp++] = d->rig[n];
        }
    }
}

void afterclip(evaldata *d, int sister, int x)
{
    for (int c = 0; c < d->cells; c += N) {
        stretch s = { d, c, d->row, load(d->low + c), load(d->shift + c) };
        int k = 0, sp = 0;
        d->path[k++] = sister;
        for (int n = sister, what = 2; what == 2 && n != d->ntax; ) {
            n = d->anc[n];
            what = downchange(s, n);
            if (what) d->path[k++] = n;
        }
        if (upchange(s, x, true)) {
            d->stack[sp++] = d->lef[x];
            d->stack[sp++] = d->rig[x];
        }
        uppath(s, k, false, sp);
    }
}

void afterjoin(evaldata *d, int a)
{
    for (int c = 0; c < d->cells; c += N) {
        stretch s = { d, c, d->row, load(d->low + c), load(d->shift + c) };
        int k = 0;
        downchange(s, a);
        d->path[k++] = a;
        for (int n = a, what = 2; what == 2 && n != d->ntax; ) {
            n = d->anc[n];
            what = downchange(s, n);
            if (what) d->path[k++] = n;
        }
        uppath(s, k, true, 0);
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

void restore(evaldata *d)
{
    for (int i = 0; i < d->nlog; ++i) store(d->log[i].where, load(d->log[i].old));
    d->nlog = 0;
}

void orrow(const evaldata *d, uint32_t *to, const uint32_t *from)
{
    for (int c = 0; c < d->cells; c += N) store(to + c, load(to + c) | load(from + c));
}

constexpr kernelset makekernels(const char *name)
{
    return { name, N,
             { check<KW_UNIT>, check<KW_CELL>, check<KW_FIELD>, check<KW_FIT> },
             { pair<KW_UNIT>, pair<KW_CELL>, pair<KW_FIELD>, pair<KW_FIT> },
             { scan<KW_UNIT>, scan<KW_CELL>, scan<KW_FIELD>, scan<KW_FIT> },
             { down<KW_UNIT>, down<KW_CELL>, down<KW_FIELD>, down<KW_FIT> },
             up, afterclip, afterjoin, redopath, restore, orrow };
}
