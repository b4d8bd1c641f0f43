// The menu of recent files: matrices, trees and commands that were opened, the newest first.
#include "gui/appwindow.h"
#include "gui/menus.h"
#include "console/arguments.h"
#include <unistd.h>

static void on_recent(GtkRecentChooser *chooser, gpointer) noexcept
{
    char *uri = gtk_recent_chooser_get_current_uri(chooser);
    char *path = uri ? g_filename_from_uri(uri, nullptr, nullptr) : nullptr;
    g_free(uri);
    if (!path) return;
    std::string command = readingcommand(path) + ";";
    g_free(path);
    runchosen(command);
}

void GtkLoadRecentIcons()
{
    GtkWidget *menu = gtk_recent_chooser_menu_new();
    GtkRecentChooser *chooser = GTK_RECENT_CHOOSER(menu);
    gtk_recent_chooser_set_sort_type(chooser, GTK_RECENT_SORT_MRU);
    gtk_recent_chooser_menu_set_show_numbers(GTK_RECENT_CHOOSER_MENU(menu), true);
    gtk_recent_chooser_set_show_icons(chooser, false);
    GtkRecentFilter *filter = gtk_recent_filter_new();
    for (const char *pattern : { "*.zel", "*.run", "*.tre", "*.dat" }) gtk_recent_filter_add_pattern(filter, pattern);
    gtk_recent_chooser_set_filter(chooser, filter);
    g_signal_connect(menu, "item-activated", G_CALLBACK(on_recent), nullptr);
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(gtkAppWindowGlobal->menuItemRecent), menu);
}

// Where the list is kept; the toolkit complains when it cannot be.
static bool canbekept()
{
    const char *folder = g_get_user_data_dir();
    return !g_mkdir_with_parents(folder, 0700) && !access(folder, W_OK);
}

void gtkAddRecentFile(const char *path)
{
    if (!canbekept()) return;
    char *uri = g_filename_to_uri(path, nullptr, nullptr);
    if (!uri) return;
    gtk_recent_manager_add_item(gtk_recent_manager_get_default(), uri);
    g_free(uri);
}
