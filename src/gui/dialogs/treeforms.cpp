// Trees: showing, choosing, changing, scoring, consensus.
#include "gui/dialogs/forms.h"
#include "compare/major.h"
#include "diagrams/textree.h"
#include "trees/treebuf.h"

static constexpr choicerow plots[] = { { "diagrams", "tplot" }, { "in parentheses", "tplot *" }, {} };
static const field displayfields[] = {
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = CHOICE, .key = "how", .label = "_As", .choices = plots },
    { .kind = CHECK, .key = "naked", .label = "_Numbers of nodes", .text = "naked -; ", .off = "naked =; ",
      .now = [] { return double(!nakedtree); } },
    {}
};
const dialogform displayform = { "display", "Display trees", "{naked}{how} {trees};", displayfields };

static constexpr choicerow consensuses[] = {
    { "strict", "nelsen" }, { "majority rule", "majority" }, { "combinable components", "comcomp" },
    { "frequency differences", "freqdifs" }, {}
};
static constexpr choicerow results[] = { { "show", "" }, { "keep as a tree", "*" }, { "both", "&" }, {} };
static const field consensusfields[] = {
    { .kind = CHOICE, .key = "kind", .label = "_Consensus", .choices = consensuses },
    { .kind = NUMBER, .key = "cutoff", .label = "C_utoff (%)", .text = "majority = %s; ", .low = 50, .high = 100,
      .now = [] { return double(majorcut); }, .only = "kind=1" },
    { .kind = NUMBER, .key = "fcutoff", .label = "Cu_toff (%)", .text = "freqdifs = %s; ", .high = 100,
      .now = [] { return double(freqdifcut); }, .only = "kind=3" },
    { .kind = CHOICE, .key = "result", .label = "_Result", .choices = results },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = TAXA, .key = "taxa", .label = "Without ta_xa", .text = "/ %s" },
    {}
};
const dialogform consensusform = { "consensus", "Consensus", "{cutoff}{fcutoff}{kind} {result}{trees} {taxa};", consensusfields };

static constexpr choicerow superresults[] = { { "show", "" }, { "keep as a tree", "*" }, {} };
static const field supertreefields[] = {
    { .kind = NUMBER, .key = "orders", .label = "_Orders of combining", .text = "=%s", .low = 1, .high = 10000, .first = 10 },
    { .kind = CHOICE, .key = "result", .label = "_Result", .choices = superresults },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = TAXA, .key = "taxa", .label = "Without ta_xa", .text = "/ %s" },
    {}
};
const dialogform supertreeform = { "supertree", "Supertree", "mixtrees {orders} {result} {trees} {taxa};", supertreefields };

static const field choosefields[] = { { .kind = TREES, .key = "trees", .label = "_Trees", .needed = true }, {} };
const dialogform chooseform = { "choose", "Select trees", "tchoose {trees};", choosefields,
    "The trees selected are kept, the others discarded." };

static const field treegroupfields[] = {
    { .kind = NUMBER, .key = "n", .label = "_Group", .high = 1023 },
    { .kind = TEXT, .key = "name", .label = "_Name", .text = "(%s)" },
    { .kind = TREES, .key = "trees", .label = "_Trees", .needed = true },
    {}
};
const dialogform treegroupform = { "treegroup", "Group of trees", "tgroup ={n} {name} {trees};", treegroupfields };

static const field bestfields[] = {
    { .kind = NUMBER, .key = "above", .label = "_Above the best", .high = 1000000, .decimals = 2 },
    { .kind = CHECK, .key = "collapse", .label = "_Collapse unsupported branches first", .text = "*" },
    {}
};
const dialogform bestform = { "best", "Keep the best trees", "best {collapse} {above};", bestfields,
    "Duplicate trees are dropped as well." };

static constexpr choicerow orders[] = { { "score", "score" }, { "number of nodes", "nodes" }, { "number of taxa", "size" }, { "constraints violated", "mono" }, {} };
static const field sortfields[] = { { .kind = CHOICE, .key = "by", .label = "_By", .choices = orders }, {} };
const dialogform sortform = { "sort", "Sort trees", "sort = {by};", sortfields };

static const field rerootfields[] = { { .kind = TAXON, .key = "taxon", .label = "On _taxon (none: the outgroup)" }, {} };
const dialogform rerootform = { "reroot", "Reroot trees", "reroot {taxon};", rerootfields };

static const field randfields[] = {
    { .kind = NUMBER, .key = "n", .label = "_Trees", .low = 1, .high = 100000, .first = 10 },
    { .kind = NUMBER, .key = "collapse", .label = "_Probability of collapsing (%)", .high = 100 },
    {}
};
const dialogform randtreesform = { "randtrees", "Random trees", "randtrees {n} {collapse};", randfields };

