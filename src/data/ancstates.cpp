// The command ancstates: characters whose ancestral state is that of the outgroup.
#include "data/ccode.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"

static void setancestral(int c)
{
    if (celldim == 1) ancstates1[c] = matrix1[outgroup][c];
    else if (celldim == 2) ancstates[c] = matrix[outgroup][c];
    else ancstates4[c] = matrix4[outgroup][c];
    charcodes[c].aux_saved = 1;
}

static void showancestral()
{
    for (int c = 0; c < nc; ++c) charscopelist[c] = charcodes[c].aux_saved ? LISTED : 0;
    bool any = countlist(charscopelist, nc) > 0;
    spewem(any ? "Characters with ancestral states:" : "No characters with ancestral states", nullptr);
    printlist(charscopelist, 0, nc, LISTED);
}

void ancstatescom()
{
    nodaterror("setting ancestral states");
    if (peep() == ';') return showancestral();
    bool any = read_scope(charscopelist, 0, nc, "character", charnames);
    if (!any || peep() != ';') errarg(peep());
    chartables_reset();
    for (int c = 0; c < nc; ++c)
        if (charscopelist[c] == LISTED) setancestral(c);
        else if (charscopelist[c] == UNLISTED) charcodes[c].aux_saved = 0;
    set_charcodes();
    if (reading_data_file()) store_ccode();
}

const comhelp ancstateshelp = {
    "Set the ancestral states of characters.", nullptr,
    "   N      the state that the current outgroup has in characters N is ancestral: the root of\n"
    "          the tree has that state.  It matters for Sankoff characters with costs that differ\n"
    "          between the two ways of a change, and is used in no others; where the outgroup is\n"
    "          missing, the root is free\n"
    "   -N     the root is free (the default)\n"
    "   ;      show the characters with ancestral states\n"
    "Examples:\n"
    "  ancstates 0 3.5 ;\n"
    "  ancstates - 3 ; ancstates ;\n"
};
