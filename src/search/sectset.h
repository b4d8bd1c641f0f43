// search/sectset.h: settings of sectorial searches, which sectsch: changes and shows.
//
// The searches that call sectors change some of these for a while; a copy taken with savesectsettings
// puts all of them back.
#pragma once
#include "kernel/options.h"

enum sectkind { SS_RANDOM = 1, SS_CONSTRAINED, SS_EXCLUSIVE, SS_DIAMETER };

extern int ss_type;                  // how sectors are chosen, a sectkind; starts at SS_RANDOM

// Random sectors: sizes in terminals, the one that stands for the rest of the tree included.
constexpr int LEAST_SECTOR = 5, MAXUSERSELS = 30;
extern int ssminsize, ssmaxsize;     // first and last size, LEAST_SECTOR..ntax; both start at 45
extern int ssgrowfactor;             // next size is so many per cent larger, 0..100; starts at 100
extern int ssmaxsubfactor;           // 100 less the number of the user, 1..100: selections are ntax * 100 / (this * size); starts at 50
extern int numusersels[MAXUSERSELS]; // selections of each size in turn, as the user wants them
extern int maxnumusersels;           // entries in use; starts at 0: all sizes by ssmaxsubfactor
extern int ssmaxfailure;             // failures until the next size; starts at 0: never

// Sectors by constraints.
extern int ssminfork, ssmaxfork;     // least descendants of a group (2 or more), and most (5 or more); start at 10, 1000
extern int ssnumrounds;              // cycles through the groups; starts at 3

// Exclusive sectors.
constexpr int LEAST_CHUNKS = 2, MOST_CHUNKS = 62;    // what the user can ask for
extern int serial_xss_chunkbeg, serial_xss_chunkend; // chunks in the first round and in the last; start at 8, 12
extern int serial_xss_numrounds;     // 1..10000; starts at 2
extern int serial_xss_tbr_freq;      // global TBR after so many rounds, 1 or more; starts at 4
extern int serial_xss_use_even_sizes;// chunks of about the same size; starts at 0
extern int xss_addroot;              // what is left at the base of the tree is a sector too; starts at 0

// Sectors around a node.
extern int dss_center, dss_diameter; // node (of the tree as stored) and branches from it; start at -1, 0

// Replacements in the whole tree.
extern int ssglobaltbr, ss_large_globaltbr;  // global TBR after so many, for sectors below ssgotodrift and others; 0: never; start at 10
extern int sstakequals;              // equally good sectors replace the present one; starts at 0
extern int saferedsan;               // step-matrix characters leave reduced data only when they certainly are uninformative; starts at 1

// How a sector is analyzed.
extern int num_fuses_all_starts;     // trees of all starts are kept and fused in so many rounds, 0..99; starts at 0
extern int ssgotodrift;              // drifting for sectors of this size or more; starts at 75
extern int ssdriftcycles;            // cycles of it; starts at 6
extern int ssgotocomb;               // starts, drifting and fusing for sectors of this size or more; 0: never (start)
extern int ssnumstarts;              // starts for small sectors; starts at 3
extern int sscombstarts;             // starts of combined analyses; starts at 4
extern double ssstopscore;           // the search ends at this score or better; starts at 0: it does not

// The command.
extern int ss_keepall;               // worse trees stay in memory; starts at 1
extern int ss_dosingle_tree;         // only this tree is searched; -1: all (at the start of each command)
extern int is_tracked_sectsch;       // instructions follow what becomes of the sectors, which are not put back; only for one command

// What changes the layout of the search layer.
// mem_slack_for_sectors (trees/pack.h): per cent of extra memory, 0..1000; starts at 0.
extern int use_sectsch_priv_buf;     // sectors that fit have rows of their own; starts at 1
extern int ss_maxrecurse;            // levels of sectors within sectors, 0..MAX_SS_RECURSE; starts at 0
constexpr int MAX_SS_RECURSE = 20;

// Instructions of the user for each sector.  While a level of sectors is analyzed, these are those of the next level.
constexpr int MAXSSINSTS = 1024;     // bytes
extern char user_ss_insts[MAXSSINSTS + 1];
extern int use_user_ss_insts;        // there are some; only for one command; 0 outside
int read_sector_insts(char *to);     // up to the bracket that ends them, behind the one that begins them; returns the bytes, MAXSSINSTS at most

bool characters_are_linked();                // links of characters: first-pass states do not tell all of a subtree
extern int have_asym_nuclei;                 // they imply costs that differ in their two ways; starts at 0

int selections_of_size(int nth, int size);   // of the nth size (from 0), which is size, in random sectors

// All of the above, but what belongs to one command: tree, instructions and tracking.
constexpr int SECTNUMBERS = 33;
struct sectsettings {
    int numbers[SECTNUMBERS];        // in the order of the table of settings
    int usersels[MAXUSERSELS];
    double stopscore;
};
sectsettings savesectsettings();
void putsectsettings(const sectsettings *saved);

struct keepsectsettings {            // settings as they were at its beginning come back at its end
    sectsettings saved = savesectsettings();
    ~keepsectsettings() { putsectsettings(&saved); }
};

extern const optrow sectschopts[];
// Options up to ';', which stays.  runs: they were introduced by '=', so that what changes memory is refused.
void set_ss_options(bool runs);
void show_ss_options();
