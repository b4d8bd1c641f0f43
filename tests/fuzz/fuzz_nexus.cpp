// The reader of Nexus files: all blocks but the one of our own commands, which are not run.
#include "fuzzing.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "trees/treebuf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzboot("mxram 4; mxram ];");
    if (size < 2) return 0;
    fuzzread(nstatescom, data[0] & 1 ? " num 8 gaps;" : " num 16 nogaps;", nullptr, 0);
    fuzzread(importcom, "", data + 1, size - 1);
    checkarena();
    if (datatag) checkmatrix();
    checktreebuf();
    return 0;
}
