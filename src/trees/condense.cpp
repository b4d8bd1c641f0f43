// The commands collapse and condense.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"

void (*mark_constnodz_to_keep)(const int *tree, int *marks);

// --- collapse ---

static const char *const ruledescription[] = {
    "Not collapsing unsupported branches",
    "Collapsing branches with no possible support (\"rule 3\")",
    "Collapsing branches when sets of ancestor and descendant are identical",
    "Collapsing branches if supported ambiguously (\"rule 1\")",
    "Collapsing branches under \"rule 4\"",
    "Collapsing trees with SPR",
    "Collapsing trees with TBR",
};

static void reportcollapse()
{
    spewem(ruledescription[current_collapsing_rule()], nullptr);
    joinem(collapse_consensuses ? "C" : "Not c", "ollapsing trees temporarily for consensus calculation\n", nullptr);
    spewem("Auto-collapse searches is", autocollapse_searches ? "ON" : "OFF", nullptr);
}

static void numberedrule()
{
    long n = gtnu();
    if (n == 1) set_collapsing_rule(COLL_RULE1);
    else if (n == 3) set_collapsing_rule(COLL_RULE3);
    else if (n == 4) set_collapsing_rule(COLL_RULE4);
    else myerr("Only rules for collapsing are rule 1, rule 3, and rule 4");
}

struct collapseword { const char *word; void (*act)(); };

static const collapseword collapsewords[] = {
    { "none",           [] { set_collapsing_rule(COLL_NONE); } },
    { "rule",           numberedrule },
    { "amb",            [] { set_collapsing_rule(COLL_AMBIGUOUS); } },
    { "spr",            [] { set_collapsing_rule(COLL_SPR); } },
    { "tbr",            [] { set_collapsing_rule(COLL_TBR); } },
    { "auto",           [] { autocollapse_searches = 1; } },
    { "noauto",         [] { autocollapse_searches = 0; } },
    { "tempcollapse",   [] { collapse_consensuses = 1; } },
    { "notempcollapse", [] { collapse_consensuses = 0; } },
};

static void collapsebyword()
{
    for (int c; isalpha(c = peep()); ) {      // letters only: "rule1" is "rule 1"
        char word[32];
        size_t n = 0;
        for (c = gtnb(); isalpha(c) && n + 1 < sizeof word; c = gtch()) word[n++] = char(c);
        ungtch();
        word[n] = 0;
        const collapseword *w = std::find_if(std::begin(collapsewords), std::end(collapsewords),
                                             [&](const collapseword &x) { return !brevcomp(word, x.word); });
        if (w == std::end(collapsewords)) errmsg("Unidentified string in collapse options:", word, nullptr);
        w->act();
    }
}

void collapsecom()
{
    notime();
    for (int c; (c = peep()) != ';'; ) {
        if (isalpha(c)) { collapsebyword(); continue; }
        if (isdigit(c)) {
            long n = gtnu();
            if (n >= COLLAPSERULES) myerr("Only rules for collapsing are rule 1, rule 3, and rule 4");
            set_collapsing_rule(int(n));
            continue;
        }
        gtnb();
        switch (c) {
            case '+': collapse_consensuses = 1; break;
            case '-': collapse_consensuses = 0; break;
            case '[': autocollapse_searches = 1; break;
            case ']': autocollapse_searches = 0; break;
            default: errarg(c);
        }
    }
    reportcollapse();
}

// --- Condensing by the rule ---

// The tree without some taxa; from[n] is the node of the tree that node n of the copy was.  Node
// numbers of the copy are not canonical.  False when fewer than three taxa would stay.
static bool prunedcopy(const int *tree, const uint8_t *excluded, int *copy, int *from, int *count)
{
    int taxa = 0, internals = mkoptlist(nodlist, tree), *newnumber = lo<int>(nodz);
    for (int t = 0; t < nt; ++t) taxa += count[t] = isinthetree(tree, t) && !excluded[t];
    if (taxa < 3) return false;
    for (int i = internals - 1; i >= 0; --i) {
        int n = nodlist[i];
        count[n] = 0;
        for (int d = lef[n]; d >= 0; d = sis[d]) count[n] += count[d] > 0;
    }
    std::fill(copy, copy + nodz, 0);
    int next = nt;
    for (int i = 0; i < internals; ++i)       // each before its descendants, so the first fork is the root
        if (count[nodlist[i]] > 1) {
            newnumber[nodlist[i]] = next;
            from[next++] = nodlist[i];
        }
    for (int n = 0; n < tree[nt]; ++n) {
        bool kept = n < nt ? count[n] > 0 : count[n] > 1;
        if (!kept) continue;
        int at = n < nt ? n : newnumber[n], up = n;
        if (at == nt) continue;
        do up = tree[up]; while (count[up] < 2);
        copy[at] = newnumber[up];
    }
    copy[nt] = next;
    return true;
}

