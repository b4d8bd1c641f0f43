// search/rebuild.h: rebuilding: some taxa are taken out of a tree, put back one by one, and the tree is swapped.
#pragma once

struct rebuildsettings {
    int cycles;          // starts at 10
    int percent;         // of the taxa taken out in each cycle, 1..90; starts at 20
};
extern rebuildsettings rebuild_settings;
constexpr int MAXREBUILDS = 100000;

// So many cycles from the tree (packed numbers), which becomes the best one found; a cycle that makes it
// no worse is the start of the next.  Trees as good as the best, or within suboptimal, are kept in the
// buffer from first on, as far as there is room.  Returns the best score; *done: cycles completed.
double rebuild_tree(int *tree, int first, int cycles, int *done);
void do_the_rebuild(int *tree);      // one cycle, without swapping: takes random taxa out and puts them back
// Without the n taxa of the list.  Nodes with one descendant left go too, and the others are numbered
// without gaps; terminal 0 and two more stay.
void takeout(int *tree, const int *list, int n);
void show_rebuild_settings();
