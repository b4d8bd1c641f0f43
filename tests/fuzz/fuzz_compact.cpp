// The reader of compact tree files.
#include "fuzzing.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "trees/treebuf.h"
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzztaxa();
    char command[128];
    snprintf(command, sizeof command, "shortread %s", fuzzfile(data, size));
    gtkZel(command);
    checktreebuf();
    trees_in_mem = 0;
    return 0;
}
