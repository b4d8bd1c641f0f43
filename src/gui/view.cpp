// The text view.  It shows the tail of the text buffer of the kernel, from which it reads what is
// new, and of its own the commands chosen in menus and one progress line, always the last:
//
//     ... text of the buffer ... | progress line
//                                ^ mark "progress"
#include "gui/appwindow.h"
#include "gui/history.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/utf8.h"
#include <algorithm>
#include <cmath>

constexpr int SLACK = 500;               // lines beyond those of the text buffer before the oldest are dropped
constexpr int LEASTLINES = 10;           // of the view, for screen_size

float fontWidth = 9.23f;
static textcursor seen;                  // how far the text buffer was read
static std::string halfsequence;         // shown with what follows it
static bool grew;                        // since the view was scrolled to its end
static GtkCssProvider *fontcss;

static GtkTextView *view() { return GTK_TEXT_VIEW(gtkAppWindowGlobal->textView); }
static GtkTextBuffer *buffer() { return gtk_text_view_get_buffer(view()); }

static GtkTextIter atend()
{
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer(), &end);
    return end;
}

static GtkTextIter atprogress()
{
    GtkTextIter at;
    gtk_text_buffer_get_iter_at_mark(buffer(), &at, gtk_text_buffer_get_mark(buffer(), "progress"));
    return at;
}

// False: there was none.
static bool dropprogress()
{
    GtkTextIter from = atprogress(), to = atend();
    if (gtk_text_iter_equal(&from, &to)) return false;
    gtk_text_buffer_delete(buffer(), &from, &to);
    return true;
}

static void dropoldest()
{
    int excess = gtk_text_buffer_get_line_count(buffer()) - (WINBUFSIZ() + 1 + SLACK);
    if (excess < SLACK) return;
    GtkTextIter from, to;
    gtk_text_buffer_get_start_iter(buffer(), &from);
    gtk_text_buffer_get_iter_at_line(buffer(), &to, excess);
    gtk_text_buffer_delete(buffer(), &from, &to);
}

// Signs without a shape would be drawn as boxes.
static void dropcontrols(std::string *text)
{
    auto control = [](unsigned char c) { return c < ' ' && c != '\n' && c != '\t'; };
    text->erase(std::remove_if(text->begin(), text->end(), control), text->end());
}

static void insert(std::string text, const char *tag)
{
    dropprogress();
    dropcontrols(&text);
    if (text.empty()) return;
    GtkTextIter end = atend();
    gtk_text_buffer_insert_with_tags_by_name(buffer(), &end, text.data(), int(text.size()), tag, nullptr);
    end = atend();
    gtk_text_buffer_move_mark_by_name(buffer(), "progress", &end);
    dropoldest();
    grew = true;
}

void viewappend()
{
    std::string text = std::move(halfsequence);
    readnewtext(&seen, &text);
    size_t whole = utf8whole(text.data(), text.size());
    halfsequence = text.substr(whole);
    if (whole) insert(inutf8(text.substr(0, whole)), nullptr);
}

void viewecho(const char *command)
{
    viewappend();
    GtkTextIter end = atprogress();
    std::string line = gtk_text_iter_starts_line(&end) ? "" : "\n";
    insert(line + "> " + inutf8(command) + "\n", "command");
}

// A line in place of another leaves the view where it is: what came before may be read meanwhile.
void viewprogress(const char *line)
{
    bool replaces = dropprogress();
    if (*line) {
        std::string text = inutf8(line);
        dropcontrols(&text);
        GtkTextIter end = atend();
        gtk_text_buffer_insert(buffer(), &end, text.data(), int(text.size()));
        if (text.back() == '\n') {       // this line stays
            end = atend();
            gtk_text_buffer_move_mark_by_name(buffer(), "progress", &end);
        }
        grew = grew || !replaces;
    }
}

void viewclear()
{
    viewappend();
    gtk_text_buffer_set_text(buffer(), "", 0);
    halfsequence.clear();
    grew = true;
}

int viewlines()
{
    return gtk_text_buffer_get_char_count(buffer()) ? gtk_text_buffer_get_line_count(buffer()) : 0;
}

// The mark stands at the end of the text, which moves away from under the view as it grows.
void viewsettle()
{
    if (!grew) return;
    grew = false;
    GtkTextIter end = atend();
    gtk_text_iter_set_line_offset(&end, 0);
    GtkTextMark *mark = gtk_text_buffer_get_mark(buffer(), "scroll");
    gtk_text_buffer_move_mark(buffer(), mark, &end);
    gtk_text_view_scroll_mark_onscreen(view(), mark);
}

static void scrollto(double where)
{
    GtkAdjustment *a = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(gtkAppWindowGlobal->scrolledWindow));
    gtk_adjustment_set_value(a, where < 1 ? gtk_adjustment_get_lower(a) : gtk_adjustment_get_upper(a));
}

void viewhome() { scrollto(0); }
void viewend()  { scrollto(1); }

