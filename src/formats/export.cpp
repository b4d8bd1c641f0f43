// The command export: data and trees for other programs.
#include "formats/fasta.h"
#include "formats/foreignwrite.h"
#include "formats/names.h"
#include "trees/safefile.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <vector>

static constexpr int MAXUSERTYPES = 32;

namespace {
struct exporting {
    bool data = true, trees = false, costs = false, newick = false, fasta = false, nogaps = false, tps = false;
    tagkind tags = TAGS_NONE;            // of trees equal to the tag tree; other than mixed: the tag tree alone
    int  type = 0;                       // of all characters; 0 as they are
    std::string name, appended;
    bool tagtree() const { return tags == TAGS_LENGTHS || tags == TAGS_LABELS; }
};
}

// --- Arguments ---

static bool argument(exporting *e, int c)
{
    switch (c) {
        case '*': e->trees = true; return true;
        case '+': e->costs = true; return true;
        case '-': e->data = false; e->trees = true; e->tags = TAGS_MIXED; return true;
        case '>': e->data = false; e->tags = TAGS_LENGTHS; return true;
        case '<': e->data = false; e->tags = TAGS_LABELS; return true;
        case '[': e->type = DATA_DNA; return true;
        case ']': e->type = DATA_NUM; return true;
        case '!': e->nogaps = e->fasta; e->fasta = true; return true;
        case '=': e->data = false; e->newick = true; return true;
        case '|': e->tps = true; return true;
    }
    return false;
}

// Text for the end of the file, up to the semicolon; ".," stands for a semicolon in it.
static std::string appendedtext()
{
    commasaretext guard;
    std::string text;
    for (int c = gtch(); c != ';'; c = gtch()) {
        if (c == ',' && !text.empty() && text.back() == '.') text.back() = ';';
        else text += char(c);
    }
    ungtch();
    return text;
}

static void readarguments(exporting *e)
{
    int c;
    while (argument(e, c = gtnb())) ;
    ungtch();
    if (e->fasta && e->tps) errmsg("Cannot save as both Fasta and TPS", nullptr);
    if (e->fasta && (e->trees || e->costs || e->newick || e->tagtree()))
        errmsg("Saving trees as FASTA doesn't allow saving trees/costs", nullptr);
    if (e->tps && (e->trees || e->costs || e->newick || e->tagtree()))
        errmsg("Cannot save in TPS with costs or trees", nullptr);
    if (e->tps) errmsg("Sorry, saving landmarks is not available yet", nullptr);
    if (!rdfilename()) errmsg("Must give name of file", nullptr);
    e->name = cmdname;
    bool appends = e->name.size() > 1 && e->name.back() == '+';
    if (appends) e->name.pop_back();
    if (appends || gotc('+')) e->appended = appendedtext();
    if (e->newick && !e->tagtree()) e->trees = true;
}

// --- What can be saved ---

// Highest state in a cell that is not missing.
static int higheststate(int c)
{
    uint32_t used = 0;
    for (int t = 0; t < nt; ++t)
        if (!ismissing(cell(t, c))) used |= cell(t, c);
    return std::max(int(std::bit_width(used)) - 1, 0);
}

static void checkdata(const exporting &e)
{
    constexpr int BASES = 5;
    for (int c = 0; c < nc; ++c) {
        if (charcodes[c].continuous) errmsg("Cannot export data sets with continuous characters", nullptr);
        int states = higheststate(c) + 1;
        if (e.type == DATA_DNA && states > BASES)
            myerr("Cannot convert data with %i states (e.g. char. %i) into \"DNA\"", states, c);
    }
}

static void checkall(exporting *e)
{
    nodaterror("exporting data");
    if (e->data) checkdata(*e);
    if (e->tagtree() && !txtdatin) errmsg("No tree-tags to save!", nullptr);
    if (e->trees && !give_trees_in_mem()) errmsg("No trees to save to NEXUS file!", nullptr);
    if (!e->type) e->type = shared_type();
}

// --- Nexus ---

static void put(FILE *f, const std::string &text) { fwrite(text.data(), 1, text.size(), f); }

