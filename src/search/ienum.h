// search/ienum.h: exact searches, by implicit enumeration (branch and bound).
#pragma once

struct ienumresult {
    double best;
    double total;            // trees as good as wanted, before any sampling
    bool overflow;           // there were more than the buffer holds
};
// All trees within suboptimal of the best.  useadmins: partial trees are given up also by what the taxa
// that are still to come must cost.  sample: of more trees than there is room for a random sample is kept.
// Trees are left in memory (packed, canonical).  A search must be set up, with no trees in memory.
ienumresult implicit_enumeration(bool useadmins, bool sample);
