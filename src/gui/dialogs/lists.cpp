// Choosing taxa, characters or trees: a list with marks, a text that narrows it down, and buttons
// that mark many at a time.
#include "gui/dialogs/lists.h"
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "data/matrix.h"
#include "kernel/utf8.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <vector>

enum column { MARKED, NUMBERTEXT, NAME, PLACE };

// What all of them share; the named children are those of zellistdialog.ui.
struct ZelListDialog {
    GtkDialog parent;
    GtkWidget *find, *items, *buttons, *all, *none, *invert, *count;
};
struct ZelListDialogClass {
    GtkDialogClass parent;
};
G_DEFINE_TYPE(ZelListDialog, zel_list_dialog, GTK_TYPE_DIALOG)

static void zel_list_dialog_init(ZelListDialog *self) { gtk_widget_init_template(GTK_WIDGET(self)); }

static void zel_list_dialog_class_init(ZelListDialogClass *type)
{
    GtkWidgetClass *widget = GTK_WIDGET_CLASS(type);
    gtk_widget_class_set_template_from_resource(widget, ZEL_RESOURCES "zellistdialog.ui");
#define CHILD(name) gtk_widget_class_bind_template_child_internal(widget, ZelListDialog, name)
    CHILD(find); CHILD(items); CHILD(buttons); CHILD(all); CHILD(none); CHILD(invert); CHILD(count);
#undef CHILD
}

struct listchooser {
    fieldkind kind;
    ZelListDialog *dialog;
    GtkListStore *store;
    GtkTreeModel *filtered;
    int n;
};

// --- lists as text ---------------------------------------------------------------------------------

static int elements(fieldkind kind) { return kind == TREES ? trees_in_mem : kind == CHARACTERS ? nc : nt; }

static std::string nameof(fieldkind kind, int i)
{
    if (kind == TAXA || kind == TAXON) return inutf8(taxname[i]);
    if (kind == CHARACTERS) return charnames && charnames[i] ? inutf8(charnames[i]) : "";
    return "Tree " + std::to_string(i);
}

static std::vector<bool> marksof(const std::string &list, int n)
{
    std::vector<bool> marks(static_cast<size_t>(n));
    for (const char *c = list.c_str(); *c; ) {
        if (!isdigit(static_cast<unsigned char>(*c))) { ++c; continue; }
        char *end;
        long from = strtol(c, &end, 10), to = from;
        if (*end == '.') to = strtol(end + 1, &end, 10);
        for (long i = from; i <= to && i < n; ++i) marks[static_cast<size_t>(i)] = true;
        c = end;
    }
    return marks;
}

static std::string listof(const std::vector<bool> &marks)
{
    std::string list;
    for (size_t i = 0, last; i < marks.size(); i = last + 1) {
        last = i;
        if (!marks[i]) continue;
        while (last + 1 < marks.size() && marks[last + 1]) ++last;
        if (!list.empty()) list += ' ';
        list += std::to_string(i);
        if (last > i) list += (last == i + 1 ? " " : ".") + std::to_string(last);
    }
    return list;
}

std::string saylist(fieldkind kind, const std::string &list)
{
    if (list.empty()) return kind == TAXON ? "(none)" : "(none chosen)";
    std::vector<bool> marks = marksof(list, elements(kind));
    auto chosen = std::count(marks.begin(), marks.end(), true);
    auto first = std::find(marks.begin(), marks.end(), true) - marks.begin();
    if (chosen == 1) return nameof(kind, int(first)).empty() ? list : nameof(kind, int(first));
    return list.size() > 24 ? std::to_string(chosen) + " chosen" : list;
}

// --- the dialog --------------------------------------------------------------------------------------

static std::vector<bool> marksnow(listchooser *c)
{
    std::vector<bool> marks(static_cast<size_t>(c->n));
    GtkTreeIter at;
    GtkTreeModel *model = GTK_TREE_MODEL(c->store);
    for (bool more = gtk_tree_model_get_iter_first(model, &at); more; more = gtk_tree_model_iter_next(model, &at)) {
        gboolean marked;
        int place;
        gtk_tree_model_get(model, &at, MARKED, &marked, PLACE, &place, -1);
        marks[static_cast<size_t>(place)] = marked;
    }
    return marks;
}

static void saycount(listchooser *c)
{
    std::vector<bool> marks = marksnow(c);
    char text[80];
    snprintf(text, sizeof text, "%i of %i chosen", int(std::count(marks.begin(), marks.end(), true)), c->n);
    gtk_label_set_text(GTK_LABEL(c->dialog->count), text);
}

