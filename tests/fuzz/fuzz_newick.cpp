// The reader of Newick files.
#include "fuzzing.h"
#include "kernel/below.h"
#include "trees/treebuf.h"
#include "trees/treetags.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzztaxa();
    fuzzread(read_newick_trees, "", data, size);
    checktreebuf();
    checktags();
    trees_in_mem = 0;
    return 0;
}