static const field prunefields[] = {
    { .kind = TREES, .key = "trees", .label = "From _trees (none: all)" },
    { .kind = TAXA, .key = "taxa", .label = "_Taxa to remove", .needed = true },
    {}
};
const dialogform prunetaxaform = { "prunetaxa", "Prune taxa", "pruntax {trees} / {taxa};", prunefields };

static const field condensefields[] = {
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = CHECK, .key = "constrained", .label = "Keep groups of the _constraints", .text = "[" },
    { .kind = TAXA, .key = "taxa", .label = "As if without ta_xa", .text = "/ %s" },
    {}
};
const dialogform condenseform = { "condense", "Condense trees", "condense {constrained} {trees} {taxa};", condensefields,
    "Branches that the data do not support are collapsed, by the collapsing rule in force." };

static const field keepfields[] = {
    { .kind = NUMBER, .key = "n", .label = "Keep the _first", .high = 10000000, .now = [] { return double(trees_in_mem); } },
    {}
};
const dialogform keepform = { "keep", "Discard trees", "keep {n};", keepfields };

static const field tovaultfields[] = { { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" }, {} };
const dialogform tovaultform = { "tovault", "Move trees to the vault", "tvault > {trees};", tovaultfields };
static const field fromvaultfields[] = { { .kind = TEXT, .key = "trees", .label = "_Trees of the vault (none: all)" }, {} };
const dialogform fromvaultform = { "fromvault", "Take trees from the vault", "tvault < {trees};", fromvaultfields };

// --- scores ----------------------------------------------------------------------------------------------

static constexpr choicerow scorings[] = { { "lengths", "length" }, { "scores", "scores" }, {} };
static const field lengthfields[] = {
    { .kind = CHOICE, .key = "what", .label = "_Show", .choices = scorings },
    { .kind = CHECK, .key = "soft", .label = "_Polytomies as soft", .text = "!" },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    {}
};
const dialogform lengthform = { "length", "Tree scores", "{what} {soft} {trees};", lengthfields };

static constexpr choicerow branches[] = { { "as tables", "" }, { "on diagrams", "*" }, {} };
static const field branchfields[] = {
    { .kind = CHOICE, .key = "how", .label = "_Show", .choices = branches },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    {}
};
const dialogform branchform = { "branch", "Branch lengths", "blength {how} {trees};", branchfields };

static const field charscorefields[] = {
    { .kind = CHECK, .key = "soft", .label = "_Polytomies as soft", .text = "!" },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters (none: all)", .text = "/ %s" },
    {}
};
const dialogform charscoreform = { "charscore", "Character scores", "cscores {soft} {trees} {chars};", charscorefields };

static constexpr choicerow fits[] = { { "adjusted homoplasy", "" }, { "total fit", "*" }, {} };
static const field fitfields[] = {
    { .kind = CHOICE, .key = "what", .label = "_Show", .choices = fits },
    { .kind = CHECK, .key = "soft", .label = "_Polytomies as soft", .text = "!" },
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    {}
};
const dialogform fitform = { "fit", "Fit of trees", "fit {what} {soft} {trees};", fitfields };

static const field referencefields[] = {
    { .kind = NUMBER, .key = "tree", .label = "_Tree", .high = 10000000 },
    {}
};
const dialogform referenceform = { "reference", "Reference tree", "xcomp = {tree};", referencefields,
    "Other trees can then be compared with it, character by character." };

static const field comparefields[] = { { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" }, {} };
const dialogform compareform = { "compare", "Compare with reference tree", "xcomp {trees};", comparefields };
const dialogform comparefitsform = { "comparefits", "Compare fits with reference tree", "xcomp * {trees};", comparefields };

// --- tags ------------------------------------------------------------------------------------------------

static const field tagtreefields[] = { { .kind = NUMBER, .key = "tree", .label = "_Tree", .high = 10000000 }, {} };
const dialogform tagtreeform = { "tagtree", "Target tree of tags", "ttags *{tree};", tagtreefields };

static const field svgtreefields[] = {
    { .kind = WRITEFILE, .key = "file", .label = "_File", .files = SVGFILES },
    { .kind = NUMBER, .key = "step", .label = "_Pixels of a step of depth", .text = "blength %s", .low = 1, .high = 500, .first = 20 },
    { .kind = CHECK, .key = "italics", .label = "Names of taxa in _italics", .text = "italics" },
    {}
};
const dialogform svgtreeform = { "svgtree", "Save the tree with tags as SVG", "ttags &{file} {step} {italics};", svgtreefields };
