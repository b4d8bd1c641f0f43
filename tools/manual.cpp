// Writes the manual from the rows of the command table: what the program answers to "help" is what
// the pages say.
//
//     zelmanual FOLDER           write the pages into the folder
//     zelmanual --check FOLDER   tell whether they are as they would be written; status 1 when not
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/help.h"
#include "script/expr.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

// A command stands on the page of the first topic that it has.
struct pagerow { uint32_t topic; const char *file, *title; };
static constexpr pagerow pages[] = {
    { TOPIC_INPUT,      "input",      "Reading data, trees and commands" },
    { TOPIC_MAPPING,    "mapping",    "Characters mapped on trees" },
    { TOPIC_SEARCHING,  "searching",  "Searching for trees" },
    { TOPIC_SUPPORTS,   "supports",   "Supports of groups" },
    { TOPIC_CONSENSUS,  "consensus",  "Consensus" },
    { TOPIC_DIAGNOSIS,  "diagnosis",  "Scores and other diagnoses" },
    { TOPIC_COMPARE,    "compare",    "Comparing trees" },
    { TOPIC_TREES,      "trees",      "Trees: showing, keeping, saving" },
    { TOPIC_CHARACTERS, "characters", "Characters and their settings" },
    { TOPIC_WEIGHTGS,   "weights",    "Weights" },
    { TOPIC_OUTPUT,     "output",     "Output" },
    { TOPIC_SAVE,       "save",       "Saving" },
    { TOPIC_MEMORY,     "memory",     "Memory" },
    { TOPIC_SCRIPTS,    "scripts",    "Scripts" },
    { TOPIC_SETTINGS,   "settings",   "Settings" },
    { 0,                "various",    "Various" }
};

static const pagerow *pageof(const comrow *row)
{
    const pagerow *page = pages;
    while (page->topic && !(row->topics & page->topic)) ++page;
    return page;
}

// A stretch of lines laid out for a view stays as it is: indented by four blanks.
static std::string literal(const std::string &text)
{
    std::istringstream lines(text);
    std::string out;
    for (std::string line; std::getline(lines, line); ) out += line.empty() ? "\n" : "    " + line + "\n";
    return out;
}

static std::string section(const comrow *row)
{
    std::string text = helptext(row->help), summary = row->help->summary;
    text.erase(0, summary.size() + 1);
    size_t examples = text.find("Examples:\n");
    bool any = examples != std::string::npos && (!examples || text[examples - 1] == '\n');
    std::string forms = any ? text.substr(0, examples) : text;
    std::string out = std::string("## ") + row->name + "\n\n" + summary + "\n";
    if (!forms.empty()) out += "\n" + literal(forms);
    if (any) out += "\nExamples:\n\n" + literal(text.substr(examples + strlen("Examples:\n")));
    return out + "\n";
}

static std::vector<const comrow *> available()
{
    std::vector<const comrow *> rows;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->help) rows.push_back(row);
    std::sort(rows.begin(), rows.end(), [](auto *a, auto *b) { return strcmp(a->name, b->name) < 0; });
    return rows;
}

static std::string pagetext(const pagerow *page)
{
    std::string out;
    for (const comrow *row : available())
        if (pageof(row) == page) out += section(row);
    if (out.empty()) return "";
    out.pop_back();
    return std::string("# ") + page->title + "\n\n[All commands](README.md)\n\n" + out;
}

static std::string indextext()
{
    std::string out =
        "# Commands\n"
        "\n"
        "These pages are written by the program (`ninja manual`) from the texts that `help` shows. In the\n"
        "forms, words in capitals stand for numbers, names or lists; every command ends with a semicolon,\n"
        "and its name may be shortened. The examples run in the folder `examples`, after\n"
        "`procedure bees.zel; procedure bees_ten.tre;`.\n"
        "\n"
        "| command | |\n"
        "| --- | --- |\n";
    for (const comrow *row : available())
        out += std::string("| [") + row->name + "](" + pageof(row)->file + ".md#" + row->name + ") | " + row->help->summary + " |\n";
    out += "\n[Expressions](expressions.md) of the scripting language.\n";
    out += "\n## By topic\n\nWhat `help [ topic ];` lists.\n\n| topic | commands |\n| --- | --- |\n";
    for (const topicrow *topic = topics; topic->word; ++topic) {
        std::string names;
        for (const comrow *row : available())
            if (row->topics & topic->bit) names += std::string(names.empty() ? "" : ", ") + row->name;
        if (!names.empty()) out += std::string("| ") + topic->shown + " | " + names + " |\n";
    }
    return out;
}

// What scripts can ask for.  A help is the arguments, two blanks, and the text.
static std::string expressionstext()
{
    std::string out =
        "# Expressions\n"
        "\n"
        "[All commands](README.md)\n"
        "\n"
        "What expressions of the scripting language can ask for. T is a tree, N a node or taxon, C a\n"
        "character, G a group, B a block, X and Y numbers, A and V variables; arguments at the end may\n"
        "often be left out. Expressions that make a list put it into the array on the left of `set`.\n"
        "\n"
        "| expression | |\n"
        "| --- | --- |\n";
    for (const exprrow *row = exprtable; row->name; ++row) {
        if (*row->name == '\r') {
            out += std::string("\n") + (row->name + strspn(row->name, "\r ")) + "\n\n| expression | |\n| --- | --- |\n";
            continue;
        }
        const char *text = strstr(row->help, "  ");
        std::string asked = row->word ? row->word : row->name;
        out += "| `" + asked + std::string(row->help, text) + "` | " + (text + 2) + " |\n";
    }
    return out;
}

static std::map<std::string, std::string> manual()
{
    std::map<std::string, std::string> files{ { "README.md", indextext() }, { "expressions.md", expressionstext() } };
    for (const pagerow &page : pages) {
        std::string text = pagetext(&page);
        if (!text.empty()) files[std::string(page.file) + ".md"] = text;
    }
    return files;
}

static std::string readfile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

int main(int argc, char **argv)
{
    bool check = argc == 3 && !strcmp(argv[1], "--check");
    if (argc != 2 && !check) {
        fputs("Usage: zelmanual [--check] FOLDER\n", stderr);
        return 2;
    }
    int stale = 0;
    for (auto &[name, text] : manual()) {
        std::string path = std::string(argv[argc - 1]) + "/" + name;
        if (check) {
            if (readfile(path) == text) continue;
            printf("%s is not up to date: run \"ninja manual\"\n", path.c_str());
            ++stale;
        } else {
            std::ofstream out(path, std::ios::binary);
            if (!(out << text).flush()) {
                fprintf(stderr, "Cannot write %s\n", path.c_str());
                return 1;
            }
        }
    }
    return stale ? 1 : 0;
}
