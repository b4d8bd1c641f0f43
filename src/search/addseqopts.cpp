// Options of searches that add taxa in some sequence.
#include "search/addseqopts.h"
#include "search/wagner.h"
#include "kernel/input.h"
#include <algorithm>
#include <cctype>
#include <cstdio>

static int taxatotry()                // a number, or all taxa
{
    long n = isdigit(peep()) ? gtnu() : ALLTAXA;
    return int(std::min<long>(n, ALLTAXA));
}

static void chooseby(int how)
{
    selected_addseqs = taxatotry();
    use_minimum_addseq = how;
    informative_addseqs = 0;
}

void cas() { chooseby(ADD_CLOSEST); }
void fas() { chooseby(ADD_FARTHEST); }
void sas() { chooseby(ADD_SPREAD); }
void ras() { selected_addseqs = informative_addseqs = 0; }
void ias()
{
    ras();
    informative_addseqs = taxatotry();
}

const char *sequencetext()
{
    static const char *const names[] = { "sas: widest range of costs", "cas: least cost", "fas: highest cost" };
    static char text[128];
    int n = selected_addseqs ? selected_addseqs : informative_addseqs;
    const char *what = selected_addseqs ? names[use_minimum_addseq] : "ias: most informative";
    if (!n) return "random addition sequence";
    if (n >= ALLTAXA) snprintf(text, sizeof text, "addition sequence by %s of all taxa", what);
    else snprintf(text, sizeof text, "addition sequence by %s of %i taxa", what, n);
    return text;
}
