// Trees to files: "tsave" opens and closes the tree file, "save" writes trees to it.  The file
// being written takes its name when it is closed.
#include "trees/safefile.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"
#include "trees/scratch.h"
#include "trees/treetags.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cstring>

FILE *treefile;
int   tsavemode;
int   autosave_results;

static safefile out;                 // the open tree file; out.stream is treefile
static int  saved;                   // trees written to it
static int  filetaxa;                // taxa it is for

static constexpr char FIRSTLINE[] = "tread 'tree(s) from ZEL, for data in ";

// --- Text of a tree ---

// Names are written so that they can be read back: blanks as '^', and by number where the name
// holds signs of the notation, looks like a number or a wild name, or was cut to what another one
// begins with.
std::string gimename(int t)
{
    constexpr char WILD[] = "...";
    if (!usetaxnames) return std::to_string(t);
    std::string name = taxname_out(t);
    bool readable = !name.empty() && name.find_first_of("(),;*='^") == std::string::npos && !strchr("@+", name[0]) &&
                    name.find_first_not_of("0123456789") != std::string::npos &&
                    (name.size() < strlen(WILD) || name.compare(name.size() - strlen(WILD), strlen(WILD), WILD));
    if (!readable || (name != taxname[t] && findtaxon(name.c_str()) != t)) return std::to_string(t);
    std::replace(name.begin(), name.end(), ' ', '^');
    return name;
}

const char *gimetax(int t)
{
    static std::string name;
    name = gimename(t);
    return name.c_str();
}

// What would end the tag as it is read back is replaced.
static void puttag(int n, std::string *text)
{
    if (!txtrmsg[n][0]) return;
    *text += '=';
    int open = 0;
    for (const char *c = txtrmsg[n]; *c; ++c) {
        bool ends = static_cast<unsigned char>(*c) <= ' ' || *c == '*' || *c == ';' || (*c == ')' && !open);
        if (!ends) open += (*c == '(') - (*c == ')');
        *text += ends ? '_' : *c;
    }
    *text += TAGEND;
    *text += ' ';
}

// Down and up the tree by its links: trees may be as deep as they have taxa.
static void writetree(const int *anc, int node, bool tags, std::string *text)
{
    if (node < nt) {
        *text += gimename(node);
        return;
    }
    mksis(anc);
    auto blank = [&] { if (!strchr("( ", text->back())) *text += ' '; };
    int n = node;
    *text += '(';
    n = lef[n];
    while (n != node) {
        blank();
        if (n >= nt && lef[n] >= 0) {
            *text += '(';
            n = lef[n];
            continue;
        }
        *text += gimename(n);
        if (tags) puttag(n, text);
        for (; n != node; n = anc[n] & NODEBITS) {
            if (n != node && n >= nt) {
                *text += ')';
                if (tags) puttag(n, text);
            }
            if (sis[n] >= 0) {
                n = sis[n];
                break;
            }
        }
    }
    *text += ')';
    if (tags) puttag(node, text);
}

void savetree(const int *anc, int node, std::string *text) { writetree(anc, node, false, text); }
void savetags(std::string *text)                           { writetree(txtr, nt, true, text); }

// --- The open file ---

[[noreturn]] static void cannotwrite(const std::string &name)
{
    errmsg("Can't write to tree file", name.c_str(), "- it was left as it was before", nullptr);
}

static void put(FILE *f, const std::string &text) { fwrite(text.data(), 1, text.size(), f); }

// What can be appended to a compact file: one for as many taxa, of whole trees.
static void checkcompact(const char *name, const std::string &old)
{
    std::string header;
    convertheader(&header);
    auto number = [&](size_t at, size_t bytes) {
        size_t n = 0;
        for (size_t i = 0; i < bytes; ++i) n |= size_t(uint8_t(old[at + i])) << 8 * i;
        return n;
    };
    if (old.size() < 2 || (!number(0, 2) && (nt < BIGTAXA || old.size() < 6)))
        errmsg("Cannot append tree file.\nTree file", name, "is no compact tree file", nullptr);
    if (old.compare(0, header.size(), header)) {
        size_t taxa = number(0, 2) ? number(0, 2) : number(2, 4);
        errmsg("Cannot append tree file.\n\nTrees in", name, "are for", intvert(long(taxa)), "taxa", nullptr);
    }
    size_t word = nt < BIGTAXA ? 2 : 4, at = header.size();
    while (at < old.size()) {
        if (old.size() - at < word || old.size() - at - word < number(at, word) * word)
            errmsg("Cannot append tree file.\nTree file", name, "ends within a tree", nullptr);
        at += word + number(at, word) * word;
    }
}

