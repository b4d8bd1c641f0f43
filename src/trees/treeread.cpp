// The parenthetical form of trees, read.
//
// A tree is first built as written, in a scratch array with room for more nodes than a tree can
// have: nodes of a single descendant, taxa read nowhere and parentheses that do not match are put
// right when all of it is known.  Nodes are numbered as their parentheses open, so that every node
// stands after its ancestor.
#include "trees/treefile.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commas.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

namespace {
struct reading {
    int *anc;                        // the tree as written; 3 nodz entries
    int  next;                       // node number to be given
    int  at;                         // node being filled, -1 before the first parenthesis
    int  depth = 0;                  // parentheses open
    bool warned = false;
    int  lastaxon = -1;              // terminal read last
    int  lastitem = -1;              // terminal or node that a tag belongs to
    bool tagged = false;
    bool commas = false;             // they separate the items of this tree, and so its tags
    std::vector<std::string> tags;   // by scratch node, empty without tags
};

bool endsname(int c) { return c <= 32 || strchr("(),;*=", c); }

std::string word()
{
    std::string text;
    int c;
    while (!endsname(c = gtch())) text += char(c == '^' ? ' ' : c);
    ungtch();
    chk_strlen(long(text.size()), CMDNAMESIZE - 1, "Name");
    return text;
}

int newnode(reading *r)
{
    if (r->next >= 3 * nodz) errmsg("Parenthetical tree contains too many opening parents ... can't read it", nullptr);
    return r->next++;
}

void tagsneedbalance(bool tagged)
{
    if (tagged) errmsg("Sorry, for reading trees with tags, parentheses *must* be balanced", nullptr);
}

// A parenthesis closed that was not open, or text behind the end of the root.
void excess(reading *r)
{
    tagsneedbalance(r->tagged);
    if (!r->warned)
        warnem("Parenthetical tree contains excess/unbalanced parentheses;\nexcess parentheses will be ignored", nullptr);
    r->warned = true;
}

void place(reading *r, int t)
{
    if (!r->depth) excess(r);
    if (r->anc[t]) errmsg("Taxon", intvert(t), "repeated", nullptr);
    r->anc[t] = r->at;
    r->lastaxon = r->lastitem = t;
}

// --- Pieces of other trees ---

void readnode(int *tree, int *node)
{
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (!isatree(t)) errmsg("No tree number", intvert(t), "(only", intvert(trees_in_mem), "trees in memory)", nullptr);
    long n = gtnu();
    if (n < 0) errmsg("Must give", "node", "number", nullptr);
    const int *anc = mem_tree[t];
    if (n >= anc[nt] || (n != nt && !anc[n])) errmsg("No node", intvert(n), "in tree", intvert(t), nullptr);
    *tree = int(t);
    *node = int(n);
}

// All within a node, each internal node before its descendants.
void readpiece(reading *r, bool asnode)
{
    int tree, node;
    readnode(&tree, &node);
    const int *from = mem_tree[tree];
    hiscratch scratch;
    int *list = hi<int>(nodz), *copy = zhi<int>(nodz), count = mkoptlist(list, from);
    copy[node] = node < nt ? -1 : asnode ? newnode(r) : r->at;
    auto put = [&](int t, int under) {
        if (r->anc[t])
            myerr("Can't insert node %i of tree %i:\n   node %i contains taxon %s, already placed ", node, tree, node,
                  taxname_out(t));
        r->anc[t] = under;
        r->lastaxon = t;
    };
    if (node < nt) put(node, r->at);
    else if (asnode) r->anc[copy[node]] = r->at;
    for (int i = 0; i < count; ++i) {
        int n = list[i];
        if (!copy[n]) continue;
        for (int d = lef[n]; d >= 0; d = sis[d]) {
            if (d < nt) put(d, copy[n]);
            else if (!asnode) copy[d] = r->at;
            else {
                copy[d] = newnode(r);
                r->anc[copy[d]] = copy[n];
            }
        }
    }
    r->lastitem = node < nt ? node : asnode ? copy[node] : -1;
}

// --- Tokens ---

// A tag goes to the next blank.  A slash at its end, as "save" writes it, only marks that end, and may
// be left out; so may the blank before the parenthesis that closes the group around.
void readtag(reading *r)
{
    std::string text;
    int c, open = 0;
    while ((c = gtch()) > 32 && c != '*' && c != ';' && !(c == ',' && r->commas)) {
        if (c == ')' && !open) break;
        open += (c == '(') - (c == ')');
        text += char(c);
    }
    ungtch();
    if (!text.empty() && text.back() == TAGEND) text.pop_back();
    if (text.size() >= size_t(maxtxtsz)) text.resize(maxtxtsz - 1);
    r->tagged = true;
    if (r->lastitem < 0) return;
    if (r->tags.empty()) r->tags.resize(3 * size_t(nodz));
    r->tags[r->lastitem] = text;
}

void readtaxa(reading *r)
{
    constexpr char DOTS[] = "...";
    std::string name = word();
    size_t n = name.size();
    if (n > 3 && !name.compare(n - 3, 3, DOTS)) {
        name.resize(n - 3);
        bool any = false;
        for (int t = 0; t < nt; ++t)
            if (namtrun(name.c_str(), taxname[t])) {
                place(r, t);
                any = true;
            }
        if (!any) errmsg("No taxon named", name.c_str(), nullptr);
        return;
    }
    int t = findtaxon(name.c_str());
    if (t < 0 && name.find_first_not_of("0123456789") == std::string::npos)
        errmsg("No taxon number", name.c_str(), nullptr);
    if (t < 0) errmsg("No taxon named", name.c_str(), nullptr);
    place(r, t);
}

void open(reading *r)
{
    if (r->at < 0) r->at = newnode(r);
    else {
        if (!r->depth) excess(r);
        int n = newnode(r);
        r->anc[n] = r->at;
        r->at = n;
    }
    ++r->depth;
}

void close(reading *r)
{
    if (!r->depth) return excess(r);
    --r->depth;
    r->lastitem = r->at;
    if (r->at != nt) r->at = r->anc[r->at];
}

// --- Putting it right ---

// Nodes with one descendant or none vanish.  Descending numbers: all that hangs from a node is
// final when it is reached.  "only" is the exclusive or of the descendants: with one, itself.
void removesingles(reading *r)
{
    hiscratch scratch;
    int *fork = zhi<int>(r->next), *only = zhi<int>(r->next);
    auto hang = [&](int n, int sign) { fork[r->anc[n]] += sign; only[r->anc[n]] ^= n; };
    for (int n = 0; n < r->next; ++n)
        if (n != nt && r->anc[n]) hang(n, 1);
    for (int n = r->next - 1; n > nt; --n) {
        if (fork[n] > 1) continue;
        int above = r->anc[n], child = only[n], had = fork[n];
        hang(n, -1);
        r->anc[n] = 0;
        if (!had) continue;
        r->anc[child] = above;
        hang(child, 1);
    }
    if (fork[nt] != 1 || only[nt] < nt) return;
    int child = only[nt];
    for (int n = 0; n < r->next; ++n)
        if (n != nt && r->anc[n] == child) r->anc[n] = nt;
    r->anc[child] = 0;
}

// Moves the tree, its nodes numbered without gaps, into an array of nodz entries.
void compress(const reading *r, int *anc, int *source)
{
    hiscratch scratch;
    int *number = zhi<int>(r->next), next = nt + 1;
    number[nt] = nt;
    for (int n = nt + 1; n < r->next; ++n)
        if (r->anc[n]) number[n] = next++;
    for (int n = 0; n < nodz; ++n) anc[n] = 0, source[n] = -1;
    for (int n = 0; n < r->next; ++n) {
        if (n != nt && !r->anc[n]) continue;
        int m = n < nt ? n : number[n];
        if (n != nt) anc[m] = number[r->anc[n]];
        source[m] = n;
    }
    anc[nt] = next;
}

void storetags(const reading *r, const int *anc, const int *source)
{
    if (!r->tagged || r->tags.empty()) return;
    std::vector<const char *> texts(r->tags.size());
    for (size_t n = 0; n < texts.size(); ++n) texts[n] = r->tags[n].c_str();
    settags(anc, texts.data(), source);
}
}