// Branches unsupported without some taxa: those that are one branch of the pruned tree stand or fall together.
static void markpruned(const int *tree, const uint8_t *excluded, int *marks)
{
    char *here = lomark();
    int *copy = lo<int>(nodz), *from = lo<int>(nodz), *count = zlo<int>(nodz), *copymarks = zlo<int>(nodz);
    std::fill(marks, marks + nodz, 0);
    if (prunedcopy(tree, excluded, copy, from, count)) {
        mark_unsupported(copy, copymarks);
        for (int n = nt + 1; n < copy[nt]; ++n) {
            if (!copymarks[n]) continue;
            int at = from[n];
            do {
                marks[at] = 1;
                at = tree[at];
            } while (at != nt && count[at] < 2);
        }
    }
    loset(here);
}

// Pruned trees cannot be swapped: the rules that swap leave taxa out of account themselves.
static void markwithout(const int *tree, const uint8_t *excluded, int *marks)
{
    if (!is_swap_rule(current_collapsing_rule())) return markpruned(tree, excluded, marks);
    mark_supported(tree, marks, excluded);
    for (int n = nt; n < tree[nt]; ++n) marks[n] = !marks[n];
}

// Where the trees of a tree under rule 4 go: the first takes its place, the others go behind all.
static int srctree;                  // the place of the tree being expanded; -1 once it is taken

static bool keepexpanded(const int *tree)
{
    if (find_equal_tree(tree, trees_in_mem) >= 0) return true;
    if (srctree >= 0) {
        std::memcpy(mem_tree[srctree], tree, size_t(nodz) * sizeof(int));
        srctree = -1;
        return true;
    }
    if (trees_in_mem >= maxtrees) errmsg("Tree buffer is full -", intvert(trees_in_mem), "trees in memory", nullptr);
    stortree(tree);
    return true;
}

// Where there is no room for all, or no time, those that were first.
static bool keepwhatfits(const int *tree)
{
    if (srctree < 0 && userstop) return false;
    if (srctree < 0 && trees_in_mem >= maxtrees) return find_equal_tree(tree, trees_in_mem) >= 0;
    return keepexpanded(tree);
}

// False when all its trees are in memory at other places.  changed: it did not stay as it is, alone.
static bool expandtree(int t, bool (*keeptree)(const int *tree), bool *changed)
{
    char *here = lomark();
    int *original = lo<int>(nodz), had = trees_in_mem;
    std::memcpy(original, mem_tree[t], size_t(nodz) * sizeof(int));
    mem_tree[t][nt] = -mem_tree[t][nt];           // equals no tree while it is being replaced
    struct putback { int *count; ~putback() { if (*count < 0) *count = -*count; } } guard{ &mem_tree[t][nt] };
    srctree = t;
    expand_by_rule_4(original, keeptree);
    bool placed = srctree < 0;
    *changed = !placed || trees_in_mem > had || !std::equal(original, original + original[nt], mem_tree[t]);
    loset(here);
    return placed;
}

static int expandtrees(const uint8_t *list, int before, bool (*keeptree)(const int *tree))
{
    int done = 0, condensed = 0, todo = countlist(list, before);
    uint8_t *keep = zlo<uint8_t>(maxtrees);
    std::fill(keep, keep + maxtrees, LISTED);
    for (int t = before - 1; t >= 0; --t) {
        if (list[t] != LISTED) continue;
        dildit(done++, todo, "Condensing");
        if (userstop) break;
        bool changed;
        if (!expandtree(t, keeptree, &changed)) keep[t] = 0;
        condensed += changed;
    }
    effect_tree_choice(keep);
    return condensed;
}

static int condensetrees(const uint8_t *list, const uint8_t *excluded, int keep_constrained)
{
    int changed = 0, done = 0, todo = countlist(list, trees_in_mem), *marks = lo<int>(nodz);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        dildit(done++, todo, "Condensing");
        int *tree = mem_tree[t], nodes = tree[nt];
        if (excluded) markwithout(tree, excluded, marks);
        else mark_unsupported(tree, marks);
        if (keep_constrained && mark_constnodz_to_keep) mark_constnodz_to_keep(tree, marks);
        delnodz(tree, marks);
        changed += tree[nt] != nodes;
    }
    return changed;
}

