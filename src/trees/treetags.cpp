// The tag tree.  Tags come from parenthetical trees; they belong to the last tree read with any.
#include "trees/treetags.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "data/matrix.h"
#include <cassert>
#include <cstdio>
#include <cstring>

char txtr_is_set;
int *txtr;
char **txtrmsg;
int maxtxtsz = 128, concat_tags, tag_separator = '/';

void cleartags() { txtr_is_set = 0; }

void settags(const int *anc, const char *const *texts, const int *source)
{
    bool add = concat_tags && txtr_is_set && equal_tree(anc, txtr);
    memcpy(txtr, anc, sizeof(int) * nodz);
    for (int n = 0; n < nodz; ++n) {
        const char *text = n < anc[nt] && source[n] >= 0 ? texts[source[n]] : nullptr;
        size_t had = add ? strlen(txtrmsg[n]) : 0;
        if (!had) txtrmsg[n][0] = 0;
        if (!text || !*text) continue;
        if (had && had + 1 < size_t(maxtxtsz)) txtrmsg[n][had++] = char(tag_separator);
        snprintf(txtrmsg[n] + had, maxtxtsz - had, "%s", text);
    }
    txtr_is_set = 1;
}

void movetags(const int *anc, const int *carried)
{
    hiscratch scratch;
    char **old = hirows<char>(nodz, maxtxtsz);
    memcpy(old[0], txtrmsg[0], size_t(nodz) * maxtxtsz);
    for (int n = 0; n < nodz; ++n) {
        if (carried[n]) memcpy(txtrmsg[n], old[carried[n] - 1], maxtxtsz);
        else txtrmsg[n][0] = 0;
        txtr[n] = anc[n];
    }
}

void checktags()
{
    if (!txtr_is_set) return;
    checktree(txtr);
    for (int n = 0; n < nodz; ++n) assert(memchr(txtrmsg[n], 0, maxtxtsz));
}
