// The command entry and its three modes: commands, search in the text, search in the history of
// commands.  In the last one a second entry takes what is searched, and the first shows the match.
#include "gui/appwindow.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/utf8.h"
#include "kernel/window.h"
#include <cctype>
#include <cstring>
#include <readline/history.h>
#include <string>
#include <strings.h>
#include <vector>

enum entrymode { COMMANDS = 1, TEXTSEARCH = 2, HISTORYSEARCH = 3 };
constexpr int MOSTMATCHES = 1000;

static int mode = COMMANDS;
static std::vector<GtkTextMark *> matches;   // starts of what was found, in the order of the text
static int matchlength;                      // of each, in characters
static int matchat = -1;                     // the one shown; -1: none yet
static int historyat = -1;                   // line of the history that matches; -1: none
static std::string halftyped;                // in the entry when a search began

static GtkEntry *entry()  { return GTK_ENTRY(gtkAppWindowGlobal->entryCommand); }
static GtkEntry *search() { return GTK_ENTRY(gtkAppWindowGlobal->entryCommandSearch); }
static GtkTextView *view() { return GTK_TEXT_VIEW(gtkAppWindowGlobal->textView); }
static GtkTextBuffer *buffer() { return gtk_text_view_get_buffer(view()); }

// Lines of the history may come from a damaged file.
static void settext(GtkEntry *e, const char *text)
{
    gtk_entry_set_text(e, inutf8(text).c_str());
    gtk_editable_set_position(GTK_EDITABLE(e), -1);
}

static void say(const char *text) { gtk_label_set_text(GTK_LABEL(gtkAppWindowGlobal->labelEntryMsg), text); }

void focusentry()
{
    GtkEntry *e = mode == HISTORYSEARCH ? search() : entry();
    if (gtk_widget_get_mapped(GTK_WIDGET(e))) gtk_entry_grab_focus_without_selecting(e);
}

void entryshow(bool shown) { gtk_widget_set_visible(gtkAppWindowGlobal->gridEntry, shown); }

void entrybusy(bool busy)
{
    static bool hadfocus;
    GtkWidget *e = GTK_WIDGET(entry());
    if (busy) hadfocus = gtk_window_get_focus(GTK_WINDOW(gtkAppWindowGlobal)) == e;
    gtk_widget_set_sensitive(e, !busy);
    if (!busy && hadfocus) focusentry();
}

// --- the history of commands ------------------------------------------------------------------------

void rememberline(const char *line)
{
    add_history(line);
    using_history();
    history_set_pos(history_length);
}

static void walkhistory(bool back)
{
    HIST_ENTRY *line = back ? previous_history() : next_history();
    if (line) settext(entry(), line->line);
    else if (!back) settext(entry(), "");
}

static bool holds(const char *line, const char *text)
{
    for (size_t n = strlen(text); *line; ++line)
        if (!strncasecmp(line, text, n)) return true;
    return !*text;
}

// The newest line before that one which holds the text searched; -1 when there is none.
static int matchbefore(int line)
{
    const char *text = gtk_entry_get_text(search());
    while (*text && --line >= 0)
        if (holds(history_get(line + history_base)->line, text)) return line;
    return -1;
}

static void showhistorymatch(int line)
{
    bool none = line < 0;
    if (!none) {
        historyat = line;
        settext(entry(), history_get(line + history_base)->line);
    } else if (historyat < 0)
        settext(entry(), "");
    say(none && *gtk_entry_get_text(search()) ? historyat < 0 ? "No matches in\nhistory" : "No more matches\nin history" : "");
}

static void on_historysearched(GtkEditable *, gpointer) noexcept
{
    if (mode != HISTORYSEARCH) return;
    historyat = -1;
    showhistorymatch(matchbefore(history_length));
}

// --- the search in the text --------------------------------------------------------------------------

