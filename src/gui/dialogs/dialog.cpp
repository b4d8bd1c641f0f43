// Dialogs: fields laid out by a file of the resources, with a table that says what each one gives to
// the command, which is shown below them.
#include "gui/dialogs/dialog.h"
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "gui/dialogs/lists.h"
#include "kernel/shell.h"
#include "kernel/window.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <vector>

constexpr size_t LEASTWIDTH = 44, MOSTWIDTH = 80;  // letters of the command that are seen

// The frame of all of them; the named children are those of zeldialog.ui.
struct ZelDialog {
    GtkDialog parent;
    GtkWidget *note, *fields, *commandrow, *command, *ok;
};
struct ZelDialogClass {
    GtkDialogClass parent;
};
G_DEFINE_TYPE(ZelDialog, zel_dialog, GTK_TYPE_DIALOG)

static void zel_dialog_init(ZelDialog *self) { gtk_widget_init_template(GTK_WIDGET(self)); }

static void zel_dialog_class_init(ZelDialogClass *type)
{
    GtkWidgetClass *widget = GTK_WIDGET_CLASS(type);
    gtk_widget_class_set_template_from_resource(widget, ZEL_RESOURCES "zeldialog.ui");
    gtk_widget_class_bind_template_child_internal(widget, ZelDialog, note);
    gtk_widget_class_bind_template_child_internal(widget, ZelDialog, fields);
    gtk_widget_class_bind_template_child(widget, ZelDialog, commandrow);
    gtk_widget_class_bind_template_child(widget, ZelDialog, command);
    gtk_widget_class_bind_template_child(widget, ZelDialog, ok);
}

struct shownfield {
    const field *of;
    GtkWidget *widget;                   // holds the value, but of a list
    std::string list;                    // of a list
    struct showndialog *dialog;
};

struct showndialog {
    const dialogform *form;
    GtkBuilder *ui;
    ZelDialog *dialog;
    std::vector<shownfield> fields;      // filled before any of them is pointed at
};

static std::map<std::string, std::string> lastvalues;    // by dialog and key

std::string ridofund(const char *label)
{
    std::string text;
    for (; *label; ++label)
        if (*label != '_') text += *label;
    return text;
}

// --- values ------------------------------------------------------------------------------------------

static bool islist(fieldkind kind) { return kind >= TAXA && kind <= TREES; }
static bool isfile(fieldkind kind) { return kind == READFILE || kind == WRITEFILE; }
static bool ischeck(const shownfield &s) { return GTK_IS_CHECK_BUTTON(s.widget); }
static bool isnumber(const shownfield &s) { return GTK_IS_SPIN_BUTTON(s.widget); }

static std::string withoutzeros(std::string number)
{
    if (number.find('.') == std::string::npos) return number;
    while (number.back() == '0') number.pop_back();
    if (number.back() == '.') number.pop_back();
    return number;
}

static std::string numberof(const shownfield &s)
{
    char text[60];
    GtkSpinButton *spin = GTK_SPIN_BUTTON(s.widget);
    snprintf(text, sizeof text, "%.*f", int(gtk_spin_button_get_digits(spin)), gtk_spin_button_get_value(spin));
    return s.of->zeros ? text : withoutzeros(text);
}

static std::string colourof(GtkColorChooser *chooser)
{
    char text[60];
    GdkRGBA c;
    gtk_color_chooser_get_rgba(chooser, &c);
    snprintf(text, sizeof text, "%02x%02x%02x", int(lround(c.red * 255)), int(lround(c.green * 255)), int(lround(c.blue * 255)));
    return text;
}

// The state of a field, as it is kept for the next time.
static std::string valueof(const shownfield &s)
{
    if (islist(s.of->kind)) return s.list;
    if (ischeck(s)) return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(s.widget)) ? "1" : "0";
    if (isnumber(s)) return numberof(s);
    if (GTK_IS_COLOR_CHOOSER(s.widget)) return colourof(GTK_COLOR_CHOOSER(s.widget));
    if (GTK_IS_ENTRY(s.widget)) return gtk_entry_get_text(GTK_ENTRY(s.widget));
    const char *row = gtk_combo_box_get_active_id(GTK_COMBO_BOX(s.widget));
    return row ? row : "";
}

