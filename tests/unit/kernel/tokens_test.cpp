#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include <cstring>

// The text becomes the input; what is left of it is read afterwards.
static void give(const std::string &text)
{
    zelrun("");
    base_input("t", text.c_str());
}

static std::string rest()
{
    std::string text = getnext;
    inpurge();
    return text;
}

static std::string refusal(handler h)
{
    EXPECT_FALSE(safecall(h));
    return zelrun("");
}

TEST(Tokens, AWordIsLettersInLowerCase)
{
    give("  HelLo9x");
    EXPECT_EQ(rdcmd(), 5);
    EXPECT_STREQ(cmdname, "hello");
    EXPECT_EQ(rest(), "9x");
    give("=x");
    EXPECT_EQ(rdcmd(), 0);
    EXPECT_STREQ(cmdname, "");
    EXPECT_EQ(rest(), "=x");
    give("\xe9t\xe9");
    EXPECT_EQ(rdcmd(), 0) << "letters are those of ASCII";
    rest();
}

TEST(Tokens, ANameOfMoreThan32LettersIsRefused)
{
    give(std::string(32, 'a') + ";");
    EXPECT_EQ(rdcmd(), 32);
    give(std::string(33, 'a') + ";");
    EXPECT_EQ(refusal([] { rdcmd(); }), "Name too long \n");
    give(std::string(33, 'a') + ";");
    EXPECT_EQ(refusal([] { readid(); }), "Name too long \n");
}

TEST(Tokens, AnIdentifierKeepsItsCaseAndTakesFourSigns)
{
    give(" Ab_c-D.e+f2");
    EXPECT_EQ(readid(), 10);
    EXPECT_STREQ(cmdname, "Ab_c-D.e+f");
    EXPECT_EQ(rest(), "2");
    int n = 0;
    for (int c = 0; c < 256; ++c) {
        if (!idchars[c]) continue;
        EXPECT_EQ(idchars[c], c);
        ++n;
    }
    EXPECT_EQ(n, 52 + 4);
}

TEST(Tokens, AFileNameEndsAtABlankOrSemicolon)
{
    give("  a^b/c.d e");
    EXPECT_EQ(rdfilename(), 7);
    EXPECT_STREQ(cmdname, "a b/c.d");
    EXPECT_EQ(rest(), " e");
    give("  ;x");
    EXPECT_EQ(rdfilename(), 0);
    EXPECT_EQ(rest(), ";x");
    give(std::string(3000, 'n') + ";");
    EXPECT_EQ(rdfilename(), CMDNAMESIZE - 1);
    rest();
}

TEST(Tokens, ANumberEatsOneBlankAfterIt)
{
    struct { const char *text; long value; const char *left; } cases[] = {
        { " 12 x", 12, "x" }, { "12x", 12, "x" }, { "007\ny", 7, "y" }, { "3  z", 3, " z" }, { "x", -1, "x" },
        { "-4", -1, "-4" }, { "999999999999999;", 999999999999999, ";" }, { "0/", 0, "/" },
    };
    for (auto &c : cases) {
        give(c.text);
        EXPECT_EQ(gtnu(), c.value) << c.text;
        EXPECT_EQ(rest(), c.left) << c.text;
    }
    give("1234567890123456;");
    EXPECT_EQ(refusal([] { gtnu(); }), "Number too long (max.: 15 characters)\n \n");
}

TEST(Tokens, ARealNumberHasOnePointAndLeavesANewline)
{
    struct { const char *text; double value; const char *left; } cases[] = {
        { "1.5 x", 1.5, "x" }, { ".25;", 0.25, ";" }, { "3.;", 3.0, ";" }, { "7\nx", 7.0, "\nx" }, { "1.2.3", 1.2, ".3" },
        { "x", -1.0, "x" }, { ".x", -1.0, ".x" }, { "-1", -1.0, "-1" },
    };
    for (auto &c : cases) {
        give(c.text);
        EXPECT_EQ(gtdouble(), c.value) << c.text;
        EXPECT_EQ(rest(), c.left) << c.text;
    }
    give(std::string(25, '1') + ";");
    EXPECT_EQ(gtdouble(), 1111111111111111111111111.0);
    give(std::string(26, '1') + ";");
    EXPECT_EQ(refusal([] { gtdouble(); }), "Number too long (max.: 25 characters)\n \n");
}

TEST(Tokens, ANumberInBracketsNeedsBoth)
{
    give(" [ 12 ] x");
    EXPECT_EQ(gtnubrack(), 12);
    EXPECT_EQ(rest(), " x");
    give("x");
    EXPECT_EQ(gtnubrack(), -1);
    EXPECT_EQ(rest(), "x");
    for (const char *bad : { "[;", "[x]", "[1;", "[1 2]" }) {
        give(bad);
        EXPECT_EQ(refusal([] { gtnubrack(); }), "Usage: \"[ Number ]\" \n") << bad;
    }
}

TEST(Tokens, PeekingConsumesNothing)
{
    give(" \n x;");
    EXPECT_EQ(peep(), 'x');
    EXPECT_EQ(peep(), 'x');
    EXPECT_FALSE(gotc('y'));
    EXPECT_TRUE(gotc('x'));
    EXPECT_EQ(rest(), ";");
    give("abc;d");
    gott(';');
    EXPECT_EQ(rest(), ";d");
}

TEST(Tokens, WordsAreComparedWithoutCase)
{
    EXPECT_EQ(brevcomp("re", "Replicas"), 0);
    EXPECT_EQ(brevcomp("REPLICAS", "replicas"), 0);
    EXPECT_NE(brevcomp("replicasx", "replicas"), 0);
    EXPECT_NE(brevcomp("", "replicas"), 0) << "nothing abbreviates no word";
    EXPECT_TRUE(namtrun("Homo", "homo_sapiens"));
    EXPECT_TRUE(namtrun("homo", "HOMO"));
    EXPECT_FALSE(namtrun("homo_sapiens", "homo"));
    EXPECT_EQ(namecomp("Homo", "hoMO"), 0);
    EXPECT_NE(namecomp("homo", "homos"), 0);
}
