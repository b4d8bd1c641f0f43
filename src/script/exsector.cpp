// Expressions: the sector that a search has open, whose taxa stand for nodes of the whole tree.
#include "script/ex.h"
#include "data/matrix.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "search/sectdata.h"
#include "trees/reduce.h"

namespace ex {

static void needsector()
{
    if (!data_are_reduced) errmsg("No sector is being analyzed", nullptr);
}

static int bignode()
{
    int n = integer();
    if (n < 0 || n >= nodz) errmsg("No node", intvert(n), nullptr);
    return n;
}

double bigntax()
{
    needsector();
    return nt - 1;
}

double deltascore() { return minianal_score_gain; }

double nodtosect()
{
    needsector();
    return bracketed([] { return double(::nodtosect[bignode()]); });
}

double biginsect()
{
    needsector();
    return bracketed([] { return double(::nodtosect[bignode()] >= 0); });
}

double bignotsect()
{
    needsector();
    return bracketed([] { return double(::nodtosect[bignode()] < 0); });
}

}
