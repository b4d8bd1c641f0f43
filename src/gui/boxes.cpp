// Boxes with a message, and their keys: 'y' is yes, 'n' and Esc are no; with three buttons Esc is
// cancel.
#include "gui/boxes.h"
#include "gui/appwindow.h"
#include "kernel/utf8.h"
#include "kernel/window.h"
#include <algorithm>
#include <string>

GtkWidget *Dialog_Now;
int exvalis = 1;

constexpr int YES = 1, NO = 0, CANCEL = 2;

static gboolean on_boxkey(GtkWidget *box, GdkEventKey *event, gpointer flags) noexcept
{
    int kind = GPOINTER_TO_INT(flags), answer = -1;
    if (event->state & (GDK_CONTROL_MASK | GDK_MOD1_MASK)) return false;
    if (event->keyval == GDK_KEY_y || event->keyval == GDK_KEY_Y) answer = YES;
    if (event->keyval == GDK_KEY_n || event->keyval == GDK_KEY_N) answer = NO;
    if (event->keyval == GDK_KEY_Escape) answer = kind & BOX_CANCEL ? CANCEL : NO;
    if (answer < 0) return false;
    gtk_dialog_response(GTK_DIALOG(box), answer);
    return true;
}

// Whoever calls gives a title of its own, or leaves it to the kind of the box.
static const char *titleof(const char *title, int flags)
{
    if (title && *title) return title;
    return flags & BOX_ERROR ? "ERROR" : flags & BOX_WARNING ? "WARNING" : flags & BOX_ASK ? "Please answer..." : "ZEL";
}

static GtkMessageType kindof(int flags)
{
    return flags & BOX_ERROR ? GTK_MESSAGE_ERROR : flags & BOX_WARNING ? GTK_MESSAGE_WARNING
         : flags & (BOX_ASK | BOX_YESNO | BOX_CANCEL) ? GTK_MESSAGE_QUESTION : GTK_MESSAGE_INFO;
}

int messagebox(const char *title, const char *text, int flags)
{
    std::string plain = inutf8(text);
    plain.erase(std::remove_if(plain.begin(), plain.end(), [](char c) { return c == '\r' || c == '\a'; }), plain.end());
    GtkWidget *over = Dialog_Now ? Dialog_Now : GTK_WIDGET(gtkAppWindowGlobal);
    GtkWidget *box = gtk_message_dialog_new(over ? GTK_WINDOW(over) : nullptr, GTK_DIALOG_MODAL, kindof(flags),
                                            GTK_BUTTONS_NONE, "%s", plain.c_str());
    gtk_window_set_title(GTK_WINDOW(box), titleof(title, flags));
    atk_object_set_name(gtk_widget_get_accessible(box), titleof(title, flags));
    GtkDialog *dialog = GTK_DIALOG(box);
    bool asks = flags & (BOX_YESNO | BOX_CANCEL);
    if (asks) {
        gtk_dialog_add_buttons(dialog, "_Yes", YES, "_No", NO, nullptr);
        if (flags & BOX_CANCEL) gtk_dialog_add_button(dialog, "_Cancel", CANCEL);
        g_signal_connect(box, "key-press-event", G_CALLBACK(on_boxkey), GINT_TO_POINTER(flags));
    } else
        gtk_dialog_add_button(dialog, "_OK", YES);
    gtk_dialog_set_default_response(dialog, YES);

    GtkWidget *below = Dialog_Now;
    Dialog_Now = box;
    int answer = gtk_dialog_run(dialog);
    Dialog_Now = below;
    gtk_widget_destroy(box);
    if (answer < 0) answer = !asks ? YES : flags & BOX_CANCEL ? CANCEL : NO;     // closed by the window manager
    return exvalis = answer;
}

void textbox(const char *title, const char *caption)
{
    messagebox(title, (std::string(title) + "\n\n" + caption).c_str(), 0);
}
