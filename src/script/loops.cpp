// Loops: reading their bodies, their turns, and what leaves or restarts them.
#include "script/loops.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstring>
#include <vector>

int    atloop = -1, addatloop = -1;
char **loopname, **loopstart, **endis, **loop_resume;
int   *loop_target, *loop_increase, *loop_value;
long   loop_turns;
static std::vector<std::string> behind;  // what is left of the expansion that a loop was read from

constexpr int POLLTURNS = 4096;          // turns of loops between two looks at the keys
constexpr double POLLSECONDS = 0.2;

void lay_loops()
{
    size_t n = size_t(Maxloop);
    loopname = reinterpret_cast<char **>(macloram(n * sizeof(char *)));
    loopstart = reinterpret_cast<char **>(macloram(n * sizeof(char *)));
    loop_target = reinterpret_cast<int *>(macloram(n * sizeof(int)));
    loop_increase = reinterpret_cast<int *>(macloram(n * sizeof(int)));
    loop_value = reinterpret_cast<int *>(macloram(n * sizeof(int)));
    loop_resume = reinterpret_cast<char **>(macloram(n * sizeof(char *)));
    endis = reinterpret_cast<char **>(macloram(n * sizeof(char *)));
    behind.assign(n, "");
    atloop = addatloop = -1;
}

bool loop_is_running() { return atloop >= 0; }
int  loop_at_entry()   { return curproc == procnest ? -1 : (curproc - 1)->saved_atloop; }

// Names of variables given inside a loop lie above its text, and keep it from being given back.
void drop_loops_above(int loop)
{
    if (atloop <= loop) return;
    char *mark = loopname[loop + 1];
    atloop = loop;
    macloset(std::max(mark, names_end()));
}

void drop_all_loops() { atloop = addatloop = -1; }

int loop_of_name(const char *name)
{
    for (int l = atloop; l >= 0; --l)
        if (!strcmp(loopname[l], name)) return l;
    return -1;
}

int loop_of_number(long n)
{
    long l = n + addatloop;
    return l >= 0 && l <= atloop ? int(l) : -1;
}

// --- turns --------------------------------------------------------------------------------

static void echoturn()
{
    spewch('\n');
    tojoin("Loop ");
    for (int l = 0; l <= atloop; ++l) {
        if (l) spewch(' ');
        if (*loopname[l]) { tojoin(loopname[l]); spewch('='); }
        tojoin(intvert(loop_value[l]));
    }
    spewout();
}

void look_for_break()
{
    static double last;
    if (!breakable || !lapsed_over(last, POLLSECONDS)) return;
    last = now();
    intrupt(1);
}

void end_of_body()
{
    ++loop_turns;
    if (loop_turns % POLLTURNS == 0) look_for_break();
    int l = atloop, step = loop_increase[l];
    long next = long(loop_value[l]) + step;
    if ((step > 0 && next > loop_target[l]) || (step < 0 && next < loop_target[l])) {
        getnext = loop_resume[l];
        drop_loops_above(l - 1);
        if (!behind[size_t(l)].empty()) expand(behind[size_t(l)]);
        return;
    }
    loop_value[l] = int(next);
    getnext = loopstart[l];
    if (macroreport) echoturn();
}

// --- bodies -------------------------------------------------------------------------------

const bodywords stopwords = { "stop", { "loop", "sprit", "tbrit", "forfiles", "bandb", nullptr } };

static bool endswith(const std::string &text, const char *word)
{
    size_t n = strlen(word);
    return text.size() >= n && !text.compare(text.size() - n, n, word);
}

// "endloop" and "setloop" begin no loop; the other words are taken wherever they stand.
static bool begins(const bodywords &words, const std::string &text)
{
    for (const char *const *word = words.begins; *word; ++word) {
        if (!endswith(text, *word)) continue;
        size_t n = strlen(*word);
        if (strcmp(*word, "loop") || text.size() == n || !isalpha(static_cast<unsigned char>(text[text.size() - n - 1])))
            return true;
    }
    return false;
}

[[noreturn]] static void toodeep() { errmsg("Maximum nesting for loops is", intvert(Maxloop), "loops", nullptr); }

std::string read_body(const bodywords &words, size_t reserve)
{
    struct instructions {
        int was = reading_sectsch_insts;
        instructions()  { reading_sectsch_insts = 1; }
        ~instructions() { reading_sectsch_insts = was; }
    } whilehere;
    asitstands noexpansions;
    constexpr int ENDMARK = 1;
    std::string text;
    int level = giveme_curproc_level(), depth = 1;
    long turns = loop_turns;
    char blank = 0;                      // of the run of white space just read
    for (;;) {
        int c = gtch();
        if (curproc->at_eof || giveme_curproc_level() < level || loop_turns != turns || c == ENDMARK) {
            std::string expects = std::string("expecting \"") + words.end + "\"";
            errmsg("Found end-of-file:", current_input(), expects.c_str(), nullptr);
        }
        if (c < 33) {
            if (blank != '\n') blank = c == '\n' ? '\n' : ' ';
            continue;
        }
        if (blank && !text.empty()) text += blank;
        blank = 0;
        text += char(c);
        chkram(maclomark() + text.size() + reserve);
        if (endswith(text, words.end)) {
            if (!--depth) break;
        } else if (begins(words, text)) {
            ++depth;
            if (&words == &stopwords && atloop + depth >= Maxloop) toodeep();
        }
    }
    text.resize(text.size() - strlen(words.end));
    return text;
}

// --- the command loop ---------------------------------------------------------------------

static constexpr char usage[] = "Usage: loop (from)[+increase] (to) ... action(s)... stop";

