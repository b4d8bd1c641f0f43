// Every Nexus, Fasta and Newick file of the shared data is read, or refused in the right words.
#include "formatstest.h"
#include "trees/lightopt.h"
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {
std::vector<std::string> filesnamed(const std::string &extension)
{
    std::vector<std::string> all;
    std::string index = datafile("INDEX.tsv");
    if (index.empty()) return all;
    for (auto &entry : fs::recursive_directory_iterator(fs::path(index).parent_path()))
        if (entry.path().extension() == extension) all.push_back(entry.path().string());
    std::sort(all.begin(), all.end());
    return all;
}

std::string beginning(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text(20000, 0);
    in.read(text.data(), long(text.size()));
    text.resize(size_t(in.gcount()));
    for (char &c : text) c = char(tolower(c));
    return text;
}

// The column of the index for a set, by the heading of the column.
std::map<std::string, std::map<std::string, std::string>> readindex()
{
    std::map<std::string, std::map<std::string, std::string>> all;
    std::ifstream in(datafile("INDEX.tsv"));
    std::string line, field;
    std::vector<std::string> heads;
    while (std::getline(in, line)) {
        std::stringstream fields(line);
        std::vector<std::string> row;
        while (std::getline(fields, field, '\t')) row.push_back(field);
        if (heads.empty()) heads = row;
        else
            for (size_t i = 0; i < row.size(); ++i) all[row[0]][heads[i]] = row[i];
    }
    return all;
}

std::string stem(const std::string &path) { return fs::path(path).stem().string(); }

// A matrix for the taxa that trees name, so that there is something to read them for.
void dummymatrix(const std::vector<std::string> &taxa)
{
    std::string text = "xread 1 " + std::to_string(taxa.size()) + "\n";
    for (auto &name : taxa) text += name + " 0\n";
    zelrun("p " + newfile(text + ";proc/;") + ";");
    EXPECT_FALSE(zelfailed());
}

// Labels of terminals in Newick text: words behind "(" or ",".
std::vector<std::string> labelsof(const std::string &text)
{
    std::vector<std::string> all;
    std::set<std::string> seen;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '[') {
            i = text.find(']', i);
            continue;
        }
        if (text[i] != '(' && text[i] != ',') continue;
        size_t at = text.find_first_not_of(" \t\r\n", i + 1), end;
        if (at == std::string::npos || text[at] == '(') continue;
        std::string name;
        if (text[at] == '\'') {
            end = text.find('\'', at + 1);
            name = text.substr(at + 1, end - at - 1);
            for (char &c : name) if (c == ' ') c = '_';
        } else {
            end = text.find_first_of("(),:;[ \n", at);
            name = text.substr(at, end - at);
        }
        if (!name.empty() && seen.insert(name).second) all.push_back(name);
        if (text[at] == '\'') i = end;
    }
    return all;
}

// The names in the list of taxa, or else in the translation table, of a Nexus file of trees.
std::vector<std::string> listedtaxa(const std::string &text)
{
    std::string lower = text, word;
    for (char &c : lower) c = char(tolower(c));
    constexpr size_t HEADING = 9;            // both words are as long
    size_t at = lower.find("taxlabels");
    bool pairs = at == std::string::npos, label = true;
    if (pairs) at = lower.find("translate");
    if (at == std::string::npos) return {};
    std::stringstream words(text.substr(at + HEADING, text.find(';', at) - at - HEADING));
    std::vector<std::string> taxa;
    while (words >> word) {
        if (word.back() == ',') word.pop_back();
        if (word.empty()) continue;
        if (!pairs || !label) taxa.push_back(word);
        label = !label;
    }
    return taxa;
}
}

TEST(NexusFiles, AreAllReadOrRefused)
{
    std::vector<std::string> files = filesnamed(".nex");
    if (files.empty()) GTEST_SKIP() << "no shared data";
    auto index = readindex();
    int read = 0, refused = 0;
    for (auto &file : files) {
        fresh();
        std::string said = zelrun("p " + file + ";"), text = beginning(file);
        for (char &c : text) if (c == '\r') c = '\n';
        bool data = says(text, "begin data");
        if (says(text, "datatype=mixed")) {
            EXPECT_TRUE(zelfailed() && says(said, "expected strings \"dna,\" \"proteins,\" or \"standard\"")) << file;
            ++refused;
        } else if (data) {
            EXPECT_FALSE(zelfailed()) << file << "\n" << said;
            EXPECT_TRUE(says(said, "Closing NEXUS file")) << file;
            auto row = index.find(stem(file));
            if (row != index.end() && row->second["ntax"] != "0" && !row->second["ntax"].empty()) {
                EXPECT_EQ(std::to_string(nt), row->second["ntax"]) << file;
                EXPECT_EQ(std::to_string(nc), row->second["nchar"]) << file;
            }
            ++read;
        } else {
            // Blocks that cannot be read are skipped; trees then find no data.
            EXPECT_FALSE(datatag) << file;
            EXPECT_TRUE(says(said, "  ... Skipping") || says(said, "Must read data before reading trees")) << file << said;
            EXPECT_TRUE(!zelfailed() || says(said, "Must read data before reading trees")) << file << said;
            ++refused;
        }
    }
    EXPECT_EQ(size_t(read + refused), files.size());
    EXPECT_GT(read, 80);
}

