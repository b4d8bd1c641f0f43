// Names of files, asked for by scripts.
#include "scripttest.h"
#include "kernel/window.h"
#include "script/dialog.h"
#include "script/expr.h"
#include "script/vars.h"
#include <cstring>

static std::string answer, asked;
static bool writing;

// A terminal at which the answer is typed.
struct someone {
    char *(*read)(const char *) = window.readcommand;
    int (*key)() = window.waitkey;
    explicit someone(const char *types)
    {
        answer = types;
        window.waitkey = [] { return 0; };
        window.readcommand = [](const char *prompt) { return asked = prompt, strdup(answer.c_str()); };
    }
    ~someone() { window.readcommand = read; window.waitkey = key; choose_file_name = nullptr; }
};

TEST(FileNames, AreTypedOnATerminal)
{
    someone there("  my data.zel ");
    EXPECT_EQ(typed("var: name[40]; getfname name read The  matrix ; quote <$name>; set 50 exstatus; quote '50';"),
              "<my^data.zel>\n1\n");
    EXPECT_EQ(asked, "The matrix :");
    answer = "";
    EXPECT_EQ(zelrun("getfname name write Again; set 50 exstatus; quote '50' $name;"), "0 my^data.zel\n") << "the old name stays";
}

TEST(FileNames, TakeAnExtensionWhenTheyHaveNone)
{
    someone there("plain");
    EXPECT_EQ(typed("var: name[40]; getfname [*.tre] name write Trees; quote $name;"), "plain.tre\n");
    answer = "other.run";
    EXPECT_EQ(zelrun("getfname [*.tre] name write Trees; quote $name;"), "other.run\n");
    answer = "in.folder/plain";
    EXPECT_EQ(zelrun("getfname [*.tre] name write Trees; quote $name;"), "in.folder/plain.tre\n");
}

TEST(FileNames, AreChosenInTheWindow)
{
    someone there("typed");
    static std::string wanted;
    choose_file_name = [](const char *title, bool towrite, const char *extension) {
        asked = title, writing = towrite, wanted = extension;
        return std::string("/chosen here.x");
    };
    EXPECT_EQ(typed("var: name[40]; getfname name write; quote $name;"), "/chosen^here.x\n");
    EXPECT_EQ(asked, "File to write");
    EXPECT_TRUE(writing);
    EXPECT_EQ(wanted, "");
    zelrun("getfname [*.zel] name r Input;");
    EXPECT_FALSE(writing);
    EXPECT_EQ(wanted, ".zel");
}

TEST(FileNames, AreNotThereWhenNobodyCanAnswer)
{
    last_exstatus = 5;
    EXPECT_EQ(typed("set 9 $old; getfname 9 read Title; quote $9;"), "old\n");
    EXPECT_EQ(last_exstatus, 0);
}

TEST(FileNames, AreRefusedWithoutTheirForm)
{
    EXPECT_TRUE(has(typed("getfname 9 change Title;"), "Unidentified option in dialog syntax: change"));
    EXPECT_TRUE(has(typed("getfname [tre] 9 read Title;"), "Unidentified option in dialog syntax: tre"));
    EXPECT_TRUE(has(typed("getfname [*.; 9 read Title;"), "Unidentified option in dialog syntax: *."));
    someone there("a very long name of a file");
    EXPECT_TRUE(has(typed("getfname 999 read Title;"), "String too long (it exceeds variable 999)"));
    zelrun("macro -");
    EXPECT_TRUE(has(zelrun("getfname 9 read Title;"), "getfname legal only when macros are enabled"));
}
