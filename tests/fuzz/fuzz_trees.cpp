// The reader of parenthetical trees.
#include "fuzzing.h"
#include "kernel/commands.h"
#include "trees/treebuf.h"

static const char matrix[] = "3 9 out 000 alpha 001 beta 010 gamma 011 al_pine 100 delta 101 eps 110 zeta 111 eta 101 ;";

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzboot(";");
    static bool read;
    if (!read) {
        fuzzread(xreadcom, matrix, nullptr, 0);
        read = true;
    }
    fuzzread(treadcom, "", data, size);
    checktreebuf();
    trees_in_mem = 0;
    return 0;
}
