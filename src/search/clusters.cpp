// Clusters of branches: connected pieces of the tree whose unions of branch sets are compared
// with a clip first.  What does not fit the union fits none of its branches.
#include "search/andlists.h"
#include "search/evaldata.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/imagevars.h"
#include "trees/packlist.h"
#include <algorithm>
#include <cassert>
#include <cstring>

clusrec *clusmat;
int *isinclu, numclusters, maxclustnum, clustersize = 15, tree_start = -1;
const uint8_t *nodeisfix;
int *rootlist, *deslist;
uint32_t *unionrows, *unionbackups;
int *members, *memberstart;

static int *piecesize, *pieceof, *visit;   // per node
static int *inclip, clipstamp;             // per node: the number of the last clip that it was in
static int *ownlists, ownroom;             // room for the nodes of each cluster
static int *touched, ntouched;             // clusters whose lists are not those of the whole tree
static int movessince;                     // moves made since the last partition
constexpr int REPARTITION = 20;            // a node that moves stays in its cluster; after so many moves pieces are made anew
constexpr int CLUSTERROOM = 17;            // nodes a cluster may hold above clustersize

[[maybe_unused]] static const keptwithimage ofimage(clusmat, isinclu, numclusters, maxclustnum, tree_start, nodeisfix, rootlist, deslist,
    unionrows, unionbackups, members, memberstart, piecesize, pieceof, visit, inclip, clipstamp, ownlists, ownroom, touched, ntouched,
    movessince);

// A sector is a small tree: clusters of the usual size would be few and loose.
static int nodesacluster()
{
    constexpr int SECTORSHARE = 15, LEAST = 10;
    int size = std::min(clustersize, ntax);
    return ss_recurse_level ? std::max(LEAST, std::min(size, ntax / SECTORSHARE)) : size;
}

int clusternumber()                 // enough for every partition of hinod nodes
{
    constexpr int SLACK = 7, MAXDIVISOR = 20, FEWEST = 15;
    int size = nodesacluster(), d = std::clamp(size - SLACK, 1, MAXDIVISOR), m = hinod / d, n = m + m / 5;
    if (size > 15 && ntax / size < 20) n += size * 100 / ntax * n / 100 + 3;
    if (ss_recurse_level && size <= 10) n = hinod / 3 + hinod / 15;
    return std::max(n, FEWEST);
}

void layclusters()
{
    maxclustnum = clusternumber();
    size_t row = rowcells;
    unionrows = alignedrows(2 * maxclustnum * row);
    unionbackups = unionrows + maxclustnum * row;
    memset(unionrows, 255, 2 * maxclustnum * row * sizeof(uint32_t));   // padding holds every state here too
    clusmat = zlo<clusrec>(maxclustnum);
    isinclu = zlo<int>(hinod + 1);
    members = lo<int>(hinod + 1);
    memberstart = lo<int>(maxclustnum + 1);
    piecesize = lo<int>(hinod + 1);
    pieceof = lo<int>(hinod + 1);
    visit = lo<int>(hinod + 1);
    rootlist = lo<int>(hinod + 1);
    deslist = lo<int>(hinod + 1);
    ed.isinclu = isinclu;
    ed.dirty = zlo<int>(maxclustnum);
    ed.dirtylist = lo<int>(maxclustnum + 1);
    ed.lowcell = lo<int>(maxclustnum);
    ed.hicell = zlo<int>(maxclustnum);
    std::fill_n(ed.lowcell, maxclustnum, NOCELL);
    ed.ndirty = 0;
    ownroom = nodesacluster() + CLUSTERROOM;
    ownlists = lo<int>(size_t(maxclustnum) * ownroom);
    for (int k = 0; k < maxclustnum; ++k) {
        clusmat[k].uni = unionrows + k * row;
        clusmat[k].backup = unionbackups + k * row;
    }
    inclip = zlo<int>(hinod + 1);
    touched = lo<int>(maxclustnum);
    clipstamp = ntouched = numclusters = 0;
    tree_start = -1;
    nodeisfix = nullptr;
}