// Drops that text, and the blanks behind it, from the end; false when the file does not end so.
static bool dropifends(std::string *old, const char *text)
{
    size_t end = old->find_last_not_of(" \t\r\n") + 1, n = strlen(text);
    if (end < n || old->compare(end - n, n, text)) return false;
    old->erase(end - n);
    return true;
}

// A parenthetical file ends by closing itself as an input: what is appended must come before.  When
// no trees were written it is only the title of trees to come.
static void dropending(std::string *old)
{
    if (dropifends(old, "proc-;") || dropifends(old, "proc/;")) return;
    size_t title = old->rfind("tread '");
    if (title == std::string::npos) return;
    size_t quote = old->find('\'', title + strlen("tread '"));
    if (quote != std::string::npos && old->find_first_not_of(" \t\r\n", quote + 1) == std::string::npos) old->erase(title);
}

static void opentreefile(const std::string &name, bool parenthetical, bool append)
{
    std::string text;
    if (append && !readwhole(name.c_str(), &text)) append = false;
    append = append && !text.empty();
    if (append && parenthetical) {
        if (text.find('\0') != std::string::npos)
            errmsg("Cannot append tree file.\nTree file", name.c_str(), "is not in parenthetical notation", nullptr);
        dropending(&text);
    }
    else if (append) checkcompact(name.c_str(), text);
    if (parenthetical) {
        std::string data = dataname;
        std::replace(data.begin(), data.end(), '\'', '`');
        text += FIRSTLINE + data + "'\n";
    }
    else if (!append) convertheader(&text);
    if (!safeopen(&out, name.c_str())) errmsg("Can't open file", name.c_str(), nullptr);
    treefile = out.stream;
    tsavemode = parenthetical;
    saved = 0;
    filetaxa = nt;
    put(treefile, text);
}

static bool closetreefile(const char *ending)
{
    if (tsavemode && saved) fputs(ending, treefile);
    treefile = nullptr;
    return safeclose(&out);
}

const char *give_treefile_name() { return treefile ? out.name.c_str() : ""; }

void close_treefile_at_exit()
{
    if (!treefile) return;
    std::string name = out.name;
    if (!closetreefile(";\nproc/;\n")) fprintf(stderr, "Cannot write %s: the trees saved are lost\n", name.c_str());
}

static void closecom()
{
    if (!treefile) errmsg("Must open treefile first!", nullptr);
    int trees = saved;
    std::string name = out.name;
    if (!closetreefile(";\nproc-;\n")) cannotwrite(name);
    joinem("Closing ", name.c_str(), " (with ", intvert(trees), " trees)\n", nullptr);
}

// --- save ---

static std::string treetext(const int *tree)
{
    std::string text;
    if (tsavemode) savetree(tree, nt, &text);
    else convertree(tree, &text);
    return text;
}

static bool incomplete(const int *tree) { return std::find(tree, tree + nt, 0) != tree + nt; }

static void writeone(FILE *f, const std::string &text, bool parenthetical, int before)
{
    if (parenthetical && before) fputs("*\n", f);
    put(f, text);
}

static void flushed()
{
    if (!fflush(treefile) && !ferror(treefile)) return;
    std::string name = out.name;
    treefile = nullptr;
    safeabandon(&out);
    cannotwrite(name);
}

