// search/sectdata.h: a sector of a tree, open as data of its own.
//
// A sector is a node of the tree with some of the nodes below it:
//
//     whole tree, upward to the right     while the sector at b is open
//
//          r-+- 0                            root-+- 0     all that lies beyond b, one terminal
//            `- p-+- ...                          `- b-+- t
//                 `- b-+- t (...)                      `- c-+- d
//                      `- c-+- d (...)                      `- e
//                           `- e             t, d, e: first-pass states of what hangs there
//
// with p = zert_to and b = below_was.
//
// First-pass states tell exactly what a subtree costs from outside, so the score of the reduced tree differs
// from that of the whole one by the same amount for all arrangements of the sector; under implied weights
// fields go on counting from the steps that they have outside.  Fields that cost the same on each reduced tree
// are left out, states that no tree needs too.
//
// While a sector is open ntax, hinod, the packed image, and all that lies on it describe the reduced data, so any search runs
// on them; the whole tree is untouched meanwhile.  Reduced numbers: 0 what lies outside, the terminals of the
// sector, the root, b, and the other nodes breadth first.
#pragma once

// ---- Before a sector opens: what is to be in it ----
// deslist (moves.h), for each node of the whole tree met on the way down from the base:
enum sectormark { IN_SECTOR, OUT_OF_SECTOR, SECTOR_TERMINAL };

// ---- While it is open, and after it until the next one ----
extern int *sectonod;            // reduced node -> node of the whole tree; the root -> zert_to; 0 -> -1
extern int *nodtosect;           // node of the whole tree -> reduced node; -1 for those that are not in the sector
extern int *wholetree;           // the tree before the sector was opened
extern int *sectree;             // the reduced tree; its best arrangement once it was analyzed
extern int zert_to, below_was;   // ancestor of the base in the whole tree; the base
extern int expected_ntax;        // terminals of the reduced data, that for the outside included
extern double minianal_score_gain;   // what the analysis gained, 0 or more
extern int wiped_some_sankoff;   // a step-matrix character was left out of the reduced data by the loose test
extern int sectsch_priv_bufsize; // sectors of up to so many terminals keep the first-pass states of the whole tree valid; 0: none

void sectormem();                        // the tables, by final_search_mem
// Finds how many terminals the reduced data of a sector can have in free memory, at start of an engine.
void get_sectsch_priv_buf();
bool sector_is_private(int count);       // a sector of so many terminals goes by the private form

// Opens the sector at base, as marked in deslist, with count terminals (the outside included, 4 or more), of the tree in anx.
// False when there is no memory for it: nothing changed.  The private form (fix_small_matrix) relies on first-pass
// states of the whole tree as schoptimize(anx, 1) leaves them and rezertree and fix_again_sector keep them; the
// other one makes them.  standin, for searches that perturb: the node whose states stand for a terminal of the sector;
// outgroup: the terminal whose states stand for the outside (-1: they are its own).
bool make_small_matrix(int base, int count, int (*standin)(int node) = nullptr, int outgroup = -1);
// Searches the reduced data; with a flag, by the instructions of the user.  True when sectree changed: its
// score is lower by minianal_score_gain (which is 0 for one equally good).
bool minianal(int flag);
// Closes the sector: data and memory are those of the whole tree again, and anx is the whole tree with sectree grafted
// into it; lef, rig and sis follow.  Takes the flag of minianal.
void rezertree(int flag);
constexpr int LEAST_REDUCED = 4;         // fewer terminals have one arrangement only

// After rezertree, for a private sector that changed: first-pass states of its nodes and of the path to the root, as far as they
// change, and counts of steps.  One that did not change leaves all states as they were.
void fix_again_sector();
void check_whole_states();               // asserts that the states of anx are those of a complete optimization
// Whatever stands open is closed, anx is the whole tree as it was; arena marks are left alone.  By end_of_search, whatever happened.
void debuf_reduced_data(int);
extern int reduced_data_were_left;       // a sector was left open by an error, and who unwound may have mistaken the whole image for
                                         // its own: it is packed anew before the next search

// ---- Engines: sectors one after another from a tree -------------------------------------------------
struct sectorrun {
    int *tree;           // of the caller
    double score;        // of the whole tree, which is in anx while the engine runs
    int replaced;        // sectors replaced since the last global swap
    int failures;        // sectors in a row that brought nothing
};
enum sectorend { SECTOR_SKIPPED, SECTOR_KEPT, SECTOR_REPLACED, SECTOR_LOST };   // LOST: the whole tree came out worse, and is as before
void start_sectors(sectorrun *run, int *tree);     // copies tree to anx (if it is not anx), scores it
// Opens, analyzes (by the instructions of the user when use_user_ss_insts) and closes the sector marked in deslist; the
// score, counts of replacements and failures follow.
sectorend run_sector(sectorrun *run, int base, int count);
bool globally_due(const sectorrun *run, int size); // replacements have reached ssglobaltbr, or ss_large_globaltbr
void swap_globally(sectorrun *run);                // TBR of the whole tree
// With a last global swap, when there were replacements and one is allowed; copies back to run->tree, returns its score.
double end_sectors(sectorrun *run, bool swap);
bool sectors_stopped(const sectorrun *run);        // userstop, or ssstopscore was reached

// ---- Recursion: everything about the open sector and the image put aside, as if there were none ----
// Other data may be in their place in between, which must be gone when they come back.
void *store_open_sector();               // at the low end of the arena
void reset_open_sector(const void *stored);

void setxmulfull();                      // by xmult: the tree store was full when a sector was to be drifted
