// Character settings and active taxa of a Nexus file.
//
// A command is read whole, as words, before any of it takes effect.  Sets of characters are kept as
// the words that define them: what they stand for is only known, and only matters, where they are used.
#include "formats/nexus.h"
#include "formats/names.h"
#include "data/ccode.h"
#include "data/charnames.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/smatrix.h"
#include "data/taxa.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

static std::unordered_map<std::string, tokens> charsets;
static bool changed;                     // settings of characters, in the commands since the last end

void forget_nexus_sets()
{
    charsets.clear();
    changed = false;
}

namespace {
// The words of a command, from first to last.
struct reader {
    const tokens &all;
    size_t at = 0;
    bool over() const { return at >= all.size(); }
    bool next(char sign) const { return !over() && all[at].is(sign); }
    bool skip(char sign) { return next(sign) && ++at; }
    bool colonafter() const { return at + 1 < all.size() && all[at + 1].is(':'); }
};
}

// --- Lists ---

static constexpr int DEEPEST = 20;       // sets of characters within sets

static void nexus_scope(reader *r, uint8_t *list, int depth);

static int character(const std::string &word)
{
    long n;
    if (word == ".") return nc - 1;
    if (wholenumber(word, &n)) {
        if (n < 1 || n > nc) nexuserror("no character %li (numbers are 1-%i)", n, nc);
        return int(n) - 1;
    }
    return charnames ? find_charname(word.c_str()) : -1;
}

// A number or name, or a range of them, perhaps of every so many characters only.
static void range(reader *r, int from, uint8_t *list)
{
    int to = from;
    long step = 1;
    if (r->skip('-')) {
        to = r->over() ? -1 : character(r->all[r->at].text);
        if (to < 0) nexuserror("expected number of character after '-'");
        ++r->at;
    }
    if (r->skip('\\')) {
        if (r->over() || !wholenumber(r->all[r->at].text, &step) || step < 1) nexuserror("expected a number after '\\'");
        ++r->at;
    }
    if (from > to) std::swap(from, to);
    for (long c = from; c <= to; c += step) list[c] = LISTED;
}

static void charset(const std::string &name, uint8_t *list, int depth)
{
    auto set = charsets.find(lowered(name));
    if (set == charsets.end() || depth > DEEPEST) nexuserror("no character or set of characters named %s", name.c_str());
    reader inner{ set->second };
    nexus_scope(&inner, list, depth + 1);
}

// Characters up to a comma, the end, or what is the beginning of another item ("word:").
static void nexus_scope(reader *r, uint8_t *list, int depth)
{
    bool any = false;
    for (; !r->over() && !r->next(',') && !r->next('/'); any = true) {
        const token &t = r->all[r->at];
        if (any && t.isname() && r->colonafter()) break;
        if (!t.isname()) nexuserror("expected number of character; found '%s'", t.text.c_str());
        int c = character(t.text);
        ++r->at;
        if (c >= 0) range(r, c, list);
        else if (lowered(t.text) == "all") memset(list, LISTED, size_t(nc));
        else charset(t.text, list, depth);
    }
    if (!any && !depth) nexuserror("expected list of characters");
}

static uint8_t *scope(reader *r)
{
    uint8_t *list = zlo<uint8_t>(size_t(nc));
    nexus_scope(r, list, 0);
    return list;
}

// --- Applying ---

static void begins()
{
    if (!changed) chartables_reset();
    changed = true;
}

void endassumptions()
{
    if (!changed) return;
    changed = false;
    defined_ref = 0;
    set_charcodes();
}

static void setordered(const uint8_t *list, bool ordered)
{
    begins();
    for (int c = 0; c < nc; ++c) {
        if (list[c] != LISTED) continue;
        charcodes[c].additive = ordered;
        charcodes[c].sankoff = 0;
        charcodes[c].recalc = 1;
    }
}

static void setactive(const uint8_t *list, bool active)
{
    uint8_t *all = lo<uint8_t>(size_t(nc));
    for (int c = 0; c < nc; ++c) all[c] = list[c] == LISTED ? active : charcodes[c].active;
    begins();
    set_active_chars(all);
}

static void setweight(const uint8_t *list, int weight)
{
    begins();
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED) charcodes[c].weight = weight;
}

static int findusertype(const std::string &name)
{
    for (int n = 0; n < STEPMATRICES; ++n)
        if (defstepmat[n] && !namecomp(name.c_str(), stepmatrixname[n])) return n;
    return -1;
}

// ord, unord, or the name of a user type.
static void settype(const std::string &name, const uint8_t *list)
{
    std::string word = lowered(name);
    int type = findusertype(name);
    if (type >= 0) {
        begins();
        apply_stepmatrix(type, list);
    }
    else if (word.size() > 1 && !brevcomp(word.c_str(), "ordered")) setordered(list, true);
    else if (word.size() > 1 && !brevcomp(word.c_str(), "unordered")) setordered(list, false);
    else nexuserror("type %s is not defined", name.c_str());
}

// --- Commands ---