static int countdistinct()
{
    int n = 0, *first = lo<int>(trees_in_mem);
    first_equal_trees(first);
    for (int t = 0; t < trees_in_mem; ++t) n += first[t] == t;
    return n;
}

static void droprepeated()
{
    int *first = lo<int>(trees_in_mem);
    uint8_t *keep = lo<uint8_t>(trees_in_mem);
    first_equal_trees(first);
    for (int t = 0; t < trees_in_mem; ++t) keep[t] = first[t] == t ? LISTED : 0;
    effect_tree_choice(keep);
}

// The expansive rule knows no constraints: under them the trees stay as they are.
void condense_found_trees()
{
    char *here = lomark();
    uint8_t *all = lo<uint8_t>(maxtrees);
    std::fill(all, all + maxtrees, LISTED);
    if (current_collapsing_rule() != COLL_RULE4) {
        condensetrees(all, nullptr, consttag != 0);
        droprepeated();
    } else if (!consttag) expandtrees(all, trees_in_mem, keepwhatfits);
    loset(here);
}

void condensation(int keep_constrained)
{
    int rule = current_collapsing_rule();
    prepare_collapsing();
    const uint8_t *list = treelist();
    uint8_t *excluded = nullptr;
    if (gotc('/')) {
        excluded = zlo<uint8_t>(nt);
        if (!read_scope(excluded, 0, nt, "taxon", taxname)) excluded = nullptr;
        for (int t = 0; excluded && t < nt; ++t) excluded[t] = excluded[t] == LISTED;
    }
    int before = trees_in_mem, distinct = countdistinct(), condensed = 0;
    if (rule == COLL_RULE4 && !doautowt) {
        if (excluded)
            myerr("Cannot condense excluding taxa under rule 4\n(But condensing first and then pruning is equivalent!)");
        if (keep_constrained) myerr("Sorry, cannot use expansive rule 4 together with constraints");
        condensed = expandtrees(list, before, keepexpanded);
    }
    else if (rule) condensed = condensetrees(list, excluded, keep_constrained);
    if (keep_constrained) spewem("Note: retained all constrained groups (even if unsupported)", nullptr);
    if (report_status) erdil();
    tojoin(intvert(condensed));
    tojoin(" trees condensed ");
    int now = countdistinct();
    if (now < distinct || trees_in_mem != before) {
        tojoin("- producing ");
        tojoin(intvert(now));
        tojoin(" trees ");
    }
    spewout();
    if (condensed) recalctree = 1;
    if (is_swap_rule(rule)) wipetag(&schtag);
}

// --- Condensing by hand ---

static void condensenodes()
{
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (t >= trees_in_mem) errmsg("Tree", intvert(t), nullptr);
    int *tree = mem_tree[t], *marks = zlo<int>(nodz);
    uint8_t *nodes = zlo<uint8_t>(nodz);
    if (!read_scope(nodes, nt + 1, tree[nt], "node", nullptr)) myerr("Must specify a set of nodes to condense");
    for (int n = nt + 1; n < tree[nt]; ++n) marks[n] = nodes[n] == LISTED;
    delnodz(tree, marks);
    recalctree = 1;
}

// The number that a tag begins with; false when there is none.
static bool tagnumber(const char *tag, double *value)
{
    char *end;
    *value = strtod(tag, &end);
    return end != tag;
}

// Deletes the marked nodes; carried: per node, the old one it was, plus 1.
static void delnodz_from_tag(int *tree, const int *marks, int *carried)
{
    int next = nt + 1, *newnumber = zlo<int>(nodz), nodes = tree[nt], *old = lo<int>(nodz);
    std::memcpy(old, tree, size_t(nodz) * sizeof(int));
    newnumber[nt] = nt;
    for (int n = nt + 1; n < nodes; ++n)
        if (!marks[n]) newnumber[n] = next++;
    std::fill(tree, tree + nodz, 0);
    for (int n = 0; n < nodes; ++n) {
        bool stays = n < nt ? isinthetree(old, n) : !marks[n];
        if (!stays) continue;
        int at = n < nt ? n : newnumber[n];
        carried[at] = n + 1;
        if (n == nt) continue;
        int up = old[n];
        while (up != nt && marks[up]) up = old[up];
        tree[at] = newnumber[up];
    }
    tree[nt] = next;
    reset_nodz(tree, carried);
}

