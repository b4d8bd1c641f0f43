// diagrams/ttags.cpp: the command ttags: storing, writing, showing and saving texts at the nodes of
// the tag tree.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include "data/lists.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "diagrams/colours.h"
#include "diagrams/msglines.h"
#include "diagrams/svgtree.h"
#include "diagrams/tagstore.h"
#include "diagrams/textree.h"
#include "kernel/arena.h"
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "script/vars.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"

const comhelp ttagshelp = { "Store, write, show and save texts (tags) at the nodes of a tree.", nullptr,
    "  ttags ;        show the tags\n"
    "  ttags | ;      the same, with several lines where they hold \"\\\"\n"
    "  ttags = ;      (or \"(\") store tags: commands that draw trees write their texts to the\n"
    "                 tags, instead of showing them; the first sets the target tree, later\n"
    "                 ones add to the tags of the same groups.  Tags that exist are erased\n"
    "  ttags ) ;      stop storing, keep the tags\n"
    "  ttags - ;      stop storing, clear the tags\n"
    "  ttags *N ;     tree N is the target tree, without tags; *! the last tree\n"
    "  ttags *N <X ;  the same, with the values of array X, a cell for each node, as tags\n"
    "  ttags =<X ;    the values of array X become the tags; =>X the tags become values.\n"
    "                 =<<X and =>>X with - Y N blank X for -1 -2 -3 -4 -5; with a \"[\" before\n"
    "                 X only at internal nodes.  With the scripting language on\n"
    "  ttags +N TXT ; write TXT at node N of the target tree, behind what is there\n"
    "  ttags <N ;     take away what was written last at node N; << at all terminal\n"
    "                 branches, <> at all others\n"
    "  ttags >TXT ;   title (at most 512 characters)\n"
    "  ttags : ;      show the tags as colors: 0 to 9 are red, blue, green, cyan, brown, pink,\n"
    "                 orange, purple, magenta and yellow; other codes are gray\n"
    "  ttags :N ;     the same, with the states of character N as codes\n"
    "  ttags / ;      save the tags as commands\n"
    "  ttags [ W P ;  split tags in lines at \"\\\", no wider than W (0, the default: any width);\n"
    "                 P places them: a above the branch, b below, c centred (default), d\n"
    "                 shows only the first line\n"
    "  ttags ] ;      do not split tags\n"
    "  ttags ! ;      remove empty lines from the tags\n"
    "  ttags &F OPT ; save the tree with its tags to file F, in SVG\n"
    "Options of SVG trees: blength N (pixels of a step of depth), bheight N, thickness N,\n"
    "pendwidth N (terminal branches), colors, fontsize N, tfontsize N (taxa), bfontsize N\n"
    "(tags), italics, bitalics, txtsep N, legup N, legshift N, shift N (names of taxa),\n"
    "extra X,Y, rotate, caption TXT (the last one).\n"
    "Tags are saved in tree files with \"save *\", and read with \"tread\".\n"
    "Examples:\n"
    "  ttags *0 ; ttags +16 some text ; ttags ; ttags - ;\n"
    "  macro = ; var: x[99] ; set x[16] 7 ;\n"
    "  ttags *0 <[x ; ttags ; ttags - ; macro - ;\n"
    "  naked- ; ttags = ; tplot 0 ; ttags ) ; ttags &tree.svg italics ;\n" };

namespace {
struct showing {                     // diagrams show tags, for a while
    int was = new_line_for_tags;
    explicit showing(int what, bool lines = false)
    {
        now_showing_tags = what;
        if (lines) new_line_for_tags = 1;
    }
    ~showing()
    {
        now_showing_tags = NO_TAGS;
        new_line_for_tags = was;
    }
};
}

// --- Showing ---

static void drawtags()
{
    static_assert(sizeof treetitle >= sizeof tagtitle);
    strcpy(treetitle, tagtitle);
    drawtree(txtr, nt);
    newln();
}

static void showtags(bool lines)
{
    if (!havetags()) errmsg("No messages to show", nullptr);
    showing guard(SHOW_TAGS, lines);
    drawtags();
}

static std::string nameofstate(int c, int s)
{
    const char *name = statenames && statenames[c] ? statenames[c][s] : nullptr;
    return name ? name : std::string(1, char(statesymbol(charcodes[c].type, s)));
}