void viewpage(int pages)
{
    GtkAdjustment *a = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(gtkAppWindowGlobal->scrolledWindow));
    gtk_adjustment_set_value(a, gtk_adjustment_get_value(a) + pages * gtk_adjustment_get_page_increment(a));
}

// --- which lines are seen ------------------------------------------------------------------------

static int lineat(int y)
{
    GtkTextIter at;
    gtk_text_view_get_line_at_y(view(), &at, y, nullptr);
    return gtk_text_iter_get_line(&at) + 1;
}

void refreshLinesInfo()
{
    int lines = viewlines();
    GdkRectangle seen;
    gtk_text_view_get_visible_rect(view(), &seen);
    char text[100] = "0";
    if (lines) snprintf(text, sizeof text, "Lines %i-%i of %i", lineat(seen.y), lineat(seen.y + seen.height - 1), lines);
    GtkLabel *label = GTK_LABEL(gtkAppWindowGlobal->labelStatusLines);
    if (g_strcmp0(gtk_label_get_text(label), text)) gtk_label_set_text(label, text);
}

static void on_scrolled(GtkAdjustment *, gpointer) noexcept { refreshLinesInfo(); }

static void on_resized(GtkWidget *, GdkRectangle *, gpointer) noexcept
{
    GdkRectangle seen;
    int y, height;
    gtk_text_view_get_visible_rect(view(), &seen);
    GtkTextIter start;
    gtk_text_buffer_get_start_iter(buffer(), &start);
    gtk_text_view_get_line_yrange(view(), &start, &y, &height);
    if (height > 0) screen_size = std::max(LEASTLINES, seen.height / height);
    if (fontWidth > 0) screen_width = std::max(1, int(float(seen.width) / fontWidth));
    refreshLinesInfo();
}

// --- the font ----------------------------------------------------------------------------------

static void measurefont()
{
    PangoContext *context = gtk_widget_get_pango_context(gtkAppWindowGlobal->textView);
    PangoLayout *layout = pango_layout_new(context);
    PangoFontDescription *font = nullptr;
    gtk_style_context_get(gtk_widget_get_style_context(gtkAppWindowGlobal->textView), GTK_STATE_FLAG_NORMAL,
                          GTK_STYLE_PROPERTY_FONT, &font, nullptr);
    int width = 0;
    pango_layout_set_font_description(layout, font);
    pango_layout_set_text(layout, "0000000000", -1);
    pango_layout_get_size(layout, &width, nullptr);
    if (width) fontWidth = float(width) / (10 * PANGO_SCALE);
    pango_font_description_free(font);
    g_object_unref(layout);
}

void setviewfont()
{
    std::string family;
    for (const char *c = guihistory.fontfamily; *c; ++c)
        if (*c != '"' && *c != '\\' && *c >= ' ') family += *c;
    char css[400];
    snprintf(css, sizeof css,
             "textview.view { font-family: \"%s\", monospace; font-size: %ipt; font-style: %s; font-weight: %i; }",
             family.c_str(), guihistory.fontsize, fontstylename(guihistory.fontstyle), guihistory.fontweight);
    std::string all = css;
    if (guihistory.textcolour != guihistory.pagecolour) {
        snprintf(css, sizeof css, "textview.view text { color: #%06x; background-color: #%06x; }",
                 unsigned(guihistory.textcolour), unsigned(guihistory.pagecolour));
        all += css;
    }
    gtk_css_provider_load_from_data(fontcss, all.c_str(), -1, nullptr);
    measurefont();
}

void changefontsize(int by)
{
    guihistory.fontsize = std::clamp(guihistory.fontsize + by, LEASTFONTSIZE, LARGESTFONTSIZE);
    setviewfont();
}

// --- the start -----------------------------------------------------------------------------------

void startview()
{
    GtkTextIter end = atend();
    gtk_text_buffer_create_mark(buffer(), "progress", &end, true);
    gtk_text_buffer_create_mark(buffer(), "scroll", &end, true);
    gtk_text_buffer_create_tag(buffer(), "command", "weight", PANGO_WEIGHT_BOLD, "wrap-mode", GTK_WRAP_WORD_CHAR, nullptr);
    gtk_text_buffer_create_tag(buffer(), "match", "background", "lightgreen", "foreground", "black", nullptr);
    gtk_text_buffer_create_tag(buffer(), "matchNavigate", "background", "orange", "foreground", "black", nullptr);
    fontcss = gtk_css_provider_new();
    gtk_style_context_add_provider(gtk_widget_get_style_context(gtkAppWindowGlobal->textView),
                                   GTK_STYLE_PROVIDER(fontcss), 600);
    GtkAdjustment *a = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(gtkAppWindowGlobal->scrolledWindow));
    g_signal_connect(a, "value-changed", G_CALLBACK(on_scrolled), nullptr);
    g_signal_connect(a, "changed", G_CALLBACK(on_scrolled), nullptr);
    g_signal_connect_after(gtkAppWindowGlobal->textView, "size-allocate", G_CALLBACK(on_resized), nullptr);
}
