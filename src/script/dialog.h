// script/dialog.h: what scripts ask the user.
#pragma once
#include <string>

// The window's chooser of files, those with the extension (".zel"; "": any) before others; "" when it was
// given up.  Null: there is no window, and names are typed.
extern std::string (*choose_file_name)(const char *title, bool towrite, const char *extension);
