// The files of the home folder.
//
// .zel_guistory is one table of rows, which drives reading and writing alike: each row is a number
// of so many bytes, the lowest first.  A file of another size is of another version of the program
// and is not read; a flag that is neither 0 nor 1, or a wrong check value at the end, tells of damage.
#include "gui/history.h"
#include "diagrams/textree.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/typos.h"
#include "kernel/utf8.h"
#include "trees/safefile.h"
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <readline/history.h>
#include <unistd.h>

guisettings guihistory;
int    tools_visible = 1, warn_before_overwriting_files = 1, do_color_map = 1, report_treeview_scores = 1;
int    graph_report_mode;
double usrdlgratio = 1.25;

constexpr int32_t CHECKVALUE = 123456;
constexpr int DEFAULTTREEGROUPS = 64, MOSTTREEGROUPS = 1024;

static int  checkvalue = CHECKVALUE, dlgratio, timing;

std::string homefile(const char *name)
{
    const char *home = getenv("HOME");
    if (!home || !*home) {
        const passwd *user = getpwuid(getuid());
        home = user ? user->pw_dir : nullptr;
    }
    return std::string(home && *home ? home : ".") + "/" + name;
}

const char *fontstylename(int style)
{
    constexpr const char *names[] = { "normal", "oblique", "italic" };       // in the order of PangoStyle
    return names[style < 0 || style > 2 ? 0 : style];
}

// --- the table -----------------------------------------------------------------------------------

// low..high: what the value must be within; outside, the file is damaged and the value becomes instead.
struct guirow {
    int *value;
    int  bytes, low, high, instead;
};

constexpr guirow flag(int *value) { return { value, 1, 0, 1, 1 }; }

static constexpr guirow beforefamily[] = {
    { &table_precision, 1, 0, 10, 5 },
    flag(&warning), flag(&do_color_map), flag(&preview_trees), flag(&usetaxnames), flag(&use_charnames),
    flag(&optional_tables), flag(&nakedtree), flag(&mybeep), flag(&report_status), flag(&report_as_bar),
    flag(&guihistory.commandline), flag(&admit_inner_typos),
    flag(&warn_before_overwriting_files), flag(&report_treeview_scores),
    { &guihistory.x, 4, -20000, 20000, 0 }, { &guihistory.y, 4, -20000, 20000, 0 },
    { &guihistory.width, 4, 200, 20000, 1000 }, { &guihistory.height, 4, 150, 20000, 700 },
    flag(&guihistory.maximized), flag(&timing), flag(&tools_visible),
    { &guihistory.textcolour, 3, 0, 0xffffff, 0 }, { &guihistory.pagecolour, 3, 0, 0xffffff, 0 },
    { &num_treegroups, 4, 1, MOSTTREEGROUPS, DEFAULTTREEGROUPS },
    { &dlgratio, 2, 10, 10000, 125 },
};
static constexpr guirow behindfamily[] = {
    { &guihistory.fontsize, 2, LEASTFONTSIZE, LARGESTFONTSIZE, 11 },
    { &guihistory.fontstyle, 1, 0, 2, 0 }, { &guihistory.fontweight, 2, 100, 1000, 400 },
    flag(&graph_report_mode),
    { &checkvalue, 4, INT32_MIN, INT32_MAX, 0 },
};


template<size_t N> constexpr int bytesof(const guirow (&rows)[N])
{
    int n = 0;
    for (const guirow &row : rows) n += row.bytes;
    return n;
}
static_assert(bytesof(beforefamily) + FAMILYBYTES + bytesof(behindfamily) == GUISTORYBYTES);

// --- reading -------------------------------------------------------------------------------------

static void readvalue(FILE *f, const guirow &row, bool *damaged)
{
    uint32_t bits = 0;
    for (int i = 0; i < row.bytes; ++i) bits |= uint32_t(getc(f) & 0xff) << (8 * i);
    int value = int32_t(bits);
    if (value < row.low || value > row.high) {
        *damaged = true;
        value = row.instead;
    }
    *row.value = value;
}

