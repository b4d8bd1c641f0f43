// The layer of names.
//
// It is laid at once from drafts, one a character: a definition makes a draft or replaces it, so that
// a command that fails on the way has changed nothing, and naming any number of characters takes time
// in proportion.  Drafts wait at the high end.  Characters that get none keep their names: they are
// drafted from the layer when it is laid again.
#include "data/charnames.h"
#include "data/blocks.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/layers.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <cassert>
#include <cstring>

namespace {
// What a character or a block is to be called.
struct draft {
    int    states;
    size_t bytes;
    char  *text;                         // its name and those of the states, each ended by a zero
};

// By number, null where nothing was defined; good until the command ends.
draft **chardrafts, **blockdrafts;
bool anychar, anyblock, onlyrenames;

char **statepool;                        // the entries of all statenames, in one piece
size_t poolsize;

// --- Drafts ---

draft *draftof(const std::vector<std::string> &names)
{
    size_t bytes = 0;
    for (const std::string &name : names) bytes += name.size() + 1;
    draft *d = hi<draft>(1);
    *d = { int(names.size()) - 1, bytes, hi<char>(bytes) };
    char *at = d->text;
    for (const std::string &name : names) at = stpcpy(at, name.c_str()) + 1;
    return d;
}

// The states that can be named; the landmarks of a configuration count as its states.
int moststates(int c) { return charcodes[c].type == DATA_LAND ? charcodes[c].numstates : maxstate; }

int namedstates(int c)
{
    int n = 0;
    if (statenames && statenames[c])
        while (n < moststates(c) && statenames[c][n]) ++n;
    return n;
}

// Name and states as they stand in the layer; none when there is no name.
std::vector<std::string> laidnames(int c)
{
    std::vector<std::string> names;
    if (!charnames || !charnames[c]) return names;
    names.push_back(charnames[c]);
    names.insert(names.end(), statenames ? statenames[c] : nullptr, statenames ? statenames[c] + namedstates(c) : nullptr);
    return names;
}

std::vector<std::string> draftednames(const draft *d)
{
    std::vector<std::string> names;
    for (const char *at = d->text; at < d->text + d->bytes; at += names.back().size() + 1) names.push_back(at);
    return names;
}

// Blocks are named all together, or none.
void draftblocks()
{
    anyblock = true;
    blockdrafts = hi<draft *>(size_t(nblocks) + 1);
    for (int b = 0; b <= nblocks; ++b)
        blockdrafts[b] = draftof({ blockname ? blockname[b] : b ? "Block_" + std::to_string(b) : "all" });
}

// A name is one word where it is read back, with '^' for a blank.
std::string oneword(const std::string &name, const std::string &whenempty)
{
    std::string out = name.empty() ? whenempty : name;
    for (char &symbol : out)
        if (symbol == ';' || symbol == '^' || (symbol >= 0 && symbol < ' ') || symbol == 127) symbol = '_';
    return out;
}

std::string nameforstate(int c, int s)
{
    return s < maxstate ? std::string(1, char(statesymbol(charcodes[c].type, s))) : std::to_string(s);
}

// --- The layer ---

void movenames(const layermove &move)
{
    move.rows(charnames, size_t(nc));
    move.rows(statenames, size_t(nc));
    move.rows(statepool, poolsize);
    move.rows(blockname, size_t(nblocks) + 1);
}

// Entries for all states there can be, so that any of them can be looked up.
size_t stateroom(int c) { return chardrafts[c] && chardrafts[c]->states ? size_t(moststates(c)) : 0; }

struct amounts { size_t named, entries, text; };

amounts measure()
{
    amounts all{};
    for (int c = 0; c < nc; ++c)
        if (chardrafts[c]) {
            ++all.named;
            all.entries += stateroom(c);
            all.text += chardrafts[c]->bytes;
        }
    for (int b = 0; anyblock && b <= nblocks; ++b) all.text += blockdrafts[b]->bytes;
    return all;
}

void laychars(const amounts &all, char **text)
{
    charnames = zlo<char *>(size_t(nc));
    poolsize = all.entries;
    if (poolsize) {
        statenames = zlo<char **>(size_t(nc));
        statepool = zlo<char *>(poolsize);
    }
    char **entry = statepool;
    for (int c = 0; c < nc; ++c) {
        const draft *d = chardrafts[c];
        if (!d) continue;
        char *at = charnames[c] = *text;
        memcpy(at, d->text, d->bytes);
        *text += d->bytes;
        if (d->states) statenames[c] = entry;
        for (int s = 0; s < d->states; ++s) entry[s] = at = at + strlen(at) + 1;
        entry += stateroom(c);
    }
}

void layblocks(char *text)
{
    blockname = lo<char *>(size_t(nblocks) + 1);
    for (int b = 0; b <= nblocks; ++b) {
        blockname[b] = text;
        memcpy(text, blockdrafts[b]->text, blockdrafts[b]->bytes);
        text += blockdrafts[b]->bytes;
    }
}

// Constraints may refer to characters by name.
void dropconstraints()
{
    if (!consttag) return;
    warnem("Constraints will have to be redefined if character names are modified", nullptr);
    droplayer(&consttag);
}

// Lays what is drafted, and that alone.
void laydrafts()
{
    constexpr double ROUNDING = 64;
    amounts all = measure();
    double pointers = 2.0 * nc + nblocks + 1 + double(all.entries);
    if (pointers * sizeof(char *) + double(all.text) + ROUNDING > relayroom(&cnamestag, 0)) {
        if (onlyrenames) errmsg("Not enough RAM to rename character", nullptr);
        loram(SIZE_MAX / 2);             // fails in the words for no memory
    }
    dropconstraints();
    charnames = nullptr;
    statenames = nullptr;
    statepool = nullptr;
    poolsize = 0;
    keeplayer(&cnamestag, movenames);
    if (!all.text) {
        droplayer(&cnamestag);
        return;
    }
    relayer(&cnamestag, [&] {
        char *text = lo<char>(all.text);
        if (all.named) laychars(all, &text);
        if (anyblock) layblocks(text);
    });
}

// A name no longer than the one before can take its place.
bool fitsinplace(int c, const std::vector<std::string> &names)
{
    if (!charnames || !charnames[c] || strlen(charnames[c]) < names[0].size()) return false;
    for (int s = 0, known = namedstates(c); s + 1 < int(names.size()); ++s)
        if (s >= known || strlen(statenames[c][s]) < names[size_t(s) + 1].size()) return false;
    return true;
}
}

