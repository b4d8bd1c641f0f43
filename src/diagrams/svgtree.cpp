#include "diagrams/svgtree.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include "data/matrix.h"
#include "diagrams/colours.h"
#include "diagrams/msglines.h"
#include "diagrams/tagstore.h"
#include "diagrams/textree.h"
#include "kernel/arena.h"
#include "kernel/commas.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include "trees/safefile.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"

int svgmargin[MARGINS] = { 20, 20, 20, 20 };

static constexpr svgformat standard = { 0, 0, 2, 0, 12, 10, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0 };

constexpr int GAP = 4;               // pixels between a line and a text, and around texts

static int textpixels(const char *text, size_t n, int fontsize) { return textwidth(text, n) * fontsize * 7 / 10; }

namespace {
struct picture {
    const int *tree;
    int start, walked;
    const svgformat *f;
    int *x, *y2;                     // per node: pixels, and half pixels
    FILE *to;
};
}

// What is written at a branch: what stands at the node, less the code of its colour.
static std::string branchtext(const picture &p, int n)
{
    const char *text = donodmsg(n);
    return p.f->colors ? where_is_the_slash(text) : text;
}

static int textlines(const std::string &text)
{
    return new_line_for_tags ? height_of_msg(text.c_str()) : !text.empty();
}

static int branchpixels(const picture &p, int n)
{
    std::string text = branchtext(p, n);
    int columns = new_line_for_tags ? max_msg_len(text.c_str()) : textwidth(text.c_str(), text.size());
    return columns * p.f->bfontsize * 7 / 10;
}

static treecolour branchcolour(const picture &p, int n) { return colourof(p.f->colors ? donodmsg(n) : ""); }

// Columns by depth, or from the tips; lines by terminals.
static void layout(picture *p, int stepx, int stepy)
{
    const int *walk = drawat;
    int *height = doat, tallest = 0, terminals = 0;
    for (int i = 0; i < p->walked; ++i) height[walk[i]] = 0;
    for (int i = p->walked - 1; i > 0; --i)
        height[p->tree[walk[i]]] = std::max(height[p->tree[walk[i]]], height[walk[i]] + 1);
    tallest = height[walk[0]];
    for (int i = 0; i < p->walked; ++i) {
        int n = walk[i], length = branchcolour(*p, n).length;
        int before = n == p->start ? svgmargin[MARGINLEFT] : p->x[p->tree[n]];
        if (n == p->start) p->x[n] = before + (n == nt ? 0 : stepx);
        else if (dotruesymtrees) p->x[n] = p->x[p->start] + (tallest - height[n]) * stepx;
        else p->x[n] = before + (length ? length : stepx);
        if (lef[n] < 0) p->y2[n] = 2 * (svgmargin[MARGINTOP] + terminals++ * stepy + stepy / 2);
    }
    for (int i = p->walked - 1; i >= 0; --i)
        if (int n = walk[i]; lef[n] >= 0) p->y2[n] = (p->y2[lef[n]] + p->y2[rig[n]]) / 2;
}

static void svgline(const picture &p, int n, int x1, int y1, int x2, int y2)
{
    treecolour c = branchcolour(p, n);
    int width = c.thickness ? c.thickness : lef[n] < 0 && p.f->pendwidth ? p.f->pendwidth : 0;
    fprintf(p.to, "<line x1=\"%i\" y1=\"%i\" x2=\"%i\" y2=\"%i\" ", x1, y1, x2, y2);
    if (p.f->colors) fprintf(p.to, "stroke=\"rgb(%i,%i,%i)\" ", c.red, c.green, c.blue);
    if (width) fprintf(p.to, "stroke-width=\"%i\" ", width);
    if (c.dashed) fputs("style=\"stroke-dasharray:5 3\" ", p.to);
    fputs("/>\n", p.to);
}

static void escaped(const char *text, size_t n, FILE *to)
{
    std::string xml;
    for (size_t i = 0; i < n; ++i)
        switch (text[i]) {
            case '&': xml += "&amp;"; break;
            case '<': xml += "&lt;"; break;
            case '>': xml += "&gt;"; break;
            default:  xml += static_cast<unsigned char>(text[i]) < ' ' ? ' ' : text[i];
        }
    utf8out(xml.data(), xml.size(), to);
}

static void svg_write_text(const picture &p, int x, int y, const char *text, size_t n)
{
    fprintf(p.to, "<text x=\"%i\" y=\"%i\" stroke-width=\"0\">", x, y);
    escaped(text, n, p.to);
    fputs("</text>\n", p.to);
}

static void branches(const picture &p)
{
    for (int i = 0; i < p.walked; ++i) {
        int n = drawat[i], y = p.y2[n] / 2;
        int from = n == p.start ? svgmargin[MARGINLEFT] : p.x[p.tree[n]];
        if (from < p.x[n]) svgline(p, n, from, y, p.x[n], y);
        if (n != p.start) svgline(p, n, from, p.y2[p.tree[n]] / 2, from, y);
    }
}

