// The window: its construction, and the road of a command through it.
#include "gui/appwindow.h"
#include "gui/application.h"
#include "gui/boxes.h"
#include "gui/dialogs/dialog.h"
#include "gui/history.h"
#include "gui/menus.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include "script/dialog.h"
#include <clocale>
#include <cstring>
#include <iterator>

struct ZelAppWindowClass {
    GtkApplicationWindowClass parent;
};
G_DEFINE_TYPE(ZelAppWindow, zel_app_window, GTK_TYPE_APPLICATION_WINDOW)

constexpr int BUFFERKILOBYTES = 250;

ZelAppWindow *gtkAppWindowGlobal;
int lastkey;
static int running;                      // calls of the interpreter, one within the other

// --- running commands ------------------------------------------------------------------------------

bool commandruns() { return running > 0; }

static void tools(int on)
{
    running += on ? -1 : 1;
    if (running > 1 || (running == 1 && on)) return;
    gtk_widget_set_sensitive(gtkAppWindowGlobal->menubar, on);
    enabletools(on);
    entrybusy(!on);
    if (!on) lastkey = 0;
}

void runcommand(const char *text)
{
    if (commandruns() && !is_typed_menu) return;
    gtkZel(text);
    if (commandruns()) return;
    viewprogress("");
    viewsettle();
}

void runchosen(const std::string &text)
{
    if (commandruns() && !is_typed_menu) return;
    viewecho(text.c_str());
    if (!is_typed_menu) rememberline(text.c_str());
    runcommand(text.c_str());
}

// The interpreter ends the program, which saves what is set to be saved.
void closewindow()
{
    if (warning && MsgBox_YesNo("Exiting from ZEL", "Are you sure you want to exit?") != 1) return;
    is_typed_menu = 0;
    gtkZel("zzz;");
}

// --- the slots ---------------------------------------------------------------------------------------

static int zel_app_window_getKeyPressed()
{
    int key = lastkey;
    lastkey = 0;
    return key;
}

static void zel_app_window_refresh()
{
    gtkGray_menus();
    gtkUpdateStatus();
}

// Nothing may begin while another command runs, so that only drawing, keys and boxes come through.
static void looppending()
{
    viewsettle();
    while (gtk_events_pending()) gtk_main_iteration();
}

void fillslots()
{
    window.zel_app_window_getKeyPressed = zel_app_window_getKeyPressed;
    window.zel_app_window_refresh = zel_app_window_refresh;
    window.zel_app_window_dialog = textbox;
    window.zel_app_window_updateBufferSearches = [](const char *) { viewappend(); };
    window.zel_app_window_updateBuffer = [](const char *) { viewappend(); };
    window.zel_app_window_clearBuffer = viewclear;
    window.zel_app_window_isEmptyBuffer = [] { return viewlines() == 0; };
    window.zel_app_window_countBufferLines = viewlines;
    window.messagebox = messagebox;
    window.looppending = looppending;
    window.enable_tools = tools;
    window.progressline = viewprogress;
    choose_from_menus = readmenucommand;
    choose_file_name = [](const char *title, bool towrite, const char *extension) {
        return choosefile(GTK_WINDOW(gtkAppWindowGlobal), title, towrite, ANYFILES, extension);
    };
    size_window = [](bool large) {
        GtkWindow *w = GTK_WINDOW(gtkAppWindowGlobal);
        if (!large) { gtk_window_iconify(w); return; }
        gtk_window_deiconify(w);
        gtk_window_maximize(w);
    };
}

// --- events ------------------------------------------------------------------------------------------

static gboolean on_win_key_press_event(GtkWidget *, GdkEventKey *event, gpointer) noexcept { return windowkey(event); }

static gboolean on_win_delete(GtkWidget *, GdkEvent *, gpointer) noexcept
{
    closewindow();
    return true;
}

// Where the window was, for the next run; as it was before it was maximized.
static gboolean on_win_configure(GtkWidget *w, GdkEvent *, gpointer) noexcept
{
    GtkWindow *win = GTK_WINDOW(w);
    guihistory.maximized = gtk_window_is_maximized(win);
    if (guihistory.maximized) return false;
    gtk_window_get_size(win, &guihistory.width, &guihistory.height);
    gtk_window_get_position(win, &guihistory.x, &guihistory.y);
    return false;
}

// --- construction ----------------------------------------------------------------------------------

// Tells what the program is, as the first lines of the view.
static void do_big_zel_icon(int plain)
{
    static const char *const icon[] = {
        "    \u250c\u2500\u2500\u2500\u252c\u2500\u2500 Z         ",
        "    \u2502   \u2514\u2500\u2500 E         ",
        " \u2500\u2500\u2500\u2524                 ",
        "    \u2502                 ",
        "    \u2514\u2500\u2500\u2500\u2500\u2500\u2500 L         ",
    };
    static const char *const beside[] = {
        "ZEL - version " ZEL_VERSION, "", "Phylogenetic analysis under parsimony", "",
        "\"help\" lists the commands; menus and tools write them for you",
    };
    for (size_t i = 0; i < std::size(icon); ++i) joinem(icon[i], beside[i], "\n", nullptr);
    if (plain) joinem("\n", nullptr);
}

static void zel_app_window_init(ZelAppWindow *self)
{
    if (!setlocale(LC_CTYPE, "en_US.UTF-8") && !setlocale(LC_CTYPE, "C.UTF-8")) setlocale(LC_CTYPE, "");
    gtk_widget_init_template(GTK_WIDGET(self));
}

static void constructed(GObject *object) noexcept
{
    G_OBJECT_CLASS(zel_app_window_parent_class)->constructed(object);
    auto self = reinterpret_cast<ZelAppWindow *>(object);
    gtkAppWindowGlobal = self;
    startview();
    buildmenus();
    fillslots();
    strcpy(dabinname, "zel");
    initialize_winbufsiz(BUFFERKILOBYTES);
    gtkZel(";");
    do_big_zel_icon(1);
    mybeep = warning = 1;
    start_command_history();
    retrieve_guizel_history();
    keepwork_at_exit();
    setviewfont();
    startentry();
    entryshow(guihistory.commandline);
    gtk_widget_set_visible(self->toolbar, tools_visible);
    g_signal_connect(self, "key-press-event", G_CALLBACK(on_win_key_press_event), nullptr);
    g_signal_connect(self, "delete-event", G_CALLBACK(on_win_delete), nullptr);
    g_signal_connect(self, "configure-event", G_CALLBACK(on_win_configure), nullptr);
    zel_app_window_refresh();
    viewsettle();
}

static void zel_app_window_class_init(ZelAppWindowClass *type)
{
    G_OBJECT_CLASS(type)->constructed = constructed;
    GtkWidgetClass *widget = GTK_WIDGET_CLASS(type);
    gtk_widget_class_set_template_from_resource(widget, ZEL_RESOURCES "zelapp.ui");
#define CHILD(name) gtk_widget_class_bind_template_child(widget, ZelAppWindow, name)
    CHILD(menubar); CHILD(toolbar); CHILD(gridStatus);
    CHILD(labelStatusData); CHILD(labelStatusTrees); CHILD(labelStatusLog); CHILD(labelStatusLines);
    CHILD(gridEntry); CHILD(entryCommand); CHILD(entryCommandSearch); CHILD(labelEntryWhat); CHILD(labelEntryMsg);
    CHILD(TextFrame); CHILD(textView); CHILD(scrolledWindow); CHILD(scrolledWindowDraw); CHILD(drawingArea);
    CHILD(menuItemTreeView); CHILD(menuItemRecent);
#undef CHILD
}
