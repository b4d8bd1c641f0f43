// Menu bar and tool bar, built from their tables; their state, from that of the program.
#include "gui/menus.h"
#include "gui/appwindow.h"
#include "gui/history.h"
#include "kernel/commands.h"
#include "kernel/comtable.h"
#include "kernel/input.h"
#include <cctype>
#include <string>
#include <unordered_map>
#include <vector>

struct builtitem {
    GSimpleAction *action;               // null for submenus
    GtkWidget *widget;
    bool enabled;
};
static std::unordered_map<const menuitem *, builtitem> built;
static bool settingmarks;                // marks are being set, nobody chose anything

// --- choosing ----------------------------------------------------------------------------------------

void chooseitem(const menuitem *item)
{
    if (item->act) item->act();
    else if (item->dialog) opendialog(item->dialog);
    else if (item->command) runchosen(item->marked && item->marked() && item->uncommand ? item->uncommand : item->command);
}

// A command chosen below a script may change marks and states at any time.
static void on_action(GSimpleAction *, GVariant *, gpointer item) noexcept
{
    if (settingmarks || (commandruns() && !is_typed_menu)) return;
    chooseitem(static_cast<const menuitem *>(item));
    gtkGray_menus();
}

// --- what can be chosen --------------------------------------------------------------------------------

static std::string wordof(const menuitem *item)
{
    const char *text = item->word ? item->word : item->dialog ? item->dialog->command : item->command ? item->command : "";
    std::string word;
    while (isalpha(static_cast<unsigned char>(*text))) word += *text++;
    return word;
}

static bool doessomething(const menuitem *item)
{
    if (!item->act && !item->dialog && !item->command) return false;
    std::string word = wordof(item);
    if (word.empty()) return true;       // the window does it, or the dialog chooses the command
    const comrow *row = findcommand(word.c_str());
    return row && row->run != notyetcom;
}

const menuitem *behind(const menuitem *item)
{
    const menuitem *next = item + 1;
    while (next->id && next->depth > item->depth) ++next;
    return next;
}

bool hasitems(const menuitem *item) { return item[1].id && item[1].depth > item->depth; }

// The menu of recent files fills itself.
static bool byitself(const menuitem *item) { return built[item].widget == gtkAppWindowGlobal->menuItemRecent; }

static bool sensitive(const menuitem *item)
{
    bool allowed = !item->enabled || item->enabled();
    if (byitself(item)) return allowed;
    if (!hasitems(item)) return allowed && doessomething(item);
    bool any = false;
    for (const menuitem *i = item + 1; i < behind(item); ++i) any = any || (!hasitems(i) && sensitive(i));
    return allowed && any;
}

bool itemenabled(const menuitem *item) { return built[item].enabled; }

// Choosing an item with a mark changes how it looks at once; what counts is the state.
static void setmark(const menuitem *item, builtitem *b)
{
    bool mark = item->marked();
    g_simple_action_set_state(b->action, g_variant_new_boolean(mark));
    if (GTK_IS_CHECK_MENU_ITEM(b->widget)) gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(b->widget), mark);
    if (GTK_IS_TOGGLE_TOOL_BUTTON(b->widget)) gtk_toggle_tool_button_set_active(GTK_TOGGLE_TOOL_BUTTON(b->widget), mark);
}

static void graytable(const menuitem *table)
{
    for (const menuitem *item = table; item->id; ++item) {
        builtitem *b = &built[item];
        b->enabled = sensitive(item);
        if (b->action) g_simple_action_set_enabled(b->action, b->enabled);
        else gtk_widget_set_sensitive(b->widget, b->enabled);
        if (item->marked && b->action) setmark(item, b);
    }
}

void gtkGray_menus()
{
    settingmarks = true;
    graytable(menuEntries);
    graytable(toolBarEntries);
    settingmarks = false;
}

// Each tool by itself: a bar that is insensitive does not look it.
void enabletools(bool on)
{
    for (const menuitem *item = toolBarEntries; item->id; ++item)
        gtk_widget_set_sensitive(built[item].widget, on && built[item].enabled);
}

// --- building ------------------------------------------------------------------------------------------

static GSimpleAction *makeaction(const menuitem *item, GActionMap *group)
{
    GSimpleAction *action = item->marked ? g_simple_action_new_stateful(item->id, nullptr, g_variant_new_boolean(false))
                                         : g_simple_action_new(item->id, nullptr);
    g_signal_connect(action, "activate", G_CALLBACK(on_action), const_cast<menuitem *>(item));
    g_action_map_add_action(group, G_ACTION(action));
    g_object_unref(action);
    return action;
}

