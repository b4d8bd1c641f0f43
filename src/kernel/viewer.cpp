// The text viewer: goes back in the text buffer, screen by screen, where the front end shows only
// what comes.  The front end gives keys and shows screens; all that a key does is a row of one
// table, from which the viewer's own help is made too.
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

constexpr int SHIFT = 8;                 // columns a press moves sideways

static struct {
    int  offset, column;                 // lines back from the end, as a negative number; first column shown
    bool done;
    std::string target, message;         // text searched last; said once in the last line
} view;

static int rows() { return std::min(screen_size, GILROWS); }

// --- what the keys do ---------------------------------------------------------------------

static void up()         { --view.offset; }
static void down()       { ++view.offset; }
static void screenup()   { view.offset -= rows() - 1; }
static void screendown() { view.offset += rows() - 1; }
static void totop()      { view.offset = -WINBUFSIZ(); }
static void toend()      { view.offset = 0; }
static void left()       { view.column = std::max(0, view.column - SHIFT); }
static void right()      { view.column += SHIFT; }
static void leave()      { view.done = true; }

// The line found becomes the first of the screen.
static void goonsearching(bool wrap)
{
    if (view.target.empty()) {
        view.message = "No text to search: press / first";
        return;
    }
    int line = search_text_buffer(view.target.c_str(), wrap);
    if (line >= 0) {
        view.offset = line - std::max(0, WINBUFSIZ() - rows());
        view.message = "Found in line " + std::to_string(line);
    } else
        view.message = wrap ? "Not found" : "Not found from here on: press w to search from the first line";
}

static void next()    { goonsearching(false); }
static void wrapped() { goonsearching(true); }

// Reads a text in the last line; false when it is given up.
static bool readtext(const char *question, std::string *text)
{
    text->clear();
    for (;;) {
        window.showscreen(nullptr, 0, (question + *text).c_str());
        int key = window.waitkey();
        if (key == KEY_ESC) return false;
        if (key == KEY_RETURN) return true;
        if (key == KEY_BACKSPACE) {
            while (!text->empty() && (text->back() & 0xc0) == 0x80) text->pop_back();
            if (!text->empty()) text->pop_back();
        } else if (key >= ' ' && key < 256)
            *text += char(key);
    }
}

static void search()
{
    std::string text;
    if (!readtext("Search: ", &text)) return;
    if (!text.empty()) view.target = text;
    search_from(first_linout);
    next();
}

static void showhelp();

constexpr struct viewkey {
    int keys[3];
    const char *shown, *words;
    void (*act)();
} viewkeys[] = {
    { { KEY_UP, 'k', 0 },              "Up, k",              "one line up",                             up },
    { { KEY_DOWN, 'j', KEY_RETURN },   "Down, j, Enter",     "one line down",                           down },
    { { KEY_PAGEUP, 'b', 0 },          "Page Up, b",         "one screen up",                           screenup },
    { { KEY_PAGEDOWN, ' ', 0 },        "Page Down, Space",   "one screen down",                         screendown },
    { { KEY_HOME, 'g', 0 },            "Home, g",            "first line kept",                         totop },
    { { KEY_END, 'G', 0 },             "End, G",             "last line",                               toend },
    { { KEY_LEFT, 0, 0 },              "Left",               "eight columns to the left",               left },
    { { KEY_RIGHT, 0, 0 },             "Right",              "eight columns to the right",              right },
    { { '/', 0, 0 },                   "/",                  "search a text, from this screen on; case is ignored", search },
    { { 'n', 0, 0 },                   "n",                  "next line that holds it",                 next },
    { { 'w', 0, 0 },                   "w",                  "the same, going on from the first line after the last", wrapped },
    { { 'h', '?', 0 },                 "h, ?",               "this help",                               showhelp },
    { { 'q', KEY_ESC, 0 },             "q, Esc",             "leave",                                   leave },
};

static void showhelp()
{
    std::string text = "\n\nText-viewer\n\n";
    for (const viewkey &row : viewkeys) {
        std::string shown = row.shown;
        shown.resize(20, ' ');
        text += "  " + shown + row.words + "\n";
    }
    window.showscreen(text.c_str(), 0, "Press a key to go back");
    window.waitkey();
}

// --- screens ------------------------------------------------------------------------------

static void showlines()
{
    copygil(view.offset);
    view.offset = give_scroll_pos();
    std::string text;
    for (int i = give_first_line(); i < give_last_line(); ++i) text += bufferline(i) + "\n";
    std::string status = std::exchange(view.message, "");
    if (!give_total_lines()) status = "The text buffer is empty";
    if (status.empty())
        status = "Lines " + std::to_string(give_first_line()) + "-" + std::to_string(give_last_line() - 1) + " of " +
                 std::to_string(give_total_lines());
    window.showscreen(text.c_str(), view.column, (status + "   (h: help, q: leave)").c_str());
}

// The last line of the screen is the viewer's own.  It opens on the screen before the last, for
// the last is what was in sight.
void view_text_buffer()
{
    if (!window.waitkey || !window.showscreen) return;
    struct statusline { statusline() { --screen_size; } ~statusline() { ++screen_size; } } here;
    view = {};
    screenup();
    while (!view.done) {
        showlines();
        int key = window.waitkey();
        for (const viewkey &row : viewkeys)
            if (std::find(std::begin(row.keys), std::end(row.keys), key) != std::end(row.keys)) {
                row.act();
                break;
            }
    }
}
