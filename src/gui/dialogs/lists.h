// gui/dialogs/lists.h: choosing taxa, characters or trees from a list.
#pragma once
#include "gui/dialogs/dialog.h"

// The list is text as commands take it: numbers and ranges, "0.3 7".  False when given up.
bool chooselist(fieldkind kind, GtkWindow *over, const char *title, std::string *list);
std::string saylist(fieldkind kind, const std::string &list);    // in a few words