static void opengroup(const picture &p, int fontsize, bool italics)
{
    fprintf(p.to, "<g stroke-width=\"%i\" stroke=\"black\" font-family=\"Verdana\" font-size=\"%i\"%s>\n", p.f->thickness,
            fontsize, italics ? " font-style=\"italic\"" : "");
}

static void terminals(const picture &p)
{
    for (int i = 0; i < p.walked; ++i) {
        int n = drawat[i];
        if (lef[n] >= 0) continue;
        const char *text = terminaltext(n);
        svg_write_text(p, p.x[n] + GAP + p.f->shift, p.y2[n] / 2 + p.f->tfontsize / 3, text, strlen(text));
    }
}

// A label stands on its branch; with several lines, as multitag_position says.
static void branchlabels(const picture &p)
{
    for (int i = 0; i < p.walked; ++i) {
        int n = drawat[i];
        std::string text = branchtext(p, n);
        int lines = textlines(text), step = p.f->bfontsize + p.f->txtsep;
        if (!lines || (lef[n] < 0 && n >= nt)) continue;
        int x = (n == p.start ? svgmargin[MARGINLEFT] : p.x[p.tree[n]]) + GAP + p.f->legshift;
        int above = !new_line_for_tags || multitag_position == TAGS_ABOVE ? lines
                  : multitag_position == TAGS_BELOW ? 0 : (lines + 1) / 2;
        for (int l = 0; l < lines; ++l) {
            size_t bytes = text.size();
            const char *line = new_line_for_tags ? line_of_msg(text.c_str(), l, &bytes) : text.c_str();
            int y = p.y2[n] / 2 - p.f->legup;
            y += l < above ? -GAP / 2 - p.f->thickness - (above - 1 - l) * step : p.f->bfontsize + p.f->thickness + (l - above) * step;
            svg_write_text(p, x, y, line, bytes);
        }
    }
}

// The whole picture.  Steps not given are made for the widest and highest text.
static void writesvg(picture p, const char *title, const char *caption)
{
    const svgformat &f = *p.f;
    int widest = 0, highest = 0, name = 0;
    for (int i = 0; i < p.walked; ++i) {
        int n = drawat[i];
        widest = std::max(widest, branchpixels(p, n));
        highest = std::max(highest, textlines(branchtext(p, n)));
        if (lef[n] >= 0) continue;
        const char *text = terminaltext(n);
        name = std::max(name, textpixels(text, strlen(text), f.tfontsize));
    }
    int stepx = f.blength ? f.blength : std::max(30, widest + 2 * GAP);
    int stepy = f.bheight ? f.bheight : std::max(f.tfontsize + 2 * GAP, (highest + 1) * (f.bfontsize + f.txtsep) + GAP);
    int lead = (*title != 0) * (f.tfontsize + 2 * GAP), tail = (*caption != 0) * (f.tfontsize + 2 * GAP);
    int right = 0, bottom = svgmargin[MARGINTOP], shownterminals = 0;
    layout(&p, stepx, stepy);
    for (int i = 0; i < p.walked; ++i) {
        right = std::max(right, p.x[drawat[i]]);
        shownterminals += lef[drawat[i]] < 0;
    }
    bottom += lead + shownterminals * stepy + tail + svgmargin[MARGINBOTTOM] + f.extray;
    right += GAP + f.shift + name;
    for (const char *line : { title, caption })
        right = std::max(right, svgmargin[MARGINLEFT] + textpixels(line, strlen(line), f.tfontsize));
    right += svgmargin[MARGINRIGHT] + f.extrax;

    fprintf(p.to, "<?xml version=\"1.0\"?>\n<svg width=\"%i\" height=\"%i\" xmlns=\"http://www.w3.org/2000/svg\">\n",
            f.rotate ? bottom : right, f.rotate ? right : bottom);
    if (f.rotate) fprintf(p.to, "<g transform=\"translate(%i,0) rotate(90)\">\n", bottom);
    if (lead) fprintf(p.to, "<g transform=\"translate(0,%i)\">\n", lead);
    opengroup(p, f.tfontsize, false);
    branches(p);
    fputs("</g>\n", p.to);
    opengroup(p, f.tfontsize, f.italics);
    terminals(p);
    fputs("</g>\n", p.to);
    opengroup(p, f.bfontsize, f.bitalics);
    branchlabels(p);
    fputs("</g>\n", p.to);
    if (lead) fputs("</g>\n", p.to);
    opengroup(p, f.tfontsize, false);
    if (lead) svg_write_text(p, svgmargin[MARGINLEFT], svgmargin[MARGINTOP] + f.tfontsize, title, strlen(title));
    if (tail)
        svg_write_text(p, svgmargin[MARGINLEFT], bottom - f.extray - svgmargin[MARGINBOTTOM], caption, strlen(caption));
    if (f.rotate) fputs("</g>\n", p.to);
    fputs("</g>\n</svg>\n", p.to);
}

