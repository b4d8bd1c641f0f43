// Searches and what bears on them.
#include "gui/dialogs/forms.h"
#include "compare/qnelsen.h"
#include "kernel/driver.h"
#include "search/bbreak.h"
#include "search/moves.h"
#include "search/mult.h"
#include "search/xmult.h"

static const field implicitfields[] = {
    { .kind = CHECK, .key = "sample", .label = "Keep a _random sample when the trees do not fit in memory", .text = "&" },
    { .kind = CHECK, .key = "slow", .label = "Without what the taxa still missing must _add", .text = "-" },
    {}
};
const dialogform implicitform = { "implicit", "Implicit enumeration", "ienum {sample} {slow};", implicitfields,
    "Finds all trees of the best score for certain: up to some 20 to 30 taxa." };

// The row chosen is part of the command, so both searches share one dialog.
static constexpr choicerow starts[] = { { "random addition sequences", "mult" }, { "trees in memory", "bbreak" }, {} };
static constexpr choicerow swappers[] = { { "TBR", "tbr" }, { "SPR", "spr" }, { "none (Wagner trees)", "wagner" }, {} };
static constexpr choicerow breakers[] = { { "TBR", "tbr" }, { "SPR", "spr" }, {} };
static const field traditionalfields[] = {
    { .kind = CHOICE, .key = "start", .label = "_Starting trees", .choices = starts },
    { .kind = HEADING, .label = "Addition sequences" },
    { .kind = NUMBER, .key = "replic", .label = "_Replications", .text = "replic %s", .high = MAXREPLICS,
      .now = [] { return double(mults.replic); }, .only = "start=0" },
    { .kind = NUMBER, .key = "hold", .label = "_Trees to save per replication", .text = "hold %s", .low = 1, .high = 1000000,
      .now = [] { return double(mults.hold); }, .only = "start=0" },
    { .kind = CHOICE, .key = "swapper", .label = "S_wapping", .choices = swappers,
      .now = [] { return double(MULT_TBR - mults.swapper); }, .only = "start=0" },
    { .kind = CHECK, .key = "keepall", .label = "_Keep the trees of all replications", .text = "keepall", .off = "nokeepall",
      .now = [] { return double(mults.keepall); }, .only = "start=0" },
    { .kind = HEADING, .label = "Trees in memory" },
    { .kind = CHOICE, .key = "breaker", .label = "Swappin_g", .choices = breakers,
      .now = [] { return double(!bbreaks.usetbr); }, .only = "start=1" },
    { .kind = CHECK, .key = "mulpars", .label = "Keep all the trees _found", .text = "mulpars", .off = "nomulpars",
      .now = [] { return double(bbreaks.mulpars); }, .only = "start=1" },
    { .kind = CHECK, .key = "fill", .label = "Stop when the tree _buffer fills", .text = "fillonly", .off = "nofillonly",
      .now = [] { return double(bbreaks.fillonly); }, .only = "start=1" },
    {}
};
const dialogform traditionalform = { "traditional", "Traditional search",
    "{start} = {replic} {hold} {swapper} {keepall} {breaker} {mulpars} {fill};", traditionalfields };

static const field levelfields[] = {
    { .kind = NUMBER, .key = "level", .label = "_Level", .high = 10, .decimals = 2, .now = [] { return curlevel; } },
    {}
};
const dialogform levelform = { "level", "Search level", "xmult : level {level};", levelfields,
    "0 is the most superficial search, 10 the most thorough one." };

// --- limits --------------------------------------------------------------------------------------------

static const field suboptimalfields[] = {
    { .kind = NUMBER, .key = "steps", .label = "Steps _above the best", .high = 100000, .decimals = 3,
      .now = [] { return suboptimal; } },
    { .kind = NUMBER, .key = "relative", .label = "_Relative fit difference (0: any)", .text = "x %s", .high = 1, .decimals = 2,
      .now = [] { return relative_suboptimal; } },
    {}
};
const dialogform suboptimalform = { "suboptimal", "Suboptimal trees", "subopt {steps} {relative};", suboptimalfields };

static const field timeoutfields[] = {
    { .kind = NUMBER, .key = "hours", .label = "_Hours", .high = 10000, .now = [] { return double(mytimeout / 3600); } },
    { .kind = NUMBER, .key = "minutes", .label = "_Minutes", .text = ":%s", .high = 59, .now = [] { return double(mytimeout / 60 % 60); } },
    { .kind = NUMBER, .key = "seconds", .label = "_Seconds", .text = ":%s", .high = 59, .now = [] { return double(mytimeout % 60); } },
    {}
};
const dialogform timeoutform = { "timeout", "Time limit of searches", "timeout {hours}{minutes}{seconds};", timeoutfields,
    "0 is no limit." };

static const field estimatefields[] = {
    { .kind = NUMBER, .key = "replications", .label = "_Searches", .text = "replications %s", .low = 1,
      .now = [] { return double(estimate_replications); } },
    { .kind = NUMBER, .key = "major", .label = "Groups in this part of _all (%)", .text = "majorcut %s", .low = 50, .high = 100,
      .now = [] { return double(estimate_cutoff); } },
    { .kind = TAXA, .key = "taxa", .label = "_Without taxa", .text = "/ %s" },
    {}
};
const dialogform estimateform = { "estimate", "Estimate consensus", "qnelsen {replications} {major} {taxa};", estimatefields,
    "From repeated short searches.  Trees in memory are replaced by the estimate." };
