// Clips subtrees, hangs them elsewhere, and keeps the sets of the tree right while doing so.
//
// Everything that a clip overwrites is logged, so that giving it up, which is what nearly always
// happens, is copying back and no optimization.
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/slowopt.h"
#include "trees/imagevars.h"
#include <cassert>

clipstates clipstate;
[[maybe_unused]] static const keptwithimage ofimage(clipstate);

// ---- Surgery -------------------------------------------------------------------------------

void clip_subtree(int x)
{
    int a = swaptree[x], s = sis[x];
    assert(x != ntax && x != 0);
    if (a == ntax) {                       // terminal 0 stays alone
        lef[a] = rig[a] = sis[0] = 0;
        swaptree[x] = x;
        return;
    }
    int g = swaptree[a], other = sis[a];
    swaptree[s] = g;
    lef[g] = g == ntax ? 0 : s;            // terminal 0 stays first below the root
    rig[g] = g == ntax ? s : other;
    sis[s] = other;
    sis[other] = s;
}

void unclip_subtree(int x, int d)
{
    int a = swaptree[x];
    if (a == x) {
        assert(d == 0);
        lef[ntax] = 0;
        rig[ntax] = x;
        sis[0] = x;
        sis[x] = 0;
        swaptree[x] = ntax;
        return;
    }
    if (d == 0) d = sis[0];                // one branch: the root is no place of its own
    int g = swaptree[d], other = sis[d];
    swaptree[a] = g;
    (lef[g] == d ? lef[g] : rig[g]) = a;
    sis[a] = other;
    sis[other] = a;
    swaptree[d] = a;
    lef[a] = d;
    rig[a] = x;
    sis[d] = x;
    sis[x] = d;
}

//  x              x
//  |- y           |- r
//  `- p2          `- p1
//     |- b    ->     |- a
//     `- p1          `- p2
//        |- a           |- b
//        `- r           `- y
int reroot_clip(int r, int x)
{
    if (x < ntax || r == x || swaptree[r] == x) return -1;
    int top = r;
    while (swaptree[top] != x) top = swaptree[top];
    int y = lef[x] == top ? rig[x] : lef[x];
    int p1 = swaptree[r], below = r, newanc = x;
    for (int n = p1; n != x; ) {
        int next = swaptree[n], stays = lef[n] == below ? rig[n] : lef[n], joins = next == x ? y : next;
        lef[n] = stays;
        rig[n] = joins;
        sis[stays] = joins;
        sis[joins] = stays;
        swaptree[n] = newanc;
        newanc = below = n;
        n = next;
    }
    swaptree[y] = top;
    swaptree[r] = x;
    lef[x] = r;
    rig[x] = p1;
    sis[r] = p1;
    sis[p1] = r;
    return top;
}

// ---- Sets ----------------------------------------------------------------------------------

static void afterjoin(int a)
{
    syncevaldata();
    kernel->afterjoin(&ed, a);
    slowafterjoin(a);
}

void reoptimize_after_clip(int s, int x)
{
    if (x < 0) {
        afterjoin(swaptree[s]);
        clipstate = NOCLIP;
        fill_node_sizes();
        return;
    }
    syncevaldata();
    ed.nlog = 0;
    ed.logging = 1;
    kernel->afterclip(&ed, s, x);
    ed.logging = 0;
    slowafterclip(s, x);
    clipstate = CLIPPED;
}

void reoptimize_clip_path(int top, int x)
{
    if (top < 0) return;
    syncevaldata();
    kernel->redopath(&ed, top, x);
    slowclippath(top, x);
}

void restore_after_clip(int s)
{
    if (clipstate == OVERWRITTEN) {
        optimize_for_swap(swaptree);
        return;
    }
    if (clipstate == CLIPPED) {
        slowrestore();
        putbacksteps();                  // after those of slow characters: weighting sets come back as they were
        if (ed.nlog <= ed.maxlog) kernel->restore(&ed);
        else afterjoin(swaptree[s]);
    }
    clipstate = NOCLIP;
    if (clusters_on) recheck_clusters();
}

void reoptimize_after_add(int t)
{
    afterjoin(swaptree[t]);
}

void changed_sets_elsewhere()
{
    if (clipstate == CLIPPED) clipstate = OVERWRITTEN;
}
