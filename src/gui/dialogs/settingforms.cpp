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

static const field memoryfields[] = {
    { .key = "what" },
    { .key = "hold", .now = [] { return double(realmaxtrees); }, .only = "what=hold" },
    { .key = "mxram", .now = [] { return double(Minram) / 1e6; }, .only = "what=mxram" },
    { .key = "txtsize", .now = [] { return double(give_display_buffer_size()); }, .only = "what=txtsize" },
    {}
};
const dialogform memoryform = { "memory", "{what} {hold}{mxram}{txtsize};", memoryfields };

static const field consensusoptionsfields[] = {
    { .key = "collapse", .text = "+", .off = "-", .now = [] { return double(collapse_consensuses); } },
    { .key = "unshared", .text = "=", .off = "-", .now = [] { return double(ignore_unshared_taxa); } },
    {}
};
const dialogform consensusoptionsform = { "consensusoptions", "collapse {collapse}; unshared {unshared};",
    consensusoptionsfields };

static const field collapsefields[] = {
    { .key = "rule", .now = [] { return double(current_collapsing_rule()); } },
    { .key = "after", .text = "; collapse [", .off = "; collapse ]",
      .now = [] { return double(autocollapse_searches); } },
    {}
};
const dialogform collapseform = { "collapse", "collapse {rule}{after};", collapsefields };

static const field impliedfields[] = {
    { .key = "on", .nowtext = [] { return dopiwe ? "=" : "-"; } },
    { .key = "k", .now = [] { return konk; }, .only = "on==" },
    {}
};
const dialogform impliedform = { "implied", "piwe {on} {k};", impliedfields };

static const field concavityfields[] = { { .key = "ratio" }, { .key = "steps" }, {} };
const dialogform concavityform = { "concavity", "piwe < {ratio} {steps};", concavityfields };

static const field seedfields[] = {
    { .key = "how" },
    { .key = "n", .now = [] { return double(ranseed); }, .only = "how=" },
    {}
};
const dialogform seedform = { "seed", "rseed {how}{n};", seedfields };

static const field reportfields[] = {
    { .key = "report", .text = "report =", .off = "report -", .now = [] { return double(report_status); } },
    { .key = "secs", .now = [] { return double(xreport_status_time); } },
    { .key = "reps", .now = [] { return double(xreport_status_reps); } },
    { .key = "trees", .now = [] { return double(xreport_status_trees); } },
    {}
};
const dialogform reportform = { "report", "{report}; report + {secs}/{reps}/{trees};", reportfields };

static const field precisionfields[] = { { .key = "n", .now = [] { return double(table_precision); } }, {} };
const dialogform precisionform = { "precision", "tables / {n};", precisionfields };

// --- the look of the window ------------------------------------------------------------------------------

// The values come as a text: the window sets them by itself, without a command.
static void setfont(const char *values)
{
    const char *size = strrchr(values, ' ');
    char *family = guihistory.fontfamily;
    snprintf(family, sizeof guihistory.fontfamily, "%.*s", int(size - values), values);
    family[utf8whole(family, strlen(family))] = 0;       // what was cut is cut between letters
    guihistory.fontsize = atoi(size);
    setviewfont();
}

static const field fontfields[] = {
    { .key = "family", .nowtext = [] { return static_cast<const char *>(guihistory.fontfamily); }, .needed = true },
    { .key = "size", .now = [] { return double(guihistory.fontsize); },
      .low = [] { return double(LEASTFONTSIZE); }, .high = [] { return double(LARGESTFONTSIZE); } },
    {}
};
const dialogform fontform = { "font", "{family} {size}", fontfields, setfont };

static void setcolours(const char *values)
{
    char *page;
    guihistory.textcolour = int(strtol(values, &page, 16));
    guihistory.pagecolour = int(strtol(page, nullptr, 16));
    setviewfont();
}

static const field colourfields[] = {
    { .key = "how", .nowtext = [] { return guihistory.textcolour == guihistory.pagecolour ? "0 0" : ""; } },
    { .key = "text", .now = [] { return double(guihistory.textcolour); }, .only = "how=" },
    { .key = "page", .now = [] { return double(guihistory.pagecolour); }, .only = "how=" },
    {}
};
const dialogform colourform = { "colour", "{how} {text} {page}", colourfields, setcolours };
