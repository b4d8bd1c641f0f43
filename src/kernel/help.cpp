// The help, composed from the command table: what stands in a row is all there is to say.
#include "kernel/help.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>

constexpr int NAMESALINE = 7, NAMEWIDTH = 11;

// The table shown to the user spells the last word otherwise.
const topicrow topics[] = {
    { "input",      "input",      TOPIC_INPUT      }, { "output",    "output",    TOPIC_OUTPUT    },
    { "save",       "save",       TOPIC_SAVE       }, { "mapping",   "mapping",   TOPIC_MAPPING   },
    { "searching",  "searching",  TOPIC_SEARCHING  }, { "diagnosis", "diagnosis", TOPIC_DIAGNOSIS },
    { "compare",    "compare",    TOPIC_COMPARE    }, { "consensus", "consensus", TOPIC_CONSENSUS },
    { "settings",   "settings",   TOPIC_SETTINGS   }, { "various",   "various",   TOPIC_VARIOUS   },
    { "scripts",    "scripts",    TOPIC_SCRIPTS    }, { "memory",    "memory",    TOPIC_MEMORY    },
    { "supports",   "supports",   TOPIC_SUPPORTS   }, { "trees",     "trees",     TOPIC_TREES     },
    { "characters", "characters", TOPIC_CHARACTERS }, { "weightgs",  "weights",   TOPIC_WEIGHTGS  },
    { "topics",     "topics",     0                }, { nullptr,     nullptr,     0               }
};

// --- one command --------------------------------------------------------------------------

static std::string uppercase(const char *name)
{
    std::string text = name;
    for (char &c : text)
        if (c >= 'a' && c <= 'z') c = char(c - 32);
    return text;
}

// Line by line: a help text may be longer than the composition buffer.
static void printlines(const char *text)
{
    while (*text) {
        const char *end = strchr(text, '\n');
        size_t n = end ? size_t(end - text) : strlen(text);
        joinem(std::string(text, n).c_str(), "\n", nullptr);
        text += n + (end ? 1 : 0);
    }
}

// --- options ---

static double valueof(const optrow *row)
{
    return row->kind == OPT_REAL ? row->real ? *row->real : 0 : row->sets ? *row->sets : 0;
}

// What the options are set to when the program starts.  They are constants of the program then:
// nothing that runs before this reading changes them.
static const std::map<const optrow *, double> defaults = [] {
    std::map<const optrow *, double> values;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->help && row->help->options)
            for (const optrow *option = row->help->options; option->word; ++option) values[option] = valueof(option);
    return values;
}();

static std::string number(double x)
{
    char text[40];
    snprintf(text, sizeof text, "%g", x);
    return text;
}

// A limit that only says what fits an integer is none.
static std::string limits(const optrow *row)
{
    std::string low = std::to_string(row->low), high = std::to_string(row->high);
    if (row->high >= INT_MAX) return row->low <= -INT_MAX ? "" : "at least " + low + ", ";
    return low + " to " + high + ", ";
}

// Limits, default, and the present value where it is another: "(1 to 100, default 10; now 20)".
static std::string optionvalues(const optrow *row)
{
    auto known = defaults.find(row);
    double is = valueof(row), was = known == defaults.end() ? is : known->second;
    switch (row->kind) {
        case OPT_FLAG: {
            auto onoff = [](double x) { return x ? "on" : "off"; };
            return std::string(" (default ") + onoff(was) + (is != was ? std::string("; now ") + onoff(is) : "") + ")";
        }
        case OPT_NUMBER:
        case OPT_REAL:
            return " (" + limits(row) + "default " + number(was) + (is != was ? "; now " + number(is) : "") + ")";
        case OPT_STORE:
            return was == row->low ? " (default)" : is == row->low ? " (now)" : "";
        default:
            return "";
    }
}

// --- lines that fit ---

constexpr size_t HELPWIDTH = 79;

// The words of text behind a head, in as many lines as they take; later lines begin at column hang.
static std::string hanging(const std::string &head, const std::string &text, size_t hang)
{
    std::string lines, line = head;
    line.resize(std::max(hang ? hang - 1 : 0, head.size()), ' ');
    std::istringstream words(text);
    bool begins = true;                  // nothing of the text stands in the line yet
    for (std::string word, before; words >> word; before = word) {
        size_t blanks = begins ? hang ? 1 : 0 : before.back() == '.' ? 2 : 1;
        if (!begins && line.size() + blanks + word.size() > HELPWIDTH) {
            lines += line + "\n";
            line.assign(hang, ' ');
            blanks = 0;
        }
        line += std::string(blanks, ' ') + word;
        begins = false;
    }
    return lines + line + "\n";
}

static size_t indentof(const std::string &line) { return std::min(line.find_first_not_of(' '), line.size()); }