static void setvalue(shownfield *s, const std::string &value)
{
    GdkRGBA c;
    if (ischeck(*s)) gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(s->widget), value != "0");
    else if (isnumber(*s)) gtk_spin_button_set_value(GTK_SPIN_BUTTON(s->widget), g_ascii_strtod(value.c_str(), nullptr));
    else if (GTK_IS_COMBO_BOX(s->widget)) gtk_combo_box_set_active_id(GTK_COMBO_BOX(s->widget), value.c_str());
    else if (GTK_IS_ENTRY(s->widget)) gtk_entry_set_text(GTK_ENTRY(s->widget), value.c_str());
    else if (gdk_rgba_parse(&c, ("#" + value).c_str())) gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(s->widget), &c);
}

static const shownfield *fieldof(const showndialog *d, const std::string &key)
{
    for (const shownfield &s : d->fields)
        if (s.of->key == key) return &s;
    return nullptr;
}

static bool isactive(const showndialog *d, const field *f);

// "key=V" is met: that field has the value V, and can be set; "key!V": it has another one.
static bool ismet(const showndialog *d, const std::string &condition)
{
    size_t sign = condition.find_first_of("=!");
    const shownfield *ruler = fieldof(d, condition.substr(0, sign));
    if (!ruler || !isactive(d, ruler->of)) return false;
    return (valueof(*ruler) == condition.substr(sign + 1)) == (condition[sign] == '=');
}

static bool isactive(const showndialog *d, const field *f) { return !f->only || ismet(d, f->only); }

static std::string inserted(const char *text, const std::string &value)
{
    std::string whole = text;
    size_t at = whole.find("%s");
    return at == std::string::npos ? whole : whole.replace(at, 2, value);
}

// What a field gives to the command.
static std::string fragment(const showndialog *d, const shownfield &s)
{
    const field *f = s.of;
    if (!isactive(d, f)) return "";
    std::string value = valueof(s);
    if (ischeck(s)) return value == "1" ? f->text : f->off;
    if (isfile(f->kind)) value = filename_in_command(value);
    return value.empty() ? "" : inserted(f->text, value);
}

// Single blanks, and none before what ends a command.
static std::string tidied(const std::string &text)
{
    std::string tidy;
    for (char c : text) {
        if (c == ' ' && (tidy.empty() || tidy.back() == ' ')) continue;
        if (c == ';' && !tidy.empty() && tidy.back() == ' ') tidy.pop_back();
        tidy += c;
    }
    while (!tidy.empty() && tidy.back() == ' ') tidy.pop_back();
    return tidy;
}

static std::string compose(const showndialog *d)
{
    std::string text;
    int left = 0;                        // conditions, one within the other, from the first that is not met
    for (const char *c = d->form->command; *c; ++c) {
        if (*c != '{') {
            if (!left) text += *c;
            continue;
        }
        const char *end = strchr(c, '}');
        std::string key(c + 1, end);
        if (key == "/") left -= left > 0;
        else if (key[0] == '?') left += left || !ismet(d, key.substr(1));
        else if (!left)
            if (const shownfield *s = fieldof(d, key)) text += fragment(d, *s);
        c = end;
    }
    return tidied(text);
}

// Something that must be given is not.
static bool incomplete(const showndialog *d)
{
    for (const shownfield &s : d->fields) {
        bool wanted = s.of->needed || isfile(s.of->kind);
        if (wanted && isactive(d, s.of) && valueof(s).empty()) return true;
    }
    return compose(d).empty();
}

static GtkWidget *part(const showndialog *d, const std::string &id)
{
    return GTK_WIDGET(gtk_builder_get_object(d->ui, id.c_str()));
}

static void setsensitive(const showndialog *d, const shownfield &s, bool on)
{
    gtk_widget_set_sensitive(s.widget, on);
    if (isfile(s.of->kind)) gtk_widget_set_sensitive(part(d, std::string(s.of->key) + "_browse"), on);
    GList *labels = gtk_widget_list_mnemonic_labels(s.widget);
    for (GList *l = labels; l; l = l->next)
        if (l->data != s.widget) gtk_widget_set_sensitive(GTK_WIDGET(l->data), on);
    g_list_free(labels);
}

