// Nexus files: the list of blocks.
#include "formats/nexus.h"
#include "data/below.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"

namespace {
// Signs of the macro language mean nothing in the file, and commas are text.
struct nexusmode {
    int macros = domacros, quotes = doing_quotes;
    nexusmode()
    {
        domacros = 0;
        doing_quotes = reading_nexus_file = 1;
    }
    ~nexusmode()
    {
        domacros = macros;
        doing_quotes = quotes;
        reading_nexus_file = 0;
        forget_nexus_sets();
    }
};
}

static bool began;                       // the word that begins a block was read where the one before had not ended

static bool isend(const std::string &word) { return word == "end" || word == "endblock"; }

bool nextcommand(const char *block, std::string *command, bool strangers)
{
    while (true) {
        token t = nexus_token();
        if (t.kind == TK_END) cutshort((std::string("block ") + block).c_str());
        if (t.is(';')) continue;
        *command = lowered(t.text);
        if (t.kind == TK_WORD && *command == "begin" && !strangers) {
            began = true;
            return false;
        }
        if (t.kind != TK_WORD || !isend(*command)) return true;
        // The last sign of the file may be missing.
        for (t = nexus_token(); t.kind != TK_END && !t.is(';'); t = nexus_token()) ;
        return false;
    }
}

// The name of the block that begins.  A star behind it is given back as part of it.
static std::string blockname_read()
{
    token name = nexus_token();
    if (!name.isname()) nexuserror("expected name of block after \"begin\"");
    std::string block = lowered(name.text);
    for (token t = nexus_token(); !t.is(';'); t = nexus_token()) {
        if (t.kind == TK_END) cutshort("the name of a block");
        if (t.is('*')) block += '*';
    }
    return block;
}

static void skipblock(const std::string &block)
{
    joinem("block ", block.c_str(), "  ... Skipping\n", nullptr);
    skip_nexus_block();
}

static const struct { const char *name; void (*read)(); } blocks[] = {
    { "data",        read_nexus_data },
    { "assumptions", [] { read_nexus_assumptions("assumptions"); } },
    { "paup",        [] { read_nexus_assumptions("paup"); } },
    { "trees",       read_nexus_trees },
};

// Settings that follow a matrix that was not read are no settings of the one in memory.
static bool matrixskipped;

static void readblock(const std::string &block)
{
    if (block == "characters") matrixskipped = true;
    if (block == "data") matrixskipped = false;
    if (matrixskipped && block != "trees") return skipblock(block);
    for (auto &row : blocks)
        if (block == row.name) return row.read();
    skipblock(block);
}

void importcom()
{
    nexusmode mode;
    int level = giveme_curproc_level();
    matrixskipped = began = false;
    spewem("Reading file", giveme_curproc_name(), "as NEXUS", nullptr);
    while (giveme_curproc_level() == level) {
        token t = began ? token{ TK_WORD, "begin" } : nexus_token();
        began = false;
        if (t.kind == TK_END) break;
        if (t.is(';')) continue;
        std::string word = lowered(t.text);
        if (word[0] == '#') continue;        // the mark of the file, given twice
        if (word != "begin") {
            if (!datatag || !assumption(word)) skipcommand();
            continue;
        }
        endassumptions();
        std::string block = blockname_read();
        if (block == "zel" || block == "zel*") {
            spewem("Leaving NEXUS mode, parsing ZEL commands...", nullptr);
            if (block == "zel") mode.macros = 0;
            if (datatag) store_ccode();
            return;
        }
        readblock(block);
    }
    endassumptions();
    if (datatag) store_ccode();
    spewem("Closing NEXUS file", nullptr);
    closeproc();
}

// --- Names alone ---

static void collectnames(nexusnames *names)
{
    std::string command;
    for (token t = nexus_token(); t.kind != TK_END; t = nexus_token()) {
        if (lowered(t.text) != "begin") continue;
        std::string block = blockname_read();
        bool named = block == "data" || block == "characters";
        while (nextcommand(block.c_str(), &command, true)) named ? read_nexus_names(command, names) : skipcommand();
    }
}

void convert_nexus_names()
{
    if (!rdfilename()) errmsg("Must specify name of NEXUS file", nullptr);
    newproc();
    nexusnames names;
    {
        nexusmode mode;
        collectnames(&names);
    }
    closeproc();
    std::string text = "cnames\n";
    for (size_t c = 0; c < names.of.size(); ++c) {
        if (names.of[c].empty()) continue;
        text += "{" + std::to_string(c);
        for (auto &name : names.of[c]) text += " " + name;
        text += " ;\n";
    }
    if (text.find('{') == std::string::npos) errmsg("There are no names of characters in the file", nullptr);
    spewer((text + ";\n").c_str());
}
