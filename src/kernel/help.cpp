// The help, composed from the command table: what stands in a row is all there is to say.
#include "kernel/help.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <cstring>
#include <string>

constexpr int NAMESALINE = 7, NAMEWIDTH = 11;

// In the order of the bits.  The table shown to the user spells the last word otherwise.
struct topicrow { const char *word, *shown; uint32_t bit; };
static constexpr topicrow topics[] = {
    { "input",      "input",      TOPIC_INPUT      }, { "output",    "output",    TOPIC_OUTPUT    },
    { "save",       "save",       TOPIC_SAVE       }, { "mapping",   "mapping",   TOPIC_MAPPING   },
    { "searching",  "searching",  TOPIC_SEARCHING  }, { "diagnosis", "diagnosis", TOPIC_DIAGNOSIS },
    { "compare",    "compare",    TOPIC_COMPARE    }, { "consensus", "consensus", TOPIC_CONSENSUS },
    { "settings",   "settings",   TOPIC_SETTINGS   }, { "various",   "various",   TOPIC_VARIOUS   },
    { "scripts",    "scripts",    TOPIC_SCRIPTS    }, { "memory",    "memory",    TOPIC_MEMORY    },
    { "supports",   "supports",   TOPIC_SUPPORTS   }, { "trees",     "trees",     TOPIC_TREES     },
    { "characters", "characters", TOPIC_CHARACTERS }, { "weightgs",  "weights",   TOPIC_WEIGHTGS  },
    { "topics",     "topics",     0                }
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

static void printoption(const optrow *row)
{
    std::string word = row->word, limits;
    if (row->kind == OPT_FLAG) word = "[no]" + word;
    if (row->kind == OPT_NUMBER || row->kind == OPT_REAL) {
        word += row->kind == OPT_NUMBER ? " N" : " X";
        limits = " (" + std::to_string(row->low) + " to " + std::to_string(row->high) + ")";
    }
    myp("  %-14s %s%s", word.c_str(), row->help, limits.c_str());
}

void docomhlp(const comrow *row)
{
    joinem("\n", uppercase(row->name).c_str(), nullptr);
    joinem(strcmp(row->name, "exit") ? "" : "   ditto!", "\n", nullptr);
    const comhelp *help = row->help;
    if (!help) {
        myp("This command is not available yet");
        return;
    }
    printlines(help->summary);
    if (help->options)
        for (const optrow *option = help->options; option->word; ++option) printoption(option);
    if (help->text) printlines(help->text);
}

// --- lists --------------------------------------------------------------------------------

// Names in lines of seven.
struct namelist {
    bool rightaligned;
    int  n = 0;
    void add(const char *name)
    {
        char cell[64];
        snprintf(cell, sizeof cell, rightaligned ? "%*s" : "%-*s", NAMEWIDTH, name);
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
    for (const topicrow &topic : topics) names.add(topic.shown);
    names.end();
    joinem("Specifying multiple topics shows commands that share all topics.\n", nullptr);
}

static const topicrow *findtopic(const char *word)
{
    for (const topicrow &topic : topics)
        if (!brevcomp(word, topic.word)) return &topic;
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

void macrohelp() { myp("The commands of the scripting language are not available yet"); }

static void scripthelp()
{
    if (peep() == ';') {
        const comrow *row = comtable;
        while (row->run != nocom) ++row;
        listrows(row);
    } else
        rdcmd();
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
    "  help;           list of all commands\n"
    "  help word       help on the commands that begin with the word\n"
    "  help *          help on every command\n"
    "  help +          the commands of the scripting language\n"
    "  help [ topic ]  the commands on a topic; several topics for those on all of them;\n"
    "                  \"topics\" lists the topics\n"
    "  help ! N        propose a correction for a command word that is not recognized;\n"
    "                  N is the least similarity, from 0 to 1 (default 0.75)\n"
    "  help > N        the same, also for words of options\n"
    "  help <          words must match exactly (the default)\n"
    "The help of a command is also given by its name and a question mark.\n"
    "Examples:\n"
    "  help [ trees save ];\n"
    "  help ! 0.6 ;\n"
    "  help < ;\n"
};
