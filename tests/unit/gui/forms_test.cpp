// Dialogs: the tables of fields agree with the files that lay them out, and these with the resources.
#include "gui/appwindow.h"
#include "gui/menus.h"
#include "zeltest.h"
#include <cstring>
#include <map>
#include <set>

static std::vector<std::string> complaints;      // of the toolkit

static void complain(const char *, GLogLevelFlags level, const char *message, gpointer)
{
    if (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) complaints.push_back(message);
}

struct Forms : testing::Test {
    static void SetUpTestSuite() { g_log_set_default_handler(complain, nullptr); }
    void SetUp() override
    {
        if (!gtk_init_check(nullptr, nullptr)) GTEST_SKIP() << "no display";
        complaints.clear();
    }
    void TearDown() override { EXPECT_EQ(complaints, std::vector<std::string>()); }
};

static std::map<std::string, const dialogform *> allforms()
{
    std::map<std::string, const dialogform *> forms;
    for (const menuitem *table : { menuEntries, toolBarEntries })
        for (const menuitem *item = table; item->id; ++item)
            if (item->dialog) forms[item->dialog->name] = item->dialog;
    return forms;
}

static std::set<std::string> keysof(const dialogform *form)
{
    std::set<std::string> keys;
    for (const field *f = form->fields; f->key; ++f) keys.insert(f->key);
    return keys;
}

// A form with its widgets; its dialog goes with it.
struct loaded {
    GtkBuilder *ui;
    explicit loaded(const dialogform *form) : ui(loadform(form)) {}
    ~loaded() { gtk_widget_destroy(widget("dialog")); g_object_unref(ui); }
    loaded(const loaded &) = delete;
    loaded &operator=(const loaded &) = delete;
    GtkWidget *widget(const std::string &id) const { return GTK_WIDGET(gtk_builder_get_object(ui, id.c_str())); }
};

static bool holdsvalue(GtkWidget *w)
{
    return GTK_IS_CHECK_BUTTON(w) || GTK_IS_COMBO_BOX_TEXT(w) || GTK_IS_ENTRY(w) || GTK_IS_COLOR_BUTTON(w);
}

static bool suits(const field *f, GtkWidget *w)
{
    switch (f->kind) {
    case PLAIN: return holdsvalue(w);
    case READFILE: case WRITEFILE: return GTK_IS_ENTRY(w) && !GTK_IS_SPIN_BUTTON(w);
    default: return G_OBJECT_TYPE(w) == GTK_TYPE_BUTTON;
    }
}

TEST_F(Forms, EveryFieldHasAWidgetThatCanHoldIt)
{
    auto forms = allforms();
    EXPECT_GT(forms.size(), 50u);
    for (auto &[name, form] : forms) {
        loaded ui(form);
        ASSERT_TRUE(GTK_IS_DIALOG(ui.widget("dialog"))) << name;
        const char *title = gtk_window_get_title(GTK_WINDOW(ui.widget("dialog")));
        EXPECT_TRUE(title && *title) << name;
        for (const field *f = form->fields; f->key; ++f) {
            GtkWidget *w = ui.widget(f->key);
            ASSERT_NE(w, nullptr) << name << ": " << f->key;
            EXPECT_TRUE(suits(f, w)) << name << ": " << f->key;
            bool file = f->kind == READFILE || f->kind == WRITEFILE;
            EXPECT_EQ(GTK_IS_BUTTON(ui.widget(std::string(f->key) + "_browse")), file) << name;
        }
    }
}

TEST_F(Forms, EveryWidgetThatHoldsAValueIsAField)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        std::set<std::string> keys = keysof(form);
        GSList *objects = gtk_builder_get_objects(ui.ui);
        for (GSList *o = objects; o; o = o->next) {
            if (!GTK_IS_BUILDABLE(o->data) || !GTK_IS_WIDGET(o->data) || !holdsvalue(GTK_WIDGET(o->data))) continue;
            std::string id = gtk_buildable_get_name(GTK_BUILDABLE(o->data));
            bool tab = GTK_IS_RADIO_BUTTON(o->data);
            EXPECT_TRUE(tab || keys.count(id)) << name << ": " << id;
        }
        g_slist_free(objects);
    }
}

TEST_F(Forms, NumbersHaveARangeThatTheirFieldCompletes)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        for (const field *f = form->fields; f->key; ++f) {
            if (!GTK_IS_SPIN_BUTTON(ui.widget(f->key))) {
                EXPECT_TRUE(!f->low && !f->high && !f->zeros) << name << ": " << f->key;
                continue;
            }
            double low, high, step;
            gtk_spin_button_get_range(GTK_SPIN_BUTTON(ui.widget(f->key)), &low, &high);
            gtk_spin_button_get_increments(GTK_SPIN_BUTTON(ui.widget(f->key)), &step, nullptr);
            EXPECT_GT(step, 0) << name << ": " << f->key;
            EXPECT_EQ(high <= low, f->high != nullptr) << name << ": " << f->key;      // a bound is said once
            EXPECT_TRUE(!f->low || low == 0) << name << ": " << f->key;
        }
    }
}

// Whether a condition, "key=V" or "key!V", names a field and a value that it can have.
static bool canbe(const loaded &ui, const std::string &condition)
{
    size_t sign = condition.find_first_of("=!");
    if (sign == std::string::npos) return false;
    GtkWidget *w = ui.widget(condition.substr(0, sign));
    std::string value = condition.substr(sign + 1);
    if (GTK_IS_CHECK_BUTTON(w)) return value == "0" || value == "1";
    return GTK_IS_COMBO_BOX(w) && gtk_combo_box_set_active_id(GTK_COMBO_BOX(w), value.c_str());
}