static GtkWidget *madebytemplate(const menuitem *item)
{
    std::string id = item->id;
    return id == "menuItemTreeView" ? gtkAppWindowGlobal->menuItemTreeView
         : id == "menuItemRecent" ? gtkAppWindowGlobal->menuItemRecent : nullptr;
}

static GtkWidget *makewidget(const menuitem *item)
{
    GtkWidget *w = madebytemplate(item);
    if (!w) w = item->marked ? gtk_check_menu_item_new() : gtk_menu_item_new();
    gtk_menu_item_set_use_underline(GTK_MENU_ITEM(w), true);
    gtk_menu_item_set_label(GTK_MENU_ITEM(w), item->label);
    gtk_widget_set_name(w, item->id);
    gtk_widget_show(w);
    return w;
}

// The key stands beside the item because its label knows the action.
static void setaccel(const menuitem *item, const std::string &action)
{
    char key[30];
    snprintf(key, sizeof key, "<Primary>%c", item->accel);
    const char *keys[] = { key, nullptr };
    gtk_application_set_accels_for_action(GTK_APPLICATION(g_application_get_default()), action.c_str(), keys);
    GtkWidget *label = gtk_bin_get_child(GTK_BIN(built[item].widget));
    if (GTK_IS_ACCEL_LABEL(label)) gtk_accel_label_set_accel(GTK_ACCEL_LABEL(label), guint(item->accel), GDK_CONTROL_MASK);
}

static void buildbar()
{
    std::vector<GtkWidget *> shells = { gtkAppWindowGlobal->menubar };       // of the depths so far
    for (const menuitem *item = menuEntries; item->id; ++item) {
        builtitem b = { nullptr, makewidget(item), true };
        shells.resize(size_t(item->depth) + 1);
        gtk_menu_shell_append(GTK_MENU_SHELL(shells.back()), b.widget);
        built[item] = b;
        if (hasitems(item)) {
            GtkWidget *menu = gtk_menu_new();
            gtk_menu_item_set_submenu(GTK_MENU_ITEM(b.widget), menu);
            shells.push_back(menu);
        } else if (!byitself(item)) {
            std::string action = std::string("win.") + item->id;
            built[item].action = makeaction(item, G_ACTION_MAP(gtkAppWindowGlobal));
            gtk_actionable_set_action_name(GTK_ACTIONABLE(b.widget), action.c_str());
            if (item->accel) setaccel(item, action);
        }
    }
}

static void buildtools()
{
    gtk_icon_theme_add_resource_path(gtk_icon_theme_get_default(), ZEL_RESOURCES "img");
    GSimpleActionGroup *group = g_simple_action_group_new();
    gtk_widget_insert_action_group(GTK_WIDGET(gtkAppWindowGlobal), "win_tool", G_ACTION_GROUP(group));
    for (const menuitem *item = toolBarEntries; item->id; ++item) {
        GtkToolItem *tool = item->marked ? gtk_toggle_tool_button_new() : gtk_tool_button_new(nullptr, nullptr);
        gtk_tool_button_set_icon_name(GTK_TOOL_BUTTON(tool), (std::string(item->id) + "-symbolic").c_str());
        gtk_tool_button_set_label(GTK_TOOL_BUTTON(tool), item->label);
        gtk_widget_set_tooltip_text(GTK_WIDGET(tool), item->label);
        gtk_widget_set_name(GTK_WIDGET(tool), item->id);
        gtk_toolbar_insert(GTK_TOOLBAR(gtkAppWindowGlobal->toolbar), tool, -1);
        gtk_widget_show(GTK_WIDGET(tool));
        built[item] = { makeaction(item, G_ACTION_MAP(group)), GTK_WIDGET(tool), true };
        gtk_actionable_set_action_name(GTK_ACTIONABLE(tool), (std::string("win_tool.") + item->id).c_str());
    }
    g_object_unref(group);
}

void buildmenus()
{
    buildbar();
    buildtools();
    GtkLoadRecentIcons();
}

// --- showing -------------------------------------------------------------------------------------------

void showmenus(bool shown)
{
    gtk_widget_set_visible(gtkAppWindowGlobal->menubar, shown);
    gtk_widget_set_visible(gtkAppWindowGlobal->toolbar, shown && tools_visible);
}

void showtools(bool shown)
{
    tools_visible = shown;
    gtk_widget_set_visible(gtkAppWindowGlobal->toolbar, shown);
}
