// The tag tree.  Tags come from parenthetical trees; they belong to the last tree read with any.
#include "trees/treetags.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "data/matrix.h"
#include <cassert>
#include <cstdio>
#include <cstring>

char txtdatin;
int *txtr;
char **txtrmsg;
int maxtxtsz = 128, concat_tags, tag_separator = '/';

void cleartags() { txtdatin = 0; }

bool appendtag(int n, const char *text)
{
    size_t had = strlen(txtrmsg[n]), more = strlen(text);
    if (had + (had > 0) + more >= size_t(maxtxtsz)) return false;
    if (had) txtrmsg[n][had++] = char(tag_separator);
    memcpy(txtrmsg[n] + had, text, more + 1);
    return true;
}

// What is read fits by itself; behind older texts, what does not fit is left out.
void settags(const int *anc, const char *const *texts, const int *source)
{
    bool add = concat_tags && txtdatin && equal_tree(anc, txtr);
    memcpy(txtr, anc, sizeof(int) * nodz);
    for (int n = 0; n < nodz; ++n) {
        if (!add) txtrmsg[n][0] = 0;
        const char *text = n < anc[nt] && source[n] >= 0 ? texts[source[n]] : nullptr;
        if (text && *text) appendtag(n, text);
    }
    txtdatin = 1;
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
    if (!txtdatin) return;
    checktree(txtr);
    for (int n = 0; n < nodz; ++n) assert(memchr(txtrmsg[n], 0, maxtxtsz));
}