// --- Definitions ---

void begin_charnames()
{
    chardrafts = zhi<draft *>(size_t(nc));
    blockdrafts = nullptr;
    anychar = anyblock = false;
    onlyrenames = true;
}

void define_charname(int c, const std::vector<std::string> &names)
{
    const charrec &r = charcodes[c];
    int states = int(names.size()) - 1;
    if (states && r.continuous) errmsg("Cannot name states for continuous characters", nullptr);
    if (states > moststates(c)) {
        if (r.type == DATA_LAND)
            myerr("Landmark configuration %i (%s) has only %i landmarks", c, names[0].c_str(), r.numstates);
        myerr("Cannot name more than %i states with present settings", maxstate);
    }
    std::vector<std::string> words{ oneword(names[0], "char_" + std::to_string(c)) };
    for (int s = 0; s < states; ++s) words.push_back(oneword(names[size_t(s) + 1], nameforstate(c, s)));
    for (const std::string &word : words) chk_strlen(long(word.size()), MAXCHARNAME, "Name");
    chardrafts[c] = draftof(words);
    anychar = true;
    onlyrenames = false;
}

void rename_charname(int c, const std::vector<std::string> &names)
{
    for (const std::string &name : names)
        if (name.size() > MAXCHARNAME) errmsg("New name(s) too long", nullptr);
    if (!chardrafts[c] && fitsinplace(c, names)) {
        strcpy(charnames[c], names[0].c_str());
        for (size_t s = 0; s + 1 < names.size(); ++s) strcpy(statenames[c][s], names[s + 1].c_str());
        return;
    }
    std::vector<std::string> all = names, old = chardrafts[c] ? draftednames(chardrafts[c]) : laidnames(c);
    if (old.size() > all.size()) all.insert(all.end(), old.begin() + long(all.size()), old.end());
    bool renames = onlyrenames;
    define_charname(c, all);
    onlyrenames = renames;
}