// All unions are as when they were made.
static void cleanclusters()
{
    for (int i = 0; i < ed.ndirty; ++i) {
        int k = ed.dirtylist[i];
        ed.dirty[k] = ed.hicell[k] = 0;
        ed.lowcell[k] = NOCELL;
    }
    ed.ndirty = 0;
}

static void makeunion(int k)
{
    clusrec &u = clusmat[k];
    memcpy(u.uni, branchset(members[memberstart[k]]), rowcells * sizeof(uint32_t));
    for (int i = memberstart[k] + 1; i < memberstart[k + 1]; ++i) kernel->orrow(&ed, u.uni, branchset(members[i]));
    if (isinclu[0] == k) kernel->orrow(&ed, u.uni, branchset(0));   // after moves its sister may be in another cluster
    memcpy(u.backup, u.uni, rowcells * sizeof(uint32_t));
    if (ands_on) makeintersection(k);
}

// The lists of a cluster in which nothing is clipped.
static void wholelists(int k)
{
    clusrec &u = clusmat[k];
    u.nodes = members + memberstart[k];
    u.ndests = u.nmembers;
    u.nroots = 0;
}

static void touch(int k)
{
    clusrec &u = clusmat[k];
    int *own = ownlists + size_t(k) * ownroom;
    if (u.nodes == own) return;
    touched[ntouched++] = k;
    u.nodes = u.roots = own;
    u.ndests = u.nroots = 0;
}

// From the tips downward the open piece of each node joins that of its ancestor, until it has
// enough nodes.  Two open pieces and their ancestor are less than twice enough.
void assign_clusters(int flag)
{
    int size = nodesacluster(), enough = std::max(3, std::min(size - 7, (size + 8) / 2));
    int top = rig[ntax];
    numclusters = 0;
    auto close = [&](int n) {
        if (numclusters == maxclustnum)
            myerr("Ooops! sorry internal error setting clusters\n--->> Too many clusters! (expected %i, have %i)\n",
                  maxclustnum, numclusters + 1);
        pieceof[n] = numclusters++;
    };
    for (int n = 0; n < ntax; ++n) {
        piecesize[n] = 1;
        pieceof[n] = -1;
    }
    for (int i = noptlist - 1; i >= 1; --i) {
        int n = optlist[i], size = 1;
        for (int d : { lef[n], rig[n] })
            if (pieceof[d] < 0) size += piecesize[d];
        piecesize[n] = size;
        pieceof[n] = -1;
        if (size >= enough) close(n);
    }
    if (pieceof[top] < 0) close(top);
    std::fill(visit, visit + numclusters, -1);               // clusters are numbered as met from the root
    int given = 0;
    auto number = [&](int piece) { return visit[piece] < 0 ? visit[piece] = given++ : visit[piece]; };
    isinclu[top] = isinclu[ntax] = isinclu[0] = number(pieceof[top]);
    for (int k = 0; k < numclusters; ++k) clusmat[k].nmembers = 0;
    ++clusmat[isinclu[top]].nmembers;
    for (int i = 1; i < noptlist; ++i)                       // the ancestor's cluster is known
        for (int d : { lef[optlist[i]], rig[optlist[i]] }) {
            isinclu[d] = pieceof[d] < 0 ? isinclu[optlist[i]] : number(pieceof[d]);
            ++clusmat[isinclu[d]].nmembers;
        }
    memberstart[0] = 0;
    for (int k = 0; k < numclusters; ++k) {
        memberstart[k + 1] = memberstart[k] + clusmat[k].nmembers;
        visit[k] = memberstart[k];                           // next free place of the cluster
    }
    auto put = [&](int n) { members[visit[isinclu[n]]++] = n; };
    put(top);                                                // terminal 0 is the same branch
    for (int i = 1; i < noptlist; ++i)
        for (int d : { lef[optlist[i]], rig[optlist[i]] }) put(d);
    for (int k = 0; k < numclusters; ++k) wholelists(k);
    ntouched = 0;
    cleanclusters();
    movessince = 0;
    if (flag)
        for (int k = 0; k < numclusters; ++k) makeunion(k);
}