static void savesvg(const char *name, const int *tree, int start, const svgformat &f, const char *title,
                    const char *caption)
{
    struct lowscratch {
        char *mark = lomark();
        ~lowscratch() { if (mark >= minseg && mark <= loseg) loset(mark); }
    } low;
    safefile file;
    if (!safeopen(&file, name)) errmsg("Cannot open file", name, nullptr);
    picture p{};
    p.tree = tree;
    p.start = start;
    p.f = &f;
    p.to = file.stream;
    p.x = lo<int>(nodz);
    p.y2 = lo<int>(nodz);
    p.walked = laytree(tree, start);
    writesvg(p, title, caption);
    if (!safeclose(&file)) errmsg("Can't write file", name, "- it was left as it was before", nullptr);
    if (report_status) spewem("Saved tree to", name, nullptr);
}

// --- log & ---

// Every tree has a file of its own: "name.svg", "name-1.svg", "name-2.svg"...
void autosvgtree(const int *tree, int start)
{
    static std::string last;
    static int saved;
    if (last != autosvg_file) saved = 0;
    last = autosvg_file;
    std::string name = last;
    if (saved) {
        size_t dot = name.rfind('.'), slash = name.rfind('/');
        if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = name.size();
        name.insert(dot, "-" + std::to_string(saved));
    }
    ++saved;
    savesvg(name.c_str(), tree, start, standard, treetitle, "");
}

// --- ttags & ---

static svgformat asked;
static char caption[INBUFSIZE];

static int readpixels(const char *failure)
{
    gotc('=');
    long n = gtnu();
    if (n < 0 || n > 100000) errmsg(failure, nullptr);
    return int(n);
}

static void readblength() { asked.blength = readpixels("String \"blength\" must be followed by branch length (in pixels)"); }
static void readfontsize() { asked.tfontsize = asked.bfontsize = readpixels("String \"fontsize\" must be followed by size of font"); }

static void readextra()
{
    constexpr char failure[] = "String \"extra\" must be followed by width and height (in pixels)";
    asked.extrax = readpixels(failure);
    gotc(',');
    asked.extray = readpixels(failure);
}

static void readcaption()
{
    size_t n = 0;
    int c;
    peep();
    while ((c = gtch()) != ';') {
        if (end_of_file()) check_eof();
        if (n + 1 < sizeof caption) caption[n++] = char(c);
    }
    ungtch();
    caption[n] = 0;
}

static void noarrays()
{
    errmsg("Sorry, saving coordinates into an array (\"xysave\") is not available yet", nullptr);
}

constexpr int MOSTPIXELS = 10000;

static constexpr optrow svgoptions[] = {
    optcall("blength", readblength, "pixels of a step of depth (default: as the tags need)"),
    optnumber("bheight", &asked.bheight, 1, MOSTPIXELS, "pixels between terminals (default: as the texts need)"),
    optnumber("thickness", &asked.thickness, 0, 1000, "width of branches (default 2)"),
    optflag("colors", &asked.colors, "tags begin with codes of colors"),
    optcall("fontsize", readfontsize, "size of all texts"),
    optnumber("tfontsize", &asked.tfontsize, 1, 1000, "size of names of taxa (default 12)"),
    optnumber("bfontsize", &asked.bfontsize, 1, 1000, "size of tags (default 10)"),
    optflag("italics", &asked.italics, "names of taxa in italics"),
    optflag("bitalics", &asked.bitalics, "tags in italics"),
    optnumber("pendwidth", &asked.pendwidth, 0, 1000, "width of terminal branches (default: as the others)"),
    optnumber("txtsep", &asked.txtsep, 0, 1000, "pixels between lines of a tag (default 2)"),
    optnumber("legup", &asked.legup, -MOSTPIXELS, MOSTPIXELS, "move tags up"),
    optnumber("shift", &asked.shift, -MOSTPIXELS, MOSTPIXELS, "move names of taxa to the right"),
    optcall("xysave", noarrays, "save coordinates of nodes into an array"),
    optcall("caption", readcaption, "text below the tree; the last option"),
    optcall("extra", readextra, "X,Y: more room on the page"),
    optflag("rotate", &asked.rotate, "the tree grows downwards"),
    optnumber("legshift", &asked.legshift, -MOSTPIXELS, MOSTPIXELS, "move tags to the right"),
    optend()
};

void save_tags_as_svg()
{
    if (int c = peep(); c == '+' || c == ';')
        errmsg("To use \"ttag &+\" you must have saved coordinates\n(with xysave) in a previous call to \"ttag &\"", nullptr);
    if (!havetags()) errmsg("No tree-tags defined!", nullptr);
    rdfilename();
    std::string name = cmdname;
    commasaretext commas;
    asked = standard;
    caption[0] = 0;
    readoptions(svgoptions, "Unrecognized option for saving tree: %s");
    struct showing {
        showing()  { now_showing_tags = SHOW_TAGS; }
        ~showing() { now_showing_tags = NO_TAGS; }
    } guard;
    savesvg(name.c_str(), txtr, get_initial_zoom(txtr), asked, tagtitle, caption);
}