static void refresh(showndialog *d)
{
    for (const shownfield &s : d->fields) setsensitive(d, s, isactive(d, s.of));
    std::string command = compose(d);
    gtk_entry_set_text(GTK_ENTRY(d->dialog->command), command.c_str());
    gtk_widget_set_tooltip_text(d->dialog->command, command.size() > MOSTWIDTH ? command.c_str() : nullptr);
    gtk_widget_set_sensitive(d->dialog->ok, !incomplete(d));
}

static void on_changed(GtkWidget *, gpointer d) noexcept { refresh(static_cast<showndialog *>(d)); }

// --- files and lists -----------------------------------------------------------------------------------

static std::string titleof(const showndialog *d) { return gtk_window_get_title(GTK_WINDOW(d->dialog)); }

static void on_browse(GtkButton *, gpointer of) noexcept
{
    auto s = static_cast<shownfield *>(of);
    std::string name = choosefile(GTK_WINDOW(s->dialog->dialog), titleof(s->dialog).c_str(), s->of->kind == WRITEFILE, s->of->files);
    if (!name.empty()) gtk_entry_set_text(GTK_ENTRY(s->widget), name.c_str());
}

static std::string labelof(GtkWidget *widget)
{
    GList *labels = gtk_widget_list_mnemonic_labels(widget);
    std::string text = labels ? gtk_label_get_text(GTK_LABEL(labels->data)) : "";
    g_list_free(labels);
    return text;
}

static void on_list(GtkButton *button, gpointer of) noexcept
{
    auto s = static_cast<shownfield *>(of);
    if (!chooselist(s->of->kind, GTK_WINDOW(s->dialog->dialog), labelof(s->widget).c_str(), &s->list)) return;
    gtk_button_set_label(button, saylist(s->of->kind, s->list).c_str());
    refresh(s->dialog);
}

// --- filling -------------------------------------------------------------------------------------------

// What is set now stays within the range, however it was set.
static void setnumber(GtkSpinButton *spin, double value)
{
    GtkAdjustment *range = gtk_spin_button_get_adjustment(spin);
    if (value < gtk_adjustment_get_lower(range)) gtk_adjustment_set_lower(range, value);
    if (value > gtk_adjustment_get_upper(range)) gtk_adjustment_set_upper(range, value);
    gtk_spin_button_set_value(spin, value);
}

// Data and files may be others now: lists and names of files are not kept.
static void startvalue(shownfield *s)
{
    const field *f = s->of;
    char text[60];
    if (f->nowtext) setvalue(s, f->nowtext());
    else if (f->now && isnumber(*s)) setnumber(GTK_SPIN_BUTTON(s->widget), f->now());
    else if (f->now) {
        snprintf(text, sizeof text, GTK_IS_COLOR_CHOOSER(s->widget) ? "%06x" : "%i", int(f->now()));
        setvalue(s, text);
    } else if (f->kind == PLAIN) {
        auto last = lastvalues.find(std::string(s->dialog->form->name) + ' ' + f->key);
        if (last != lastvalues.end()) setvalue(s, last->second);
    }
}

static void setbounds(const shownfield &s)
{
    GtkAdjustment *range = gtk_spin_button_get_adjustment(GTK_SPIN_BUTTON(s.widget));
    if (s.of->low) gtk_adjustment_set_lower(range, s.of->low());
    if (s.of->high) gtk_adjustment_set_upper(range, s.of->high());
}

static const char *changesignal(const shownfield &s)
{
    return ischeck(s) ? "toggled" : isnumber(s) ? "value-changed" : GTK_IS_COLOR_CHOOSER(s.widget) ? "color-set" : "changed";
}