TEST(NexusFiles, GiveTheMatrixOfTheirNativeTwins)
{
    std::vector<std::string> files = filesnamed(".nex");
    if (files.empty()) GTEST_SKIP() << "no shared data";
    int twins = 0;
    for (auto &file : files) {
        std::string native = file.substr(0, file.size() - 3) + "xread";
        if (!fs::exists(native) || !says(beginning(file), "begin data")) continue;
        fresh();
        zelrun("p " + native + ";");
        ASSERT_FALSE(zelfailed()) << native;
        std::string matrix = matrixtext(), settings = settingstext();
        fresh();
        zelrun("p " + file + ";");
        ASSERT_FALSE(zelfailed()) << file;
        EXPECT_TRUE(matrixtext() == matrix) << file;
        if (stem(file) == "Lopez-Torres_et_Silcox_2018a") continue;      // the two order different characters
        EXPECT_TRUE(settingstext() == settings) << file;
        ++twins;
    }
    EXPECT_GT(twins, 30);
}

TEST(TreeFiles, AreAllReadForTheirTaxa)
{
    std::vector<std::string> files = filesnamed(".tre");
    if (files.empty()) GTEST_SKIP() << "no shared data";
    int read = 0;
    for (auto &file : files) {
        std::string text = readfile(file);
        bool nexus = !text.compare(0, 6, "#NEXUS");
        if (!nexus && text[0] != '(' && text[0] != '[') continue;        // our own notation
        std::string matrix = fs::path(file).parent_path().string() + "/";
        std::string name = stem(file);
        for (const char *end : { "_mpts", "_strict", "_majority", "_best", "_trees" })
            if (name.size() > strlen(end) && !name.compare(name.size() - strlen(end), strlen(end), end))
                name.resize(name.size() - strlen(end));
        fresh();
        bool own = false;
        for (const char *ending : { ".xread", ".nex" })
            if (fs::exists(matrix + name + ending) && !datatag) {
                zelrun("p " + matrix + name + ending + ";");
                own = datatag && nt > 0;
            }
        if (!own) {
            fresh();
            std::vector<std::string> taxa = nexus ? listedtaxa(text) : labelsof(text);
            ASSERT_FALSE(taxa.empty()) << file;
            for (auto &t : taxa) t.erase(std::remove(t.begin(), t.end(), '\''), t.end());
            dummymatrix(taxa);
        }
        std::string said = zelrun(std::string("p ") + (nexus ? "" : "[") + file + ";");
        EXPECT_FALSE(zelfailed()) << file << "\n" << said.substr(0, 2000);
        EXPECT_GT(trees_in_mem, 0) << file;
        ++read;
        if (HasFailure()) break;
    }
    EXPECT_GT(read, 200);
}

// Lengths of published trees, which the trees have only if matrix, settings and trees are right.
TEST(NexusFiles, GiveTheirTreesTheirPublishedLengths)
{
    auto index = readindex();
    if (index.empty()) GTEST_SKIP() << "no shared data";
    int tried = 0;
    for (auto &[id, row] : index) {
        if (row["category"] != "morph-mpts" && row["category"] != "morph-step") continue;
        std::string file = datafile(row["category"] + "/" + id + ".nex"),
                    trees = datafile(row["category"] + "/" + id + "_mpts.tre");
        if (file.empty() || trees.empty() || !says(beginning(file), "begin data")) continue;
        std::string start = beginning(trees);
        if (start[0] == 't') continue;
        fresh();
        zelrun("p " + file + ";");
        if (!datatag || nt > 60) continue;
        zelrun(std::string("p ") + (start[0] == '#' ? "" : "[") + trees + ";");
        ASSERT_FALSE(zelfailed()) << trees;
        ASSERT_GT(trees_in_mem, 0) << trees;
        double best = 0;
        optmem();
        for (int t = 0; t < trees_in_mem; ++t) {
            double length = packoptimize(mem_tree[t]);
            if (!t || length < best) best = length;
        }
        EXPECT_EQ(best, std::stod(row["best_length"])) << id;
        ++tried;
    }
    EXPECT_GT(tried, 15);
}