// Two blanks or more within the line, but for those that end a sentence; 0 for none.
static size_t gapof(const std::string &line)
{
    size_t gap = line.find("  ", indentof(line));
    return gap == std::string::npos || strchr(".:?", line[gap - 1]) ? 0 : gap;
}

// A form, or an option, with what it does: not a sentence at the margin.
static bool isform(const std::string &line) { return indentof(line) || gapof(line); }

// The column of an explanation: where its second line begins, else what stands behind the gap of
// the first one, else somewhat further in.  0 for sentences.
static size_t columnof(const std::string &first, const std::string &second)
{
    constexpr size_t FURTHER = 4;        // lines indented less are other forms
    size_t indent = indentof(first), gap = gapof(first);
    if (!isform(first)) return 0;
    if (indentof(second) >= indent + FURTHER && indentof(second) < second.size() && !gapof(second)) return indentof(second);
    return gap ? std::min(first.find_first_not_of(' ', gap), first.size()) : indent + 2;
}

static bool continues(const std::string &line, const std::string &first, size_t hang)
{
    if (line.empty() || line == "Examples:") return false;
    return hang ? indentof(line) == hang : !isform(line) && first.back() != ':';
}

// Bytes of the first line that stay where they are: the form, without its explanation.
static size_t headof(const std::string &first, size_t hang)
{
    if (!hang) return 0;
    if (hang > indentof(first) && hang < first.size() && first[hang - 1] == ' ') return hang;
    size_t gap = gapof(first);
    return std::min(gap ? gap : first.find(' ', indentof(first)), first.size());
}

// Breaks anew the sentences and explanations that are too wide for a view of 80 columns; all else,
// and the examples, stays as it was laid out.
static std::string fitted(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line); ) lines.push_back(line);
    std::string out;
    for (size_t at = 0; at < lines.size() && lines[at] != "Examples:"; ) {
        const std::string &first = lines[at];
        size_t hang = columnof(first, at + 1 < lines.size() ? lines[at + 1] : ""), end = at + 1, widest = first.size();
        while (!first.empty() && end < lines.size() && continues(lines[end], first, hang))
            widest = std::max(widest, lines[end++].size());
        if (widest > HELPWIDTH) {
            size_t cut = headof(first, hang);
            std::string head = first.substr(0, cut), words = first.substr(cut);
            head.erase(head.find_last_not_of(' ') + 1);
            for (size_t i = at + 1; i < end; ++i) words += " " + lines[i];
            out += hanging(head, words, hang);
        } else
            for (size_t i = at; i < end; ++i) out += lines[i] + "\n";
        at = end;
    }
    size_t examples = ("\n" + text).find("\nExamples:\n");
    return examples == std::string::npos ? out : out + text.substr(examples);
}

static std::string optiontext(const optrow *row)
{
    constexpr size_t COLUMN = 17;
    std::string word = row->word;
    if (row->kind == OPT_FLAG) word = "[no]" + word;
    if (row->kind == OPT_NUMBER) word += " N";
    if (row->kind == OPT_REAL) word += " X";
    return hanging("  " + word, row->help + optionvalues(row), COLUMN);
}

std::string helptext(const comhelp *help)
{
    std::string text = help->summary;
    text += '\n';
    if (help->options)
        for (const optrow *option = help->options; option->word; ++option) text += optiontext(option);
    if (help->text) text += fitted(help->text);
    if (text.back() != '\n') text += '\n';
    return text;
}

void docomhlp(const comrow *row)
{
    joinem("\n", uppercase(row->name).c_str(), nullptr);
    joinem(strcmp(row->name, "exit") ? "" : "   ditto!", "\n", nullptr);
    if (row->help) printlines(helptext(row->help).c_str());
    else myp("This command is not available yet");
}

// --- examples ---

static std::string trimmed(const std::string &line)
{
    size_t from = line.find_first_not_of(' '), to = line.find_last_not_of(' ');
    return from == std::string::npos ? "" : line.substr(from, to - from + 1);
}

std::vector<std::string> helpexamples(const comhelp *help)
{
    std::vector<std::string> examples;
    std::istringstream text(help->text ? help->text : "");
    std::string line, commands;
    while (std::getline(text, line) && line != "Examples:") ;
    while (std::getline(text, line)) {
        size_t last = line.rfind(';');
        commands += trimmed(line.substr(0, last == std::string::npos ? last : last + 1));
        if (last == std::string::npos) commands += '\n';
        else examples.push_back(std::exchange(commands, ""));
    }
    if (!trimmed(commands).empty()) examples.push_back(commands);
    return examples;
}

// --- lists --------------------------------------------------------------------------------

// Names in lines of seven.
struct namelist {
    bool rightaligned;
    int  n = 0;
    void add(const char *name)
    {
        char cell[64];
        snprintf(cell, sizeof cell, rightaligned ? " %*s" : "%-*s ", NAMEWIDTH - 1, name);
        tojoin(cell);
        if (++n % NAMESALINE == 0) spewout();
    }
    void end()
    {
        if (n % NAMESALINE) spewout();
        n = 0;
    }
};