void define_blockname(int b, const std::string &name)
{
    chk_strlen(long(name.size()), MAXCHARNAME, "Name");
    if (!anyblock) draftblocks();
    blockdrafts[b] = draftof({ oneword(name, "Block_" + std::to_string(b)) });
    onlyrenames = false;
}

void end_charnames()
{
    if (!anychar && !anyblock) return;
    for (int c = 0; charnames && c < nc; ++c)
        if (!chardrafts[c] && charnames[c]) chardrafts[c] = draftof(laidnames(c));
    if (blockname && !anyblock) draftblocks();
    laydrafts();
}

void undefine_charnames()
{
    begin_charnames();
    if (blockname) draftblocks();
    laydrafts();
}

void auto_define_charname()
{
    begin_charnames();
    for (int c = 0; c < nc; ++c) {
        if (charnames && charnames[c]) continue;
        const charrec &r = charcodes[c];
        std::vector<std::string> names{ "char_" + std::to_string(c) };
        for (int s = 0; !r.continuous && s < r.numstates; ++s) names.push_back("state_" + nameforstate(c, s));
        define_charname(c, names);
    }
    end_charnames();
}

const char *charname_in_use(int c) { return use_charnames && charnames && c < nc ? charnames[c] : nullptr; }

int find_charname(const char *word)
{
    if (!charnames || !*word) return -1;
    for (int c = 0; c < nc; ++c)
        if (charnames[c] && !strcmp(charnames[c], word)) return c;
    for (int c = 0; c < nc; ++c)
        if (charnames[c] && namtrun(word, charnames[c])) return c;
    return -1;
}

// --- Names in print ---

// Behind others, or on a line of its own where the line would not end within a screen.
static void showword(const std::string &word)
{
    constexpr int WIDEST = 79;
    int width = textwidth(word.data(), word.size()) + 1, line = textwidth(composed(), size_t(composed_length()));
    bool fits = line + width <= WIDEST;
    if (line && !fits) endrow();
    if (line) tojoin(fits ? " " : "    ");
    tojoin(word.c_str());
}

void showcharnames()
{
    bool any = false;
    for (int c = 0; charnames && c < nc; ++c) {
        if (!charnames[c]) continue;
        any = true;
        std::string words = std::to_string(c) + " " + charnames[c];
        int states = namedstates(c);
        for (int s = 0; s < states; ++s) {
            showword(words + (s ? "," : ":"));
            words = nameforstate(c, s) + " " + statenames[c][s];
        }
        showword(words);
        endrow();
    }
    if (!any) spewem("No character names defined", nullptr);
}

static void saveword(const char *name)
{
    std::string word = name;
    for (char &symbol : word)
        if (symbol == ' ') symbol = '^';
    joinem(word.c_str(), " ", nullptr);
}

static void savenames(bool all)
{
    joinem("cnames\n", nullptr);
    for (int c = 0; charnames && c < nc; ++c) {
        if (!charnames[c] || (!all && !charcodes[c].active)) continue;
        joinem("{", intvert(c), " ", nullptr);
        for (const std::string &name : laidnames(c)) saveword(name.c_str());
        joinem(";\n", nullptr);
    }
    for (int b = 1; blockname && b <= nblocks; ++b) {
        joinem("[", intvert(b), " ", nullptr);
        saveword(blockname[b]);
        joinem(";\n", nullptr);
    }
    joinem(";\n", nullptr);
}

void savecharnames()      { savenames(false); }
void save_all_charnames() { savenames(true); }

void checkcharnames()
{
    assert(bool(charnames) <= bool(cnamestag) && bool(statenames) <= bool(charnames));
    for (int c = 0; statenames && c < nc; ++c) {
        if (!statenames[c]) continue;
        assert(charnames[c] && !charcodes[c].continuous);
        for (int s = namedstates(c); s < moststates(c); ++s) assert(!statenames[c][s]);
    }
}
