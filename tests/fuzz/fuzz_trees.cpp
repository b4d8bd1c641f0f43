// The reader of parenthetical trees.
#include "fuzzing.h"
#include "kernel/commands.h"
#include "trees/treebuf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzztaxa();
    fuzzread(treadcom, "", data, size);
    checktreebuf();
    trees_in_mem = 0;
    return 0;
}
