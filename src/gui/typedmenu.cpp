// The command menu: items of the menu bar chosen by their labels, from a script or the entry.
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "gui/menus.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/typos.h"
#include <cstring>
#include <string>
#include <strings.h>
#include <vector>

constexpr size_t MOSTNAMES = 4, LONGESTNAME = 50;

// --- listing -------------------------------------------------------------------------------------------

static void listitem(const menuitem *item, int depth, bool all)
{
    spewspx(3 * depth);
    if (all) tojoin(itemenabled(item) ? "(+) " : "(-) ");
    tojoin(ridofund(item->label).c_str());
    if (item->accel) {
        char key[20];
        snprintf(key, sizeof key, "  (%c)", item->accel);
        tojoin(key);
    }
    spewout();
}

static void listitems(const menuitem *from, const menuitem *to, int depth, bool all)
{
    for (const menuitem *item = from; item < to; item = item->id && (all || itemenabled(item)) ? item + 1 : behind(item))
        if (all || itemenabled(item)) listitem(item, item->depth - depth, all);
}

static const menuitem *endoftable()
{
    const menuitem *item = menuEntries;
    while (item->id) ++item;
    return item;
}

// --- finding -------------------------------------------------------------------------------------------

static bool begins(const std::string &name, const menuitem *item)
{
    return !strncasecmp(name.c_str(), ridofund(item->label).c_str(), name.size());
}

static bool nearly(const std::string &name, const menuitem *item)
{
    return needwunsch_typo(name.c_str(), ridofund(item->label).c_str(), "menu option") == ACCEPTED;
}

// Among the items one level below that which ends at `to`, the first that the name begins; only when
// there is none is the user asked about those it may mean.
static const menuitem *finditem(const menuitem *from, const menuitem *to, const std::string &name)
{
    for (auto matches : { begins, nearly }) {
        if (matches == nearly && !admit_inner_typos) break;
        for (const menuitem *item = from; item < to; item = behind(item))
            if (itemenabled(item) && matches(name, item)) return item;
    }
    myerr("No (available) menu option matches \"%s\"", name.c_str());
}

// One name, to the sign behind it, which is returned and read.
static int readname(std::string *name)
{
    int c = gtnb();
    for (; c != '/' && c != '=' && c != ';'; c = gtch()) {
        if (c != '_') *name += c < ' ' ? ' ' : char(c);
        if (name->size() > LONGESTNAME) myerr("Menu name too long (%s), max. 50 characters", name->c_str());
    }
    while (!name->empty() && name->back() == ' ') name->pop_back();
    return c;
}

struct wanted {
    std::vector<std::string> names;
    int toggle = 0;                      // 'y', 'n', 'r'; 0: none was given
};

static wanted readnames()
{
    wanted w;
    int c;
    do {
        std::string name;
        if (w.names.size() == MOSTNAMES) errmsg("Cannot provide more than four menu names!", nullptr);
        c = readname(&name);
        w.names.push_back(name);
    } while (c == '/');
    if (c == '=') {
        w.toggle = gtnb() | 32;
        if (!strchr("ynr", w.toggle)) errmsg("Toggles can be only y/n/r", nullptr);
    } else
        ungtch();
    return w;
}

// --- doing ---------------------------------------------------------------------------------------------

// While this stands, what a dialog gives runs above the input that chose it.
struct typedlevel {
    int was = is_typed_menu;
    typedlevel()  { is_typed_menu = giveme_curproc_level() + 1; }
    ~typedlevel() { is_typed_menu = was; }
    typedlevel(const typedlevel &) = delete;
    typedlevel &operator=(const typedlevel &) = delete;
};

static void activate(const menuitem *item)
{
    exvalis = 1;
    typedlevel here;
    chooseitem(item);
}

static void choose(const wanted &w)
{
    const menuitem *from = menuEntries, *to = endoftable(), *item = nullptr;
    std::string path;
    for (const std::string &name : w.names) {
        item = finditem(from, to, name);
        path += (path.empty() ? "" : "/") + ridofund(item->label);
        from = item + 1;
        to = behind(item);
    }
    if (hasitems(item)) {
        joinem("Options now available under ", path.c_str(), ":\n\n", nullptr);
        listitems(from, to, item->depth + 1, false);
        return;
    }
    if (!strcmp(item->id, "file_quit")) {
        zelpivot("quit;");
        return;
    }
    bool set = item->marked && item->marked();
    if (w.toggle == 'y' && set) return;
    if (w.toggle == 'n' && !set) return;
    autorun_typed_menu = w.toggle == 'r';
    activate(item);
    autorun_typed_menu = 0;
    if (!exvalis && give_up_when_typed_menu_cancelled) intrupt(2);
}

static void setshown(bool shown)
{
    showmenus(shown);
    joinem(shown ? "D" : "Not d", "isplaying menus", shown ? "" : " (note: type \"menu=;\" at the command line to display again)",
           "\n", nullptr);
}

void readmenucommand()
{
    int sign = peep();
    if (sign == ';') {
        joinem("Menu options now available:\n\n", nullptr);
        listitems(menuEntries, endoftable(), 0, false);
    } else if (gotc('+')) {
        joinem("All menu options (options now available marked with +):\n\n", nullptr);
        listitems(menuEntries, endoftable(), 0, true);
    } else if (gotc('=')) setshown(true);
    else if (gotc('-')) setshown(false);
    else choose(readnames());
}