// Only what is seen is marked, so that the text that narrows the list down chooses.
static void markall(listchooser *c, int how)
{
    GtkTreeIter at, real;
    for (bool more = gtk_tree_model_get_iter_first(c->filtered, &at); more; more = gtk_tree_model_iter_next(c->filtered, &at)) {
        gboolean marked;
        gtk_tree_model_get(c->filtered, &at, MARKED, &marked, -1);
        gtk_tree_model_filter_convert_iter_to_child_iter(GTK_TREE_MODEL_FILTER(c->filtered), &real, &at);
        gtk_list_store_set(c->store, &real, MARKED, how < 0 ? !marked : how, -1);
    }
    saycount(c);
}

static void on_all(GtkButton *, gpointer c) noexcept    { markall(static_cast<listchooser *>(c), 1); }
static void on_none(GtkButton *, gpointer c) noexcept   { markall(static_cast<listchooser *>(c), 0); }
static void on_invert(GtkButton *, gpointer c) noexcept { markall(static_cast<listchooser *>(c), -1); }

static void clearmarks(listchooser *c)
{
    GtkTreeIter at;
    GtkTreeModel *model = GTK_TREE_MODEL(c->store);
    for (bool more = gtk_tree_model_get_iter_first(model, &at); more; more = gtk_tree_model_iter_next(model, &at))
        gtk_list_store_set(c->store, &at, MARKED, false, -1);
}

static void on_toggled(GtkCellRendererToggle *, char *path, gpointer of) noexcept
{
    auto c = static_cast<listchooser *>(of);
    GtkTreeIter at, real;
    if (!gtk_tree_model_get_iter_from_string(c->filtered, &at, path)) return;
    gtk_tree_model_filter_convert_iter_to_child_iter(GTK_TREE_MODEL_FILTER(c->filtered), &real, &at);
    gboolean marked;
    gtk_tree_model_get(GTK_TREE_MODEL(c->store), &real, MARKED, &marked, -1);
    if (c->kind == TAXON) clearmarks(c);
    gtk_list_store_set(c->store, &real, MARKED, c->kind == TAXON || !marked, -1);
    saycount(c);
}

static void on_rowactivated(GtkTreeView *, GtkTreePath *path, GtkTreeViewColumn *, gpointer of) noexcept
{
    char *text = gtk_tree_path_to_string(path);
    on_toggled(nullptr, text, of);
    g_free(text);
    auto c = static_cast<listchooser *>(of);
    if (c->kind == TAXON) gtk_dialog_response(GTK_DIALOG(c->dialog), GTK_RESPONSE_OK);
}

// Some trees at random, by the random numbers of the toolkit: the seed of the analysis stays.
static void on_random(GtkButton *, gpointer of) noexcept
{
    auto c = static_cast<listchooser *>(of);
    GtkBuilder *ui = loadui("trees_random");
    GtkWidget *dialog = GTK_WIDGET(gtk_builder_get_object(ui, "dialog"));
    auto many = GTK_SPIN_BUTTON(gtk_builder_get_object(ui, "many"));
    gtk_spin_button_set_range(many, 1, c->n);
    gtk_spin_button_set_value(many, std::min(c->n, 10));
    gtk_window_set_transient_for(GTK_WINDOW(dialog), GTK_WINDOW(c->dialog));
    bool ok = rundialog(dialog);
    int left = gtk_spin_button_get_value_as_int(many), rest = c->n;
    gtk_widget_destroy(dialog);
    g_object_unref(ui);
    if (!ok) return;
    GtkTreeIter at;
    GtkTreeModel *model = GTK_TREE_MODEL(c->store);
    for (bool more = gtk_tree_model_get_iter_first(model, &at); more; more = gtk_tree_model_iter_next(model, &at)) {
        bool taken = g_random_int_range(0, rest--) < left;
        left -= taken;
        gtk_list_store_set(c->store, &at, MARKED, taken, -1);
    }
    saycount(c);
}

static gboolean isseen(GtkTreeModel *model, GtkTreeIter *at, gpointer of) noexcept
{
    const char *text = gtk_entry_get_text(GTK_ENTRY(static_cast<listchooser *>(of)->dialog->find));
    if (!*text) return true;
    char *number, *name;
    gtk_tree_model_get(model, at, NUMBERTEXT, &number, NAME, &name, -1);
    bool seen = !strncmp(number, text, strlen(text)) || (name && strcasestr(name, text));
    g_free(number);
    g_free(name);
    return seen;
}

