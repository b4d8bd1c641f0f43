#include "compare/replicas.h"
#include <cstdlib>
#include <cstring>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/layers.h"
#include "kernel/random.h"
#include "search/moves.h"
#include "search/rseed.h"
#include "search/swapper.h"
#include "trees/treebuf.h"

int jaktag = 0;
double *replicascore = nullptr;
uint8_t *replicaexcluded = nullptr;
int allow_all_commands = 0;

static int *trees = nullptr;           // a row of nodz entries a run
static int *seeds = nullptr;           // one a run, and one for the next

int *replicatree(int r) { return trees + size_t(r) * size_t(nodz); }

static void movereplicas(const layermove &move)
{
    move(replicascore);
    move(trees);
    move(seeds);
    move(replicaexcluded);
}

replicaguard::replicaguard(int replications, const uint8_t *excluded)
    : seed(ranseed), repeated(jaking), allowed(allow_all_commands), runs(replications), limit(suboptimal),
      relativelimit(relative_suboptimal)
{
    keeplayer(&jaktag, movereplicas);
    relayer(&jaktag, [&] {
        replicascore = lo<double>(runs);
        trees = lo<int>(size_t(runs) * size_t(nodz));
        seeds = lo<int>(size_t(runs) + 1);
        replicaexcluded = lo<uint8_t>(nt);
        memcpy(replicaexcluded, excluded, nt);
    });
    randinit();
    seeds[0] = rand();
}

replicaguard::~replicaguard()
{
    droplayer(&jaktag);
    ranseed = seed;
    jaking = repeated;
    allow_all_commands = allowed;
    suboptimal = limit;
    relative_suboptimal = relativelimit;
}

void runreplica(int r, const char *text)
{
    ranseed = seeds[r];
    randinit();
    seeds[r + 1] = nextseed(seeds, r + 1);
    droptrees(0);
    suboptimal = relative_suboptimal = 0;
    jaking = 1;
    fake_cmd_loop(text);
    if (!jaktag) errmsg("Search commands that are repeated cannot read new data", nullptr);
}

std::string readsearchtext()
{
    std::string text;
    int c, open = 1;
    while ((c = gtch())) {
        open += (c == '[') - (c == ']');
        if (!open) break;
        text += char(c);
    }
    chk_strlen(long(text.size()), SEARCHTEXT - 1, "Text of search commands");
    return text;
}

void refuseinreplicas()
{
    if (jaking && !allow_all_commands)
        myerr("Cannot run command \"%s\" when resampling or estimating consensus", current_command);
}
