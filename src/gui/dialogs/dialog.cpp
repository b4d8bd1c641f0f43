// Dialogs from tables of fields: labels on the left, what is chosen on the right, the command below.
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

struct shownfield {
    const field *of;
    GtkWidget *label, *widget;           // label may be null; the widget holds the value
    std::string list;                    // of a list
    struct showndialog *dialog;
};

struct showndialog {
    const dialogform *form;
    GtkWidget *dialog, *preview, *ok;
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

static std::string withoutzeros(std::string number)
{
    if (number.find('.') == std::string::npos) return number;
    while (number.back() == '0') number.pop_back();
    if (number.back() == '.') number.pop_back();
    return number;
}

// The state of a field, as it is kept for the next time.
static std::string valueof(const shownfield &s)
{
    char text[60];
    switch (s.of->kind) {
    case CHECK:  return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(s.widget)) ? "1" : "0";
    case CHOICE: return std::to_string(gtk_combo_box_get_active(GTK_COMBO_BOX(s.widget)));
    case NUMBER:
        snprintf(text, sizeof text, "%.*f", s.of->decimals, gtk_spin_button_get_value(GTK_SPIN_BUTTON(s.widget)));
        return s.of->zeros ? text : withoutzeros(text);
    case COLOUR: {
        GdkRGBA c;
        gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(s.widget), &c);
        snprintf(text, sizeof text, "%02x%02x%02x", int(lround(c.red * 255)), int(lround(c.green * 255)),
                 int(lround(c.blue * 255)));
        return text;
    }
    case TEXT: case READFILE: case WRITEFILE: return gtk_entry_get_text(GTK_ENTRY(s.widget));
    default: return s.list;
    }
}

static const shownfield *fieldof(const showndialog *d, const std::string &key)
{
    for (const shownfield &s : d->fields)
        if (s.of->key == key) return &s;
    return nullptr;
}

static bool isactive(const showndialog *d, const field *f);

// "key=N" is met: that check or choice has the value N, and can be set; "key!N": it has another one.
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
    if (f->kind == CHECK) return value == "1" ? f->text : f->off;
    if (f->kind == NUMBER && *f->off && value == "0") return f->off;
    if (f->kind == CHOICE) return inserted(f->text, f->choices[std::max(0, atoi(value.c_str()))].text);
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

static void refresh(showndialog *d)
{
    for (shownfield &s : d->fields) {
        bool active = isactive(d, s.of);
        if (s.widget) gtk_widget_set_sensitive(isfile(s.of->kind) ? gtk_widget_get_parent(s.widget) : s.widget, active);
        if (s.label) gtk_widget_set_sensitive(s.label, active);
    }
    std::string command = compose(d);
    gtk_entry_set_text(GTK_ENTRY(d->preview), command.c_str());
    gtk_widget_set_tooltip_text(d->preview, command.size() > MOSTWIDTH ? command.c_str() : nullptr);
    gtk_widget_set_sensitive(d->ok, !incomplete(d));
}

static void on_changed(GtkWidget *, gpointer d) noexcept { refresh(static_cast<showndialog *>(d)); }

// --- files and lists -----------------------------------------------------------------------------------

static void on_browse(GtkButton *, gpointer of) noexcept
{
    auto s = static_cast<shownfield *>(of);
    showndialog *d = s->dialog;
    std::string name = choosefile(GTK_WINDOW(d->dialog), d->form->title, s->of->kind == WRITEFILE, s->of->files);
    if (!name.empty()) gtk_entry_set_text(GTK_ENTRY(s->widget), name.c_str());
}

static void on_list(GtkButton *button, gpointer of) noexcept
{
    auto s = static_cast<shownfield *>(of);
    if (!chooselist(s->of->kind, GTK_WINDOW(s->dialog->dialog), ridofund(s->of->label).c_str(), &s->list)) return;
    gtk_button_set_label(button, saylist(s->of->kind, s->list).c_str());
    refresh(s->dialog);
}

// --- building ------------------------------------------------------------------------------------------

static GtkWidget *makenumber(const field *f, double value)
{
    double step = f->decimals ? pow(10, -std::min(f->decimals, 2)) : 1;
    GtkWidget *spin = gtk_spin_button_new_with_range(f->low, f->high, step);
    gtk_spin_button_set_digits(GTK_SPIN_BUTTON(spin), guint(f->decimals));
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(spin), value);
    gtk_entry_set_activates_default(GTK_ENTRY(spin), true);
    return spin;
}

