// Searches and what bears on them.
#include "gui/dialogs/forms.h"
#include "compare/qnelsen.h"
#include "kernel/driver.h"
#include "search/bbreak.h"
#include "search/moves.h"
#include "search/mult.h"
#include "search/xmult.h"

static const field implicitfields[] = { { .key = "sample", .text = "&" }, { .key = "slow", .text = "-" }, {} };
const dialogform implicitform = { "implicit", "ienum {sample} {slow};", implicitfields };

// Both searches share one dialog: the row chosen is the word of the command.
static const field traditionalfields[] = {
    { .key = "start" },
    { .key = "replic", .text = "replic %s", .now = [] { return double(mults.replic); }, .high = [] { return double(MAXREPLICS); },
      .only = "start=mult" },
    { .key = "hold", .text = "hold %s", .now = [] { return double(mults.hold); }, .only = "start=mult" },
    { .key = "swapper", .nowtext = [] { return mults.swapper == MULT_TBR ? "tbr" : mults.swapper == MULT_SPR ? "spr" : "wagner"; }, .only = "start=mult" },
    { .key = "keepall", .text = "keepall", .off = "nokeepall",
      .now = [] { return double(mults.keepall); }, .only = "start=mult" },
    { .key = "breaker", .nowtext = [] { return bbreaks.usetbr ? "tbr" : "spr"; }, .only = "start=bbreak" },
    { .key = "mulpars", .text = "mulpars", .off = "nomulpars",
      .now = [] { return double(bbreaks.mulpars); }, .only = "start=bbreak" },
    { .key = "fill", .text = "fillonly", .off = "nofillonly",
      .now = [] { return double(bbreaks.fillonly); }, .only = "start=bbreak" },
    {}
};
const dialogform traditionalform = { "traditional",
    "{start} = {replic} {hold} {swapper} {keepall} {breaker} {mulpars} {fill};", traditionalfields };

static const field levelfields[] = { { .key = "level", .now = [] { return curlevel; } }, {} };
const dialogform levelform = { "level", "xmult : level {level};", levelfields };

// --- limits --------------------------------------------------------------------------------------------

static const field suboptimalfields[] = {
    { .key = "steps", .now = [] { return suboptimal; } },
    { .key = "relative", .text = "x %s", .now = [] { return relative_suboptimal; } },
    {}
};
const dialogform suboptimalform = { "suboptimal", "subopt {steps} {relative};", suboptimalfields };

static const field timeoutfields[] = {
    { .key = "hours", .now = [] { return double(mytimeout / 3600); } },
    { .key = "minutes", .text = ":%s", .now = [] { return double(mytimeout / 60 % 60); } },
    { .key = "seconds", .text = ":%s", .now = [] { return double(mytimeout % 60); } },
    {}
};
const dialogform timeoutform = { "timeout", "timeout {hours}{minutes}{seconds};", timeoutfields };

static const field estimatefields[] = {
    { .key = "replications", .text = "replications %s", .now = [] { return double(estimate_replications); } },
    { .key = "major", .text = "majorcut %s", .now = [] { return double(estimate_cutoff); } },
    { .key = "taxa", .kind = TAXA, .text = "/ %s" },
    {}
};
const dialogform estimateform = { "estimate", "qnelsen {replications} {major} {taxa};", estimatefields };
