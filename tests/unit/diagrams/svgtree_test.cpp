// Trees saved as SVG: well-formed, complete, and of the shape of the tree.
#include "zeltest.h"
#include <cstring>
#include "data/matrix.h"
#include "diagrams/svgtree.h"
#include "diagrams/tagstore.h"
#include "diagrams/textree.h"
#include "kernel/output.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

namespace {

// The fault of a text that should be well-formed XML; "" for none.
std::string xmlfault(const std::string &xml)
{
    std::vector<std::string> open;
    if (xml.compare(0, 22, "<?xml version=\"1.0\"?>\n")) return "no declaration";
    size_t at = 22;
    bool hadroot = false;
    while (at < xml.size()) {
        unsigned char c = xml[at];
        if (c == '<') {
            size_t end = xml.find('>', at);
            if (end == std::string::npos) return "a mark without end";
            std::string mark = xml.substr(at + 1, end - at - 1);
            at = end + 1;
            if (mark.find('<') != std::string::npos) return "< in a mark";
            if (mark[0] == '/') {
                if (open.empty() || open.back() != mark.substr(1)) return "end of " + mark;
                open.pop_back();
                continue;
            }
            bool empty = mark.back() == '/';
            size_t n = mark.find(' ');
            std::string name = mark.substr(0, n);
            if (open.empty() && hadroot) return "two roots";
            hadroot = true;
            std::string rest = n == std::string::npos ? "" : mark.substr(n, mark.size() - n - empty);
            for (size_t i = 0; i < rest.size();) {                     // blanks, name="value"
                if (rest[i] == ' ') { ++i; continue; }
                size_t eq = rest.find("=\"", i), close = eq == std::string::npos ? eq : rest.find('"', eq + 2);
                if (close == std::string::npos) return "attribute of " + mark;
                i = close + 1;
            }
            if (!empty) open.push_back(name);
        } else if (c == '&') {
            bool known = false;
            for (const char *entity : { "&amp;", "&lt;", "&gt;" }) known |= !xml.compare(at, strlen(entity), entity);
            if (!known) return "a bare &";
            ++at;
        } else {
            if (c < 32 && c != '\n') return "a control character";
            int more = c < 0x80 ? 0 : c >= 0xf0 ? 3 : c >= 0xe0 ? 2 : c >= 0xc2 ? 1 : -1;
            if (more < 0) return "a stray byte";
            for (++at; more > 0; --more, ++at)
                if (at >= xml.size() || (static_cast<unsigned char>(xml[at]) & 0xc0) != 0x80) return "a cut character";
            if (open.empty() && c != '\n') return "text outside";
        }
    }
    return open.empty() && hadroot ? "" : "open at the end";
}

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++n;
    return n;
}

struct named {                       // a matrix of odd names, shown as such
    named();
    ~named() { usetaxnames = 0; }
};

named::named()
{
    zelrun("silent=all; procedure " + writefile("svg.xread", "xread 1 6\nA&B 0\n<tag> 0\n\xe9t\xe9 0\n漢字 0\n\"q\" 0\nplain 0\n;\n"
           "tread (0 ((1 2) (3 (4 5))))* (0 ((1 2) (4 (3 5))));proc/;\n") + "; taxname=; silent-all;");
    EXPECT_EQ(nt, 6);
}

std::string save(const std::string &options)
{
    std::string file = tempdir() + "/tags.svg";
    zelrun("ttags &" + file + " " + options + ";");
    EXPECT_FALSE(zelfailed()) << options;
    return readfile(file);
}

TEST(Svgtree, IsWellFormedWithAnyNamesTagsAndOptions)
{
    named guard;
    zelrun("ttags -; ttags *0; ttags +7 1/a<b&c>d; ttags +10 3; ttags +9 (255,0,0:5,80)/x\\y; ttags +8 (-0,0,255); ttags +3 12; ttags >T & t;");
    for (const char *options : { "", "colors", "blength 40 bheight 30", "thickness 4 pendwidth 8 fontsize 20", "italics bitalics",
                                 "legup 3 legshift -4 shift 6 txtsep 5", "extra 30,40 rotate", "colors caption A <caption>, & more" }) {
        for (const char *lines : { "ttags ];", "ttags [a;", "ttags [b;", "ttags [c;", "ttags [d;" }) {
            zelrun(lines);
            std::string xml = save(options);
            EXPECT_EQ(xmlfault(xml), "") << options << lines << "\n" << xml;
            for (const char *name : { ">A&amp;B<", ">&lt;tag&gt;<", ">été<", ">漢字<", ">\"q\"<", ">plain<", ">T &amp; t<" })
                EXPECT_EQ(count(xml, name), 1u) << name;
        }
    }
    zelrun("ttags [c; ttags ];");
}