static std::string readloopname()
{
    std::string name;
    int c;
    for (c = gtnb(); c > 32; c = gtch()) {
        if (strchr("!&()*+-./;<=>@[]{|}", c)) myerr("A loop name cannot contain symbol '%c'", c);
        name += char(c);
    }
    ungtch();
    return name;
}

static int readend(const char *complaint)
{
    double n = imacnu();
    if (n < 0) errmsg(usage, complaint, nullptr);
    return int(n);
}

// A sign in the very next place begins the increase; behind blanks, '-' could begin a second number.
static bool readincrease(int *increase)
{
    int c = next_in_stream();
    if (c < 33 && clean_peep() == '+') c = '+';
    if (c != '+' && c != '-') return false;
    gtch();
    int next = clean_peep();
    if (next == ';' || next == '+' || next == '-') errmsg("Error reading value for increase", nullptr);
    *increase = imacnu();
    if (c == '-') *increase = -*increase;
    return true;
}

void loopcom()
{
    scriptcommand();
    if (atloop + 1 >= Maxloop) toodeep();
    std::string name = gotc('=') ? readloopname() : "";
    int increase = 1;
    int from = readend("\n\"from\" is a negative number");
    bool given = readincrease(&increase);
    int to = readend("\n\"to\" is a negative number");
    bool wrong = (from > to && increase > 0) || (from < to && increase < 0);
    if (wrong) increase = -increase;

    std::string body = read_body(stopwords, name.size());
    if (wrong && given) return;

    int l = atloop + 1;
    loopname[l] = macloram(name.size() + body.size() + 3);
    strcpy(loopname[l], name.c_str());
    loopstart[l] = loopname[l] + name.size() + 1;
    memcpy(loopstart[l], body.data(), body.size());
    endis[l] = loopstart[l] + body.size();
    strcpy(endis[l], ";");
    loop_target[l] = to;
    loop_increase[l] = increase;
    loop_value[l] = from;
    loop_resume[l] = leave_expansion(&behind[size_t(l)]);
    atloop = l;
    getnext = loopstart[l];
    if (macroreport) echoturn();
}

const comhelp loophelp = {
    "Repeat commands.", nullptr,
    "  loop A B COMMANDS stop        run the commands with the loop's value A, A+1 ... B;\n"
    "                                if A is above B, it goes down\n"
    "  loop A+N B COMMANDS stop      in steps of N; nothing is run when they do not lead\n"
    "                                from A to B; with steps of 0 it never ends\n"
    "  loop A-N B COMMANDS stop      in steps of -N\n"
    "  loop =NAME A B COMMANDS stop  the loop has a name\n"
    "In the commands, #1 is the value of the first loop of the file, #2 that of the\n"
    "loop within it, and so on, and #NAME that of the loop of that name.  A and B are\n"
    "0 or more.  Loops can be nested, 15 deep (see \"macro\").  See also \"endloop\",\n"
    "\"continue\" and \"setloop\".\n"
    "Examples:\n"
    "  macro = ; loop 1 3 quote turn #1 ; stop macro - ;\n"
    "  macro = ; loop =i 6-2 0 loop =j 0 1 quote #i and #j ; stop stop macro - ;\n"
};

// --- within loops -------------------------------------------------------------------------

static void withinloop()
{
    scriptcommand();
    if (atloop <= loop_at_entry()) errmsg(current_command, "valid only within loops", nullptr);
}

void jump_to_endis()
{
    drop_expansion();
    getnext = endis[atloop];
}

void endloopcom()
{
    withinloop();
    int target = loop_target[atloop];
    loop_value[atloop] = target;
    if (!loop_increase[atloop]) loop_increase[atloop] = 1;
    jump_to_endis();
}

void setloopcom()
{
    withinloop();
    loop_value[atloop] = imacnu() - loop_increase[atloop];
    jump_to_endis();
}

void continuecom()
{
    if (atloop <= loop_at_entry() && skip_to_next_step()) return;
    withinloop();
    jump_to_endis();
}

const comhelp endloophelp = {
    "Leave a loop.", nullptr,
    "  endloop ;   go on behind the \"stop\" of the innermost loop\n"
    "Examples:\n"
    "  macro = ; loop 1 9 if (#1 > 3) endloop ; end quote #1 ; stop macro - ;\n"
};

const comhelp setloophelp = {
    "Give a loop another value.", nullptr,
    "  setloop N ;   the next turn of the innermost loop has the value N\n"
    "Examples:\n"
    "  macro = ; loop 1 9 quote #1 ; if (#1 == 2) setloop 8 ; end stop macro - ;\n"
};

const comhelp continuehelp = {
    "Go on with the next turn of a loop.", nullptr,
    "  continue ;   skip what is left of the turn of the innermost loop, or of the step\n"
    "               of \"sprit\", \"tbrit\", \"bandb\" or \"forfiles\"\n"
    "Examples:\n"
    "  macro = ; loop 1 5 if (#1 == 3) continue ; end quote #1 ; stop macro - ;\n"
};

void checkloops()
{
    assert(atloop >= -1 && atloop < Maxloop && addatloop <= atloop);
    for (int l = 0; l <= atloop; ++l) {
        assert(loopname[l] >= macrostart_loseg && endis[l] + 1 < macro_lotop && loopstart[l] <= endis[l]);
        // An argument that was not given takes the ';' with it.
        assert((*endis[l] == ';' || *endis[l] == ' ') && !endis[l][1]);
        assert(loopstart[l] == loopname[l] + strlen(loopname[l]) + 1);
    }
}
