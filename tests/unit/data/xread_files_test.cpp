// Files as they are found, with known content.
#include "datatest.h"
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

static std::vector<std::string> split(const std::string &line, char by)
{
    std::vector<std::string> parts;
    std::stringstream in(line);
    for (std::string part; std::getline(in, part, by); ) parts.push_back(part);
    return parts;
}

// A cell of the tables of expected content: states separated by '/', ? and -; bases count ACGT.
static uint32_t expectedcell(const std::string &text, int type)
{
    if (text == "?") return MISSING;
    if (text == "-") return type == DATA_DNA ? 15 : MISSING;
    uint32_t x = 0;
    for (const std::string &s : split(text, '/')) {
        int state = s[0] <= '9' ? s[0] - '0' : s[0] - 'A' + 10;
        static const int bases[] = { 0, 2, 1, 3 };
        x |= 1u << (type == DATA_DNA ? bases[state] : state);
    }
    return x;
}

TEST(NativeFiles, HaveTheContentKnownOfThem)
{
    std::string folder = datafile("formats-native");
    if (folder.empty()) GTEST_SKIP() << "the shared data are absent";
    int files = 0;
    for (auto &entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".xread") continue;
        ++files;
        fresh();
        zelrun("p " + entry.path().string() + ";");
        ASSERT_FALSE(zelfailed()) << entry.path();
        std::string table = entry.path().string();
        table.replace(table.size() - 6, 6, "_expected.tsv");
        std::ifstream in(table);
        int t = 0;
        for (std::string line; std::getline(in, line); ) {
            auto parts = split(line, '\t');
            if (parts.size() < 2 || parts[0] == "tree" || parts[0].starts_with("steps")) continue;
            auto values = split(parts[1], ' ');
            ASSERT_EQ(int(values.size()), nc) << entry.path();
            if (parts[0] == "characters" || parts[0] == "weights" || parts[0] == "active") {
                for (int c = 0; c < nc; ++c) {
                    const charrec &r = charcodes[c];
                    int value = parts[0] == "characters" ? values[size_t(c)] == "ord" : std::stoi(values[size_t(c)]);
                    int found = parts[0] == "characters" ? r.additive : parts[0] == "weights" ? r.weight : r.active;
                    EXPECT_EQ(found, value) << entry.path() << c;
                }
                continue;
            }
            EXPECT_EQ(parts[0], taxname[t]);
            for (int c = 0; c < nc; ++c)
                EXPECT_EQ(cell(t, c), expectedcell(values[size_t(c)], charcodes[c].type))
                    << entry.path() << " " << parts[0] << " " << c;
            ++t;
        }
        EXPECT_EQ(t, nt);
        checkmatrix();
    }
    EXPECT_EQ(files, 6);
    fresh();
}

TEST(SharedFiles, HaveTheSizesOfTheIndex)
{
    std::string index = datafile("INDEX.tsv");
    if (index.empty()) GTEST_SKIP() << "the shared data are absent";
    std::ifstream in(index);
    int files = 0;
    for (std::string line; std::getline(in, line); ) {
        auto parts = split(line, '\t');
        if (parts.size() < 6 || parts[0] == "id") continue;
        for (const std::string &name : split(parts[2], ' ')) {
            if (!name.ends_with(".xread")) continue;
            fresh();
            zelrun("p " + datafile(name) + ";");
            ASSERT_NE(datatag, 0) << name;
            EXPECT_EQ(nt, std::stoi(parts[4])) << name;
            if (parts[1] != "continuous") {
                EXPECT_EQ(nc, std::stoi(parts[5])) << name;
            } // there, the index counts the whole set
            checkmatrix();
            ++files;
        }
    }
    EXPECT_GT(files, 200);
    fresh();
    zelrun("taxname +32;");
}
