// Settings: memory, rules, weights, seed, reports, the look of the window.
#include "gui/dialogs/forms.h"
#include "gui/appwindow.h"
#include "gui/history.h"
#include "compare/groups.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/textbuf.h"
#include "search/rseed.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/treebuf.h"
#include <cstdlib>
#include <cstring>

static constexpr choicerow memories[] = {
    { "room for trees", "hold" }, { "memory in million bytes", "mxram" }, { "text buffer in kilobytes", "txtsize" }, {}
};
static const field memoryfields[] = {
    { .kind = CHOICE, .key = "what", .label = "_Set", .choices = memories },
    { .kind = NUMBER, .key = "hold", .label = "_Trees", .low = 1, .high = 10000000, .now = [] { return double(realmaxtrees); }, .only = "what=0" },
    { .kind = NUMBER, .key = "mxram", .label = "_Million bytes", .low = 1, .high = 1000000, .decimals = 0,
      .now = [] { return double(Minram) / 1e6; }, .only = "what=1" },
    { .kind = NUMBER, .key = "txtsize", .label = "_Kilobytes", .low = 10, .high = 2000000,
      .now = [] { return double(give_display_buffer_size()); }, .only = "what=2" },
    {}
};
const dialogform memoryform = { "memory", "Memory", "{what} {hold}{mxram}{txtsize};", memoryfields,
    "Changing the memory discards data and trees; changing the text buffer clears it." };

static const field consensusoptionsfields[] = {
    { .kind = CHECK, .key = "collapse", .label = "_Collapse trees temporarily", .text = "+", .off = "-",
      .now = [] { return double(collapse_consensuses); } },
    { .kind = CHECK, .key = "unshared", .label = "_Leave out taxa missing from some tree", .text = "=", .off = "-",
      .now = [] { return double(ignore_unshared_taxa); } },
    {}
};
const dialogform consensusoptionsform = { "consensusoptions", "Consensus options", "collapse {collapse}; unshared {unshared};",
    consensusoptionsfields };

static constexpr choicerow rules[] = {
    { "none: no branch is collapsed", "0" }, { "no reconstruction supports it (rule 3)", "1" },
    { "ambiguous support", "2" }, { "some reconstruction has no change (rule 1)", "3" },
    { "rule 4", "4" }, { "an SPR move is as good", "5" }, { "a TBR move is as good", "6" }, {}
};
static const field collapsefields[] = {
    { .kind = CHOICE, .key = "rule", .label = "_Branches collapse when", .choices = rules,
      .now = [] { return double(current_collapsing_rule()); } },
    { .kind = CHECK, .key = "after", .label = "_After each search", .text = "; collapse [", .off = "; collapse ]",
      .now = [] { return double(autocollapse_searches); } },
    {}
};
const dialogform collapseform = { "collapse", "Collapsing rules", "collapse {rule}{after};", collapsefields };

static constexpr choicerow weightings[] = { { "equal weights", "-" }, { "implied weights", "=" }, {} };
static const field impliedfields[] = {
    { .kind = CHOICE, .key = "on", .label = "_Weighting", .choices = weightings, .now = [] { return double(dopiwe != 0); } },
    { .kind = NUMBER, .key = "k", .label = "_Concavity (k)", .low = 0.001, .high = 1000, .decimals = 3,
      .now = [] { return konk; }, .only = "on=1" },
    {}
};
const dialogform impliedform = { "implied", "Implied weighting", "piwe {on} {k};", impliedfields,
    "The smaller k is, the more strongly homoplasy is weighed down." };

static const field concavityfields[] = {
    { .kind = NUMBER, .key = "ratio", .label = "A step weighs this part (1/_N) of the first", .low = 1.1, .high = 1000, .first = 10, .decimals = 2 },
    { .kind = NUMBER, .key = "steps", .label = "After so many _steps of homoplasy", .low = 1, .high = 1000, .first = 10 },
    {}
};
const dialogform concavityform = { "concavity", "Concavity by ratio", "piwe < {ratio} {steps};", concavityfields };

static constexpr choicerow seeds[] = { { "a number", "" }, { "from the time", "0" }, { "at random", "*" }, {} };
static const field seedfields[] = {
    { .kind = CHOICE, .key = "how", .label = "_Seed", .choices = seeds },
    { .kind = NUMBER, .key = "n", .label = "_Number", .low = 1, .high = 2000000000,
      .now = [] { return double(ranseed); }, .only = "how=0" },
    {}
};
const dialogform seedform = { "seed", "Random seed", "rseed {how}{n};", seedfields,
    "The same seed repeats a search exactly." };

static const field reportfields[] = {
    { .kind = CHECK, .key = "report", .label = "_Progress and confirmations", .text = "report =", .off = "report -",
      .now = [] { return double(report_status); } },
    { .kind = NUMBER, .key = "secs", .label = "Record searches every so many _seconds", .high = 100000,
      .now = [] { return double(xreport_status_time); } },
    { .kind = NUMBER, .key = "reps", .label = "Every so many _replications", .high = 100000,
      .now = [] { return double(xreport_status_reps); } },
    { .kind = NUMBER, .key = "trees", .label = "Every so many _trees", .high = 100000,
      .now = [] { return double(xreport_status_trees); } },
    {}
};
const dialogform reportform = { "report", "Reports of progress", "{report}; report + {secs}/{reps}/{trees};", reportfields,
    "0 is never." };

static const field precisionfields[] = {
    { .kind = NUMBER, .key = "n", .label = "_Decimals", .high = 10, .now = [] { return double(table_precision); } },
    {}
};
const dialogform precisionform = { "precision", "Decimals of numbers in tables", "tables / {n};", precisionfields };

// --- the look of the window ------------------------------------------------------------------------------

// The values come as a text: the window sets them by itself, without a command.
static void setfont(const char *values)
{
    const char *size = strrchr(values, ' ');
    snprintf(guihistory.fontfamily, sizeof guihistory.fontfamily, "%.*s", int(size - values), values);
    guihistory.fontsize = atoi(size);
    setviewfont();
}

static const field fontfields[] = {
    { .kind = TEXT, .key = "family", .label = "_Family", .nowtext = [] { return static_cast<const char *>(guihistory.fontfamily); },
      .needed = true },
    { .kind = NUMBER, .key = "size", .label = "_Size", .low = LEASTFONTSIZE, .high = LARGESTFONTSIZE,
      .now = [] { return double(guihistory.fontsize); } },
    {}
};
const dialogform fontform = { "font", "Font of the text", "{family} {size}", fontfields,
    "A family that is not installed is replaced by one of equal widths.", setfont };

static void setcolours(const char *values)
{
    char *page;
    guihistory.textcolour = int(strtol(values, &page, 16));
    guihistory.pagecolour = int(strtol(page, nullptr, 16));
    setviewfont();
}

static constexpr choicerow colours[] = { { "of the desktop", "0 0" }, { "as follows", "" }, {} };
static const field colourfields[] = {
    { .kind = CHOICE, .key = "how", .label = "_Colors", .choices = colours,
      .now = [] { return double(guihistory.textcolour != guihistory.pagecolour); } },
    { .kind = COLOUR, .key = "text", .label = "_Text", .now = [] { return double(guihistory.textcolour); }, .only = "how=1" },
    { .kind = COLOUR, .key = "page", .label = "_Page", .now = [] { return double(guihistory.pagecolour); }, .only = "how=1" },
    {}
};
const dialogform colourform = { "colour", "Colors of the text", "{how} {text} {page}", colourfields, nullptr, setcolours };
