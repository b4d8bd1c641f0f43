// The expansive rule: a tree with branches of minimum length 0 becomes all those trees in which no
// more of them can be removed without making the tree longer.
#include <algorithm>
#include <cstring>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treemodel.h"

static int *nutree, *ttt, *coli;      // the tree with nodes removed; the tree worked on; its nodes to remove
static int *clist, totno;             // nodes that may go
static double dicle;                  // length not to pass
constexpr double SAMELENGTH = 1e-7;

static double lengthwithout()
{
    std::memcpy(nutree, ttt, size_t(nodz) * sizeof(int));
    delnodz(nutree, coli);
    return packdownpass(nutree);
}

static bool fits() { return lengthwithout() <= dicle + SAMELENGTH; }

// Nothing that was left can be removed as well.
static bool ismaximal()
{
    for (int i = 0; i < totno; ++i) {
        if (coli[clist[i]]) continue;
        coli[clist[i]] = 1;
        bool more = fits();
        coli[clist[i]] = 0;
        if (more) return false;
    }
    return true;
}

enum { UNTRIED, OUT, OUT_AND_FITTED, IN };           // a node of clist on the way

// With all that is still open taken out, one of the nodes left in could go as well: then it could in
// every tree that comes from here, and none of them is maximal.
static bool leads_nowhere(const uint8_t *state, int at)
{
    bool idle = false;
    for (int i = at + 1; i < totno; ++i) coli[clist[i]] = 1;
    for (int i = 0; i <= at && !idle; ++i) {
        if (state[i] != IN) continue;
        coli[clist[i]] = 1;
        idle = fits();
        coli[clist[i]] = 0;
    }
    for (int i = at + 1; i < totno; ++i) coli[clist[i]] = 0;
    return idle;
}

// Each node in turn is taken out and left in.  Trees never get shorter when more is taken out, so
// whatever is too long already leads nowhere.
static int recucol(bool (*keep)(const int *tree))
{
    int found = 0, at = 0;
    uint8_t *state = zlo<uint8_t>(totno + 1);
    while (at >= 0) {
        if (at == totno) {
            if (ismaximal()) {
                lengthwithout();
                ++found;
                if (!keep(nutree)) return found;
            }
            --at;
            continue;
        }
        int node = clist[at];
        if (state[at] == UNTRIED) {
            intrupt(1);
            state[at] = OUT;
            coli[node] = 1;
            if (fits()) {
                state[at++] = OUT_AND_FITTED;
                state[at] = UNTRIED;
                continue;
            }
        }
        coli[node] = 0;
        if (state[at] == OUT || state[at] == OUT_AND_FITTED) {
            bool fitted = state[at] == OUT_AND_FITTED;
            state[at] = IN;
            if (!fitted || !leads_nowhere(state, at)) {
                state[++at] = UNTRIED;
                continue;
            }
        }
        --at;
    }
    return found;
}

int expand_by_rule_4(const int *tree, bool (*keep)(const int *tree))
{
    char *here = lomark();
    struct putback {
        collapser rule = mark_supported;
        ~putback() { mark_supported = rule; }
    } guard;
    ttt = lo<int>(nodz);
    nutree = lo<int>(nodz);
    clist = lo<int>(nodz);
    coli = zlo<int>(nodz);
    std::memcpy(ttt, tree, size_t(nodz) * sizeof(int));
    dicle = packdownpass(ttt);
    mark_supported = rule_ambiguous;
    mark_unsupported(ttt, coli);
    delnodz(ttt, coli);
    dicle = std::max(dicle, packdownpass(ttt));
    mark_supported = rule_1;
    mark_unsupported(ttt, coli);
    totno = 0;
    for (int n = ttt[nt] - 1; n > nt; --n)
        if (coli[n] && ttt[n] != nt) clist[totno++] = n;
    std::fill(coli, coli + nodz, 0);
    int found = recucol(keep);
    loset(here);
    return found;
}