static void listrows(const comrow *row)
{
    namelist names{ false };
    for (; row->name; ++row)
        if (row->run == nocom) {           // the heading of the second block
            names.end();
            joinem(row->name, "\n", nullptr);
        } else
            names.add(row->name);
    names.end();
}

static void overview()
{
    myp("For help on command \"xxxx\" enter \"help xxxx\"");
    myp("For help on ALL commands, enter \"help*\"");
    myp("For help with scripting language, enter \"help+\"");
    myp("Enter \"help [ topic ]\" for possible help topics.\n");
    myp("COMMANDS:");
    listrows(comtable);
}

static void allhelp()
{
    struct unbreakable { int was = breakable; unbreakable() { breakable = 0; } ~unbreakable() { breakable = was; } } here;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->run != nocom) docomhlp(row);
}

static void wordhelp()
{
    if (!rdcmd()) errmsg("\"Help\" requires a command as argument", nullptr);
    std::string word = cmdname;
    int found = 0;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->run != nocom && !brevcomp(word.c_str(), row->name)) { docomhlp(row); ++found; }
    if (!found) myerr("%s: command not recognized", word.c_str());
}

// --- topics -------------------------------------------------------------------------------

static void topictable()
{
    spewem("Possible help topics are:", nullptr);
    namelist names{ true };
    for (const topicrow *topic = topics; topic->word; ++topic) names.add(topic->shown);
    names.end();
    joinem("Specifying multiple topics shows commands that share all topics.\n", nullptr);
}

static const topicrow *findtopic(const char *word)
{
    for (const topicrow *topic = topics; topic->word; ++topic)
        if (!brevcomp(word, topic->word)) return topic;
    return nullptr;
}

void topic_help()
{
    uint32_t bits = 0;
    std::string given;
    bool table = false;
    for (int c = peep(); c != ']' && c != ';'; c = peep()) {
        const topicrow *topic = rdcmd() ? findtopic(cmdname) : nullptr;
        if (!topic) {
            if (!*cmdname) { cmdname[0] = char(gtch()); cmdname[1] = 0; }
            spewem("Unrecognized help topic:", cmdname, nullptr);
            topictable();
            errmsg(nullptr);
        }
        given += std::string(topic->word) + " ";
        bits |= topic->bit;
        table |= !topic->bit;
    }
    gotc(']');
    if (table || !bits) { topictable(); return; }
    joinem("\nTopic(s): ", given.c_str(), "\n", nullptr);
    spewem("Commands on specified topic(s):", nullptr);
    namelist names{ true };
    bool any = false;
    for (const comrow *row = comtable; row->name; ++row)
        if ((row->topics & bits) == bits) { names.add(row->name); any = true; }
    names.end();
    if (!any) joinem("    none found!\n", nullptr);
}

// --- the command help ---------------------------------------------------------------------

static void scripthelp()
{
    if (peep() == ';') {
        const comrow *row = comtable;
        while (row->run != nocom) ++row;
        listrows(row);
    }
    macrohelp();
}

static void admitcorrections(bool options)
{
    allocate_name_matching();
    admit_inner_typos = options;
    double limit = gtdouble();
    if (limit > 1.0) myerr("Threshold of similarity cannot exceed 1 (%g)", limit);
    if (limit >= 0) name_match_limit = limit;
    myp("Searching closest string in lists of names (threshold=%.2f)...", name_match_limit);
}

static void nocorrections()
{
    admit_typos = admit_inner_typos = 0;
    myp("String match must be exact...");
}

void helpcom()
{
    notime();
    int c = gtnb();
    switch (c) {
        case '!': case '>': admitcorrections(c == '>'); break;
        case '<': nocorrections(); break;
        case '*': allhelp(); break;
        case '+': scripthelp(); break;
        case '[': topic_help(); break;
        case ';': ungtch(); overview(); break;
        default:  ungtch(); wordhelp();
    }
}

const comhelp helphelp = {
    "Help on commands, and correction of words mistyped.", nullptr,
    "  help ;            list all commands\n"
    "  help WORD ;       explain the commands that begin with the word\n"
    "  help * ;          explain every command\n"
    "  help + ;          list the commands of the scripting language\n"
    "  help [ TOPIC ] ;  list the commands on a topic, or on all of several topics;\n"
    "                    \"topics\" lists the topics\n"
    "  help ! N ;        propose a correction for a command word that is not\n"
    "                    recognized; N is the least similarity, from 0 to 1\n"
    "                    (default 0.75)\n"
    "  help > N ;        the same, also for words of options\n"
    "  help < ;          words must match exactly (the default)\n"
    "A command followed by a question mark explains itself: \"mult ?\".\n"
    "Examples:\n"
    "  help tsave ;\n"
    "  help [ trees save ] ;\n"
    "  help ! 0.6 ;\n"
    "  help < ;\n"
};
