// Choosing a file, and its name as commands take it.
#include "gui/dialogs/dialog.h"
#include "gui/history.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstring>

// Commands read files of any name, so that all of them are offered first.
struct filterrow { filesort sort; const char *name, *patterns[12]; };
static constexpr filterrow filters[] = {
    { ANYFILES,  "Data, trees and commands",
                 { "*.zel", "*.run", "*.tre", "*.dat", "*.ctf", "*.nex", "*.fas", "*.fasta", "*.phy", "*.nwk" } },
    { TREEFILES, "Trees", { "*.tre", "*.ctf", "*.nex", "*.nwk" } },
    { SVGFILES,  "Diagrams", { "*.svg" } },
    { TEXTFILES, "Text", { "*.txt", "*.out", "*.log" } },
};

std::string filename_in_command(const std::string &path)
{
    char *folder = g_get_current_dir();
    std::string here = std::string(folder) + "/", name = path;
    g_free(folder);
    if (name.compare(0, here.size(), here) == 0) name.erase(0, here.size());
    if (!name.empty() && strchr("+*&=|-!>[]<", name[0])) name = "./" + name;
    std::replace(name.begin(), name.end(), ' ', '^');
    return name;
}

// Of some names a command would read a part only.
static bool fitsacommand(const std::string &name)
{
    auto ends = [](char c) { return (c >= 0 && c < ' ') || strchr(";,^", c); };
    return std::none_of(name.begin(), name.end(), ends) && g_utf8_validate(name.data(), gssize(name.size()), nullptr);
}

static void addfilter(GtkFileChooser *chooser, const char *name, const char *const *patterns)
{
    GtkFileFilter *filter = gtk_file_filter_new();
    gtk_file_filter_set_name(filter, name);
    for (; *patterns; ++patterns) gtk_file_filter_add_pattern(filter, *patterns);
    gtk_file_chooser_add_filter(chooser, filter);
}

static void addfilters(GtkFileChooser *chooser, filesort sort, const char *extension)
{
    constexpr const char *all[] = { "*", nullptr };
    std::string wanted = std::string("*") + extension;
    const char *these[] = { wanted.c_str(), nullptr };
    if (*extension) addfilter(chooser, ("Files " + wanted).c_str(), these);
    addfilter(chooser, "All files", all);
    for (const filterrow &row : filters)
        if (row.sort == sort) addfilter(chooser, row.name, row.patterns);
}

// The chooser lets its button be pressed only some time after the last letter of a name, and until
// then would not hear Enter.
static gboolean on_chooserkey(GtkWidget *chooser, GdkEventKey *event, gpointer) noexcept
{
    guint key = event->keyval;
    bool enter = key == GDK_KEY_Return || key == GDK_KEY_KP_Enter || key == GDK_KEY_ISO_Enter;
    GtkWidget *focus = gtk_window_get_focus(GTK_WINDOW(chooser));
    if (enter && GTK_IS_ENTRY(focus) && *gtk_entry_get_text(GTK_ENTRY(focus)))
        gtk_dialog_set_response_sensitive(GTK_DIALOG(chooser), GTK_RESPONSE_OK, true);
    return false;
}

std::string choosefile(GtkWindow *over, const char *title, bool towrite, filesort sort, const char *extension)
{
    GtkWidget *dialog = gtk_file_chooser_dialog_new(title, over,
        towrite ? GTK_FILE_CHOOSER_ACTION_SAVE : GTK_FILE_CHOOSER_ACTION_OPEN,
        "_Cancel", GTK_RESPONSE_CANCEL, towrite ? "_Save" : "_Open", GTK_RESPONSE_OK, nullptr);
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    char *folder = g_get_current_dir();
    gtk_file_chooser_set_current_folder(chooser, folder);
    g_free(folder);
    gtk_file_chooser_set_do_overwrite_confirmation(chooser, warn_before_overwriting_files);
    addfilters(chooser, sort, extension);
    g_signal_connect(dialog, "key-press-event", G_CALLBACK(on_chooserkey), nullptr);
    std::string name;
    if (rundialog(dialog))
        if (char *path = gtk_file_chooser_get_filename(chooser)) {
            name = path;
            g_free(path);
        }
    gtk_widget_destroy(dialog);
    if (fitsacommand(name)) return name;
    MsgBox_OK(title, ("Commands cannot take the name of this file:\n\n" + name).c_str());
    return "";
}