static void startfield(shownfield *s)
{
    showndialog *d = s->dialog;
    if (isnumber(*s)) setbounds(*s);
    if (GTK_IS_ENTRY(s->widget)) gtk_entry_set_activates_default(GTK_ENTRY(s->widget), true);
    if (islist(s->of->kind)) {
        gtk_button_set_label(GTK_BUTTON(s->widget), saylist(s->of->kind, "").c_str());
        g_signal_connect(s->widget, "clicked", G_CALLBACK(on_list), s);
        return;
    }
    if (isfile(s->of->kind))
        g_signal_connect(part(d, std::string(s->of->key) + "_browse"), "clicked", G_CALLBACK(on_browse), s);
    startvalue(s);
    g_signal_connect(s->widget, changesignal(*s), G_CALLBACK(on_changed), d);
}

static void startfields(showndialog *d)
{
    for (const field *f = d->form->fields; f->key; ++f) d->fields.push_back({ f, part(d, f->key), "", d });
    for (shownfield &s : d->fields) startfield(&s);
}

// Pages are a stack and a row of buttons, of which one is in; each shows the page of its place.  (A
// notebook complains to screen readers as it goes.)
static void on_tab(GtkToggleButton *tab, gpointer page) noexcept
{
    if (!gtk_toggle_button_get_active(tab)) return;
    gtk_stack_set_visible_child(GTK_STACK(gtk_widget_get_parent(GTK_WIDGET(page))), GTK_WIDGET(page));
}

static void starttabs(const showndialog *d)
{
    if (!part(d, "tabs")) return;
    GList *tabs = gtk_container_get_children(GTK_CONTAINER(part(d, "tabs")));
    GList *pages = gtk_container_get_children(GTK_CONTAINER(part(d, "pages")));
    for (GList *t = tabs, *p = pages; t && p; t = t->next, p = p->next)
        g_signal_connect(t->data, "toggled", G_CALLBACK(on_tab), p->data);
    g_list_free(tabs);
    g_list_free(pages);
}

static void keepvalues(const showndialog *d)
{
    for (const shownfield &s : d->fields) lastvalues[std::string(d->form->name) + ' ' + s.of->key] = valueof(s);
}

// --- running -------------------------------------------------------------------------------------------

GtkBuilder *loadui(const char *name)
{
    char path[200];
    snprintf(path, sizeof path, ZEL_RESOURCES "%s.ui", name);
    return gtk_builder_new_from_resource(path);
}

GtkBuilder *loadform(const dialogform *form)
{
    g_type_ensure(zel_dialog_get_type());
    return loadui((std::string("dialog_") + form->name).c_str());
}

int rundialog(GtkWidget *dialog)
{
    GtkWidget *below = Dialog_Now;
    if (!gtk_window_get_transient_for(GTK_WINDOW(dialog)))
        gtk_window_set_transient_for(GTK_WINDOW(dialog), GTK_WINDOW(below ? below : GTK_WIDGET(gtkAppWindowGlobal)));
    bool byitself = autorun_typed_menu;
    autorun_typed_menu = 0;
    Dialog_Now = dialog;
    bool ok = byitself || gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK;
    Dialog_Now = below;
    gtk_widget_hide(dialog);
    return exvalis = ok;
}

void opendialog(const dialogform *form)
{
    GtkBuilder *ui = loadform(form);
    showndialog d = { form, ui, reinterpret_cast<ZelDialog *>(gtk_builder_get_object(ui, "dialog")), {} };
    gtk_widget_set_visible(d.dialog->note, *gtk_label_get_text(GTK_LABEL(d.dialog->note)));
    gtk_widget_set_visible(d.dialog->commandrow, !form->done);
    startfields(&d);
    starttabs(&d);
    gtk_widget_show_all(d.dialog->fields);
    refresh(&d);
    gtk_entry_set_width_chars(GTK_ENTRY(d.dialog->command), int(std::clamp(compose(&d).size(), LEASTWIDTH, MOSTWIDTH)));
    std::string command;
    if (rundialog(GTK_WIDGET(d.dialog))) {
        bool missing = incomplete(&d);       // a dialog that accepts itself
        if (!missing) command = compose(&d);
        else MsgBox_OK(titleof(&d).c_str(), "Something that must be given is not");
        exvalis = !missing;
        keepvalues(&d);
    }
    gtk_widget_destroy(GTK_WIDGET(d.dialog));
    g_object_unref(ui);
    if (command.empty()) return;
    if (form->done) form->done(command.c_str());
    else runchosen(command);
}
