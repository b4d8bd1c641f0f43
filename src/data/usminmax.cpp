// The command usminmax: minima of Sankoff characters that are not calculated, and states that no
// taxon has.
#include "data/below.h"
#include "data/costs.h"
#include "data/lists.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <climits>

constexpr long HIGHESTSTATE = COSTSTATES - 1;

static bool issankoff(int c) { return charcodes[c].sankoff && !charcodes[c].continuous; }

// Settings of the characters in the list changed: `set` is called for those that are Sankoff;
// returns how many.
template<class F> static int changelisted(F set)
{
    int n = 0;
    chartables_reset();
    for (int c = 0; c < nc; ++c)
        if (charscopelist[c] && issankoff(c)) {
            set(charcodes[c], charscopelist[c] == LISTED);
            charcodes[c].recalc = 1;
            ++n;
        }
    set_charcodes();
    return n;
}

static void setminima()
{
    long least = gtnu();
    if (least < 0 || least > INT_MAX) errmsg("Must specify value of user minimum after \"=\"", nullptr);
    for (int c = 0; c < nc; ++c)
        if (charscopelist[c] == LISTED && issankoff(c) && least >= charcodes[c].maxsteps)
            myerr("Maximum possible steps for char. %i is %i; a user minimum of %i (or more) makes it \"uninformative\"",
                  c, charcodes[c].maxsteps, charcodes[c].maxsteps);
    int n = changelisted([least](charrec &r, bool listed) { r.usermin = listed ? int32_t(least) : -1; });
    myp("User-minimum defined for %i sankoff char(s)\n", n);
}

static void setmaxima()
{
    long highest = gtnu();
    if (highest < 0 || highest > HIGHESTSTATE || highest >= maxstate)
        myerr("Cannot define maximum as %i (maximum must be 0-%i)", int(highest > INT_MAX ? INT_MAX : highest),
              int(highest > HIGHESTSTATE ? HIGHESTSTATE : maxstate - 1));
    for (int c = 0; c < nc; ++c)
        if (charscopelist[c] == LISTED && issankoff(c) && charcodes[c].sets >> highest > 1)
            myerr("Cannot set maximum to %i (number of states is %i)", int(highest), charcodes[c].numstates);
    int n = changelisted([highest](charrec &r, bool listed) { r.user_maxstate = listed ? int8_t(highest) : -1; });
    myp("User-maximum defined for %i sankoff char(s)\n", n);
}

static void showall()
{
    bool any = false;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        if (!issankoff(c)) continue;
        any = true;
        joinem("Char. ", intvert(c), ": minimum ", intvert(r.minsteps), r.usermin >= 0 ? " (set)" : "", ", maximum ",
               intvert(r.maxsteps), ", states 0-", intvert(r.numstates - 1), r.user_maxstate >= 0 ? " (set)" : "", "\n", nullptr);
    }
    if (!any) spewem("No Sankoff characters", nullptr);
}

void usminmaxcom()
{
    nodaterror("setting user minima");
    if (peep() == ';') return showall();
    if (gotc('*')) return autosearch_all_sank_minima();
    bool any = read_scope(charscopelist, 0, nc, "character", charnames);
    if (any && gotc('>')) return setmaxima();
    if (any && peep() == ';' && !countlist(charscopelist, nc)) {
        changelisted([](charrec &r, bool) { r.usermin = r.user_maxstate = -1; });
        return;
    }
    if (!any || !gotc('=')) errmsg("Character list must be followed by \"=\"", nullptr);
    setminima();
}

const comhelp usminmaxhelp = {
    "Set minimum steps and highest states of Sankoff characters.", nullptr,
    "   N = S     the minimum of characters N is S steps, whatever is calculated.  It must be below\n"
    "             the maximum\n"
    "   N > M     nodes may have states up to M in characters N (0 to 31, not below the highest\n"
    "             state observed, which is the default)\n"
    "   -N        back to what is calculated, and to the states observed\n"
    "   *         find the minima of all active Sankoff characters by searches, each for one\n"
    "             character alone.  Trees in memory stay.  Needs \"hold\" of 5 or more\n"
    "   ;         show minima, maxima and states of Sankoff characters\n"
    "Of other characters in the list nothing changes.  New costs forget minima that were set.\n"
    "Examples:\n"
    "  costs 3 = 0>1 2 1>0 5 ; usminmax 3 = 4 ;\n"
    "  usminmax 3 > 6 ; usminmax ;\n"
};