static const char *formatline(int type)
{
    static char text[80];
    int highest = 1;
    if (type == DATA_DNA) return "format datatype=dna missing=? gap=-;";
    if (type == DATA_PROT) return "format datatype=protein missing=? gap=-;";
    for (int c = 0; c < nc; ++c) highest = std::max(highest, higheststate(c));
    snprintf(text, sizeof text, "format missing=? symbols=\"0~%i\";", highest);
    return text;
}

static void putrows(FILE *f, int type)
{
    foreigncells cells(type, '{', '}');
    size_t width = 0;
    std::vector<std::string> names;
    for (int t = 0; t < nt; ++t) {
        names.push_back(foreignname(t));
        width = std::max(width, names.back().size());
    }
    for (int t = 0; t < nt; ++t) {
        std::string row = names[size_t(t)];
        row.append(width + 1 - row.size(), ' ');
        for (int c = 0; c < nc; ++c) cells.put(t, c, &row);
        put(f, row + '\n');
    }
}

template<class F> static void putlist(FILE *f, const char *heading, int n, F member)
{
    std::string list;
    for (int i = 0; i < n; ++i)
        if (member(i)) list += std::to_string(i + 1) + ' ';
    if (!list.empty()) put(f, heading + list + ";");
}

static bool samecosts(int a, int b)
{
    for (int s = 0; s < maxstate; ++s)
        if (memcmp(charcodes[a].costs[s], charcodes[b].costs[s], sizeof(uint32_t) * size_t(maxstate))) return false;
    return true;
}

static std::string usertype(int number, const std::vector<int> &chars, int type)
{
    int states = 2;
    for (int c : chars) states = std::max(states, int(charcodes[c].numstates));
    std::string text = "\nusertype ustyp" + std::to_string(number) + " = " + std::to_string(states) + "\n";
    char column[32];
    for (int s = 0; s < states; ++s) {
        snprintf(column, sizeof column, " %5c", statesymbol(type, s));
        text += column;
    }
    for (int from = 0; from < states; ++from) {
        text += '\n';
        for (int to = 0; to < states; ++to) {
            uint32_t cost = charcodes[chars[0]].costs[from][to];
            if (from == to) snprintf(column, sizeof column, " %5c", '.');
            else if (cost >= FORBIDDEN) snprintf(column, sizeof column, " %5c", 'i');
            else snprintf(column, sizeof column, " %5u", cost);
            text += column;
        }
    }
    return text;
}

// Characters of equal costs share a user type.
static std::vector<std::vector<int>> sharedcosts()
{
    std::vector<std::vector<int>> all;
    for (int c = 0; c < nc; ++c) {
        if (!charcodes[c].sankoff) continue;
        auto same = std::find_if(all.begin(), all.end(), [c](auto &chars) { return samecosts(chars[0], c); });
        if (same != all.end()) same->push_back(c);
        else all.push_back({ c });
    }
    return all;
}

// Each ends with a semicolon; the block ends behind the last, and only then are they applied.
static std::string usertypes(int type)
{
    std::vector<std::vector<int>> all = sharedcosts();
    if (all.size() > MAXUSERTYPES) errmsg("Cannot define more than 32 usertypes", nullptr);
    std::string text;
    for (size_t i = 0; i < all.size(); ++i) text += (i ? "\n;" : "") + usertype(int(i), all[i], type);
    bool first = true;
    for (size_t i = 0; i < all.size(); ++i)
        for (int c : all[i]) {
            text += first ? "\n;end;\n" : ";\n";
            text += "ctype ustyp" + std::to_string(i) + ": " + std::to_string(c + 1) + ' ';
            first = false;
        }
    return first ? "" : text + ";\n";
}

static bool gapisstate()
{
    for (int c = 0; c < nc && !read_gaps_as_missing; ++c)
        if (charcodes[c].type == DATA_DNA || charcodes[c].type == DATA_PROT) return true;
    return false;
}

static void putassumptions(FILE *f, const std::string &types, const std::string &constraints)
{
    put(f, "\nbegin assumptions ; ");
    putlist(f, "\nexclude ", nc, [](int c) { return !charcodes[c].active; });
    putlist(f, "\nctype ord: ", nc, [](int c) { return charcodes[c].additive && !charcodes[c].sankoff; });
    std::string weights;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].weight != 1) weights += std::to_string(charcodes[c].weight) + ": " + std::to_string(c + 1) + ' ';
    if (!weights.empty()) put(f, "\nweights " + weights + ";");
    putlist(f, "\ndelete ", nt, [](int t) { return !taxact[t]; });
    if (gapisstate()) put(f, "\npset gapmode=newstate;\n");
    put(f, constraints);
    put(f, types.empty() ? "\nend;\n" : types);
}

