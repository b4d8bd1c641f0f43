// Settings of single characters: additive or not, active or not, step matrices or not, weight and
// additional steps for implied weighting.  There are two sets of them, current and stored.
#include "data/ccode.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

static constexpr int MAXINTERNAL = 100, ASIS = -1;

namespace {
// What the specifiers given so far demand; ASIS leaves a setting alone.
struct wanted {
    int additive = ASIS, active = ASIS, sankoff = ASIS, semiadditive = ASIS, weight = ASIS, internal = ASIS;
    bool asksankoff = false;         // step matrices were named, not only implied by "additive"
};

struct applying {
    wanted want;
    bool   any = false;              // a list was applied
    bool   changed = false, status = false;   // a setting; one that is no weight
};
}

void dosemiad(charrec *c)
{
    c->sankoff = 1;
    c->additive = 0;
    for (int i = 0; i < c->numstates; ++i)
        for (int j = 0; j < c->numstates; ++j) c->costs[i][j] = i == j ? 0 : i - j == 1 || j - i == 1 ? 1 : 2;
}

// --- Applying specifiers ---

// Derived tables go before the first change, so that a later failure cannot leave them standing.
static void changes(applying *a, bool status)
{
    if (!a->changed) chartables_reset();
    if (status) defined_ref = 0;
    a->changed = true;
    a->status |= status;
}

static void setflag(applying *a, charrec *c, uint8_t charrec::*flag, int want)
{
    if (want == ASIS || c->*flag == want) return;
    changes(a, true);
    c->*flag = uint8_t(want);
    c->recalc = 1;
}

static void setnumber(applying *a, int32_t *number, int want)
{
    if (want == ASIS || *number == want) return;
    changes(a, false);
    *number = want;
}

// A sector is packed by the master, with the types that the characters had there.
static void refuse_in_sectors()
{
    if (iamslave && ss_recurse_level)
        errmsg("P-ZEL: when running sectors, the sankoff status of the characters cannot change", nullptr);
}

static void applyto(applying *a, charrec *c)
{
    const wanted &w = a->want;
    setnumber(a, &c->weight, w.weight);
    setnumber(a, &c->internal_steps, w.internal);
    setflag(a, c, &charrec::active, w.active);
    if (c->continuous) return;
    if ((w.sankoff == 1 && !c->sankoff) || w.semiadditive == 1) refuse_in_sectors();
    setflag(a, c, &charrec::additive, w.additive);
    setflag(a, c, &charrec::sankoff, w.sankoff);
    if (w.semiadditive == 1) {
        changes(a, true);
        dosemiad(c);
        c->recalc = 1;
    }
}

void set_active_chars(const uint8_t *active)
{
    applying a;
    for (int c = 0; c < nc; ++c) setflag(&a, charcodes + c, &charrec::active, active[c]);
}

static void applyrange(applying *a, int from, int to)
{
    for (int c = from; c <= to; ++c) applyto(a, charcodes + c);
    a->any = true;
}

// --- Reading ---

static void needsankoff()
{
    if (!allow_sankoff) errmsg("Sankoff characters have been disabled (use \"cost >;\" to enable)", nullptr);
}

static bool specifier(wanted *w, int c)
{
    long n;
    switch (c) {
        case '+': w->additive = 1; w->sankoff = w->semiadditive = 0; w->asksankoff = false; return true;
        case '-': w->additive = 0; w->semiadditive = 0; return true;
        case '[': w->active = 1; return true;
        case ']': w->active = 0; return true;
        case '(': needsankoff(); w->sankoff = 1; w->semiadditive = 0; w->asksankoff = true; return true;
        case ')': w->sankoff = w->semiadditive = 0; w->asksankoff = true; return true;
        case '~': needsankoff(); w->additive = w->sankoff = ASIS; w->semiadditive = 1; w->asksankoff = true; return true;
        case '*': *w = wanted(); return true;
        case '/':
            n = gtnu();
            if (n > INT_MAX) errmsg("Character weight", intvert(n), "is too large", nullptr);
            w->weight = n < 0 ? 1 : int(n);
            return true;
        case '=':
            n = gtnu();
            if (n > MAXINTERNAL) errmsg("Internal steps can be set to a maximum of 100", nullptr);
            w->internal = n < 0 ? 0 : int(n);
            return true;
    }
    return false;
}

// A block: numbers after it refer to its characters; without one, it is the whole block.
static void blocklist(applying *a)
{
    int low, high;
    readblock(&low, &high);
    bool numbers = false;
    for (int c; isdigit(c = peep()) || c == '.'; numbers = true) {
        getscope(0, high - low, "character");
        applyrange(a, low + scopis[0], low + scopis[1]);
    }
    if (!numbers) applyrange(a, low, high - 1);
}

// The members of groups in braces, or of a complex.
static void memberlist(applying *a, int sign)
{
    uint8_t *list = charscopelist;
    memset(list, 0, nc);
    if (sign == '{') readgroups(list, 0, nc, "character", LISTED);
    else readcomplex(list, 0, nc, LISTED);
    for (int c = 0; c < nc; ++c)
        if (list[c]) applyto(a, charcodes + c);
    a->any = true;
}

// --- Reports ---

static std::string symbols(const charrec &c)
{
    char text[40];
    int n = snprintf(text, sizeof text, "%c%c/%i", c.sankoff ? '(' : c.additive ? '+' : '-', c.active ? '[' : ']', c.weight);
    if (dopiwe) snprintf(text + n, sizeof text - size_t(n), "=%i", c.internal_steps);
    return text;
}