static GtkWidget *makechoice(const field *f, int value)
{
    GtkWidget *combo = gtk_combo_box_text_new();
    for (const choicerow *c = f->choices; c->label; ++c)
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), c->label);
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), value);
    return combo;
}

static GtkWidget *makeentry(const std::string &value)
{
    GtkWidget *entry = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(entry), value.c_str());
    gtk_entry_set_width_chars(GTK_ENTRY(entry), 30);
    gtk_entry_set_activates_default(GTK_ENTRY(entry), true);
    return entry;
}

static GtkWidget *makecolour(const std::string &value)
{
    GdkRGBA c = { 0, 0, 0, 1 };
    gdk_rgba_parse(&c, ("#" + value).c_str());
    return gtk_color_button_new_with_rgba(&c);
}

// The widget of a field, which holds the value, and what is put in the dialog for it.
static GtkWidget *makewidget(shownfield *s, const std::string &value)
{
    const field *f = s->of;
    showndialog *d = s->dialog;
    GtkWidget *shown;
    double number = g_ascii_strtod(value.c_str(), nullptr);
    switch (f->kind) {
    case CHECK:
        shown = s->widget = gtk_check_button_new_with_mnemonic(f->label);
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(shown), number != 0);
        g_signal_connect(shown, "toggled", G_CALLBACK(on_changed), d);
        return shown;
    case NUMBER:
        shown = s->widget = makenumber(f, number);
        g_signal_connect(shown, "value-changed", G_CALLBACK(on_changed), d);
        return shown;
    case CHOICE:
        shown = s->widget = makechoice(f, int(number));
        g_signal_connect(shown, "changed", G_CALLBACK(on_changed), d);
        return shown;
    case COLOUR:
        shown = s->widget = makecolour(value);
        g_signal_connect(shown, "color-set", G_CALLBACK(on_changed), d);
        return shown;
    case TEXT: case READFILE: case WRITEFILE: {
        shown = s->widget = makeentry(value);
        g_signal_connect(shown, "changed", G_CALLBACK(on_changed), d);
        if (f->kind == TEXT) return shown;
        GtkWidget *box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
        GtkWidget *browse = gtk_button_new_with_mnemonic("_Browse...");
        gtk_box_pack_start(GTK_BOX(box), s->widget, true, true, 0);
        gtk_box_pack_start(GTK_BOX(box), browse, false, false, 0);
        g_signal_connect(browse, "clicked", G_CALLBACK(on_browse), s);
        return box;
    }
    default:
        s->list = value;
        shown = s->widget = gtk_button_new_with_label(saylist(f->kind, value).c_str());
        g_signal_connect(shown, "clicked", G_CALLBACK(on_list), s);
        return shown;
    }
}

static std::string firstvalue(const dialogform *form, const field *f)
{
    char text[60];
    if (f->nowtext) return f->nowtext();
    snprintf(text, sizeof text, "%.*f", f->decimals, f->now ? f->now() : f->first);
    bool number = f->kind == CHECK || f->kind == CHOICE || f->kind == NUMBER;
    if (f->now && f->kind == COLOUR) snprintf(text, sizeof text, "%06x", unsigned(f->now()));
    if (f->now) return text;
    auto last = lastvalues.find(std::string(form->name) + ' ' + f->key);
    bool lasts = last != lastvalues.end() && !islist(f->kind) && !isfile(f->kind);     // the data may be others now
    return lasts ? last->second : number ? text : "";
}

static GtkWidget *boldlabel(const char *text)
{
    GtkWidget *label = gtk_label_new(nullptr);
    char *bold = g_markup_printf_escaped("<b>%s</b>", text);
    gtk_label_set_markup(GTK_LABEL(label), bold);
    g_free(bold);
    return label;
}

// Pages and a row of buttons, of which one is in.  (A notebook complains to screen readers as it goes.)
struct pagebook {
    GtkWidget *tabs = nullptr, *stack = nullptr, *lasttab = nullptr;
};

static void startpages(pagebook *book, GtkGrid *top, int row)
{
    book->tabs = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_style_context_add_class(gtk_widget_get_style_context(book->tabs), "linked");
    gtk_widget_set_halign(book->tabs, GTK_ALIGN_CENTER);
    gtk_widget_set_margin_top(book->tabs, 6);
    gtk_widget_set_margin_bottom(book->tabs, 6);
    book->stack = gtk_stack_new();
    gtk_grid_attach(top, book->tabs, 0, row, 2, 1);
    gtk_grid_attach(top, book->stack, 0, row + 1, 2, 1);
}