static void types(reader *r)
{
    do {
        if (r->over()) break;
        if (!r->all[r->at].isname()) nexuserror("expected name of type");
        const std::string &name = r->all[r->at++].text;
        if (!r->skip(':')) nexuserror("expected ':' after %s", name.c_str());
        char *mark = lomark();
        settype(name, scope(r));
        loset(mark);
        r->skip(',');
    } while (!r->over());
}

static void read_nexus_ctype()
{
    tokens all = restofcommand();
    reader r{ all };
    types(&r);
}

// Weights are whole numbers here; others go to the nearest one.
static int weightof(const std::string &word, bool *rounded)
{
    constexpr double MOST = 1e9;
    char *end;
    double w = strtod(word.c_str(), &end);
    if (*end || end == word.c_str() || !(w >= 0) || w > MOST) nexuserror("expected weight; found '%s'", word.c_str());
    *rounded |= w != std::round(w);
    return int(std::lround(w));
}

static void weights(reader *r)
{
    bool rounded = false;
    while (!r->over()) {
        const std::string &word = r->all[r->at++].text;
        int weight = weightof(word, &rounded);
        if (!r->skip(':')) nexuserror("expected ':' after %s", word.c_str());
        char *mark = lomark();
        setweight(scope(r), weight);
        loset(mark);
        r->skip(',');
    }
    if (rounded) warnem("Weights that are not whole numbers are rounded", nullptr);
}

static void read_nexus_weights()
{
    tokens all = restofcommand();
    reader r{ all };
    weights(&r);
}

static void activity(reader *r, bool active)
{
    char *mark = lomark();
    while (!r->over()) {
        setactive(scope(r), active);
        if (r->skip('/')) break;             // options
        r->skip(',');
    }
    loset(mark);
}

static void read_nexus_exclude(bool active)
{
    tokens all = restofcommand();
    reader r{ all };
    activity(&r, active);
}

static void excludecom() { read_nexus_exclude(false); }
static void includecom() { read_nexus_exclude(true); }

// The '=' behind a name and what stands in parentheses with it.
static size_t equalsign(const tokens &all, size_t at)
{
    int depth = 0;
    for (; at < all.size() && (depth || !all[at].is('=')); ++at) depth += all[at].is('(') - all[at].is(')');
    return at;
}

// Up to the '=' behind the name of a set; true when a star says that the set is in force.
static bool sethead(reader *r, bool *vector)
{
    bool star = false;
    for (size_t end = equalsign(r->all, r->at); r->at < end; ++r->at) {
        star |= r->next('*');
        *vector |= lowered(r->all[r->at].text) == "vector";
    }
    return r->skip('=') && star;
}

static void weightvector(reader *r)
{
    bool rounded = false;
    for (int c = 0; c < nc && !r->over(); ++c, ++r->at) {
        int weight = weightof(r->all[r->at].text, &rounded);
        begins();
        charcodes[c].weight = weight;
    }
    if (rounded) warnem("Weights that are not whole numbers are rounded", nullptr);
}

static void setinforce(void (*apply)(reader *r, bool vector))
{
    tokens all = restofcommand();
    reader r{ all };
    bool vector = false;
    if (sethead(&r, &vector) && !r.over()) apply(&r, vector);
}

static void read_nexus_typeset()
{
    setinforce([](reader *r, bool vector) {
        if (vector) nexuserror("types given one by one (\"vector\") can't be read");
        types(r);
    });
}

static void read_nexus_wtset()
{
    setinforce([](reader *r, bool vector) { vector ? weightvector(r) : weights(r); });
}

static void read_nexus_exset()
{
    setinforce([](reader *r, bool) { activity(r, false); });
}

static void read_nexus_charset()
{
    tokens all = restofcommand();
    size_t name = 0, equal = equalsign(all, 0);
    while (name < all.size() && !all[name].isname()) ++name;
    if (name < equal && equal < all.size())
        charsets[lowered(all[name].text)] = tokens(all.begin() + long(equal) + 1, all.end());
}

// The type of characters that no set mentions is the only option that means something here.
static void read_nexus_options()
{
    tokens all = restofcommand();
    for (size_t i = 0; i + 2 < all.size(); ++i) {
        if (lowered(all[i].text) != "deftype" || !all[i + 1].is('=')) continue;
        char *mark = lomark();
        uint8_t *list = lo<uint8_t>(size_t(nc));
        memset(list, LISTED, size_t(nc));
        settype(all[i + 2].text, list);
        loset(mark);
    }
}

// --- User types ---

static uint32_t costof(const token &t)
{
    if (t.is('-') || t.text == ".") return 0;
    if (lowered(t.text) == "i" || lowered(t.text) == "inf" || lowered(t.text) == "infinity") return FORBIDDEN;
    long n;
    if (t.kind != TK_WORD || !wholenumber(t.text, &n)) nexuserror("expected cost; found '%s'", t.text.c_str());
    return uint32_t(std::min<long>(n, FORBIDDEN));
}

static int placefor(const std::string &name)
{
    int n = findusertype(name);
    for (int i = 0; n < 0 && i < STEPMATRICES; ++i)
        if (!defstepmat[i]) n = i;
    if (n < 0) nexuserror("Cannot define more than 32 usertypes");
    return n;
}