TEST_F(Forms, CommandsAndConditionsNameFieldsAndTheirValues)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        std::set<std::string> keys = keysof(form), used;
        for (const field *f = form->fields; f->key; ++f)
            if (f->only) {
                EXPECT_TRUE(canbe(ui, f->only)) << name << ": " << f->only;
                used.insert(std::string(f->only).substr(0, strcspn(f->only, "=!")));
            }
        int open = 0;
        for (const char *c = form->command; (c = strchr(c, '{')); ++c) {
            std::string part(c + 1, strchr(c, '}'));
            open += part[0] == '?' ? 1 : part == "/" ? -1 : 0;
            EXPECT_GE(open, 0) << name;
            if (part == "/") continue;
            bool condition = part[0] == '?';
            if (condition) part.erase(0, 1);
            EXPECT_TRUE(condition ? canbe(ui, part) : keys.count(part)) << name << ": " << part;
            used.insert(part.substr(0, part.find_first_of("=!")));
        }
        EXPECT_EQ(open, 0) << name;
        EXPECT_EQ(used, keys) << name;
    }
}

TEST_F(Forms, ChoicesBeginWithARowAndEachRowHasItsId)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        for (const field *f = form->fields; f->key; ++f) {
            if (!GTK_IS_COMBO_BOX(ui.widget(f->key))) continue;
            GtkComboBox *combo = GTK_COMBO_BOX(ui.widget(f->key));
            EXPECT_EQ(gtk_combo_box_get_active(combo) < 0, f->now || f->nowtext) << name << ": " << f->key;
            int rows = gtk_tree_model_iter_n_children(gtk_combo_box_get_model(combo), nullptr);
            EXPECT_GE(rows, 2) << name << ": " << f->key;
            std::set<std::string> ids;
            for (int i = 0; i < rows; ++i) {
                gtk_combo_box_set_active(combo, i);
                const char *id = gtk_combo_box_get_active_id(combo);
                ASSERT_NE(id, nullptr) << name << ": " << f->key << " row " << i;
                EXPECT_TRUE(ids.insert(id).second) << name << ": " << f->key << " has twice " << id;
            }
        }
    }
}

struct mnemonics {
    std::string form;
    std::set<guint> seen;
};

// Keys are unique among the widgets seen together; each page of a stack has those of what is around it.
static void walk(GtkWidget *w, mnemonics *m)
{
    if (GTK_IS_LABEL(w) && gtk_label_get_mnemonic_keyval(GTK_LABEL(w)) != GDK_KEY_VoidSymbol) {
        guint key = gtk_label_get_mnemonic_keyval(GTK_LABEL(w));
        EXPECT_TRUE(m->seen.insert(key).second) << m->form << ": " << gtk_label_get_label(GTK_LABEL(w));
        EXPECT_NE(gtk_label_get_mnemonic_widget(GTK_LABEL(w)), nullptr) << m->form << ": " << gtk_label_get_label(GTK_LABEL(w));
    }
    if (!GTK_IS_CONTAINER(w)) return;
    GList *children = nullptr;
    gtk_container_forall(GTK_CONTAINER(w), [](GtkWidget *child, gpointer list) {
        auto l = static_cast<GList **>(list);
        *l = g_list_append(*l, child);
    }, &children);
    for (GList *c = children; c; c = c->next) {
        mnemonics ofpage = *m;
        walk(GTK_WIDGET(c->data), GTK_IS_STACK(w) ? &ofpage : m);
    }
    g_list_free(children);
}

TEST_F(Forms, NoTwoLabelsSeenTogetherShareAKey)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        mnemonics m = { name, {} };
        walk(ui.widget("dialog"), &m);
    }
}

TEST_F(Forms, EachTabHasItsPage)
{
    for (auto &[name, form] : allforms()) {
        loaded ui(form);
        ASSERT_EQ(ui.widget("tabs") == nullptr, ui.widget("pages") == nullptr) << name;
        if (!ui.widget("tabs")) continue;
        GList *tabs = gtk_container_get_children(GTK_CONTAINER(ui.widget("tabs")));
        GList *pages = gtk_container_get_children(GTK_CONTAINER(ui.widget("pages")));
        EXPECT_EQ(g_list_length(tabs), g_list_length(pages)) << name;
        g_list_free(tabs);
        g_list_free(pages);
    }
}

static std::set<std::string> resources(const char *folder)
{
    std::set<std::string> names;
    char **list = g_resources_enumerate_children(folder, G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr);
    for (char **name = list; name && *name; ++name) names.insert(*name);
    g_strfreev(list);
    return names;
}

TEST_F(Forms, EveryFileOfTheResourcesIsUsed)
{
    std::set<std::string> used = { "zelapp.ui", "zeldialog.ui", "zellistdialog.ui", "taxa_select.ui",
                                   "trees_chars_select.ui", "trees_random.ui", "trees_select.ui", "img/" };
    for (auto &[name, form] : allforms()) used.insert("dialog_" + name + ".ui");
    EXPECT_EQ(resources(ZEL_RESOURCES), used);

    std::set<std::string> icons;
    for (const menuitem *item = toolBarEntries; item->id; ++item) icons.insert(std::string(item->id) + "-symbolic.svg");
    EXPECT_EQ(resources(ZEL_RESOURCES "img"), icons);
}