static void on_page(GtkToggleButton *tab, gpointer page) noexcept
{
    if (!gtk_toggle_button_get_active(tab)) return;
    gtk_stack_set_visible_child(GTK_STACK(gtk_widget_get_parent(GTK_WIDGET(page))), GTK_WIDGET(page));
}

static GtkGrid *addpage(pagebook *book, const char *label)
{
    GtkWidget *grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 6);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 12);
    gtk_container_add(GTK_CONTAINER(book->stack), grid);
    GtkRadioButton *last = book->lasttab ? GTK_RADIO_BUTTON(book->lasttab) : nullptr;
    GtkWidget *tab = gtk_radio_button_new_with_mnemonic_from_widget(last, label);
    gtk_toggle_button_set_mode(GTK_TOGGLE_BUTTON(tab), false);
    g_signal_connect(tab, "toggled", G_CALLBACK(on_page), grid);
    gtk_box_pack_start(GTK_BOX(book->tabs), tab, false, false, 0);
    book->lasttab = tab;
    return GTK_GRID(grid);
}

static void buildfield(shownfield *s, const std::string &value, GtkGrid *grid, int row)
{
    const field *f = s->of;
    if (f->kind == HEADING) {
        s->label = boldlabel(f->label);
        gtk_widget_set_margin_top(s->label, row ? 8 : 0);
        gtk_grid_attach(grid, s->label, 0, row, 2, 1);
    } else {
        GtkWidget *shown = makewidget(s, value);
        gtk_widget_set_hexpand(shown, true);
        if (f->kind != CHECK) {
            s->label = gtk_label_new_with_mnemonic(f->label);
            gtk_label_set_mnemonic_widget(GTK_LABEL(s->label), s->widget);
            gtk_grid_attach(grid, s->label, 0, row, 1, 1);
        }
        gtk_grid_attach(grid, shown, f->kind == CHECK ? 0 : 1, row, f->kind == CHECK ? 2 : 1, 1);
    }
    if (s->label) gtk_label_set_xalign(GTK_LABEL(s->label), 0);
}

static void buildfields(showndialog *d, GtkGrid *top)
{
    size_t n = 0;
    for (const field *f = d->form->fields; f->kind != NOFIELD; ++f) ++n;
    d->fields.resize(n);
    GtkGrid *grid = top;
    pagebook book;
    int row = 0;
    for (size_t i = 0; i < n; ++i) {
        shownfield *s = &d->fields[i];
        *s = { &d->form->fields[i], nullptr, nullptr, "", d };
        if (s->of->kind != PAGE) {
            buildfield(s, firstvalue(d->form, s->of), grid, row++);
            continue;
        }
        if (!book.stack) startpages(&book, top, row);
        grid = addpage(&book, s->of->label);
        row = 0;
    }
}

static void keepvalues(const showndialog *d)
{
    for (const shownfield &s : d->fields)
        if (s.widget) lastvalues[std::string(d->form->name) + ' ' + s.of->key] = valueof(s);
}

// --- running -------------------------------------------------------------------------------------------

GtkBuilder *loadui(const char *name)
{
    char path[200];
    snprintf(path, sizeof path, ZEL_RESOURCES "%s.ui", name);
    return gtk_builder_new_from_resource(path);
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
    GtkBuilder *ui = loadui("dialog_command");
    auto part = [ui](const char *name) { return GTK_WIDGET(gtk_builder_get_object(ui, name)); };
    showndialog d = { form, part("dialog"), part("command"), part("ok"), {} };
    gtk_window_set_title(GTK_WINDOW(d.dialog), form->title);
    gtk_label_set_text(GTK_LABEL(part("note")), form->note ? form->note : "");
    gtk_widget_set_visible(part("note"), form->note != nullptr);
    gtk_widget_set_visible(part("commandrow"), !form->done);
    buildfields(&d, GTK_GRID(part("fields")));
    gtk_widget_show_all(part("fields"));
    refresh(&d);
    gtk_entry_set_width_chars(GTK_ENTRY(d.preview), int(std::clamp(compose(&d).size(), LEASTWIDTH, MOSTWIDTH)));
    gtk_widget_grab_default(d.ok);
    std::string command;
    if (rundialog(d.dialog)) {
        bool missing = incomplete(&d);       // a dialog that accepts itself
        if (!missing) command = compose(&d);
        else MsgBox_OK(form->title, "Something that must be given is not");
        exvalis = !missing;
        keepvalues(&d);
    }
    gtk_widget_destroy(d.dialog);
    g_object_unref(ui);
    if (command.empty()) return;
    if (form->done) form->done(command.c_str());
    else runchosen(command);
}