void display_charcodes()
{
    constexpr int ALINE = 5;
    for (int c = 0; c < nc; ++c) {
        bool last = c % ALINE == ALINE - 1 || c == nc - 1;
        char text[80];
        snprintf(text, sizeof text, last ? "%-8s %i" : "%-8s %-6i", symbols(charcodes[c]).c_str(), c);
        tojoin(text);
        if (last) endrow();
    }
}

// Specifiers without a list ask which characters are so.
static void query(const wanted &w)
{
    struct asked { int want; const char *yes, *no; uint8_t charrec::*flag; };
    const asked all[] = {
        { w.additive, "additive", "nonadditive", &charrec::additive },
        { w.active, "active", "inactive", &charrec::active },
        { !w.asksankoff ? ASIS : w.semiadditive == 1 ? 1 : w.sankoff, "Sankoff", "non-Sankoff", &charrec::sankoff },
    };
    tojoin("Characters: ");
    for (const asked &q : all)
        if (q.want != ASIS) tospew(q.want ? q.yes : q.no);
    if (w.weight != ASIS) tospew("weight"), tospew(intvert(w.weight));
    if (w.internal != ASIS) tospew("internal steps"), tospew(intvert(w.internal));
    spewout();
    uint8_t *list = charscopelist;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        bool fits = (w.weight == ASIS || r.weight == w.weight) && (w.internal == ASIS || r.internal_steps == w.internal);
        for (const asked &q : all) fits = fits && (q.want == ASIS || r.*q.flag == q.want);
        list[c] = fits ? LISTED : 0;
    }
    printlist(list, 0, nc, LISTED);
}

// --- Commands ---

// Settings that stand in the file of the data are what "ccode !" goes back to.
bool reading_data_file()
{
    return giveme_curproc_level() > 0 && !strcmp(giveme_curproc_name(), dataname);
}

void ccodecom()
{
    if (gotc('!')) return reset_ccode();
    nodaterror("setting character codes");
    int c = peep();
    if (c == ';') return display_charcodes();
    applying a;
    bool specified = false;
    while ((c = gtnb()) != ';') {
        if (specifier(&a.want, c)) specified = true;
        else if (isdigit(c) || c == '.') {
            ungtch();
            getscope(0, nc, "character");
            applyrange(&a, scopis[0], scopis[1]);
        }
        else if (c == '@') blocklist(&a);
        else if (c == '{' || c == '^') memberlist(&a, c);
        else errmsg("Error in ccode: illegal character found", nullptr);
    }
    ungtch();
    if (a.changed) set_charcodes();
    if (a.any && reading_data_file()) store_ccode();
    if (specified && !a.any) query(a.want);
}

static void copysettings(charrec *to, const charrec *from)
{
    to->weight = from->weight;
    to->active = from->active;
    to->additive = from->additive;
    to->sankoff = from->sankoff;
    to->sankoff_kind = from->sankoff_kind;
    to->aux_saved = from->aux_saved;
    to->internal_steps = from->internal_steps;
    if (!from->sankoff || !from->costs || !to->costs) return;
    for (int s = 0; s < maxstate; ++s) memcpy(to->costs[s], from->costs[s], sizeof(uint32_t) * maxstate);
}

void store_ccode()
{
    if (!nc) nodaterror("storing ccode");
    for (int c = 0; c < nc; ++c) copysettings(oldccodes + c, charcodes + c);
}

void reset_ccode()
{
    nodaterror("resetting ccode");
    chartables_reset();
    defined_ref = 0;
    for (int c = 0; c < nc; ++c) {
        copysettings(charcodes + c, oldccodes + c);
        charcodes[c].recalc = 1;
    }
    set_charcodes();
}

const comhelp ccodehelp = {
    "Set the type, activity and weight of characters.", nullptr,
    "The list after each of these is of characters that are:\n"
    "  +     additive\n"
    "  -     non-additive (the default for discrete characters)\n"
    "  [     active (the default)\n"
    "  ]     inactive\n"
    "  (     Sankoff, with a step matrix; ) not so\n"
    "  ~     semi-additive: cost 1 between adjacent states, 2 between others\n"
    "  /N    of weight N (default 1)\n"
    "  =N    with N additional steps for implied weighting, 0 to 100 (default 0)\n"
    "  *     nothing of this: no specifiers any more\n"
    "In lists, N is character N; N.M, N. and . are ranges; @N is block N and {N}\n"
    "group N.  Specifiers hold for the lists that follow them, until changed.\n"
    "Specifiers with no list report which characters are so.\n"
    "  ccode ;     show all settings\n"
    "  ccode ! ;   go back to the stored ones (see \"ckeep\")\n"
    "Examples:\n"
    "  ccode + 0.5 - 7 ] 8. ;   0 to 5 additive, 7 not, the last ones inactive\n"
    "  ccode /3 2 4 /1 6 ;\n"
    "  ccode ! ;\n"
};

const comhelp ckeephelp = {
    "Store the present character settings.", nullptr,
    "  ckeep ;   store the settings to which \"ccode ! ;\" goes back\n"
    "They are stored when data are read, too, and with every \"ccode\" in the data\n"
    "file.\n"
    "Examples:\n"
    "  ccode ] 3 ; ckeep ; ccode [ 3 ; ccode ! ;   character 3 is inactive again\n"
};
