#include "diagrams/tagstore.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>
#include "data/matrix.h"
#include "diagrams/clades.h"
#include "diagrams/msglines.h"
#include "diagrams/textree.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"

int  store_treemsg, autost, now_showing_tags, txtrsz;
char tagtitle[513];

bool tagtree()
{
    bool is = datatag && txtdatin;
    txtrsz = is ? txtr[nt] : 0;
    return is;
}

bool havetags()
{
    return tagtree() && std::any_of(txtrmsg, txtrmsg + txtrsz, [](const char *text) { return *text; });
}

void starttags()
{
    cleartags();
    tagtitle[0] = 0;
    store_treemsg = autost = 1;
}

// In canonical numbers, as trees are stored; where[n] is the new number of node n.
static void settarget(const int *tree, int *where)
{
    hiscratch scratch;
    int *carried = hi<int>(nodz);
    for (int n = 0; n < nodz; ++n) carried[n] = n;
    memcpy(txtr, tree, sizeof(int) * nodz);
    reset_nodz(txtr, carried);
    for (int n = 0; n < txtr[nt]; ++n) where[carried[n]] = n;
    for (int n = 0; n < nodz; ++n) txtrmsg[n][0] = 0;
    txtdatin = 1;
    txtrsz = txtr[nt];
    autost = 0;
}

void settarget(const int *tree)
{
    hiscratch scratch;
    settarget(tree, hi<int>(nodz));
}

void addtreemsg(int node, const char *text)
{
    if (!appendtag(node, text))
        errmsg("Cannot add more text to tree",
               "\nFor longer labels, increase size of taxon names before reading data", nullptr);
}

// Where the clade of each node stands in the tag tree; -1 nowhere.
static void findclades(const int *tree, int *where)
{
    cladekey *mine = hi<cladekey>(nodz), *tagged = hi<cladekey>(nodz);
    int *order = hi<int>(nodz), held = 0;
    auto before = [](const cladekey &a, const cladekey &b) { return a.sum[0] < b.sum[0]; };
    cladekeys(txtr, tagged);
    cladekeys(tree, mine);
    for (int n = nt; n < txtr[nt]; ++n) order[held++] = n;
    std::sort(order, order + held, [&](int a, int b) { return before(tagged[a], tagged[b]); });
    for (int n = 0; n < nt; ++n) where[n] = tree[n] ? n : -1;
    for (int n = nt; n < tree[nt]; ++n) {
        int *at = std::lower_bound(order, order + held, n, [&](int a, int b) { return before(tagged[a], mine[b]); });
        where[n] = at < order + held && tagged[*at] == mine[n] ? *at : -1;
    }
}

// Numbers of nodes are texts only where no node has one of its own.
void multvaltree(const int *tree)
{
    hiscratch scratch;
    int *where = hi<int>(nodz);
    if (autost || !tagtree()) settarget(tree, where);
    else {
        if (!sametaxa(tree, txtr)) errmsg("To concatenate messages, trees must include same taxa", nullptr);
        findclades(tree, where);
    }
    bool own = std::any_of(nodmsg, nodmsg + tree[nt], [](const char *text) { return *text; }), whole = true;
    for (int n = 0; n < tree[nt]; ++n) {
        if (n < nt && !tree[n]) continue;
        const char *text = own ? nodmsg[n] : donodmsg(n);
        if (*text && where[n] >= 0) whole &= appendtag(where[n], text);
    }
    if (!whole) warnem("Message too long (not copied)", nullptr);
}

bool reducetag(int node)
{
    char *text = txtrmsg[node], *last = strrchr(text, tag_separator);
    if (!*text) return false;
    *(last ? last : text) = 0;
    return true;
}

bool eliminate_empty_lines()
{
    bool any = false;
    for (int n = 0; n < txtrsz; ++n) {
        std::string kept;
        for (const char *line = txtrmsg[n]; *line;) {
            size_t bytes = strcspn(line, "\\");
            bool empty = strspn(line, " ") >= bytes;
            if (!empty) {
                if (!kept.empty()) kept += LINEBREAK;
                kept.append(line, bytes);
            }
            line += bytes + (line[bytes] == LINEBREAK);
        }
        any |= kept != txtrmsg[n];
        memcpy(txtrmsg[n], kept.c_str(), kept.size() + 1);
    }
    return any;
}