TEST(Svgtree, HasTwoLinesABranchAndTheHeaderOfItsKind)
{
    named guard;
    zelrun("ttags -; ttags *0; ttags +7 99;");
    std::string xml = save("blength 50 bheight 20");
    EXPECT_EQ(xml.substr(0, 27), "<?xml version=\"1.0\"?>\n<svg ");
    EXPECT_TRUE(count(xml, "xmlns=\"http://www.w3.org/2000/svg\">\n"));
    EXPECT_TRUE(count(xml, "<g stroke-width=\"2\" stroke=\"black\" font-family=\"Verdana\" font-size=\"12\">\n"));
    EXPECT_EQ(xml.substr(xml.size() - 12), "</g>\n</svg>\n");
    EXPECT_EQ(count(xml, "<line "), 2u * 10);                  // 6 terminals and 4 nodes below the root
    // margins 20; terminals at 30, 50 ... 130; node 7 at 60, 10 at 120, 9 at (90+120)/2, 8 at (60+105)/2
    for (const char *line : { "x1=\"20\" y1=\"30\" x2=\"70\" y2=\"30\" ", "x1=\"70\" y1=\"60\" x2=\"120\" y2=\"60\" ",
                              "x1=\"120\" y1=\"120\" x2=\"170\" y2=\"120\" ", "x1=\"70\" y1=\"105\" x2=\"120\" y2=\"105\" ",
                              "x1=\"20\" y1=\"82\" x2=\"70\" y2=\"82\" ", "x1=\"170\" y1=\"130\" x2=\"220\" y2=\"130\" " })
        EXPECT_EQ(count(xml, line), 1u) << line;
    EXPECT_EQ(count(xml, ">99</text>"), 1u);
}

TEST(Svgtree, ColorsBranchesByTheCodesOfTheirTags)
{
    named guard;
    zelrun("ttags -; ttags *0; ttags +7 0; ttags +10 1/text; ttags +9 12; ttags +8 (-10,20,30:7,90);");
    std::string xml = save("colors");
    EXPECT_EQ(count(xml, "stroke=\"rgb(255,0,0)\""), 2u);
    EXPECT_EQ(count(xml, "stroke=\"rgb(0,0,255)\""), 2u);
    EXPECT_EQ(count(xml, "stroke=\"rgb(150,150,150)\""), 2u);  // two digits are ambiguous: gray
    EXPECT_EQ(count(xml, "stroke=\"rgb(10,20,30)\" stroke-width=\"7\" style=\"stroke-dasharray:5 3\" "), 2u);
    EXPECT_EQ(count(xml, ">text</text>"), 1u);
    EXPECT_EQ(count(xml, ">12</text>"), 0u);
}

TEST(Svgtree, OptionsThatCannotBeAreRefused)
{
    named guard;
    zelrun("ttags -; ttags *0; ttags +7 0;");
    std::string file = tempdir() + "/none.svg";
    struct { std::string command, words; } expected[] = {
        { "ttags &" + file + " blength;", "String \"blength\" must be followed by branch length (in pixels)" },
        { "ttags &" + file + " nosuch;", "Unrecognized option for saving tree: nosuch" },
        { "ttags &" + file + " xysave var;", "not available yet" },
        { "ttags &" + tempdir() + "/no/such/folder.svg;", "Cannot open file" },
    };
    for (auto &e : expected) {
        EXPECT_NE(zelrun(e.command).find(e.words), std::string::npos) << e.command;
        EXPECT_TRUE(zelfailed()) << e.command;
    }
    EXPECT_EQ(readfile(file), "");
    EXPECT_EQ(now_showing_tags, 0);
}

TEST(Svgtree, OfTreesDrawnGoesToTheFileOfTheLog)
{
    named guard;
    std::string file = tempdir() + "/auto.svg";
    zelrun("tplot = 5 6 7 8; log &" + file + ";");
    std::string text = zelrun("tplot 0 1; tplot 0;");
    EXPECT_NE(text.find("Tree 0:"), std::string::npos);        // also shown
    zelrun("log &/; tplot = 20 20 20 20;");
    for (const char *name : { "/auto.svg", "/auto-1.svg", "/auto-2.svg" }) {
        std::string xml = readfile(tempdir() + name);
        EXPECT_EQ(xmlfault(xml), "") << name;
        EXPECT_NE(xml.find(name == std::string("/auto-1.svg") ? ">Tree 1:<" : ">Tree 0:<"), std::string::npos) << name;
    }
    EXPECT_EQ(readfile(tempdir() + "/auto-3.svg"), "");
    zelrun("tplot 0;");
    EXPECT_EQ(readfile(tempdir() + "/auto-3.svg"), "");
}

}
