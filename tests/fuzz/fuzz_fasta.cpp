// The reader of Fasta files, for every type.
#include "fuzzing.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"

static void readfasta() { read_fasta_file(0); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzboot("mxram 4; mxram ];");
    if (size < 2) return 0;
    static const char *const types[] = { " num 8;", " num 32;", " dna;", " dna gaps;", " prot;" };
    fuzzread(nstatescom, types[data[0] % 5], nullptr, 0);
    fuzzread(readfasta, "", data + 1, size - 1);
    checkarena();
    if (datatag) checkmatrix();
    return 0;
}