static void savelist(const uint8_t *list, bool activeonly)
{
    int done = 0;
    manytaxa names;                      // names that were cut are looked up
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        hiscratch scratch;
        int *tree = hi<int>(nodz);
        memcpy(tree, mem_tree[t], sizeof(int) * nodz);
        if (!tsavemode) joinabsent(tree);
        if (activeonly) prunetaxa(tree, taxact);
        writeone(treefile, treetext(tree), tsavemode, saved++);
        ++done;
    }
    flushed();
    spewem(intvert(done), "trees saved to", out.name.c_str(), nullptr);
}

static void savetagtree()
{
    if (!tsavemode) errmsg("Tree-tags can be saved only in parenthetical notation", nullptr);
    if (!datatag || !txtdatin) errmsg("No tags to save", nullptr);
    std::string text;
    savetags(&text);
    writeone(treefile, text, true, saved++);
    flushed();
    spewem("Saved tree-tags to file", out.name.c_str(), nullptr);
}

static void checkopen()
{
    if (!treefile) errmsg("Must open treefile first!", nullptr);
    if (filetaxa != nt && !tsavemode)
        errmsg("Cannot append tree file.\n\nTrees in", out.name.c_str(), "are for", intvert(filetaxa), "taxa", nullptr);
}

void savecom()
{
    checkopen();
    int c = peep();
    if (c == '*') {
        gtnb();
        return savetagtree();
    }
    if (!give_trees_in_mem()) errmsg("No trees to save!", nullptr);
    bool activeonly = c == '-';
    if (activeonly) {
        if (!tsavemode) errmsg("Can't save trees for active taxa in compact mode", nullptr);
        gtnb();
    }
    uint8_t *list;
    if (gotc('/')) {
        list = zlo<uint8_t>(trees_in_mem);
        list[trees_in_mem - 1] = LISTED;
    }
    else list = treelist();
    for (int t = 0; activeonly && t < trees_in_mem; ++t)
        if (list[t] == LISTED) checkprunable(t, taxact);
    if (!tsavemode)
        for (int t = 0; t < trees_in_mem; ++t)
            if (list[t] == LISTED && incomplete(mem_tree[t])) {
                warnem("Some trees are incomplete\nCan't save incomplete trees as compact -\n"
                       "absent taxa will be joined at the base", nullptr);
                break;
            }
    savelist(list, activeonly);
}

const comhelp savehelp = {
    "Write trees to the open tree file.", nullptr,
    "  save L ;    the trees of list L (all, by default)\n"
    "  save / ;    the last tree\n"
    "  save -L ;   trees without their inactive taxa (parenthetical files only)\n"
    "  save * ;    the tag tree with its tags (parenthetical files only)\n"
    "The tree file is opened and closed with \"tsave\".\n"
    "Examples:\n"
    "  tsave *some.tre ; save 0.2 ; save / ; tsave / ;\n"
};

// --- Saving by the clock ---

static struct {
    double interval = 0, last = 0;
    int    turn = 0;                 // the files are written by turns: one is always whole
    bool   parenthetical = false;
    std::string name;
} autosaving;

static bool autowrite(const std::string &name)
{
    safefile f;
    if (!safeopen(&f, name.c_str())) return false;
    hiscratch scratch;
    // In the middle of a search the working arrays are in use.
    int *const arrays[] = { lef, rig, sis, nodfork };
    int *kept = hi<int>(4 * size_t(nodz)), *at = kept, *tree = hi<int>(nodz);
    for (int *array : arrays) memcpy(at, array, sizeof(int) * nodz), at += nodz;
    int wasmode = tsavemode;
    tsavemode = autosaving.parenthetical;
    std::string text;
    if (autosaving.parenthetical) text = FIRSTLINE + std::string(dataname) + "'\n";
    else convertheader(&text);
    put(f.stream, text);
    for (int t = 0; t < trees_in_mem; ++t) {
        memcpy(tree, mem_tree[t], sizeof(int) * nodz);
        if (trees_are_packed) {
            unpack_one_tree(tree);
            reset_nodz(tree);
        }
        if (!tsavemode) joinabsent(tree);
        writeone(f.stream, treetext(tree), tsavemode, t);
    }
    if (tsavemode) fputs(";\nproc-;\n", f.stream);
    tsavemode = wasmode;
    at = kept;
    for (int *array : arrays) memcpy(array, at, sizeof(int) * nodz), at += nodz;
    return safeclose(&f);
}