static void dropmatches()
{
    GtkTextIter from, to;
    gtk_text_buffer_get_bounds(buffer(), &from, &to);
    gtk_text_buffer_remove_tag_by_name(buffer(), "match", &from, &to);
    gtk_text_buffer_remove_tag_by_name(buffer(), "matchNavigate", &from, &to);
    for (GtkTextMark *mark : matches) gtk_text_buffer_delete_mark(buffer(), mark);
    matches.clear();
    matchat = -1;
}

// False when there are more than can be marked.
static bool markmatches(const char *text)
{
    dropmatches();
    matchlength = int(g_utf8_strlen(text, -1));
    GtkTextIter at, from, to;
    gtk_text_buffer_get_start_iter(buffer(), &at);
    while (gtk_text_iter_forward_search(&at, text, GTK_TEXT_SEARCH_CASE_INSENSITIVE, &from, &to, nullptr)) {
        if (int(matches.size()) == MOSTMATCHES) return false;
        matches.push_back(gtk_text_buffer_create_mark(buffer(), nullptr, &from, true));
        gtk_text_buffer_apply_tag_by_name(buffer(), "match", &from, &to);
        at = to;
    }
    return true;
}

static void tagmatch(int n, bool on)
{
    GtkTextIter from, to;
    gtk_text_buffer_get_iter_at_mark(buffer(), &from, matches[size_t(n)]);
    to = from;
    gtk_text_iter_forward_chars(&to, matchlength);
    (on ? gtk_text_buffer_apply_tag_by_name : gtk_text_buffer_remove_tag_by_name)(buffer(), "matchNavigate", &from, &to);
}

static void gotomatch(int step)
{
    int n = int(matches.size());
    if (!n) return;
    if (matchat >= 0) tagmatch(matchat, false);
    matchat = matchat < 0 ? (step > 0 ? 0 : n - 1) : (matchat + step + n) % n;
    tagmatch(matchat, true);
    gtk_text_view_scroll_to_mark(view(), matches[size_t(matchat)], 0.1, false, 0, 0);
}

static void searchtext()
{
    const char *text = gtk_entry_get_text(entry());
    if (!*text) return;
    bool all = markmatches(text);
    char message[120];
    int n = int(matches.size());
    if (n) snprintf(message, sizeof message, n == 1 ? "%i match in\ntext search" : "%i matches in\ntext search", n);
    else snprintf(message, sizeof message, "No matches in\ntext search");
    say(message);
    gotomatch(1);
    if (all) return;
    snprintf(message, sizeof message, "Matches of search reached maximum allowed.\nShowing up to %i.", MOSTMATCHES);
    MsgBox_OK("Text search", message);
}

// --- modes ------------------------------------------------------------------------------------------

static void setmode(int newmode)
{
    constexpr const char *what[] = {
        "", "Commands (navigate:\u2191\u2193 search: CTRL+R) ", "Text search (navigate matches: F3 / \u21e7 + F3) ",
        "Command search (navigate matches: CTRL + R) "
    };
    if (mode == COMMANDS && newmode != COMMANDS) halftyped = gtk_entry_get_text(entry());
    if (mode == TEXTSEARCH) dropmatches();
    mode = newmode;
    say("");
    gtk_label_set_text(GTK_LABEL(gtkAppWindowGlobal->labelEntryWhat), what[mode]);
    gtk_widget_set_visible(GTK_WIDGET(search()), mode == HISTORYSEARCH);
    gtk_editable_set_editable(GTK_EDITABLE(entry()), mode != HISTORYSEARCH);
    if (mode == HISTORYSEARCH) {
        historyat = -1;
        settext(search(), "");
    }
    focusentry();
}

static void starttextsearch()
{
    GtkTextIter from, to;
    bool selected = gtk_text_buffer_get_selection_bounds(buffer(), &from, &to);
    entryshow(true);
    setmode(TEXTSEARCH);
    if (!selected) {
        settext(entry(), "");
        return;
    }
    char *text = gtk_text_iter_get_text(&from, &to);
    text[strcspn(text, "\n")] = 0;
    settext(entry(), text);
    g_free(text);
}

