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

static const field readtreesfields[] = {
    { .key = "how" },
    { .key = "file", .kind = READFILE, .files = TREEFILES },
    {}
};
const dialogform readtreesform = { "readtrees", "{how} {file};", readtreesfields };

static const field newmatrixfields[] = {
    { .key = "chars" },
    { .key = "taxa" },
    { .key = "states" },
    {}
};
const dialogform newmatrixform = { "newmatrix", "xread / {chars} {taxa} {states};", newmatrixfields };

static const field openlogfields[] = { { .key = "file", .kind = WRITEFILE, .files = TEXTFILES }, {} };
static const field svgfilefields[] = { { .key = "file", .kind = WRITEFILE, .files = SVGFILES }, {} };
const dialogform openlogform = { "openlog", "log {file};", openlogfields };
const dialogform appendlogform = { "appendlog", "log +{file};", openlogfields };
const dialogform svgfileform = { "svgfile", "log &{file};", svgfilefields };

static const field treefilefields[] = {
    { .key = "kind" },
    { .key = "file", .kind = WRITEFILE, .files = TREEFILES },
    { .key = "add", .text = "+" },
    {}
};
const dialogform treefileform = { "treefile", "tsave {kind}{file}{add};", treefilefields };
static const field savealltreesfields[] = {
    { .key = "kind" },
    { .key = "file", .kind = WRITEFILE, .files = TREEFILES },
    {}
};
const dialogform savealltreesform = { "savealltrees", "tsave ={kind}{file};", savealltreesfields };

static const field savetreesfields[] = {
    { .key = "trees", .kind = TREES },
    { .key = "active", .text = "-" },
    {}
};
const dialogform savetreesform = { "savetrees", "save {active}{trees};", savetreesfields };

static const field savedatafields[] = {
    { .key = "chars", .text = "-" },
    { .key = "taxa", .text = "!" },
    { .key = "file", .kind = WRITEFILE },
    {}
};
const dialogform savedataform = { "savedata", "xread * {chars}{taxa} {file};", savedatafields };

static const field exportfields[] = { { .key = "what" }, { .key = "file", .kind = WRITEFILE }, {} };
const dialogform exportform = { "export", "export {what} {file};", exportfields };

static const field savetextfields[] = {
    { .key = "from" },
    { .key = "to", .now = [] { return double(WINBUFSIZ() - 1); } },
    {}
};
const dialogform savetextform = { "savetext", "svtxt {from} {to};", savetextfields };
