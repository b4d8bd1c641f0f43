// Trees: showing, choosing, changing, scoring, consensus.
#include "gui/dialogs/forms.h"
#include "compare/major.h"
#include "diagrams/textree.h"
#include "trees/treebuf.h"

static const field displayfields[] = {
    { .key = "trees", .kind = TREES },
    { .key = "how" },
    { .key = "naked", .text = "naked -; ", .off = "naked =; ", .now = [] { return double(!nakedtree); } },
    {}
};
const dialogform displayform = { "display", "{naked}{how} {trees};", displayfields };

static const field consensusfields[] = {
    { .key = "kind" },
    { .key = "cutoff", .text = "majority = %s; ", .now = [] { return double(majorcut); }, .only = "kind=majority" },
    { .key = "fcutoff", .text = "freqdifs = %s; ", .now = [] { return double(freqdifcut); }, .only = "kind=freqdifs" },
    { .key = "result" },
    { .key = "trees", .kind = TREES },
    { .key = "taxa", .kind = TAXA, .text = "/ %s" },
    {}
};
const dialogform consensusform = { "consensus", "{cutoff}{fcutoff}{kind} {result}{trees} {taxa};", consensusfields };

static const field supertreefields[] = {
    { .key = "orders", .text = "=%s" },
    { .key = "result" },
    { .key = "trees", .kind = TREES },
    { .key = "taxa", .kind = TAXA, .text = "/ %s" },
    {}
};
const dialogform supertreeform = { "supertree", "mixtrees {orders} {result} {trees} {taxa};", supertreefields };

static const field choosefields[] = { { .key = "trees", .kind = TREES, .needed = true }, {} };
const dialogform chooseform = { "choose", "tchoose {trees};", choosefields };

static const field treegroupfields[] = {
    { .key = "n" },
    { .key = "name", .text = "(%s)" },
    { .key = "trees", .kind = TREES, .needed = true },
    {}
};
const dialogform treegroupform = { "treegroup", "tgroup ={n} {name} {trees};", treegroupfields };

static const field bestfields[] = { { .key = "above" }, { .key = "collapse", .text = "*" }, {} };
const dialogform bestform = { "best", "best {collapse} {above};", bestfields };

static const field sortfields[] = { { .key = "by" }, {} };
const dialogform sortform = { "sort", "sort = {by};", sortfields };

static const field rerootfields[] = { { .key = "taxon", .kind = TAXON }, {} };
const dialogform rerootform = { "reroot", "reroot {taxon};", rerootfields };

static const field randfields[] = { { .key = "n" }, { .key = "collapse" }, {} };
const dialogform randtreesform = { "randtrees", "randtrees {n} {collapse};", randfields };

static const field prunefields[] = {
    { .key = "trees", .kind = TREES },
    { .key = "taxa", .kind = TAXA, .needed = true },
    {}
};
const dialogform prunetaxaform = { "prunetaxa", "pruntax {trees} / {taxa};", prunefields };

static const field condensefields[] = {
    { .key = "trees", .kind = TREES },
    { .key = "constrained", .text = "[" },
    { .key = "taxa", .kind = TAXA, .text = "/ %s" },
    {}
};
const dialogform condenseform = { "condense", "condense {constrained} {trees} {taxa};", condensefields };

static const field keepfields[] = {
    { .key = "n", .now = [] { return double(trees_in_mem); } },
    {}
};
const dialogform keepform = { "keep", "keep {n};", keepfields };

static const field tovaultfields[] = { { .key = "trees", .kind = TREES }, {} };
const dialogform tovaultform = { "tovault", "tvault > {trees};", tovaultfields };
static const field fromvaultfields[] = { { .key = "trees" }, {} };
const dialogform fromvaultform = { "fromvault", "tvault < {trees};", fromvaultfields };

// --- scores ----------------------------------------------------------------------------------------------

static const field lengthfields[] = {
    { .key = "what" },
    { .key = "soft", .text = "!" },
    { .key = "trees", .kind = TREES },
    {}
};
const dialogform lengthform = { "length", "{what} {soft} {trees};", lengthfields };

static const field branchfields[] = { { .key = "how" }, { .key = "trees", .kind = TREES }, {} };
const dialogform branchform = { "branch", "blength {how} {trees};", branchfields };

static const field charscorefields[] = {
    { .key = "soft", .text = "!" },
    { .key = "trees", .kind = TREES },
    { .key = "chars", .kind = CHARACTERS, .text = "/ %s" },
    {}
};
const dialogform charscoreform = { "charscore", "cscores {soft} {trees} {chars};", charscorefields };

static const field homoplasyfields[] = { { .key = "soft", .text = "!" }, { .key = "trees", .kind = TREES }, {} };
const dialogform homoplasyform = { "homoplasy", "chomo {soft} {trees};", homoplasyfields };

static const field fitfields[] = {
    { .key = "what" },
    { .key = "soft", .text = "!" },
    { .key = "trees", .kind = TREES },
    {}
};
const dialogform fitform = { "fit", "fit {what} {soft} {trees};", fitfields };

static double lasttree() { return trees_in_mem - 1; }
static const field referencefields[] = { { .key = "tree", .high = lasttree }, {} };
const dialogform referenceform = { "reference", "xcomp = {tree};", referencefields };

static const field comparefields[] = { { .key = "trees", .kind = TREES }, {} };
const dialogform compareform = { "compare", "xcomp {trees};", comparefields };
const dialogform comparefitsform = { "comparefits", "xcomp * {trees};", comparefields };

// --- tags ------------------------------------------------------------------------------------------------

static const field tagtreefields[] = { { .key = "tree", .high = lasttree }, {} };
const dialogform tagtreeform = { "tagtree", "ttags *{tree};", tagtreefields };

static const field svgtreefields[] = {
    { .key = "file", .kind = WRITEFILE, .files = SVGFILES },
    { .key = "step", .text = "blength %s" },
    { .key = "italics", .text = "italics" },
    {}
};
const dialogform svgtreeform = { "svgtree", "ttags &{file} {step} {italics};", svgtreefields };