// The states of a row, one symbol each.
static void userstates(reader *r, long n, int *state)
{
    for (long i = 0; i < n; ++i, ++r->at) {
        if (r->over() || r->all[r->at].kind != TK_WORD || r->all[r->at].text.size() != 1)
            nexuserror("expected list of (single) states");
        state[i] = statenumber(r->all[r->at].text[0]);
    }
}

// usertype name (stepmatrix) = n, the n states, and a row of n costs for each state changed from.
static void read_nexus_usertypes()
{
    tokens all = restofcommand();
    reader r{ all };
    if (!allow_sankoff) errmsg("Sankoff characters have been disabled", nullptr);
    r.skip('*');
    if (r.over() || !r.all[r.at].isname()) nexuserror("expected name of usertype");
    std::string name = r.all[r.at++].text;
    r.at = equalsign(all, r.at);
    if (!r.skip('=')) nexuserror("expected '=' after %s", name.c_str());
    long n;
    if (r.over() || !wholenumber(r.all[r.at].text, &n) || n < 1) nexuserror("expected list of (single) states");
    if (n > COSTSTATES) nexuserror("can' define usertypes over 32 states");
    ++r.at;
    int state[COSTSTATES], place = placefor(name);
    userstates(&r, n, state);
    costtable costs;
    std::fill(&costs[0][0], &costs[0][0] + COSTSTATES * COSTSTATES, NOTGIVEN);
    for (long from = 0; from < n; ++from)
        for (long to = 0; to < n; ++to, ++r.at) {
            if (r.over()) nexuserror("expected cost");
            uint32_t cost = costof(r.all[r.at]);
            if (from != to) costs[state[from]][state[to]] = cost;
        }
    if (!r.over()) nexuserror("expected end of usertype; found '%s'", r.all[r.at].text.c_str());
    int states = *std::max_element(state, state + n) + 1;
    name.resize(std::min<size_t>(name.size(), STEPMATNAME - 1));
    define_stepmatrix(place, name.c_str(), costs, states);
}

// --- Taxa ---

static int taxon(const taxonfinder &taxa, const token &t)
{
    if (t.text == ".") return nt - 1;
    int found = taxa.byname(t.text);
    long n;
    if (found >= 0) return found;
    if (!wholenumber(t.text, &n) || n < 1 || n > nt) nexuserror("no taxon %s", t.text.c_str());
    return int(n) - 1;
}

static void setdeleted(bool deleted)
{
    tokens all = restofcommand();
    reader r{ all };
    taxonfinder taxa;
    uint8_t *active = lo<uint8_t>(size_t(nt));
    for (int t = 0; t < nt; ++t) active[t] = taxact[t] == 1;
    for (; !r.over() && !r.next('/'); r.skip(',')) {
        if (!r.all[r.at].isname()) nexuserror("expected taxon; found '%s'", r.all[r.at].text.c_str());
        int from = 0, to = nt - 1;
        if (lowered(r.all[r.at].text) == "all") ++r.at;
        else {
            from = to = taxon(taxa, r.all[r.at++]);
            if (r.skip('-')) {
                if (r.over()) nexuserror("expected taxon after '-'");
                to = taxon(taxa, r.all[r.at++]);
            }
        }
        for (int t = std::min(from, to); t <= std::max(from, to); ++t) active[t] = !deleted;
    }
    if (!active[outgroup]) errmsg("Cannot deactivate", taxname_out(outgroup), "(it is current outgroup)", nullptr);
    if (std::count(active, active + nt, 1) < LEASTTAXA) errmsg("Cannot have less than 4 active taxa", nullptr);
    spewem(deleted ? "deleting taxa" : "undeleting taxa", nullptr);
    set_active_taxa(active);
    changed = true;                          // minima of characters follow the active taxa
}

static void deletecom()   { setdeleted(true); }
static void undeletecom() { setdeleted(false); }

// --- The block ---

static const struct { const char *name; void (*read)(); } commands[] = {
    { "ctype",    read_nexus_ctype },     { "typeset", read_nexus_typeset },
    { "weights",  read_nexus_weights },   { "wtset",   read_nexus_wtset },
    { "wts",      read_nexus_weights },   { "exset",   read_nexus_exset },
    { "exclude",  excludecom },           { "include", includecom },
    { "usertype", read_nexus_usertypes }, { "charset", read_nexus_charset },
    { "options",  read_nexus_options },   { "delete",  deletecom },
    { "undelete", undeletecom },
};

bool assumption(const std::string &command)
{
    for (auto &row : commands) {
        if (command != row.name) continue;
        row.read();
        return true;
    }
    return false;
}

void read_nexus_assumptions(const char *block)
{
    if (!datatag) nodaterror("reading assumptions");
    std::string command;
    while (nextcommand(block, &command))
        if (!assumption(command)) skipcommand();
    endassumptions();
}

void skip_nexus_block()
{
    std::string command;
    while (nextcommand("that is skipped", &command, true))
        command == "charset" ? read_nexus_charset() : skipcommand();
}
