// Expressions: blocks of characters; groups of taxa, characters and trees; what is missing.
#include "script/ex.h"
#include "data/blocks.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace ex {

struct range { int low, high; };

static range blockarg()
{
    range r;
    int b = integer();
    nodaterror("asking for blocks");
    if (!blockrange(b, &r.low, &r.high)) myerr("Only %i blocks of data have been defined", ::nblocks);
    return r;
}

double blockstart() { return bracketed([] { return double(blockarg().low); }); }
double blockend()   { return bracketed([] { return blockarg().high - 1.0; }); }

double blocklist()
{
    return bracketed([] {
        range r = blockarg();
        std::vector<double> list;
        for (int c = r.low; c < r.high; ++c) list.push_back(c);
        return storelist(list);
    });
}

// --- what is missing ----------------------------------------------------------------------

static bool observed(int t, int c)
{
    uint32_t x = cell(t, c);
    return charcodes[c].continuous ? x != CONT_MISSING && x != CONT_INAPP : !ismissing(x);
}

static bool anyobserved(int t, range r)
{
    for (int c = r.low; c < r.high; ++c)
        if (observed(t, c)) return true;
    return false;
}

double nummissing()
{
    return bracketed([] {
        int t = taxarg(), n = 0;
        range r = another() ? blockarg() : range{ 0, nc };
        for (int c = r.low; c < r.high; ++c) n += !observed(t, c);
        return double(n);
    });
}

double taxinblock()
{
    return bracketed([] {
        int t = taxarg();
        return double(anyobserved(t, blockarg()));
    });
}

double seqstart()
{
    return bracketed([] {
        int t = taxarg();
        range r = another() ? blockarg() : range{ 0, nc };
        for (int c = r.low; c < r.high; ++c)
            if (observed(t, c)) return double(c);
        return -1.0;
    });
}

double seqend()
{
    return bracketed([] {
        int t = taxarg();
        range r = another() ? blockarg() : range{ 0, nc };
        for (int c = r.high; c-- > r.low; )
            if (observed(t, c)) return double(c);
        return -1.0;
    });
}

double isactax() { return bracketed([] { return double(taxact[taxarg()] != 0); }); }

// --- groups -------------------------------------------------------------------------------

// By number, or by the name in full; -1 when nothing is called so.
static int groupnamed(const groupfamily *f, const std::string &word)
{
    if (!word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) { return isdigit(c); })) {
        long g = word.size() < 9 ? atol(word.c_str()) : f->groups();
        if (g >= f->groups()) f->toomany();
        return int(g);
    }
    for (int g = 0; g < f->groups(); ++g)
        if (isgroup(f, g) && !namecomp(groupname(f, g), word.c_str())) return g;
    return -1;
}

static std::string groupword()
{
    another();
    std::string word = readgroupword(']');
    if (word.empty()) errmsg("Too few arguments: expected a group before", charvert(peep()), nullptr);
    return word;
}

static double sizeofgroup(const char *kind)
{
    nodaterror("asking for groups");
    return bracketed([=] {
        const groupfamily *f = familyof(kind);
        std::string word = groupword();
        int g = groupnamed(f, word), n = 0;
        if (g < 0) f->unknown(word.c_str());
        for (int e = 0; e < f->elements(); ++e) n += isingroup(f, e, g);
        return double(n);
    });
}

double charsingp() { return sizeofgroup("character"); }
double taxingp()   { return sizeofgroup("taxon"); }
double treesingp() { return sizeofgroup("tree"); }

double havetgp()
{
    nodaterror("asking for groups");
    return bracketed([] {
        const groupfamily *f = familyof("tree");
        std::string word = groupword();
        int g = groupnamed(f, word);
        return double(g >= 0 && isgroup(f, g) ? g : -1);
    });
}

static double ismember(const char *kind, int (*elementarg)())
{
    nodaterror("asking for groups");
    return bracketed([=] {
        const groupfamily *f = familyof(kind);
        int element = elementarg();
        while (another()) {
            std::string word = groupword();
            int g = groupnamed(f, word);
            if (g < 0) f->unknown(word.c_str());
            if (isingroup(f, element, g)) {
                while (another()) groupword();
                return 1.0;
            }
        }
        return 0.0;
    });
}

double isinagroup() { return ismember("taxon", taxarg); }
double isinxgroup() { return ismember("character", chararg); }
double isintgroup() { return ismember("tree", treearg); }

}
