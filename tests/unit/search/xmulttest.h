// xmulttest.h: the settings of driven searches, as tests find them and leave them.
#pragma once
#include "perturbtest.h"
#include "search/keeptrees.h"
#include "search/sectset.h"
#include "search/xmult.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"

// Everything that the levels set, and what tests change.
struct xmultsettings {
    sectsettings sectors = savesectsettings();
    std::vector<int *> where = { &xmult_replications, &xmult_hits, &xmult_update, &xmult_rss, &xmult_css, &xmult_xss, &xmult_fuse,
        &xmult_gfuse, &xmult_hfuse, &xmult_dumpfuse, &num_rebuilds, &xmult_drift, &xmult_ratchet, &xmult_hold, &xmult_autoconst,
        &xmult_xmix, &xmult_prvmix, &xmult_consense, &xmult_conbase, &xmult_confactor, &xmult_conmax, &xmult_keepall, &xmult_retouch,
        &xmult_chklevel, &change_by_level, &xmult_multiply, &xmult_verbose, &dotreehyb, &driver_autoselect_ga, &xmul_filter };
    std::vector<int> was;
    double target = xmult_targetscore, giveup = xmult_giveupscore, level = curlevel, change = level_change_val;
    xmultsettings()
    {
        for (int *p : where) was.push_back(*p);
    }
    ~xmultsettings()
    {
        putsectsettings(&sectors);
        for (size_t i = 0; i < where.size(); ++i) *where[i] = was[i];
        xmult_targetscore = target, xmult_giveupscore = giveup, curlevel = level, level_change_val = change;
        contaxex.clear();
    }
};

// What a run sets before its first replications.
struct replicating {
    hiscratch memory;
    double limit = suboptimal_limit;
    explicit replicating(int seed)
    {
        xm = {};
        xm.target = xm.bescore = overall_bestscore = suboptimal_limit = NOSCORE;
        xm.prevtsp = zhi<int>(size_t(nodz));
        xm.seed = seed;
        realmaxtrees = maxtrees;
        xmulting = 1;
        trees_in_mem = 0;
        rebuild_treechklist();
    }
    ~replicating()
    {
        xmulting = autoxmulting = trees_in_mem = userstop = 0;
        rebuild_treechklist();
        suboptimal_limit = limit;
        ranseed = 1;
    }
};
