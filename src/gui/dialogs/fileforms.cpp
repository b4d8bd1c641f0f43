// Files: reading, saving, logs.
#include "gui/dialogs/forms.h"
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "gui/menus.h"
#include "kernel/textbuf.h"

void open_input_file()
{
    std::string path = choosefile(GTK_WINDOW(gtkAppWindowGlobal), "Open input file", false, ANYFILES);
    if (path.empty()) return;
    gtkAddRecentFile(path.c_str());
    runchosen("procedure " + filename_in_command(path) + ";");
}

static constexpr choicerow treeformats[] = {
    { "in parentheses, or any command file", "procedure " }, { "compact", "shortread " }, { "Newick", "procedure [" }, {}
};
static const field readtreesfields[] = {
    { .kind = CHOICE, .key = "how", .label = "_Notation", .choices = treeformats },
    { .kind = READFILE, .key = "file", .label = "_File", .files = TREEFILES },
    {}
};
const dialogform readtreesform = { "readtrees", "Read trees", "{how}{file};", readtreesfields };

static const field newmatrixfields[] = {
    { .kind = NUMBER, .key = "chars", .label = "_Characters", .low = 1, .high = 1000000, .first = 50 },
    { .kind = NUMBER, .key = "taxa", .label = "_Taxa", .low = 4, .high = 100000, .first = 20 },
    { .kind = NUMBER, .key = "states", .label = "_States", .low = 0, .high = 32, .first = 2 },
    {}
};
const dialogform newmatrixform = { "newmatrix", "New matrix", "xread / {chars} {taxa} {states};", newmatrixfields,
    "Makes a matrix of random cells; with 0 states, of missing entries.  Data and trees in memory are replaced." };

static const field openlogfields[] = { { .kind = WRITEFILE, .key = "file", .label = "_File", .files = TEXTFILES }, {} };
static const field svgfilefields[] = { { .kind = WRITEFILE, .key = "file", .label = "_File", .files = SVGFILES }, {} };
const dialogform openlogform = { "openlog", "Open output file", "log {file};", openlogfields,
    "All that is shown is also written to the file.  A file of that name is replaced." };
const dialogform appendlogform = { "appendlog", "Append to output file", "log +{file};", openlogfields,
    "All that is shown is also added to the file." };
const dialogform svgfileform = { "svgfile", "SVG file", "log &{file};", svgfilefields,
    "Commands that draw trees save each diagram in the file." };

static constexpr choicerow treefilekinds[] = { { "in parentheses", "*" }, { "compact", "" }, {} };
static const field treefilefields[] = {
    { .kind = CHOICE, .key = "kind", .label = "_Notation", .choices = treefilekinds },
    { .kind = WRITEFILE, .key = "file", .label = "_File", .files = TREEFILES },
    { .kind = CHECK, .key = "add", .label = "_Add to the file", .text = "+" },
    {}
};
const dialogform treefileform = { "treefile", "Open tree file", "tsave {kind}{file}{add};", treefilefields,
    "Trees are then written to it with \"Save trees\"; close it when all are." };
static const field savealltreesfields[] = {
    { .kind = CHOICE, .key = "kind", .label = "_Notation", .choices = treefilekinds },
    { .kind = WRITEFILE, .key = "file", .label = "_File", .files = TREEFILES },
    {}
};
const dialogform savealltreesform = { "savealltrees", "Save all trees", "tsave ={kind}{file};", savealltreesfields,
    "Opens the file, saves all trees, and closes it." };

static const field savetreesfields[] = {
    { .kind = TREES, .key = "trees", .label = "_Trees (none: all)" },
    { .kind = CHECK, .key = "active", .label = "_Without inactive taxa", .text = "-" },
    {}
};
const dialogform savetreesform = { "savetrees", "Save trees", "save {active}{trees};", savetreesfields,
    "The trees go to the open tree file." };

static const field savedatafields[] = {
    { .kind = CHECK, .key = "chars", .label = "Only active _characters", .text = "-" },
    { .kind = CHECK, .key = "taxa", .label = "Only active _taxa", .text = "!" },
    { .kind = WRITEFILE, .key = "file", .label = "_File" },
    {}
};
const dialogform savedataform = { "savedata", "Save data", "xread * {chars}{taxa} {file};", savedatafields };

static constexpr choicerow exports[] = {
    { "data as Nexus", "" }, { "data and trees as Nexus", "*" }, { "data, step matrices as Nexus", "+" },
    { "trees as Nexus", "-" }, { "trees as Newick", "=" }, { "data as Fasta", "!" }, {}
};
static const field exportfields[] = {
    { .kind = CHOICE, .key = "what", .label = "_What", .choices = exports },
    { .kind = WRITEFILE, .key = "file", .label = "_File" },
    {}
};
const dialogform exportform = { "export", "Export data", "export {what} {file};", exportfields };

static const field savetextfields[] = {
    { .kind = NUMBER, .key = "from", .label = "_First line", .high = 10000000 },
    { .kind = NUMBER, .key = "to", .label = "_Last line", .high = 10000000, .now = [] { return double(WINBUFSIZ() - 1); } },
    {}
};
const dialogform savetextform = { "savetext", "Save text", "svtxt {from} {to};", savetextfields,
    "Lines of the text buffer go to the output file, which must be open." };
