// The seed of all random choices, and how they are made.
#include "search/addseq.h"
#include "search/rseed.h"
#include "search/wagner.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>

static unsigned seedstep;

int get_slopy_seeds() { return int(seedstep); }

int nextseed(const int *seeds, int n)
{
    if (seedstep) return int((unsigned(seeds[n - 1]) + seedstep) & INT_MAX);
    return chkseed(seeds, n, rand());
}

static int readnumber(long otherwise)
{
    if (!isdigit(peep())) return int(otherwise);
    return int(std::clamp(gtnu(), 0L, long(INT_MAX)));
}

static void readstep()
{
    seedstep = unsigned(readnumber(0));
    if (seedstep) myp("In multiple randomizations, seed increases %u per replication", seedstep);
    else myp("Checking random seed for each randomization");
}

static void sayseed() { spewem("Random seed is", intvert(ranseed), nullptr); }

void rseedcom()
{
    int c = peep();
    if (c == ';') return sayseed();
    for (; (c = peep()) != ';';) {
        if (isdigit(c)) {
            ranseed = readnumber(1);
            sayseed();
            continue;
        }
        gtnb();
        switch (c) {
        case '+':
            ranseed = int((unsigned(ranseed) + unsigned(readnumber(1))) & INT_MAX);
            sayseed();
            break;
        case '*':
            ranseed = rand();
            sayseed();
            break;
        case '[': xrandom_addseq = 1; break;
        case ']': xrandom_addseq = 0; break;
        case '>': randomize_outgroup = 1; break;
        case '<': randomize_outgroup = 0; break;
        case '!':
            quick_randomizations = 1;
            myp("Using quick approximation for randomizations");
            break;
        case '-':
            quick_randomizations = 0;
            myp("Using proper (=slower) randomizations");
            break;
        case ':': readstep(); break;
        default: errarg(c);
        }
    }
}

const comhelp rseedhelp = {
    "Set the random seed, and how random choices are made.", nullptr,
    "  rseed N ;    set the seed; the same seed repeats a search exactly.  0 takes\n"
    "               the time; starts at 1\n"
    "  rseed +N ;   add N to the seed (1 when no number is given)\n"
    "  rseed * ;    take a random number as the seed\n"
    "  rseed [ ;    Wagner trees try branches in random order\n"
    "  rseed ] ;    Wagner trees try branches upward or downward (the default)\n"
    "  rseed > ;    the outgroup may be added anywhere in the sequence\n"
    "  rseed < ;    the outgroup is always first (the default)\n"
    "  rseed ! ;    quick approximation for randomizations\n"
    "  rseed - ;    proper randomizations (the default)\n"
    "  rseed :N ;   in multiple randomizations the seed increases by N; 0 (the\n"
    "               default) draws each seed from the previous one and takes none\n"
    "               twice\n"
    "  rseed ;      report the seed\n"
    "Examples:\n"
    "  rseed 123 ;\n"
    "  rseed [ ;\n"
};