// Tags that are names or symbols of states become digits, for as long as they are shown.
static void colourstates(int c)
{
    int states = std::min(maxstate, int(charcodes[c].numstates));
    for (int n = 0; n < txtrsz; ++n) {
        char *tag = txtrmsg[n];
        std::string code(tag, strcspn(tag, "/")), rest = tag + code.size();
        for (int s = 0; s < states; ++s) {
            if (code != nameofstate(c, s) && code != std::string(1, char(statesymbol(charcodes[c].type, s)))) continue;
            snprintf(tag, size_t(maxtxtsz), "%i%s", s, rest.c_str());
            break;
        }
    }
}

static void showlegend(int c)
{
    int states = std::min({ maxstate, COLOURS, int(charcodes[c].numstates) });
    for (int s = 0; s < states; ++s) myp("%s: %s", treecolours[s].name, nameofstate(c, s).c_str());
}

static void showcolours()
{
    if (!havetags()) errmsg("No messages to show", nullptr);
    int c = -1;
    if (peep() != ';') {
        long n = gtnu();
        if (n < 0) errarg(peep());
        if (!isachar(n)) errmsg("No character number", intvert(n), nullptr);
        if (charcodes[n].continuous) errmsg("Cannot name states for continuous characters", nullptr);
        c = int(n);
    }
    struct restoring {               // the tags as they were
        hiscratch scratch;
        char **kept = hirows<char>(nodz, maxtxtsz);
        restoring()  { memcpy(kept[0], txtrmsg[0], size_t(nodz) * maxtxtsz); }
        ~restoring() { memcpy(txtrmsg[0], kept[0], size_t(nodz) * maxtxtsz); }
    } tags;
    if (c >= 0) colourstates(c);
    showing guard(SHOW_COLOURS);
    drawtags();
    if (c >= 0) showlegend(c);
}

// --- Arrays of the scripting language, a cell for each node ---

static constexpr const char *signs[] = { "-", "Y", "N", " ", "X" };    // of -1, -2 ... where signs are asked for

static std::string tagofvalue(double x, bool withsigns)
{
    for (size_t i = 0; i < std::size(signs); ++i)
        if (withsigns && x == -double(i + 1)) return signs[i];
    return value_text(x);
}

static double valueoftag(int n, bool withsigns)
{
    std::string tag(txtrmsg[n], strcspn(txtrmsg[n], std::string(1, char(tag_separator)).c_str()));
    for (size_t i = 0; i < std::size(signs); ++i)
        if (withsigns && tag == signs[i]) return -double(i + 1);
    if (tag.empty()) return 0;
    char *end;
    double value = strtod(tag.c_str(), &end);
    if (*end) myerr("Tag of node %i is not a number: %s", n, tag.c_str());
    return value;
}

static int cellofnode(const arrayof &array, int n)
{
    if (array.dims && n >= array.sizes[0])
        myerr("Variable %i has only %i values (0-%i) for dimension %i", array.variable, array.sizes[0], array.sizes[0] - 1, 1);
    safevarnum(long(array.base) + n);
    return array.base + n;
}

// "<" or ">", the same sign again for signs in place of numbers, "[" for internal nodes only, and an array.
static void exchangearray()
{
    bool fills = gtnb() == '<', withsigns = gotc(fills ? '<' : '>'), internal = gotc('[');
    arrayof array = readarray();
    if (array.dims > 1) errmsg("Tags require one-dimensional arrays", nullptr);
    for (int n = internal ? nt : 0; n < txtrsz; ++n) {
        if (n != nt && !txtr[n]) continue;
        int cell = cellofnode(array, n);
        if (!fills) { set_value(cell, valueoftag(n, withsigns)); continue; }
        txtrmsg[n][0] = 0;
        addtreemsg(n, tagofvalue(value_of(cell), withsigns).c_str());
    }
}

// --- Storing ---

static void startstoring()
{
    int c = peep();
    if (c == '<' || c == '>') {
        if (!domacros || !tagtree()) myerr("Option \"=%c\" valid only when macros and tree-tags connected", c);
        return exchangearray();
    }
    nodaterror("storing tree-tags");
    if (havetags()) warnem("Existing tree-tags will be erased", nullptr);
    starttags();
}

static void stopstoring() { store_treemsg = autost = 0; }

static void wipetags()
{
    stopstoring();
    cleartags();
    tagtitle[0] = 0;
}

static void needtarget()
{
    if (!tagtree()) errmsg("Must set target tree (ttag*N ) before writing to a node", nullptr);
}

static bool wantsarray()
{
    if (peep() != '<') return false;
    if (!domacros) errmsg("This option is valid only when macros are enabled", nullptr);
    return true;
}

