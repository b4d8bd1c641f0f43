// kernel/window.h: the only way from the kernel to a front end is this table of slots.  The
// window fills it, or the console; a background run keeps the slots that do nothing.
#pragma once

struct windowslots {
    int  (*zel_app_window_getKeyPressed)();             // last key, cleared by reading; 0 = none
    void (*zel_app_window_refresh)();                   // menus and status line
    void (*zel_app_window_dialog)(const char *title, const char *caption);
    void (*zel_app_window_updateBufferSearches)(const char *text);   // append while a search runs
    void (*zel_app_window_updateBuffer)(const char *text);           // append what the text buffer got
    void (*zel_app_window_clearBuffer)();
    bool (*zel_app_window_isEmptyBuffer)();
    int  (*zel_app_window_countBufferLines)();
    // services of the front end
    int  (*messagebox)(const char *title, const char *text, int flags);   // see GTK_Message_Box
    void (*looppending)();                              // let the front end handle its events
    void (*enable_tools)(int on);
    char *(*readcommand)(const char *prompt);           // a line, malloc'ed, without newline; null = end of input
    void (*progressline)(const char *text);             // show text in place of the last progress line; "" clears it; a line end makes it stay
    int  (*waitkey)();                                  // the next key typed, waited for; null: nobody can type
    void (*showscreen)(const char *lines, int column, const char *lastline);   // a whole screen: lines from a column on,
                                                        // and its last line; null lines stay as they are.  Null: no screen
};
extern windowslots window;

constexpr int KEY_ESC = 65307, KEY_RETURN = 65293, KEY_BACKSPACE = 65288;
constexpr int KEY_HOME = 65360, KEY_LEFT = 65361, KEY_UP = 65362, KEY_RIGHT = 65363, KEY_DOWN = 65364;
constexpr int KEY_PAGEUP = 65365, KEY_PAGEDOWN = 65366, KEY_END = 65367;
constexpr int BOX_ERROR = 1, BOX_WARNING = 8, BOX_ASK = 32, BOX_YESNO = 2, BOX_CANCEL = 16;

// One button: 1.  BOX_YESNO: yes 1, no 0.  BOX_CANCEL: yes 1, no 0, cancel 2.
int  GTK_Message_Box(const char *title, const char *text, int flags);
void MsgBox_OK(const char *title, const char *text);
int  MsgBox_YesNo(const char *title, const char *text);
void gtkLoopPending();
void enable_tools(int on);