void recheck_clusters()
{
    for (int i = 0; i < ed.ndirty; ++i) {
        int k = ed.dirtylist[i], from = ed.lowcell[k], n = ed.hicell[k] - from;
        if (n > 0) memcpy(clusmat[k].uni + from, clusmat[k].backup + from, n * sizeof(uint32_t));
        if (n > 0 && ands_on) recheck_intersections(k, from, n);
    }
    cleanclusters();
}

void rebuild_clusters()
{
    if (!clusters_on) return;
    if (++movessince >= REPARTITION) {
        assign_clusters(1);
        return;
    }
    for (int i = 0; i < ed.ndirty; ++i) makeunion(ed.dirtylist[i]);
    cleanclusters();
}

// The n nodes in visit and all below them, breadth first; the first is entered even when it is fixed.
static int listbelow(int n)
{
    for (int i = 0; i < n; ++i) {
        int v = visit[i];
        if (v < ntax || (nodeisfix && nodeisfix[v] && i)) continue;
        visit[n++] = lef[v];
        visit[n++] = rig[v];
    }
    return n;
}

// Destinations by a walk through what is left: needed only when places are forbidden, or when
// terminal 0 alone is left.
static void walkdests(int start)
{
    for (int k = 0; k < numclusters; ++k) touch(k);
    visit[0] = start;
    int n = listbelow(1);
    for (int i = 0; i < n; ++i) {
        clusrec &u = clusmat[isinclu[visit[i]]];
        u.nodes[u.ndests++] = visit[i];
    }
}

// Clips are small: only the clusters that hold some node of the clip change their lists.
static void takeout(int x)
{
    ++clipstamp;
    visit[0] = x;
    int n = listbelow(1);
    visit[n++] = swaptree[x];                    // the freed ancestor is no place either
    for (int i = 0; i < n; ++i) {
        inclip[visit[i]] = clipstamp;
        touch(isinclu[visit[i]]);
    }
    for (int i = 0; i < ntouched; ++i) {
        int k = touched[i];
        clusrec &u = clusmat[k];
        for (int j = memberstart[k]; j < memberstart[k + 1]; ++j)
            if (inclip[members[j]] != clipstamp) u.nodes[u.ndests++] = members[j];
    }
}

void reassign_clusters(int x, int s, int *nroots, int *ndests)
{
    while (ntouched) wholelists(touched[--ntouched]);
    *nroots = *ndests = 0;
    if (s == 0) walkdests(0);
    else if (nodeisfix || tree_start >= 0) walkdests(tree_start >= 0 ? tree_start : rig[ntax]);
    else takeout(x);
    for (int k = 0; k < numclusters; ++k)
        if (clusmat[k].ndests) deslist[(*ndests)++] = k;
    int n = 1;
    if (x < ntax) visit[0] = x;
    else {
        int l = lef[x];
        visit[0] = rig[x];
        if (l >= ntax) {
            visit[n++] = lef[l];
            visit[n++] = rig[l];
        }
        const uint8_t *fixed = nodeisfix;        // what is fixed binds destinations, not roots
        nodeisfix = nullptr;
        n = listbelow(n);
        nodeisfix = fixed;
    }
    for (int i = 0; i < n; ++i) {
        int k = isinclu[visit[i]];
        clusrec &u = clusmat[k];
        touch(k);
        if (!u.nroots) {
            rootlist[(*nroots)++] = k;
            u.roots = u.nodes + u.ndests;
        }
        u.roots[u.nroots++] = visit[i];
    }
}
