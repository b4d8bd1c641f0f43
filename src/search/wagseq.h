// search/wagseq.h: addition sequences that are not merely random.
#pragma once

// The first taxa of ladd become those of the best of up to `tries` triples of the sequence, terminal 0 being
// one: the shortest network for ADD_CLOSEST, else the longest.  tree is scratch.
void get_best_triple(int *tree, int tries);
// Reorders ladd so that each next taxon makes as many characters informative as possible, looking at
// informative_addseqs taxa for each place.  For more than five taxa.
void get_informative_sequence();
// Of the taxa at places from..ntax-1 of ladd, up to selected_addseqs of them, the one to be added next;
// it comes to place from.
void select_next_taxon(int from);
