// Taxa, characters, groups, constraints.
#include "gui/dialogs/forms.h"
#include "data/matrix.h"

static constexpr choicerow activity[] = { { "inactive", "-" }, { "active", "+" }, {} };
static const field taxafields[] = {
    { .kind = CHOICE, .key = "how", .label = "_Make", .choices = activity },
    { .kind = TAXA, .key = "taxa", .label = "_Taxa", .needed = true },
    {}
};
const dialogform taxaform = { "taxa", "Active taxa", "taxcode {how} {taxa};", taxafields };

static const field outgroupfields[] = { { .kind = TAXON, .key = "taxon", .label = "_Outgroup", .needed = true }, {} };
const dialogform outgroupform = { "outgroup", "Outgroup", "outgroup {taxon};", outgroupfields,
    "Trees are rooted on this taxon." };

static const field renamefields[] = {
    { .kind = TAXON, .key = "taxon", .label = "_Taxon", .needed = true },
    { .kind = TEXT, .key = "name", .label = "New _name", .needed = true },
    {}
};
const dialogform renametaxonform = { "renametaxon", "Rename taxon", "taxname / {taxon} {name};", renamefields };

static const field taxongroupfields[] = {
    { .kind = NUMBER, .key = "n", .label = "_Group", .high = 31 },
    { .kind = TEXT, .key = "name", .label = "_Name", .text = "(%s)" },
    { .kind = TAXA, .key = "taxa", .label = "_Taxa", .needed = true },
    {}
};
const dialogform taxongroupform = { "taxongroup", "Group of taxa", "agroup ={n} {name} {taxa};", taxongroupfields };

static constexpr choicerow codes[] = {
    { "additive", "+" }, { "non-additive", "-" }, { "active", "[" }, { "inactive", "]" }, { "Sankoff", "(" },
    { "not Sankoff", ")" }, { "of weight", "/" }, { "with additional steps", "=" }, {}
};
static const field charactersfields[] = {
    { .kind = CHOICE, .key = "code", .label = "_Make", .choices = codes },
    { .kind = NUMBER, .key = "weight", .label = "_Weight", .high = 1000, .first = 1, .only = "code=6" },
    { .kind = NUMBER, .key = "steps", .label = "_Steps", .high = 100, .only = "code=7" },
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters", .needed = true },
    {}
};
const dialogform charactersform = { "characters", "Character settings", "ccode {code}{weight}{steps} {chars};", charactersfields };

static const field chargroupfields[] = {
    { .kind = NUMBER, .key = "n", .label = "_Group", .high = 31 },
    { .kind = TEXT, .key = "name", .label = "_Name", .text = "(%s)" },
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters", .needed = true },
    {}
};
const dialogform chargroupform = { "chargroup", "Group of characters", "xgroup ={n} {name} {chars};", chargroupfields };

static constexpr choicerow minmaxkinds[] = { { "minimum and maximum", "" }, { "both in one table", "*" }, { "minimum", "<" }, { "maximum", ">" }, {} };
static const field minmaxfields[] = {
    { .kind = CHOICE, .key = "kind", .label = "_Show", .choices = minmaxkinds },
    { .kind = CHECK, .key = "active", .label = "Counting _active taxa only", .text = "-" },
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters (none: all)" },
    {}
};
const dialogform minmaxform = { "minmax", "Minimum and maximum steps", "minmax {active} {kind} {chars};", minmaxfields };

static const field editcellfields[] = {
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters", .text = "[%s]", .needed = true },
    { .kind = TAXA, .key = "taxa", .label = "_Taxa", .text = "[%s]", .needed = true },
    { .kind = TEXT, .key = "state", .label = "_State", .needed = true },
    {}
};
const dialogform editcellform = { "editcell", "Edit cells", "xread = {chars} {taxa} {state};", editcellfields,
    "Several states stand in brackets; ? is missing." };

static const field blocksfields[] = { { .kind = TEXT, .key = "blocks", .label = "_Blocks (0: all)", .needed = true }, {} };
const dialogform blocksform = { "blocks", "Active blocks", "blocks = {blocks};", blocksfields,
    "Characters of other blocks become inactive." };

static constexpr choicerow forcekinds[] = { { "must be a group", "+" }, { "must not be a group", "-" }, {} };
static const field constraintfields[] = {
    { .kind = TAXA, .key = "taxa", .label = "_Taxa", .needed = true },
    { .kind = CHOICE, .key = "kind", .label = "_They", .choices = forcekinds },
    { .kind = TAXA, .key = "floating", .label = "_Floating taxa", .text = "(%s)" },
    {}
};
const dialogform constraintform = { "constraint", "Define constraint", "force {kind} [ {taxa} {floating} ];", constraintfields,
    "Replaces the constraints there are.  Floating taxa may be in the group or out." };

static constexpr choicerow generated[] = { { "the same on all branches", "<" }, { "between 0 and twice as large", ">" }, { "exponential", "&" }, {} };
static const field fillfields[] = {
    { .kind = TREES, .key = "tree", .label = "Along _tree", .needed = true },
    { .kind = CHOICE, .key = "how", .label = "_Chance of change", .choices = generated },
    { .kind = NUMBER, .key = "keep", .label = "_Keeping the state (%)", .high = 100, .first = 90 },
    { .kind = CHARACTERS, .key = "chars", .label = "_Characters (none: all)" },
    {}
};
const dialogform fillform = { "fill", "Generate characters", "xread {how} {tree} {keep} {chars};", fillfields,
    "Characters are made anew, each branch of a tree keeping the state with the probability given." };