// A tree that is tagged already keeps its tags.
static void targettree()
{
    if (wantsarray()) {
        needtarget();
        return exchangearray();
    }
    notreeerror();
    long t = trees_in_mem - 1;
    if (!gotc('!')) {
        t = gtnu();
        if (t < 0) errarg(peep());
        if (!isatree(t)) numtreeerror(t);
    }
    bool fromarray = wantsarray();
    if (!tagtree() || !equal_tree(mem_tree[t], txtr)) {
        if (havetags()) warnem("Existing tree-tags will be erased", nullptr);
        settarget(mem_tree[t]);
    }
    autost = 0;
    if (fromarray) exchangearray();
}

// --- Writing ---

// A text up to the semicolon, without the blanks around it.
static std::string readtext()
{
    commasaretext guard;
    std::string text;
    int c;
    while ((c = gtch()) != ';') {
        if (end_of_file()) check_eof();
        if (c == '\r' || c == '\n' || c == '\t') c = ' ';
        if (c == ' ' && text.empty()) continue;
        text += char(c);
    }
    ungtch();
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

static int readnode()
{
    long n = gtnu();
    if (n < 0) errarg(peep());
    if (n >= txtr[nt] || (n != nt && !txtr[n])) errmsg("No node", intvert(n), "in tagged tree", nullptr);
    return int(n);
}

static void writetonode()
{
    needtarget();
    int node = readnode();
    std::string text = readtext();
    if (!text.empty()) addtreemsg(node, text.c_str());
}

static void reduce()
{
    if (!havetags()) errmsg("No messages to show", nullptr);
    int c = peep();
    if (c == '<' || c == '>') {
        gtnb();
        for (int n = 0; n < txtrsz; ++n)
            if ((n < nt) == (c == '<')) reducetag(n);
        return;
    }
    do reducetag(readnode());
    while (peep() != ';');
}

static void readtitle()
{
    std::string text = readtext();
    if (text.size() >= sizeof tagtitle) errmsg("Title for tree-tags too long (max. 512 chars.)", nullptr);
    strcpy(tagtitle, text.c_str());
}

// --- Saving ---

// The tags as commands.  A semicolon in a tag would end its command.
static void savereadable()
{
    if (!havetags()) errmsg("No messages to save!", nullptr);
    std::string text = "tread\n'Tree with tags'\n";
    savetree(txtr, nt, &text);
    text += ";\nttag -;\nttag *!;\n";
    for (int n = 0; n < txtrsz; ++n) {
        if (!txtrmsg[n][0]) continue;
        std::string tag = txtrmsg[n];
        std::replace(tag.begin(), tag.end(), ';', ',');
        text += "ttag +" + std::to_string(n) + " " + tag + ";\n";
    }
    text += "ttag *!;\n";
    spewlong(text.data(), long(text.size()));
}

// --- Lines ---

static void splitlines()
{
    for (int c; (c = peep()) != ';';) {
        if (isdigit(c)) {
            max_multline_tag_width = int(std::min(gtnu(), 10000L));
            continue;
        }
        switch (c) {
            case 'a': multitag_position = TAGS_ABOVE; break;
            case 'b': multitag_position = TAGS_BELOW; break;
            case 'c': multitag_position = TAGS_CENTRED; break;
            case 'd': multitag_position = TAGS_DISREGARDED; break;
            default:  errarg(c);
        }
        gtnb();
    }
    new_line_for_tags = 1;
}

static void removeempty()
{
    if (!havetags()) errmsg("No messages to show", nullptr);
    eliminate_empty_lines();
    spewem("Eliminated empty lines in tags", nullptr);
}

// --- The command ---

static void show()      { showtags(false); }
static void showlines() { showtags(true); }
static void dontsplit() { new_line_for_tags = 0; }

static constexpr struct { char sign; void (*run)(); } forms[] = {
    { '|', showlines },    { '=', startstoring },  { '(', startstoring }, { ')', stopstoring },
    { '-', wipetags },     { ':', showcolours },   { '+', writetonode },  { '>', readtitle },
    { '<', reduce },       { '*', targettree },    { '/', savereadable }, { '[', splitlines },
    { ']', dontsplit },    { '!', removeempty },   { '&', save_tags_as_svg }
};

void showmultvaltree()
{
    int c = peep();
    if (c == ';') return show();
    for (const auto &form : forms)
        if (c == form.sign) {
            gtnb();
            return form.run();
        }
    errarg(c);
}
