// gui/menus.h: the items of menus and tools, one table each.  An item is a text of commands, a
// dialog that makes one, or something the window does by itself.
//
// An item whose command is not in the command table yet (its row is notyetcom) is insensitive, and so is one
// that does nothing; a submenu is, when all it holds is.
#pragma once
#include "gui/dialogs/dialog.h"

struct menuitem {
    const char *id = nullptr;            // null ends a table
    int depth = 0;                       // 0: a menu of the bar; its items follow it with 1, theirs with 2
    const char *label = "";              // with its mnemonic behind '_'; of tools, what the pointer is told
    const char *command = nullptr;       // run; of an item with a mark: what sets it
    const char *uncommand = nullptr;     // what removes the mark; null: choosing a marked item does the same again
    const dialogform *dialog = nullptr;
    void (*act)() = nullptr;             // something of the window itself
    bool (*enabled)() = nullptr;         // null: always
    bool (*marked)() = nullptr;          // null: there is no mark
    char accel = 0;                      // with the Control key; 0: none
    const char *word = nullptr;          // the command needed, when it is not the first word of what is run
};
extern const menuitem menuEntries[], toolBarEntries[];

void buildmenus();                       // menu bar, tool bar and their actions
void gtkGray_menus();                    // sensitivity and marks, from the state
void chooseitem(const menuitem *item);   // does what the item does
bool itemenabled(const menuitem *item);  // as gtkGray_menus found it last
bool hasitems(const menuitem *item);     // it is a menu or submenu
const menuitem *behind(const menuitem *item);    // the first one that is not within it
void enabletools(bool on);               // the tools that can be used now; off while a command runs
void showmenus(bool shown);              // the bar, and with it the tools
void showtools(bool shown);
void readmenucommand();                  // the rest of the command menu

void GtkLoadRecentIcons();               // the menu of recent files (recent.cpp)
void gtkAddRecentFile(const char *path);