static void putdata(FILE *f, const exporting &e, const std::string &types, const std::string &constraints)
{
    fprintf(f, "begin data;\ndimensions ntax=%i nchar=%i;\n%s\nmatrix\n", nt, nc, formatline(e.type));
    putrows(f, e.type);
    put(f, ";\nend;\n");
    putassumptions(f, types, constraints);
}

// --- Trees ---

static void putonetree(FILE *f, const exporting &e, const int *anc, int number, tagkind tags)
{
    char head[80];
    std::string text;
    snprintf(head, sizeof head, "tree zel_%i = [&%c] \n", number, rootingletter(anc));
    if (!e.newick) text = head;
    put_foreign_tree(anc, tags, &text);
    put(f, text + '\n');
}

static void puttrees(FILE *f, const exporting &e)
{
    if (!e.newick) put(f, "\nbegin trees ; \n");
    if (e.tagtree()) putonetree(f, e, txtr, 0, e.tags);
    else
        for (int t = 0; t < trees_in_mem; ++t) {
            bool tagged = e.tags && txtdatin && equal_tree(mem_tree[t], txtr);
            putonetree(f, e, mem_tree[t], t, tagged ? e.tags : TAGS_NONE);
        }
    if (!e.newick) put(f, "\nend ; ");
}

// --- The command ---

static void openexport(safefile *f, const std::string &name)
{
    struct stat st;
    if (!stat(name.c_str(), &st)) mywarn("File \"%s\" already exists.  It will be overwritten.", name.c_str());
    if (!safeopen(f, name.c_str())) myerr("Can't open file \"%s\" for writing...", name.c_str());
}

void exportcom()
{
    exporting e;
    readarguments(&e);
    checkall(&e);
    std::string types = e.costs && e.data && !e.fasta ? usertypes(e.type) : "";
    std::string constraints = e.data && !e.fasta ? constraintstext() : "";
    bool trees = e.trees || e.tagtree();
    safefile f;
    openexport(&f, e.name);
    if (e.fasta) save_fasta_file(f.stream, e.type, e.nogaps);
    else {
        if (!e.newick) put(f.stream, "#NEXUS\n");
        if (e.data) putdata(f.stream, e, types, constraints);
        if (trees) puttrees(f.stream, e);
    }
    put(f.stream, e.appended);
    if (!e.newick && !e.fasta) put(f.stream, "\n");
    if (!safeclose(&f)) errmsg("Can't write to file", e.name.c_str(), "- it was left as it was before", nullptr);
    joinem("Saved ", e.data ? "data " : "", e.data && trees ? "and " : "", trees ? "trees " : "",
           e.fasta ? "(Fasta" : e.newick ? "(Newick" : "(Nexus", " format) to file ", e.name.c_str(), "\n", nullptr);
}

const comhelp exporthelp = {
    "Save data or trees for other programs.", nullptr,
    "  export NAME ;      save the matrix, the settings of characters and taxa and the\n"
    "                     constraints as a Nexus file\n"
    "Before the name:\n"
    "  *     trees as well                      +     step matrices as well\n"
    "  -     trees only, with the tree-tags, if there are any\n"
    "  >     the tagged tree only, its tags as branch lengths\n"
    "  <     the tagged tree only, its tags as labels of nodes\n"
    "  =     trees only, as a Newick file\n"
    "  [     save as DNA                        ]     save as numeric states\n"
    "  !     save as a Fasta file               !!    the same, leaving gaps out\n"
    "  |     landmarks, as a TPS file (not available yet)\n"
    "With \"+\" behind the name, the text from there to the semicolon goes to the end of\n"
    "the file, \".,\" standing for a semicolon.  Continuous characters cannot be exported.\n"
    "Examples:\n"
    "  export * bees.nex ;\n"
    "  export = bees.phy ;\n"
    "  export bees.nex + begin notes., end., ;\n"
};