static void condensetags()
{
    if (!txtdatin) myerr("No tag-tree");
    int *marks = zlo<int>(nodz), chosen = 0, skipped = 0, c = gtnb();
    if (c == '=') {
        char label[512];
        size_t n = 0;
        for (c = gtnb(); c != ';' && n + 1 < sizeof label; c = gtch()) label[n++] = char(c);
        ungtch();
        while (n && isspace(static_cast<unsigned char>(label[n - 1]))) --n;
        label[n] = 0;
        for (int i = nt + 1; i < txtr[nt]; ++i) chosen += marks[i] = !strcmp(txtrmsg[i], label);
        joinem("Condensing all nodes labeled \"", label, "\"\n", nullptr);
    }
    else if (c == '<' || c == '>') {
        bool minus = gotc('-');
        double limit = gtdouble(), value;
        if (minus) limit = -limit;
        for (int i = nt + 1; i < txtr[nt]; ++i) {
            if (!tagnumber(txtrmsg[i], &value)) { ++skipped; continue; }
            chosen += marks[i] = c == '<' ? value < limit : value > limit;
        }
        myp("Condensing %i nodes with tag %s than %f", chosen, c == '<' ? "less" : "larger", limit);
        if (skipped) myp("\nNote: skipped %i groups without numerical tag", skipped);
    }
    else errarg(c);
    int *tree = lo<int>(nodz), *carried = zlo<int>(nodz);
    std::memcpy(tree, txtr, size_t(nodz) * sizeof(int));
    delnodz_from_tag(tree, marks, carried);
    movetags(tree, carried);
}

void user_condense_a_tree()
{
    if (gotc('*')) condensetags();
    else condensenodes();
}

void condensecom()
{
    if (gotc('*')) return condensetags();
    if (peep() == '/') {
        gtnb();
        if (peep() != '*') notreeerror();
        return user_condense_a_tree();
    }
    notreeerror();
    bool constrained = gotc('[');
    if (constrained && !consttag) myerr("No constraints defined");
    condensation(constrained);
}

void qcollapsecom()
{
    notime();
    onoff(&quick_collapse, "Quick collapse");
}

const comhelp qcollapsehelp = {
    "Skip moves within collapsed groups.", nullptr,
    "  qcollapse = ;   searches that keep many trees do not try moves within a group that is\n"
    "                  collapsed (default): these give the same tree\n"
    "  qcollapse - ;   they try all moves; \"qcollapse / ;\" changes from one to the other\n"
    "Examples:\n"
    "  qcollapse - ; bbreak ; qcollapse = ;\n"
};

const comhelp collapsehelp = {
    "Rule by which unsupported branches are collapsed.", nullptr,
    "  collapse ;        show the settings\n"
    "  collapse none ;   (or 0) no branch is collapsed\n"
    "  collapse rule 3 ; (or 1) collapse branches that no reconstruction supports\n"
    "  collapse amb ;    (or 2) collapse branches with the same final states at both ends\n"
    "  collapse rule 1 ; (or 3) collapse branches that some reconstruction leaves without\n"
    "                    changes; trees may become longer (default)\n"
    "  collapse rule 4 ; (or 4) as rule 1, but only as far as trees do not become longer;\n"
    "                    several trees may come from one\n"
    "  collapse spr ;    (or 5) collapse branches that an SPR rearrangement breaks without\n"
    "                    making the tree worse (or worse by no more than \"subopt\")\n"
    "  collapse tbr ;    (or 6) the same with TBR\n"
    "  collapse [ ;      (or \"auto\") trees are condensed after each search; \"]\" (\"noauto\")\n"
    "                    not so (default)\n"
    "  collapse + ;      (or \"tempcollapse\") trees are collapsed temporarily when consensus\n"
    "                    trees are made (default); \"-\" (\"notempcollapse\") not so\n"
    "Examples:\n"
    "  collapse rule 3 ; nelsen ;\n"
    "  collapse rule 1 ;\n"
};

const comhelp condensehelp = {
    "Collapse unsupported branches of trees.", nullptr,
    "  condense L ;        condense the trees in list L (default all) by the rule in force\n"
    "                      (see \"collapse\")\n"
    "  condense L / T ;    as if taxa T were not there (\".\" for all trees)\n"
    "  condense [ L ;      groups that the constraints demand are kept\n"
    "  condense /N L ;     delete nodes L of tree N\n"
    "  condense * =X ;     delete the nodes of the tag tree with tag X; \"* <N\" those with a\n"
    "                      number below N, \"* >N\" above (see \"ttags\")\n"
    "Examples:\n"
    "  condense ;\n"
};
