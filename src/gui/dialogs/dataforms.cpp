// Taxa, characters, groups, constraints.
#include "gui/dialogs/forms.h"
#include "data/matrix.h"

static const field taxafields[] = {
    { .key = "how" },
    { .key = "taxa", .kind = TAXA, .needed = true },
    {}
};
const dialogform taxaform = { "taxa", "taxcode {how} {taxa};", taxafields };

static const field outgroupfields[] = { { .key = "taxon", .kind = TAXON, .needed = true }, {} };
const dialogform outgroupform = { "outgroup", "outgroup {taxon};", outgroupfields };

static const field renamefields[] = {
    { .key = "taxon", .kind = TAXON, .needed = true },
    { .key = "name", .needed = true },
    {}
};
const dialogform renametaxonform = { "renametaxon", "taxname / {taxon} {name};", renamefields };

static const field taxongroupfields[] = {
    { .key = "n" },
    { .key = "name", .text = "(%s)" },
    { .key = "taxa", .kind = TAXA, .needed = true },
    {}
};
const dialogform taxongroupform = { "taxongroup", "agroup ={n} {name} {taxa};", taxongroupfields };

static const field charactersfields[] = {
    { .key = "code" },
    { .key = "weight", .only = "code=/" },
    { .key = "steps", .only = "code==" },
    { .key = "chars", .kind = CHARACTERS, .needed = true },
    {}
};
const dialogform charactersform = { "characters", "ccode {code}{weight}{steps} {chars};", charactersfields };

static const field ancestralfields[] = { { .key = "how" }, { .key = "chars", .kind = CHARACTERS, .needed = true }, {} };
const dialogform ancestralform = { "ancestral", "ancstates {how} {chars};", ancestralfields };

static const field chargroupfields[] = {
    { .key = "n" },
    { .key = "name", .text = "(%s)" },
    { .key = "chars", .kind = CHARACTERS, .needed = true },
    {}
};
const dialogform chargroupform = { "chargroup", "xgroup ={n} {name} {chars};", chargroupfields };

static const field minmaxfields[] = {
    { .key = "kind" },
    { .key = "active", .text = "-" },
    { .key = "chars", .kind = CHARACTERS },
    {}
};
const dialogform minmaxform = { "minmax", "minmax {active} {kind} {chars};", minmaxfields };

static const field editcellfields[] = {
    { .key = "chars", .kind = CHARACTERS, .text = "[%s]", .needed = true },
    { .key = "taxa", .kind = TAXA, .text = "[%s]", .needed = true },
    { .key = "state", .needed = true },
    {}
};
const dialogform editcellform = { "editcell", "xread = {chars} {taxa} {state};", editcellfields };

static const field blocksfields[] = { { .key = "blocks", .needed = true }, {} };
const dialogform blocksform = { "blocks", "blocks = {blocks};", blocksfields };

static const field constraintfields[] = {
    { .key = "taxa", .kind = TAXA, .needed = true },
    { .key = "kind" },
    { .key = "floating", .kind = TAXA, .text = "(%s)" },
    {}
};
const dialogform constraintform = { "constraint", "force {kind} [ {taxa} {floating} ];", constraintfields };

static const field fillfields[] = {
    { .key = "tree", .kind = TREES, .needed = true },
    { .key = "how" },
    { .key = "keep" },
    { .key = "chars", .kind = CHARACTERS },
    {}
};
const dialogform fillform = { "fill", "xread {how} {tree} {keep} {chars};", fillfields };
