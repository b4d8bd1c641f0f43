// search/andlists.h: intersections of clusters beside their unions (bbreak:inters).
//
// When the union of a cluster is within bound of a clip, its branches are looked at one by one.  Each field of
// a cell is then one of three things, with U the union of the cluster's branch sets and I their intersection:
//
//     clip & U empty          costs a step at every branch of the cluster: counted once
//     clip & I not empty      costs nothing at any of them
//     else                    open: to be looked at
//
// so only cells with open fields are visited, decided fields being filled by a filter.  A list serves one clip
// and cluster, while no set changes, so nothing decided can become open again; a cell in which the clip
// has every state is decided by that alone.  Unit weights, no step matrices and no continuous characters.
#pragma once
#include <cstdint>

extern int ands_on;                  // lists are in use; set for each image
extern int use_ordering;             // inters 2: cells with most open fields first; starts at 0

void andmem();                       // by final_search_mem
void recheck_intersections(int k, int from, int n);   // as recheck_clusters, of cells from..from + n - 1
void makeintersection(int k);        // of the members of a cluster

extern int *and_list, nand_list;     // cells to visit
extern uint32_t *and_filter;         // of each: all bits of the fields that are decided
extern int and_steps;                // steps at every branch
void set_and_list_no_weights(const uint32_t *clip, int k);

// As scan_nodes, of the destinations of cluster k whose list was made: begin at 0.
int and_checker(const uint32_t *clip, int k, int from);
// The destinations of cluster k within movebound, with and-lists when they are on, else as scan_nodes.
int scan_members(const uint32_t *clip, int k, int from);
