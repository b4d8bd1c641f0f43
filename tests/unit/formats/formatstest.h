// formatstest.h: small foreign files, and data as text to compare.
#pragma once
#include "zeltest.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/treebuf.h"
#include <string>

inline void fresh(const std::string &settings = "")
{
    zelrun("xwipe; warn-; report-; nstates num 16; nstates nogaps; " + settings);
}

inline std::string newfile(const std::string &text)
{
    static int serial;
    return writefile("foreign" + std::to_string(++serial), text);
}

inline std::string readforeign(const std::string &text, const std::string &sign = "")
{
    return zelrun("p " + sign + newfile(text) + ";");
}

inline bool says(const std::string &text, const std::string &what) { return text.find(what) != std::string::npos; }

// Cells as the native reader takes them, a taxon a line after its name.
inline std::string matrixtext()
{
    std::string all;
    for (int t = 0; t < nt; ++t) {
        all += std::string(taxname[t]) + " ";
        for (int c = 0; c < nc; ++c) {
            char text[80];
            copystates(c, t, text);
            all += text;
        }
        all += '\n';
    }
    return all;
}

// What is in force of each character.
inline std::string settingstext()
{
    std::string all;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        all += std::to_string(c) + (r.sankoff ? "(" : r.additive ? "+" : "-") + (r.active ? "[" : "]") + "/" +
               std::to_string(r.weight);
        for (int a = 0; r.sankoff && a < r.numstates; ++a)
            for (int b = 0; b < r.numstates; ++b) all += " " + std::to_string(r.costs[a][b]);
        all += '\n';
    }
    return all;
}

inline void expectrefused(const std::string &text, const std::string &words, const std::string &sign = "")
{
    std::string said = readforeign(text, sign);
    EXPECT_TRUE(zelfailed()) << text;
    EXPECT_TRUE(says(said, words)) << said << "\nwithout\n" << words << "\nfor\n" << text;
}

// A data block of numeric states; rows of name and cells.
inline std::string nexusdata(const std::string &sizes, const std::string &format, const std::string &rows)
{
    return "#NEXUS\nbegin data;\ndimensions " + sizes + ";\nformat " + format + ";\nmatrix\n" + rows + "\n;\nend;\n";
}

inline const std::string FOUR = nexusdata("ntax=4 nchar=5", "datatype=standard missing=? gap=-",
                                          "a 00000\nb 00111\nc 11?{01}1\nd 111-0");