static void on_find(GtkEditable *, gpointer of) noexcept
{
    gtk_tree_model_filter_refilter(GTK_TREE_MODEL_FILTER(static_cast<listchooser *>(of)->filtered));
}

// Esc clears the text first, and then gives the list up.
static void on_stopsearch(GtkSearchEntry *find, gpointer of) noexcept
{
    if (*gtk_entry_get_text(GTK_ENTRY(find))) gtk_entry_set_text(GTK_ENTRY(find), "");
    else gtk_dialog_response(GTK_DIALOG(static_cast<listchooser *>(of)->dialog), GTK_RESPONSE_CANCEL);
}

static void fillstore(listchooser *c, const std::string &list)
{
    std::vector<bool> marks = marksof(list, c->n);
    c->store = gtk_list_store_new(4, G_TYPE_BOOLEAN, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_INT);
    for (int i = 0; i < c->n; ++i)
        gtk_list_store_insert_with_values(c->store, nullptr, -1, MARKED, gboolean(marks[size_t(i)]),
            NUMBERTEXT, std::to_string(i).c_str(), NAME, nameof(c->kind, i).c_str(), PLACE, i, -1);
    c->filtered = gtk_tree_model_filter_new(GTK_TREE_MODEL(c->store), nullptr);
    gtk_tree_model_filter_set_visible_func(GTK_TREE_MODEL_FILTER(c->filtered), isseen, c, nullptr);
}

static void makecolumns(listchooser *c)
{
    auto tree = GTK_TREE_VIEW(c->dialog->items);
    GtkCellRenderer *mark = gtk_cell_renderer_toggle_new(), *number = gtk_cell_renderer_text_new(),
                    *name = gtk_cell_renderer_text_new();
    gtk_cell_renderer_toggle_set_radio(GTK_CELL_RENDERER_TOGGLE(mark), c->kind == TAXON);
    g_object_set(number, "xalign", 1.0, nullptr);
    g_signal_connect(mark, "toggled", G_CALLBACK(on_toggled), c);
    gtk_tree_view_insert_column_with_attributes(tree, -1, "", mark, "active", MARKED, nullptr);
    gtk_tree_view_insert_column_with_attributes(tree, -1, "Number", number, "text", NUMBERTEXT, nullptr);
    gtk_tree_view_insert_column_with_attributes(tree, -1, "Name", name, "text", NAME, nullptr);
    gtk_tree_view_set_search_column(tree, NAME);
    g_signal_connect(tree, "row-activated", G_CALLBACK(on_rowactivated), c);
    gtk_tree_view_set_model(tree, c->filtered);
}

// Only trees are chosen at random.
static void connectbuttons(listchooser *c, GObject *random)
{
    g_signal_connect(c->dialog->all, "clicked", G_CALLBACK(on_all), c);
    g_signal_connect(c->dialog->none, "clicked", G_CALLBACK(on_none), c);
    g_signal_connect(c->dialog->invert, "clicked", G_CALLBACK(on_invert), c);
    if (random) g_signal_connect(random, "clicked", G_CALLBACK(on_random), c);
    gtk_widget_set_sensitive(c->dialog->buttons, c->kind != TAXON);
    g_signal_connect(c->dialog->find, "changed", G_CALLBACK(on_find), c);
    g_signal_connect(c->dialog->find, "stop-search", G_CALLBACK(on_stopsearch), c);
}

bool chooselist(fieldkind kind, GtkWindow *over, const char *title, std::string *list)
{
    g_type_ensure(zel_list_dialog_get_type());
    GtkBuilder *ui = loadui(kind == TREES ? "trees_select" : kind == CHARACTERS ? "trees_chars_select" : "taxa_select");
    GtkWidget *dialog = GTK_WIDGET(gtk_builder_get_object(ui, "dialog"));
    listchooser c = { kind, reinterpret_cast<ZelListDialog *>(dialog), nullptr, nullptr, elements(kind) };
    gtk_window_set_title(GTK_WINDOW(dialog), title);
    gtk_window_set_transient_for(GTK_WINDOW(dialog), over);
    fillstore(&c, *list);
    makecolumns(&c);
    connectbuttons(&c, gtk_builder_get_object(ui, "random"));
    saycount(&c);
    bool ok = rundialog(dialog);
    if (ok) *list = listof(marksnow(&c));
    gtk_widget_destroy(dialog);
    g_object_unref(c.filtered);
    g_object_unref(c.store);
    g_object_unref(ui);
    return ok;
}
