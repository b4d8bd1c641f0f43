// Searches and what bears on them.
#include "gui/dialogs/forms.h"
#include "kernel/driver.h"
#include "search/bbreak.h"
#include "search/moves.h"
#include "search/mult.h"

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

// --- new technologies ---------------------------------------------------------------------------------

static const field ratchetfields[] = {
    { .kind = NUMBER, .key = "iter", .label = "_Iterations", .text = "iterations %s", .first = 50 },
    { .kind = NUMBER, .key = "subs", .label = "_Substitutions that end a perturbation", .text = "numsubs %s", .high = 1000000, .first = 40 },
    { .kind = NUMBER, .key = "up", .label = "_Up-weighting (%)", .text = "upfactor %s", .high = 100, .first = 4 },
    { .kind = NUMBER, .key = "down", .label = "_Down-weighting (%)", .text = "downfactor %s", .high = 100, .first = 4 },
    { .kind = NUMBER, .key = "giveup", .label = "_Give up after this part of a swap (%)", .text = "giveup %s", .high = 100, .first = 99 },
    { .kind = CHECK, .key = "equals", .label = "A cycle of _equal weights in turn", .text = "equals", .off = "noequals", .first = 1 },
    {}
};
const dialogform ratchetform = { "ratchet", "Ratchet", "ratchet = {iter} {subs} {up} {down} {giveup} {equals};", ratchetfields,
    "Starts from the first tree in memory." };

static const field driftfields[] = {
    { .kind = NUMBER, .key = "iter", .label = "_Cycles", .text = "iterations %s", .first = 30 },
    { .kind = NUMBER, .key = "subs", .label = "_Substitutions that end a perturbation", .text = "numsubs %s", .high = 1000000, .first = 60 },
    { .kind = NUMBER, .key = "fit", .label = "Largest _fit difference", .text = "fitdiff %s", .high = 1000, .first = 1, .decimals = 2 },
    { .kind = NUMBER, .key = "rfit", .label = "Largest _relative fit difference", .text = "rfitdiff %s", .high = 10, .first = 0.2, .decimals = 2 },
    { .kind = NUMBER, .key = "factor", .label = "Re_jection factor", .text = "xfactor %s", .high = 100, .first = 3, .decimals = 2 },
    { .kind = NUMBER, .key = "giveup", .label = "_Give up after this part of a swap (%)", .text = "giveup %s", .high = 100, .first = 99 },
    {}
};
const dialogform driftform = { "drift", "Tree drifting", "drift = {iter} {subs} {fit} {rfit} {factor} {giveup};", driftfields,
    "Starts from the first tree in memory." };

static constexpr choicerow sectorkinds[] = { { "random", "rss" }, { "by the consensus", "css" }, { "exclusive", "xss" }, {} };
static const field sectorfields[] = {
    { .kind = CHOICE, .key = "kind", .label = "_Sectors", .text = "= %s", .choices = sectorkinds },
    { .kind = NUMBER, .key = "min", .label = "_Least size", .text = "minsize %s", .low = 4, .high = 100000, .first = 20, .only = "kind=0" },
    { .kind = NUMBER, .key = "max", .label = "_Largest size", .text = "maxsize %s", .low = 4, .high = 100000, .first = 40, .only = "kind=0" },
    { .kind = NUMBER, .key = "drift", .label = "_Drift cycles of large sectors", .text = "drift %s", .high = 1000, .first = 6 },
    {}
};
const dialogform sectorform = { "sector", "Sectorial search", "sectsch {kind} {min} {max} {drift};", sectorfields,
    "Starts from the trees in memory." };

static const field fusingfields[] = {
    { .kind = NUMBER, .key = "rounds", .label = "_Rounds", .text = "rounds %s", .low = 1, .high = 100, .first = 5 },
    { .kind = NUMBER, .key = "fork", .label = "_Least descendants of a node", .text = "minfork %s", .low = 2, .high = 1000, .first = 3 },
    { .kind = CHECK, .key = "equals", .label = "Accept exchanges of _equal score", .text = "equals", .off = "noequals" },
    { .kind = CHECK, .key = "best", .label = "_Start from the best tree", .text = "beststart", .off = "nobeststart", .first = 1 },
    { .kind = CHECK, .key = "swap", .label = "S_wap with TBR after exchanges", .text = "swap", .off = "noswap", .first = 1 },
    { .kind = CHECK, .key = "keep", .label = "_Keep all trees, not only the best", .text = "keepall", .off = "nokeepall", .first = 1 },
    {}
};
const dialogform fusingform = { "fusing", "Tree fusing", "tfuse = {rounds} {fork} {equals} {best} {swap} {keep};", fusingfields,
    "Exchanges groups of the same taxa between the trees in memory." };

static const field xmultfields[] = {
    { .kind = NUMBER, .key = "hits", .label = "_Hits to the best score", .text = "hits %s", .low = 1, .first = 1 },
    { .kind = NUMBER, .key = "replic", .label = "_Replications per hit", .text = "replications %s", .low = 1, .first = 4 },
    { .kind = NUMBER, .key = "hold", .label = "_Trees kept per replication", .text = "hold %s", .low = 1, .first = 1 },
    { .kind = HEADING, .label = "In each replication" },
    { .kind = CHECK, .key = "rss", .label = "R_andom sectors", .text = "rss", .off = "norss", .first = 1 },
    { .kind = CHECK, .key = "css", .label = "_Consensus sectors", .text = "css", .off = "nocss", .first = 1 },
    { .kind = CHECK, .key = "xss", .label = "E_xclusive sectors", .text = "xss", .off = "noxss" },
    { .kind = NUMBER, .key = "ratchet", .label = "Ratchet _iterations (0: none)", .text = "ratchet %s", .off = "noratchet", .high = 1000 },
    { .kind = NUMBER, .key = "drift", .label = "_Drift cycles (0: none)", .text = "drift %s", .off = "nodrift", .high = 1000, .first = 5 },
    { .kind = NUMBER, .key = "fuse", .label = "_Fusing rounds (0: none)", .text = "fuse %s", .off = "nofuse", .high = 100, .first = 1 },
    { .kind = HEADING, .label = "Stop when" },
    { .kind = NUMBER, .key = "consense", .label = "The consensus is _stable so many times (0: no)", .text = "consense %s", .off = "noconsense", .high = 100 },
    {}
};
const dialogform xmultform = { "xmult", "New technology search",
    "xmult = {hits} {replic} {hold} {rss} {css} {xss} {ratchet} {drift} {fuse} {consense};", xmultfields };

static const field levelfields[] = {
    { .kind = NUMBER, .key = "level", .label = "_Level", .high = 10, .first = 1.5, .decimals = 2 },
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
    { .kind = NUMBER, .key = "replications", .label = "_Searches", .text = "replications %s", .low = 1, .first = 15 },
    { .kind = NUMBER, .key = "major", .label = "Groups in this part of _all (%)", .text = "majorcut %s", .low = 50, .high = 100, .first = 85 },
    { .kind = TAXA, .key = "taxa", .label = "_Without taxa", .text = "/ %s" },
    {}
};
const dialogform estimateform = { "estimate", "Estimate consensus", "qnelsen {replications} {major} {taxa};", estimatefields,
    "From repeated short searches.  Trees in memory are replaced by the estimate." };
