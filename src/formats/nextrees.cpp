// Trees: the block of Nexus files, and files of Newick trees.
#include "formats/foreigntree.h"
#include "formats/nexus.h"
#include "trees/treebuf.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"

// --- Nexus ---

// Pairs of a label and a name, with commas between.
static void read_transtable(taxonfinder *taxa)
{
    tokens all = restofcommand();
    for (size_t i = 0; i < all.size(); ++i) {
        if (!all[i].isname()) nexuserror("expected taxon name in translation table");
        const std::string &label = all[i].text;
        std::string name;
        for (++i; i < all.size() && !all[i].is(','); ++i) name += all[i].text;     // signs may stand in a name
        if (name.empty()) nexuserror("expected taxon name in translation table");
        int t = taxa->byname(name);
        long n;
        if (t < 0 && wholenumber(name, &n) && n >= 1 && n <= nt) t = int(n) - 1;
        if (t < 0) nexuserror("unrecognized name in translation table (%s)", name.c_str());
        taxa->translated[label] = t;
    }
}

// The name of a tree, through the sign before the tree itself.
static std::string treename()
{
    std::string name;
    for (token t = nexus_token(); !t.is('='); t = nexus_token()) {
        if (t.kind == TK_END) cutshort("a tree");
        if (t.is(';') || t.is('(')) nexuserror("expected '=' after %s", name.empty() ? "tree" : name.c_str());
        if (t.isname()) name = t.text;
    }
    return name;
}

static void read_single_tree(treesink *sink, const taxonfinder &taxa, std::string *taggedtree)
{
    std::string name = treename();
    bool more, tagged = false;
    keep_foreign_tree(sink, taxa, &more, &tagged);
    if (!more) cutshort("a tree");
    if (tagged) *taggedtree = name;
}

static void reporttrees(const treesink &sink, const std::string &taggedtree)
{
    endsink(&sink);
    myp("Read %i trees (%i-%i) from NEXUS file", sink.read, sink.first, sink.first + std::max(sink.read - 1, 0));
    if (!taggedtree.empty()) myp("Tree-tags from %s", taggedtree.c_str());
}

void read_nexus_trees()
{
    nodaterror("reading trees");
    taxonfinder taxa;
    treesink sink;
    sink.name = filepart(giveme_curproc_name());
    std::string command, taggedtree;
    while (nextcommand("trees", &command)) {
        if (command == "translate") read_transtable(&taxa);
        else if (command == "tree" || command == "utree") read_single_tree(&sink, taxa, &taggedtree);
        else skipcommand();
        sinkprogress(&sink);
        if (have_some_intrupt()) break;
    }
    reporttrees(sink, taggedtree);
}

// --- Newick ---

void read_newick_trees()
{
    taxonfinder taxa;
    treesink sink;
    sink.name = filepart(giveme_curproc_name());
    bool more = true, tagged = false;
    while (more && !have_some_intrupt()) {
        keep_foreign_tree(&sink, taxa, &more, &tagged);
        sinkprogress(&sink);
    }
    endsink(&sink);
    joinem("Read ", intvert(sink.read), sink.read == 1 ? " tree" : " trees", " from Newick tree-file", nullptr);
    if (sink.read) joinem(" (", sink.read == 1 ? "tree " : "trees ", intvert(sink.first), nullptr);
    if (sink.read > 1) joinem("-", intvert(sink.first + sink.read - 1), nullptr);
    if (sink.read) joinem(")", nullptr);
    if (tagged) joinem(" (stored tree-tags as well)", nullptr);
    joinem("\n", nullptr);
    closeproc();
}
