// Names of files as commands take them.
#include "gui/dialogs/dialog.h"
#include "zeltest.h"
#include <unistd.h>

TEST(NamesInCommands, AreThoseOfTheCurrentFolderAloneAndOthersWhole)
{
    ASSERT_EQ(chdir(tempdir().c_str()), 0);
    char *here = g_get_current_dir();
    EXPECT_EQ(filename_in_command(std::string(here) + "/bees.zel"), "bees.zel");
    EXPECT_EQ(filename_in_command(std::string(here) + "/in/bees.zel"), "in/bees.zel");
    EXPECT_EQ(filename_in_command(std::string(here) + "2/bees.zel"), std::string(here) + "2/bees.zel");
    EXPECT_EQ(filename_in_command("/elsewhere/bees.zel"), "/elsewhere/bees.zel");
    g_free(here);
}

TEST(NamesInCommands, HaveNoBlanksNorBeginWithSigns)
{
    EXPECT_EQ(filename_in_command("two words here"), "two^words^here");
    for (const char *sign : { "+", "*", "&", "=", "|", "-", "!", ">", "[", "]", "<" })
        EXPECT_EQ(filename_in_command(std::string(sign) + "x"), std::string("./") + sign + "x");
    EXPECT_EQ(filename_in_command(""), "");
}
