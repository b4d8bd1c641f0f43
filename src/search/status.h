// search/status.h: how far a search is: the stage it is in, the rearrangements it tried, and the
// line that shows it.
#pragma once
#include <cstdint>
#include <string>

enum stage { ALG_WAGNER, ALG_SPR, ALG_TBR, ALG_SECTORS, ALG_DRIFT, ALG_RATCHET, ALG_FUSING, ALG_PINON, ALG_HYBRID, ALG_ENUM, ALG_REBUILD, STAGES };
extern int curalg;                        // stage of the running search; starts at ALG_WAGNER
extern int current_replication;           // from 0; -1 outside replications (start)
extern int replications_wanted;           // of this run
extern int current_treenum;               // tree of the buffer being swapped
extern int no_reports_yet;                // the header of the status line is still to come

// Rearrangements tried: numrearrangs counts up to a thousand millions, bigrearrangs those.
extern unsigned long numrearrangs, bigrearrangs;
extern unsigned long acceprearrangs;      // rearrangements accepted
constexpr unsigned long BIGREARRANGS = 1000000000;
void clear_rearrangs();
inline void add_rearrangs(unsigned long n)
{
    for (numrearrangs += n; numrearrangs >= BIGREARRANGS; numrearrangs -= BIGREARRANGS) ++bigrearrangs;
}
std::string give_numrearrangs();          // as decimal text
void show_numrearrangs();                 // "Total rearrangements examined: N."

std::string scoretext(double score);      // "(none)" for no score, decimals only where scores have them

extern double polling_interval;           // seconds; negative: at every call; starts at 1
// Polls for the stop keys and the time limit, and renews the status line, at most once an interval.
void report_search_status(double score);
// One status line for the log, when so many replications (or trees) are to be recorded.
void record_search_status(int every, int done, double score);
