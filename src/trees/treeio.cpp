// Trees from files: "tread" for the parenthetical form, which is command text, and "shortread" for
// the compact form.
#include "trees/treefile.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
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
#include "kernel/progress.h"
#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <sys/stat.h>

// --- Where trees go ---

std::string filepart(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

void readsink(treesink *sink)
{
    int c = peep();
    if (c != '=' && c != '>') return;
    gtnb();
    long g = gtnu();
    if (g < 0 || g >= num_treegroups) myerr("Can store trees only as groups 0-%i", num_treegroups - 1);
    sink->group = int(g);
    if (c == '=') empty_treegroup(sink->group);
    else treegroupdef[g / 32] |= 1u << g % 32;
}

void sinktree(treesink *sink, const int *anc)
{
    if (!sink->read) {
        sink->first = trees_in_mem;
        if (sink->group < 0) sink->group = new_auto_treegroup(sink->name.c_str());
    }
    stortree(anc);
    ++sink->read;
    if (sink->group >= 0) add_to_treegroup(trees_in_mem - 1, sink->group);
}

// One growth after another would fill the screen: how much room there is now is said once.
void endsink(const treesink *sink)
{
    erdil();
    recalctree = 1;
    if (sink->grew) report_maxtrees();
}

static void reportsink(const treesink *sink)
{
    endsink(sink);
    joinem(intvert(sink->read), " trees read", nullptr);
    if (sink->read) {
        joinem(" (trees ", intvert(sink->first), nullptr);
        if (sink->read > 1) joinem("-", intvert(sink->first + sink->read - 1), nullptr);
        joinem(")", nullptr);
    }
    joinem("\n", nullptr);
}

bool sinkroom(treesink *sink)
{
    constexpr int MORE = 100;
    if (trees_in_mem < maxtrees) return true;
    if (!try_maxtrees(maxtrees + MORE)) return false;
    return sink->grew = true;
}

// In bytes of a file; typed text has no length to tell.
void sinkprogress(const treesink *sink)
{
    struct stat st;
    FILE *f = curproc->stream;
    if (f && !fstat(fileno(f), &st) && st.st_size > 0) dildit(double(ftell(f)), double(st.st_size), "Reading trees");
    else dildit(sink->read, sink->read + 1, "Reading trees");
}

// --- tread ---

namespace {
struct noquotes {                    // the title and the signs before it are not for the macro language
    noquotes()  { ignore_quotes = 1; }
    ~noquotes() { ignore_quotes = 0; }
};
}

static void tagconcatenation(int c)
{
    concat_tags = c == '[';
    if (concat_tags && (isdigit(peep()) || !strchr(";('=>", peep()))) {
        long sep = gtnu();
        if (sep < 1 || sep > 255) errmsg("Give ASCII number for tag separator", nullptr);
        tag_separator = int(sep);
    }
    joinem("When reading tags from parenthetical trees, ", concat_tags ? "add" : "don't add",
           " them to existing tags\n", nullptr);
}

static void echotitle()
{
    constexpr int FLUSHAT = 2000;
    int c;
    while ((c = gtch()) != '\'') {
        if (end_of_file()) check_eof();
        if (c == '\r') continue;
        if (c == '\n') {
            spewout();
            continue;
        }
        spewchos(c);
        if (composed_length() > FLUSHAT) spewjn();
    }
    spewout();
}

void treadcom()
{
    if (!datatag) errmsg("Must read data first", nullptr);
    treesink sink;
    sink.name = filepart(giveme_curproc_name());
    {
        noquotes guard;
        if (int c = peep(); c == '[' || c == ']') {
            gtnb();
            tagconcatenation(c);
            if (peep() == ';') return;
        }
        readsink(&sink);
        if (gotc('\'')) echotitle();
    }
    manytaxa names;
    do {
        if (!sinkroom(&sink)) fullerr();
        hiscratch scratch;
        int *anc = hi<int>(nodz);
        if (leatre_tagged(anc)) sinktree(&sink, anc);
        sinkprogress(&sink);
    } while (gotc('*') && !have_some_intrupt());
    reportsink(&sink);
}

const comhelp treadhelp = {
    "Read trees in parenthetical notation.", nullptr,
    "  tread 'TITLE' TREE * TREE ;   read trees, with \"*\" between them; the title is\n"
    "                                optional\n"
    "  tread =N ... ;                the trees are group N\n"
    "  tread >N ... ;                they are added to group N\n"
    "  tread [N ... ;                add tags to existing ones, separated by the\n"
    "                                character of code N\n"
    "  tread ] ... ;                 replace tags\n"
    "Within a tree, separated by blanks or commas:\n"
    "  N         taxon number N\n"
    "  NAME      taxon of that name\n"
    "  NAME...   all taxa whose names begin so\n"
    "  =TEXT     tag of the taxon or group before it\n"
    "  @T N      all taxa of node N of tree T\n"
    "  +T N      the group itself\n"
    "Without a group, the trees are a new group, named as the file (see \"tgroup\").\n"
    "Taxa that are not named are absent from the tree, or at its base (see\n"
    "\"absincl\").\n"
    "Examples:\n"
    "  tread 'two trees' (0 (1 2) (3 4)) * (0 (1 (2 (3 4)))) ;\n"
    "  tread (Digger_wasp (Honey_bee Stingless_bee) Bumble_bee) ;\n"
};

// --- shortread ---

namespace {
struct infile {
    FILE *stream;
    explicit infile(const char *name) : stream(fopen(name, "rb")) {}
    infile(const infile &) = delete;
    infile &operator=(const infile &) = delete;
    ~infile() { if (stream) fclose(stream); }
};
}

// Exactly so many bytes, or none at the end of the file.
static bool take(const infile &in, std::string *bytes, size_t n)
{
    bytes->resize(n);
    size_t got = fread(bytes->data(), 1, n, in.stream);
    if (got < n && got) errmsg("Unexpected end of file", nullptr);
    return got == n;
}

static void need(const infile &in, std::string *bytes, size_t n)
{
    if (!take(in, bytes, n)) errmsg("Unexpected end of file", nullptr);
}

static uint32_t number(const std::string &bytes)
{
    uint32_t n = 0;
    for (size_t i = 0; i < bytes.size(); ++i) n |= uint32_t(uint8_t(bytes[i])) << 8 * i;
    return n;
}

// The file starts with the number of taxa.
static void checkheader(const infile &in, const char *name)
{
    std::string bytes;
    need(in, &bytes, 2);
    long taxa = number(bytes);
    if (!taxa) {
        if (nt < BIGTAXA) errmsg("File", name, "doesn't look like a tree file for", intvert(nt), "taxa", nullptr);
        need(in, &bytes, 4);
        taxa = number(bytes);
    }
    if (taxa != nt)
        errmsg("Tree file", name, "is for", intvert(taxa), "taxa - Current data file", intvert(nt), nullptr);
}

// Trees read before a failure stay.  Words of 2 bytes, or 4 for many taxa.
static void readcompact(const char *name, treesink *sink, size_t word)
{
    infile in(name);
    if (!in.stream) errmsg("Can't open", name, nullptr);
    struct stat st;
    double length = !fstat(fileno(in.stream), &st) && st.st_size > 0 ? double(st.st_size) : 1, done = 0;
    size_t longest = size_t(nt) * (std::bit_width(unsigned(nodz)) + 1) / 8 + word;    // bytes a tree can take
    std::string bytes;
    checkheader(in, name);
    while (!have_some_intrupt() && take(in, &bytes, word)) {
        size_t size = number(bytes) * word;
        if (size <= longest) need(in, &bytes, size);
        if (!sinkroom(sink)) fullerr();
        hiscratch scratch;
        int *anc = hi<int>(nodz);
        if (size > longest || !revertree(reinterpret_cast<const uint8_t *>(bytes.data()), size, anc))
            errmsg("Tree file", name, "is damaged at tree", intvert(sink->read), nullptr);
        sinktree(sink, anc);
        done += double(word + size);
        dildit(done, length, "Reading trees");
    }
}

static void x_shortreadcom(const char *name, treesink *sink) { readcompact(name, sink, 4); }

void shortreadcom()
{
    nodaterror("reading trees");
    treesink sink;
    readsink(&sink);
    if (!rdfilename()) errmsg("Must give filename", nullptr);
    std::string name = cmdname;
    sink.name = filepart(name.c_str());
    if (nt >= BIGTAXA) x_shortreadcom(name.c_str(), &sink);
    else readcompact(name.c_str(), &sink, 2);
    reportsink(&sink);
}

const comhelp shortreadhelp = {
    "Read trees in compact notation.", nullptr,
    "  shortread NAME ;      read the trees saved by \"tsave NAME\" (and \"save\")\n"
    "  shortread =N NAME ;   as group N of trees; >N adds to it\n"
    "The file must be for the same number of taxa as the data.  Without a group, the\n"
    "trees are a new group, named as the file.\n"
    "Examples:\n"
    "  tsave =mine.ctf ; keep 0 ; shortread mine.ctf ;\n"
};
