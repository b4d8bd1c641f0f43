// xinact: what cannot tell one tree from another is left out.
#include "data/ccode.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <bit>

static void deactivate_uninformative()
{
    set_charcodes();
    uint8_t *active = lo<uint8_t>(size_t(nc));
    int uninformative = 0;
    for (int c = 0; c < nc; ++c) {
        active[c] = charcodes[c].active && charcodes[c].informative;
        uninformative += !charcodes[c].informative;
    }
    set_active_chars(active);
    set_charcodes();
    spewem(intvert(uninformative), "uninformative characters are inactive", nullptr);
}

// States that no two taxa share.  A missing entry holds them only in form.
static uint32_t lonestates(const charrec &r)
{
    return r.continuous || r.type == DATA_LAND || r.additive || r.sankoff ? 0 : r.sets & ~r.multi;
}

static void removestates(int c, uint32_t gone)
{
    for (int t = 0; t < nt; ++t) {
        uint32_t x = cell(t, c);
        if (ismissing(x) || !(x & gone)) continue;
        x &= ~gone;
        setcell(t, c, x ? x : MISSING);
    }
    charcodes[c].recalc = 1;
}

static void remove_uninformative_states()
{
    set_charcodes();
    int states = 0, chars = 0;
    for (int c = 0; c < nc; ++c) {
        uint32_t gone = lonestates(charcodes[c]);
        if (!gone) continue;
        if (!chars++) chartables_reset();
        states += std::popcount(gone);
        removestates(c, gone);
    }
    set_charcodes();
    joinem("Removed ", intvert(states), " uninformative states (from ", intvert(chars), " chars.)\n", nullptr);
}

void xinactcom()
{
    nodaterror("inactivating characters");
    if (peep() == ';') deactivate_uninformative();
    else if (gotc('*')) remove_uninformative_states();
    else errarg(peep());
}

const comhelp xinacthelp = {
    "Leave out what is uninformative.", nullptr,
    "  xinact ;     make all uninformative characters inactive\n"
    "  xinact * ;   remove from the matrix, in non-additive characters, the states that are\n"
    "               found in a single taxon; cells left empty become missing\n"
    "Whether a character is informative depends on its type (see \"ccode\").\n"
    "Examples:\n"
    "  xinact ;\n"
    "  xinact * ;\n"
};
