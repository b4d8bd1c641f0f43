// The slots of the front end.  Until one fills them they do nothing, which is what a run in the
// background keeps: boxes take their first button.
#include "kernel/window.h"

windowslots window = {
    .zel_app_window_getKeyPressed = [] { return 0; },
    .zel_app_window_refresh = [] {},
    .zel_app_window_dialog = [](const char *, const char *) {},
    .zel_app_window_updateBufferSearches = [](const char *) {},
    .zel_app_window_updateBuffer = [](const char *) {},
    .zel_app_window_clearBuffer = [] {},
    .zel_app_window_isEmptyBuffer = [] { return true; },
    .zel_app_window_countBufferLines = [] { return 0; },
    .messagebox = [](const char *, const char *, int) { return 1; },
    .looppending = [] {},
    .enable_tools = [](int) {},
    .readcommand = nullptr,
    .progressline = [](const char *) {},
    .waitkey = nullptr,
    .showscreen = nullptr,
};

int  GTK_Message_Box(const char *title, const char *text, int flags) { return window.messagebox(title, text, flags); }
void MsgBox_OK(const char *title, const char *text)                  { window.messagebox(title, text, 0); }
int  MsgBox_YesNo(const char *title, const char *text)               { return window.messagebox(title, text, BOX_YESNO); }
void gtkLoopPending()                                                { window.looppending(); }
void enable_tools(int on)                                            { window.enable_tools(on); }
