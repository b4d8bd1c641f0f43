// datatest.h: reading small matrices in tests of the data folder.
#pragma once
#include "zeltest.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <string>

// Start state of all settings of the reader, no data.
inline void fresh(const std::string &settings = "nstates num 16; nstates nogaps;")
{
    zelrun("xwipe; " + settings);
    use_exact_mincalc = check_only_active_taxa = 0;
}

// Runs the text as a data file; returns what that printed.
inline std::string readdata(const std::string &text)
{
    static int serial;
    return zelrun("p " + writefile("data" + std::to_string(++serial), text) + ";");
}

inline bool says(const std::string &text, const std::string &what) { return text.find(what) != std::string::npos; }

// A matrix as the reader would take it back, taxa separated by blanks.
inline std::string cellsastext()
{
    std::string all;
    for (int t = 0; t < nt; ++t) {
        if (t) all += ' ';
        for (int c = 0; c < nc; ++c) {
            char text[80];
            copystates(c, t, text);
            if (c && charcodes[c].continuous) all += ',';
            all += text;
        }
    }
    return all;
}

inline void expectnodata()
{
    EXPECT_EQ(datatag, 0);
    EXPECT_EQ(datonlytag, 0);
    EXPECT_EQ(nt, 0);
    EXPECT_EQ(nc, 0);
    EXPECT_EQ(charcodes, nullptr);
}

// Reading must fail with these words, and leave no data.
inline void expectfailure(const std::string &text, const std::string &words)
{
    std::string said = readdata(text);
    EXPECT_TRUE(zelfailed()) << text;
    EXPECT_TRUE(says(said, words)) << said << "\nfor\n" << text;
    expectnodata();
}