static void starthistorysearch()
{
    if (mode == HISTORYSEARCH) {
        showhistorymatch(historyat < 0 ? -1 : matchbefore(historyat));
        return;
    }
    entryshow(true);
    setmode(HISTORYSEARCH);
    settext(entry(), "");
}

// The entry takes the match of the history, or what stood there before.
static void leavesearch()
{
    std::string text = mode == HISTORYSEARCH && historyat >= 0 ? gtk_entry_get_text(entry()) : halftyped;
    setmode(COMMANDS);
    settext(entry(), text.c_str());
}

// --- running ----------------------------------------------------------------------------------------

static void runentry()
{
    std::string line = gtk_entry_get_text(entry());
    if (line.find_first_not_of(" \t") == std::string::npos) return;
    rememberline(line.c_str());
    viewecho(line.c_str());
    runcommand(line.c_str());
    settext(entry(), "");
    focusentry();
}

static void on_entryCommand_activate(GtkEntry *, gpointer) noexcept
{
    if (commandruns()) return;
    if (mode == TEXTSEARCH) searchtext();
    else runentry();
}

static void on_search_activate(GtkEntry *, gpointer) noexcept
{
    if (commandruns() || historyat < 0) return;
    leavesearch();
    runentry();
}

// --- keys -------------------------------------------------------------------------------------------

static bool isenter(guint key) { return key == GDK_KEY_Return || key == GDK_KEY_KP_Enter || key == GDK_KEY_ISO_Enter; }

// Keys pressed while a command runs are for the command, but those that move about in the text.
static bool keytocommand(guint key)
{
    if (key == GDK_KEY_Page_Up || key == GDK_KEY_Page_Down) viewpage(key == GDK_KEY_Page_Up ? -1 : 1);
    else if (!isenter(key)) lastkey = int(key);
    return true;
}

static bool controlkey(guint key)
{
    if (key == GDK_KEY_f || key == GDK_KEY_F) starttextsearch();
    else if (key == GDK_KEY_r || key == GDK_KEY_R) starthistorysearch();
    else return false;
    return true;
}

static bool escapekey()
{
    if (mode == COMMANDS) settext(entry(), "");
    else leavesearch();
    return true;
}

static bool entrykey(guint key)
{
    bool walks = mode == COMMANDS && (key == GDK_KEY_Up || key == GDK_KEY_Down);
    if (walks) walkhistory(key == GDK_KEY_Up);
    else if (key == GDK_KEY_Tab) gtk_widget_grab_focus(gtkAppWindowGlobal->textView);
    else return false;
    return true;
}

static bool TextBufferKeyPress(guint key)
{
    if (isenter(key)) focusentry();
    else if (key == GDK_KEY_Home) viewhome();
    else if (key == GDK_KEY_End) viewend();
    else return false;
    return true;
}

bool windowkey(GdkEventKey *event)
{
    guint key = event->keyval;
    if (commandruns()) return keytocommand(key);
    GtkWidget *focus = gtk_window_get_focus(GTK_WINDOW(gtkAppWindowGlobal));
    if (event->state & GDK_CONTROL_MASK) return controlkey(key);
    if (key == GDK_KEY_Escape) return escapekey();
    if (key == GDK_KEY_F3 && mode == TEXTSEARCH) {
        gotomatch(event->state & GDK_SHIFT_MASK ? -1 : 1);
        return true;
    }
    if (focus == GTK_WIDGET(entry()) || focus == GTK_WIDGET(search())) return entrykey(key);
    return (!focus || focus == GTK_WIDGET(view())) && TextBufferKeyPress(key);
}

void startentry()
{
    g_signal_connect(entry(), "activate", G_CALLBACK(on_entryCommand_activate), nullptr);
    g_signal_connect(search(), "activate", G_CALLBACK(on_search_activate), nullptr);
    g_signal_connect(search(), "changed", G_CALLBACK(on_historysearched), nullptr);
    setmode(COMMANDS);
}
