// Trees in the notation of Newick.
//
// Nodes are numbered as their parentheses open and nothing recurses, so that depth has no limit but
// memory.  What hangs where is put right when all of the tree is known, as for our own notation.
#include "formats/foreigntree.h"
#include "formats/nexlex.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treetags.h"
#include "data/matrix.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cstring>

namespace {
struct building {
    const taxonfinder &taxa;
    std::vector<int> anc;            // the tree as written; entry nt is the root's
    std::vector<std::string> tags;   // by node, shorter when the last ones have none
    int  at = -1;                    // node being filled, -1 before the first parenthesis
    int  depth = 0, placed = 0;      // parentheses open, terminals placed
    int  last = -1;                  // terminal or node that a tag would belong to
    bool closed = false;             // a label that comes now is that of the node just closed
    bool expecting = false;          // something must stand between a sign and the next one
    bool tagged = false;
};
}

[[noreturn]] static void unbalanced() { errmsg("Sorry, couldn't read tree (unbalanced parents.)", nullptr); }

int newick_rdtax(const taxonfinder &taxa, const std::string &label)
{
    auto row = taxa.translated.find(label);
    if (row != taxa.translated.end()) return row->second;
    int t = taxa.byname(label);
    if (t >= 0) return t;
    long n;
    if (!wholenumber(label, &n)) errmsg("Unidentified taxon name:", label.c_str(), nullptr);
    if (n < 1 || n > nt) myerr("No taxon %li", n);
    return int(n) - 1;
}

static bool endslabel(int c) { return c <= 32 || strchr("(),:;[", c); }

static std::string labeltext(int c)
{
    if (c == '\'') return quotedtext();
    std::string text;
    for (; !endslabel(c); c = filech()) text += char(c);
    unfilech(c);
    return text;
}

static void addtag(building *b, const std::string &text)
{
    if (b->last < 0 || text.empty()) return;
    b->tagged = true;
    size_t n = size_t(b->last);
    if (b->tags.size() <= n) b->tags.resize(n + 1);
    if (!b->tags[n].empty()) b->tags[n] += LABELMARK;
    b->tags[n] += text;
}

static void something(building *b)
{
    if (b->expecting) errmsg("Expected taxon name", nullptr);
}

static void open(building *b)
{
    if (!b->depth && b->at >= 0) unbalanced();
    int n = int(b->anc.size());
    b->anc.push_back(b->depth ? b->at : 0);
    b->at = n;
    ++b->depth;
    b->closed = false;
    b->expecting = true;
    b->last = -1;
}

static void close(building *b)
{
    if (!b->depth) errmsg("Too many trailing parentheses in tread", nullptr);
    something(b);
    --b->depth;
    b->last = b->at;
    if (b->depth) b->at = b->anc[size_t(b->at)];
    b->closed = true;
}

static void separate(building *b)
{
    if (!b->depth) unbalanced();
    something(b);
    b->expecting = true;
    b->closed = false;
    b->last = -1;
}

static void label(building *b, int c)
{
    std::string text = labeltext(c);
    if (b->closed) {
        addtag(b, text);
        b->closed = false;
        return;
    }
    int t = newick_rdtax(b->taxa, text);
    if (!b->depth) {
        if (b->at >= 0) unbalanced();
        errmsg("A parenthetical tree must contain two or more terminals", nullptr);
    }
    if (b->anc[size_t(t)]) errmsg(taxname_out(t), "repeated", nullptr);
    b->anc[size_t(t)] = b->at;
    b->last = t;
    b->expecting = false;
    ++b->placed;
}

static void length(building *b)
{
    int c = nexus_gtch();
    while (iswhite(c)) c = nexus_gtch();
    if (c == ENDOFFILE) return;
    if (c != '\'' && endslabel(c)) {         // no length after its sign
        unfilech(c);
        return;
    }
    addtag(b, labeltext(c));
    b->closed = false;
}

static void finish(building *b, int *anc)
{
    if (b->depth && end_of_file())
        errmsg("Sorry, couldn't read tree (unbalanced parents.)", "\nThe file ends within the tree", nullptr);
    if (b->depth || b->at < 0) unbalanced();
    if (b->placed < 2) errmsg("A parenthetical tree must contain two or more terminals", nullptr);
    hiscratch scratch;
    int *source = hi<int>(size_t(nodz));
    settle_tree(b->anc.data(), int(b->anc.size()), anc, source);
    if (!b->tagged) return;
    b->tags.resize(b->anc.size());
    std::vector<const char *> texts(b->tags.size());
    for (size_t n = 0; n < texts.size(); ++n) texts[n] = b->tags[n].c_str();
    settags(anc, texts.data(), source);
}

bool read_foreign_tree(const taxonfinder &taxa, int *anc, bool *tagged)
{
    building b{ taxa, std::vector<int>(size_t(nt)), {} };
    bool any = false;
    for (int c = nexus_gtch(); c != ';'; c = nexus_gtch()) {
        if (iswhite(c)) continue;
        if (c == ENDOFFILE) {
            if (!any) return false;
            break;                           // the last sign of a file may be missing
        }
        any = true;
        switch (c) {
        case '(': open(&b); break;
        case ')': close(&b); break;
        case ',': separate(&b); break;
        case ':': length(&b); break;
        default:  label(&b, c);
        }
        if (c == ')') b.expecting = false;
    }
    if (!any) errmsg("Expected taxon name", nullptr);
    finish(&b, anc);
    *tagged |= b.tagged;
    return true;
}

// Room is made only where there is something to read.
void keep_foreign_tree(treesink *sink, const taxonfinder &taxa, bool *more, bool *tagged)
{
    *more = nexus_peep() != ENDOFFILE;
    if (!*more) return;
    if (!sinkroom(sink)) errmsg("No space to store new trees (increase maxtrees)", nullptr);
    hiscratch scratch;
    int *anc = hi<int>(size_t(nodz));
    *more = read_foreign_tree(taxa, anc, tagged);
    if (*more) sinktree(sink, anc);
}
