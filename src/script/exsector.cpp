// Expressions: the sector that a search follows, whose taxa stand for nodes of the whole tree.
#include "script/ex.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "search/sectdata.h"
#include "search/sectrec.h"

namespace ex {

static void needsector()
{
    if (!tracked_sector) errmsg("No sector is being analyzed with \"track\"", nullptr);
}

// Of a node of the whole tree, the one in the sector; -1 for none.
static int nodeinsector()
{
    int n = integer();
    if (n < 0 || n >= tracked_sector->nodes) errmsg("No node", intvert(n), nullptr);
    return tracked_sector->nodtosect[n];
}

double bigntax()
{
    needsector();
    return tracked_sector->taxa - 1;
}

double deltascore() { return minianal_score_gain; }

double nodtosect()
{
    needsector();
    return bracketed([] { return double(nodeinsector()); });
}

double biginsect()
{
    needsector();
    return bracketed([] { return double(nodeinsector() >= 0); });
}

double bignotsect()
{
    needsector();
    return bracketed([] { return double(nodeinsector() < 0); });
}

}