// Called at most once a second by every long loop, where an error would end a search: it never
// fails, and waits for another time when memory is short.
void autosave_the_results()
{
    constexpr size_t NODEWORDS = 20;     // taken by all that is written with
    if (!autosave_results || !give_trees_in_mem()) return;
    if (autosave_results != 1 && !lapsed_over(autosaving.last, autosaving.interval)) return;
    if (vailram() < NODEWORDS * sizeof(int) * nodz) return;
    autosaving.last = now();
    std::string name = autosaving.name + (autosaving.turn ? "-2" : "-1");
    autosaving.turn = !autosaving.turn;
    if (!autowrite(name)) myp("Auto-save could not write %s", name.c_str());
}

static void autosavecom()
{
    int was = mytimeout;
    get_time_string();
    int seconds = mytimeout;
    mytimeout = was;
    if (seconds <= 0) {
        autosave_results = 0;
        spewem("Auto-save is off", nullptr);
        return;
    }
    bool parenthetical = gotc('*');
    if (!rdfilename()) errmsg("Must give filename", nullptr);
    autosaving = { double(seconds), now(), 0, parenthetical, cmdname };
    autosave_results = 2;
    myp("Auto-saving trees every %i secs. to %s-1 and %s-2", seconds, cmdname, cmdname);
}

// --- tsave ---

// Opens, saves all trees and closes.
static void saveatonce(const std::string &name, bool parenthetical, bool append)
{
    if (giveme_curproc_level() >= maxnest)
        errmsg("Too many input files open to open tree-file and save trees in one shot", nullptr);
    if (!give_trees_in_mem()) errmsg("No trees to save!", nullptr);
    struct unfinished {                  // a refused warning, or a failure to write, leaves no file open
        bool done = false;
        ~unfinished()
        {
            if (done) return;
            treefile = nullptr;
            safeabandon(&out);
        }
    } guard;
    opentreefile(name, parenthetical, append);
    savecom();
    guard.done = true;
    closecom();
}

void tsavecom()
{
    bool parenthetical = false, atonce = false;
    int c;
    std::string name;
    while ((c = gtnb()) == '*' || c == '=') {
        parenthetical |= c == '*';
        atonce |= c == '=';
    }
    if (c == '!') return autosavecom();
    if (c == '/') {                      // the sign to close, unless a path follows
        c = gtch();
        ungtch();
        if (c <= 32 || c == ';') return closecom();
        name = "/";
    }
    else ungtch();
    if (!rdfilename()) errmsg("Must give filename", nullptr);
    name += cmdname;
    nodaterror("opening a tree file");
    if (treefile) errmsg("Can't open new file: Tree file", out.name.c_str(), "is open", nullptr);
    bool append = name.size() > 1 && name.back() == '+';
    if (append) name.pop_back();
    if (atonce) saveatonce(name, parenthetical, append);
    else opentreefile(name, parenthetical, append);
}

const comhelp tsavehelp = {
    "Open or close a tree file.", nullptr,
    "  tsave NAME ;       open a file for trees in compact notation (read with\n"
    "                     \"shortread\")\n"
    "  tsave *NAME ;      in parenthetical notation (read with \"procedure\")\n"
    "  tsave NAME+ ;      add to an existing file\n"
    "  tsave =NAME ;      open, save all trees, and close; =* for parenthetical\n"
    "                     notation\n"
    "  tsave / ;          close; only then does the file have its name and its trees\n"
    "  tsave ! T NAME ;   every T (hours:minutes:seconds) save all trees to \"NAME-1\"\n"
    "                     and \"NAME-2\" by turns, also during searches; 0 for T ends\n"
    "                     it\n"
    "Trees are written with \"save\".\n"
    "Examples:\n"
    "  tsave *results.tre ; save ; tsave / ;\n"
    "  tsave =all.ctf ;\n"
};
