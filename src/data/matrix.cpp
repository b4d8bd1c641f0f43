// The variables of the matrix, and what is true of them whatever put the data there.
#include "data/matrix.h"
#include "data/below.h"
#include "data/charnames.h"
#include "data/datamem.h"
#include "data/lists.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include <cassert>
#include <cstring>

int nt, nc, nodz, root, realntax, realnt, ntax;
uint8_t  **matrix1, *ancstates1;
uint16_t **matrix,  *ancstates;
uint32_t **matrix4, *ancstates4;
int read_gaps_as_missing = 1, use_exact_mincalc, allow_sankoff = 1, check_only_active_taxa;
char dataname[160];
int nblocks;
char **blockname, **charnames, ***statenames, **taxname;
int  use_charnames;
uint8_t *taxact, *taxisperm;
int outgroup, num_continuous_chars, actlandnc, have_sankoff, have_asymmetric, defined_ref;
double *ref_steps, *ref_fit;
uint32_t *uninf_states;
charrec *charcodes, *oldccodes;

int give_nt() { return nt; }
int give_nc() { return nc; }

int numactive()
{
    int active = 0;
    for (int t = 0; t < nt; ++t) active += taxact[t] == 1;
    return active;
}

void chartables_reset()
{
    wipetag(&schtag);
    wipetag(&opttag);
    ccodetag = 0;
}

// Tags first: a tag left standing above its layer would name a lock that is no longer its own.
void data_were_dropped()
{
    datonlytag = datatag = schtag = sanktag = ccodetag = cnamestag = consttag = packtag = opttag = jaktag = 0;
    nt = nc = nodz = root = realntax = realnt = ntax = outgroup = 0;
    matrix1 = nullptr, matrix = nullptr, matrix4 = nullptr;
    ancstates1 = nullptr, ancstates = nullptr, ancstates4 = nullptr;
    blockname = charnames = taxname = nullptr;
    statenames = nullptr;
    charcodes = oldccodes = nullptr;
    taxact = taxisperm = nullptr;
    ref_steps = ref_fit = nullptr;
    uninf_states = nullptr;
    implied_data_dropped();
    cont_scale_back = nullptr;
    nblocks = defined_ref = num_continuous_chars = actlandnc = have_sankoff = have_asymmetric = 0;
    trees_in_mem = 0;
    mem_tree = nullptr;
    have_vault = max_vault_trees = trees_in_vault = 0;
    taxgroup = chargroup = nullptr;
    taxgroupdef = chargroupdef = 0;
    nextautotreegroup = 0;
    txtdatin = 0;
    dataname[0] = 0;
}

void drop_all_data()
{
    if (ss_recurse_level) errmsg("Data can't be replaced during the analysis of sectors", nullptr);
    if (datatag) wipetag(&datatag);
    if (datonlytag) wipetag(&datonlytag);
    data_were_dropped();
}

void xwipecom()
{
    drop_all_data();
    notime();
}

void checkmatrix()
{
    assert(maxstate == 8 * celldim && (celldim == 1 || celldim == 2 || celldim == 4));
    assert(INAPPSET == MISSING >> 1);
    if (!datatag) {
        assert(!nt && !nc && !charcodes && !taxname && !trees_in_mem);
        return;
    }
    assert(datonlytag && datonlytag < datatag);
    assert(nt >= 4 && nc >= 1 && nodz == 2 * nt - 1 && root == 2 * nt - 2);
    assert(outgroup >= 0 && outgroup < nt && taxact[outgroup]);
    assert(numactive() >= 4);
    int continuous = 0;
    while (continuous < nc && charcodes[continuous].continuous) ++continuous;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        assert(r.type == DATA_NUM || r.type == DATA_DNA || r.type == DATA_PROT || r.type == DATA_CONT);
        assert(bool(r.continuous) == (c < continuous) && (!r.continuous || celldim == 4));
        assert(r.block >= 0 && r.block <= nblocks);
        assert(r.internal_steps >= 0 && r.internal_steps <= 100);
        assert(bool(r.costs) == bool(allow_sankoff));
        if (ccodetag && !r.recalc) assert(r.minsteps <= r.maxsteps || r.sankoff);
        for (int t = 0; r.continuous && t < nt; ++t) assert((matrix4[t][c] & 0xffff) <= matrix4[t][c] >> 16);
    }
    for (int t = 0; t < nt; ++t) assert(taxname[t] && taxact[t] <= 1);
    checkcharnames();
}

const comhelp xwipehelp = {
    "Discard the data in memory.", nullptr,
    "  xwipe ;   discard matrix, settings, groups and trees, without asking\n"
    "Examples:\n"
    "  xwipe ;\n"
};
