// data/taxa.h: which taxa are in force.
#pragma once
#include <cstdint>

constexpr int LEASTTAXA = 4;             // fewest that may be active

void set_active_taxa(const uint8_t *active);   // 1 or 0 a taxon; the outgroup and LEASTTAXA must be among them
