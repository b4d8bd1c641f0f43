// The application.  The words of the command line come to it as files, whatever they are: the
// commands among them must be made out of paths again.
#include "gui/application.h"
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "gui/history.h"
#include "gui/menus.h"
#include "console/arguments.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/window.h"
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <glib-unix.h>
#include <string>
#include <unistd.h>
#include <vector>
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif

constexpr size_t LONGESTPATH = 200;
constexpr unsigned FIRSTCOMMANDS = 100;  // milliseconds after the window is there

struct ZelApp {
    GtkApplication parent;
};
struct ZelAppClass {
    GtkApplicationClass parent;
};
G_DEFINE_TYPE(ZelApp, zel_app, GTK_TYPE_APPLICATION)

static std::vector<std::string> consoleArgs;     // commands waiting for the window
static windowslots withoutwindow;                // as they were before the window filled them

// --- the window ----------------------------------------------------------------------------------

static bool hashistory()
{
    return g_file_test(homefile(".zel_guistory").c_str(), G_FILE_TEST_EXISTS);
}

// The middle of its title is on some monitor: there may have been more of them.
static bool wasonscreen()
{
    int x = guihistory.x + guihistory.width / 2, y = guihistory.y;
    GdkMonitor *monitor = gdk_display_get_monitor_at_point(gdk_display_get_default(), x, y);
    GdkRectangle r = {};
    if (monitor) gdk_monitor_get_geometry(monitor, &r);
    return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
}

static void on_activate(GApplication *app) noexcept
{
    bool remembered = hashistory();      // before the window, which leaves one
    if (!gtkAppWindowGlobal) g_object_new(zel_app_window_get_type(), "application", app, nullptr);
    GtkWindow *window = GTK_WINDOW(gtkAppWindowGlobal);
    gtk_window_set_default_size(window, guihistory.width, guihistory.height);
    gtk_window_present(window);
    if (guihistory.maximized || !remembered) gtk_window_maximize(window);
    else if (wasonscreen()) gtk_window_move(window, guihistory.x, guihistory.y);
    gtk_window_set_keep_above(window, true);
    gtk_window_set_keep_above(window, false);
    focusentry();
}

// --- the words of the command line ------------------------------------------------------------------

static gboolean on_firstcommands(gpointer) noexcept
{
    std::vector<std::string> commands = std::move(consoleArgs);
    std::vector<char *> list;
    for (std::string &command : commands) list.push_back(command.data());
    list.push_back(nullptr);
    gtkRunArguments(list.data());
    return G_SOURCE_REMOVE;
}

static std::string pathof(GFile *file)
{
    char *path = g_file_get_path(file);
    if (!path) path = g_file_get_uri(file);
    std::string text = path;
    g_free(path);
    return text;
}

static std::string currentfolder()
{
    char *folder = g_get_current_dir();
    std::string text = folder;
    g_free(folder);
    return text;
}

static void dropall(std::string *text, const std::string &part)
{
    for (size_t at; (at = text->find(part)) != std::string::npos; ) text->erase(at, part.size());
}

// A path that ends in the folder's own name stands for a word that was empty.
static void on_open(GApplication *app, GFile **files, int n, const char *) noexcept
{
    on_activate(app);
    std::string here = currentfolder(), commands;
    bool incommands = false;
    for (int i = 0; i < n; ++i) {
        std::string path = pathof(files[i]);
        size_t comma = path.find(',');
        if (incommands) commands += " " + path;
        else if (comma != std::string::npos) {
            incommands = true;
            std::string before = path.substr(0, comma);
            if (before == here) consoleArgs.push_back("p " + before);
            commands = path.substr(comma + 1);
        } else if (path.size() > LONGESTPATH)
            joinem("Name of file too long: ", path.c_str(), "\n", nullptr);
        else {
            consoleArgs.push_back(readingcommand(path));
            if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR)) gtkAddRecentFile(path.c_str());
        }
    }
    dropall(&commands, here + "/");
    if (commands.size() > LONGESTCOMMANDS) {
        myp("Commands too long (at most %zu characters)", LONGESTCOMMANDS);
        commands.clear();
    }
    for (std::string &piece : inpieces(commands)) consoleArgs.push_back(piece);
    gtk_window_set_keep_above(GTK_WINDOW(gtkAppWindowGlobal), true);
    g_timeout_add(FIRSTCOMMANDS, on_firstcommands, nullptr);
}

void gtkRunArguments(char **commands)
{
    for (; *commands; ++commands) {
        runcommand(*commands);
        gtkLoopPending();
    }
    gtk_window_set_keep_above(GTK_WINDOW(gtkAppWindowGlobal), false);
}

// --- the end -----------------------------------------------------------------------------------------

// Files are closed and histories written, whatever ends the program; nothing is shown any more.
static void keepwork()
{
    window = withoutwindow;
    safecall(endwork);
    savehistories();
}

void keepwork_at_exit() { atexit(keepwork); }

#ifdef GDK_WINDOWING_X11
// In the middle of some call of the toolkit, of which nothing more can be used, not even at exit.
static int on_displaygone(Display *)
{
    fputs("The display has gone: files are closed and the program ends\n", stderr);
    if (gtkAppWindowGlobal) keepwork();
    fflush(nullptr);
    _exit(1);
}
#endif

// The session ends, or somebody ends the program; there is nobody to be asked.
static gboolean on_endsignal(gpointer) noexcept
{
    is_typed_menu = 0;
    gtkZel("zzz;");
    return G_SOURCE_CONTINUE;
}

static void takeends()
{
#ifdef GDK_WINDOWING_X11
    XSetIOErrorHandler(on_displaygone);
#endif
    for (int signal : { SIGTERM, SIGHUP, SIGINT }) g_unix_signal_add(signal, on_endsignal, nullptr);
}

// --- the class -------------------------------------------------------------------------------------

static void zel_app_init(ZelApp *) {}

static void zel_app_class_init(ZelAppClass *type)
{
    G_APPLICATION_CLASS(type)->activate = on_activate;
    G_APPLICATION_CLASS(type)->open = on_open;
}

// Numbers are read and written with a point whatever the language, so the toolkit is not to set it.
bool displayopens()
{
    gtk_disable_setlocale();
    return gtk_init_check(nullptr, nullptr);
}

// Each run is a program of its own: another one is not to take its files.
int runwindow(int argc, char **argv)
{
    withoutwindow = window;
    g_set_prgname("zel");
    g_set_application_name("ZEL");
    auto app = static_cast<GApplication *>(g_object_new(zel_app_get_type(), "application-id", "org.gtk.zelapp",
        "flags", GApplicationFlags(G_APPLICATION_HANDLES_OPEN | G_APPLICATION_NON_UNIQUE), nullptr));
    takeends();
    int status = g_application_run(app, argc, argv);
    g_object_unref(app);
    return status;
}