static void readfamily(FILE *f, bool *damaged)
{
    char family[FAMILYBYTES + 1] = "";
    for (int i = 0; i < FAMILYBYTES; ++i) family[i] = char(getc(f));
    bool plain = std::none_of(family, family + strlen(family), [](char c) { return c > 0 && c < ' '; });
    if (plain && *family && inutf8(family) == family) strcpy(guihistory.fontfamily, family);
    else *damaged = true;
}

static long sizeoffile(FILE *f)
{
    fseek(f, 0, SEEK_END);
    long size = ftell(f);
    rewind(f);
    return size;
}

// What follows from the values.
static void applyhistory()
{
    usrdlgratio = dlgratio / 100.0;
    treegroupcells = (num_treegroups + 31) / 32;
    timemenus = timeit = timing;
    set_table_pointers();
    if (admit_inner_typos) allocate_name_matching();
}

bool retrieve_guizel_history()
{
    FILE *f = fopen(homefile(".zel_guistory").c_str(), "rb");
    if (!f) return false;
    if (sizeoffile(f) != GUISTORYBYTES) {
        fclose(f);
        joinem("File ~/.zel_guistory seems to be obsolete.\nIgnoring history and re-setting all defaults\n", nullptr);
        return false;
    }
    bool damaged = false;
    for (const guirow &row : beforefamily) readvalue(f, row, &damaged);
    readfamily(f, &damaged);
    for (const guirow &row : behindfamily) readvalue(f, row, &damaged);
    fclose(f);
    if (checkvalue != CHECKVALUE) {
        damaged = true;
        num_treegroups = DEFAULTTREEGROUPS;
        dlgratio = 125;
        guihistory.textcolour = guihistory.pagecolour = 0;      // the text can be read whatever they were
    }
    if (damaged) joinem("File ~/.zel_guistory is damaged.\nSome settings are those of the first start\n", nullptr);
    applyhistory();
    return true;
}

// --- writing -------------------------------------------------------------------------------------

static void writevalue(FILE *f, const guirow &row)
{
    uint32_t bits = uint32_t(std::clamp(*row.value, row.low, row.high));
    for (int i = 0; i < row.bytes; ++i) putc(int(bits >> (8 * i) & 0xff), f);
}

void save_guizel_history()
{
    checkvalue = CHECKVALUE;
    dlgratio = int(lround(usrdlgratio * 100));
    timing = timemenus != 0;
    safefile file;
    std::string name = homefile(".zel_guistory");
    if (safeopen(&file, name.c_str())) {
        for (const guirow &row : beforefamily) writevalue(file.stream, row);
        char family[FAMILYBYTES] = "";
        memcpy(family, guihistory.fontfamily, strnlen(guihistory.fontfamily, FAMILYBYTES));
        fwrite(family, 1, FAMILYBYTES, file.stream);
        for (const guirow &row : behindfamily) writevalue(file.stream, row);
        if (safeclose(&file)) return;
    }
    fprintf(stderr, "Cannot write %s: settings are not kept\n", name.c_str());
}

// --- the lines typed --------------------------------------------------------------------------------

static std::string commandhistory() { return homefile(".zel_command_history"); }

void start_command_history()
{
    using_history();
    std::string name = commandhistory();
    if (!read_history(name.c_str())) {
        using_history();
        return;
    }
    if (!write_history(name.c_str()) && !read_history(name.c_str())) return;
    joinem("Cannot write ~/.zel_command_history: commands typed will not be kept\n", nullptr);
}

void savehistories()
{
    static bool saved;
    if (saved) return;
    saved = true;
    std::string name = commandhistory();
    if (int problem = write_history(name.c_str()))
        fprintf(stderr, "Cannot write %s: %s\n", name.c_str(), strerror(problem));
    save_guizel_history();
}
