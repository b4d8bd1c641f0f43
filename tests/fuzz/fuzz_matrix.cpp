// The matrix reader: plain and interleaved layouts, every block type, every state width.
#include "fuzzing.h"
#include "kernel/commands.h"
#include "data/matrix.h"
#include "kernel/arena.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzboot("mxram 4; mxram ];");
    if (size < 2) return 0;
    static const char *const widths[] = { " num 8;", " num 16;", " num 32;", " dna;", " prot;" };
    fuzzread(nstatescom, widths[data[0] % 5], nullptr, 0);
    fuzzread(xreadcom, "", data + 1, size - 1);
    checkarena();
    if (datatag) checkmatrix();
    return 0;
}