// Left open, parentheses close at the end of the tree: what they hold stays together.
void fix_unbalpars(int depth, int lastaxon, bool tagged)
{
    if (!depth) return;
    tagsneedbalance(tagged);
    if (end_of_file()) check_eof();      // the rest of the tree is missing, rather than a sign
    warnem("Parenthetical tree contains excess/unbalanced parentheses;\nexcess parentheses will be ignored", nullptr);
    if (lastaxon >= 0) myp("Note: error seems to be around terminal %i (%s)\n", lastaxon, taxname_out(lastaxon));
}

void settle_tree(int *written, int next, int *anc, int *source)
{
    reading r{};
    r.anc = written;
    r.next = next;
    removesingles(&r);
    compress(&r, anc, source);
    reset_nodz(anc, source);
    if (send_to_base) joinabsent(anc, source);
}

static bool readtree(int *anc, bool keeptags)
{
    hiscratch scratch;
    commasaretext guard;                 // within parentheses they are blanks; elsewhere one ends the command
    reading r{};
    r.anc = zhi<int>(3 * size_t(nodz));
    int *source = hi<int>(nodz);
    r.next = nt;
    r.at = r.lastaxon = r.lastitem = -1;
    int c;
    while (true) {
        doing_quotes = r.depth > 0 ? 1 : guard.was;
        c = gtnb();
        if (c == '*' || c == ';') break;
        if (c == ',') {
            r.commas = true;
            continue;
        }
        if (c == '(') open(&r);
        else if (c == ')') close(&r);
        else if (r.at < 0) errarg(c);
        else if (c == '=') readtag(&r);
        else if (c == '@' || c == '+') readpiece(&r, c == '+');
        else {
            ungtch();
            readtaxa(&r);
        }
    }
    ungtch();
    if (r.at < 0) return false;
    fix_unbalpars(r.depth, r.lastaxon, r.tagged);
    if (countterminals(r.anc) < 2)
        errmsg("A parenthetical tree must contain two or more terminals", nullptr);
    settle_tree(r.anc, r.next, anc, source);
    if (keeptags) storetags(&r, anc, source);
    return true;
}

bool leatre(int *anc)        { return readtree(anc, false); }
bool leatre_tagged(int *anc) { return readtree(anc, true); }
