// Constraints as other programs read them: one tree that has the groups demanded, the outgroup beside all
// other taxa.
#include "formats/foreignwrite.h"
#include "search/constraints.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/output.h"
#include <algorithm>

static constexpr int MEMBER = 2, FLOATING = 3;       // fields of a constraint

// Gives the tree a group, which is all of some branches of the smallest clade around it; false when the tree
// has groups that contradict it.
static bool addgroup(int *anc, const uint8_t *member)
{
    hiscratch scratch;
    int *list = hi<int>(nodz), *size = zhi<int>(nodz), *inside = zhi<int>(nodz), nodes = mkoptlist(list, anc);
    for (int t = 0; t < nt; ++t) {
        size[t] = 1;
        inside[t] = member[t];
    }
    for (int i = nodes - 1; i >= 0; --i)
        for (int d = lef[list[i]]; d >= 0; d = sis[d]) {
            size[list[i]] += size[d];
            inside[list[i]] += inside[d];
        }
    int around = nt, all = inside[nt], branches = 0, held = 0;
    for (int d = lef[nt]; d >= 0; )
        if (d >= nt && inside[d] == all) {
            around = d;
            d = lef[d];
        }
        else d = sis[d];
    for (int d = lef[around]; d >= 0; d = sis[d]) {
        if (inside[d] && inside[d] < size[d]) return false;
        held += inside[d] > 0;
        ++branches;
    }
    if (held == branches) return true;
    int node = anc[nt]++;
    anc[node] = around;
    for (int d = lef[around]; d >= 0; d = sis[d])
        if (inside[d]) anc[d] = node;
    return true;
}

// The members of a positive constraint, on the side without the outgroup; how many, -1 when some float.
static int membersof(int constraint, uint8_t *member)
{
    bool turned = constfield(constmat, constraint, outgroup) == MEMBER;
    int members = 0;
    for (int t = 0; t < nt; ++t) {
        int field = constfield(constmat, constraint, t);
        if (field == FLOATING) return -1;
        member[t] = (field == MEMBER) != turned;
        members += member[t];
    }
    return members;
}

// What a tree cannot say is left out, and said so.
std::string constraintstext()
{
    if (!constraints_defined()) return "";
    hiscratch scratch;
    int *anc = zhi<int>(nodz), groups = constreenum > 0;
    uint8_t *member = hi<uint8_t>(nt);
    bool whole = !anticonstnum;
    if (constreenum) {
        std::copy(constree, constree + nodz, anc);
        reroot(anc, outgroup);
    }
    else {
        std::fill(anc, anc + nt, nt);
        anc[nt] = nt + 1;
    }
    for (int t = 0; t < nt; ++t) member[t] = t != outgroup;
    addgroup(anc, member);
    for (int i = 0; i < constnum; ++i) {
        int members = membersof(i, member);
        bool saved = members >= 0 && (members < 2 || addgroup(anc, member));
        groups += saved && members > 1;
        whole &= saved;
    }
    if (!whole)
        warnem("Constraints that are negative, have floating taxa or contradict others are not saved", nullptr);
    if (!groups) return "";
    reset_nodz(anc);
    std::string text = "\nconstraints outout [ MONOPHYLY ] =\n";
    put_numbered_tree(anc, &text);
    return text + "\n;\n";
}
