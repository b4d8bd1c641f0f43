// Sessions: a small random matrix, and commands right or nearly so, one after the other.
//
// The interpreter is booted once; each session runs in a process of its own, so that it starts as the program
// does and leaves nothing behind.  Its coverage counters are handed back through shared memory.
//
// Besides what any build checks after each command, the rules held here:
//   - a search finds what it says: the best of the trees it leaves, rescored, has the score it reported, and what
//     two other optimizers say of each tree is the same
//   - no tree in memory is better than what implicit enumeration finds
//   - a search leaves settings and data as they were
//   - what was done and undone, or saved and read back, reports as before
// A session that fails is shown; with ZEL_SHOW in the environment each one is, and the seconds it has run.  To
// find which commands matter, ZEL_SKIP=,3,5, leaves out the third and the fifth.
#include "fuzzing.h"
#include "sessiongrammar.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include "search/constraints.h"
#include "search/moves.h"
#include "search/status.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <random>
#include <regex>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern "C" {
extern uint8_t __start___sancov_cntrs[], __stop___sancov_cntrs[];
size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t room);
void __sanitizer_print_stack_trace();
int  __lsan_do_recoverable_leak_check();
}

namespace fs = std::filesystem;

// --- what the bytes choose ------------------------------------------------------------------

namespace {
struct choices {
    const uint8_t *at, *end;
    bool left() const { return at < end; }
    int  byte() { return left() ? *at++ : 0; }
    int  below(int n) { return n <= 1 ? 0 : n <= 256 ? byte() % n : (byte() * 256 + byte()) % n; }
};
}

static const char *const odd[] = { "0", "-1", "99", "255", "32768", "70000", "4294967297", "1e30", "0.5", "x", "" };
constexpr int ODD = 250;             // bytes from here on: a number out of all proportion

// The end of the piece of text at p: the closing brace, bar or end of its own level.
static const char *pieceend(const char *p)
{
    for (int depth = 0; *p; ++p) {
        if (*p == '`' && p[1]) ++p;
        else if (*p == '{') ++depth;
        else if (*p == '}' && !depth--) break;
        else if (*p == '|' && !depth) break;
    }
    return p;
}

static void write(choices &c, const char *text, const char *end, std::string *out, int depth);

// One of the pieces from p on; returns where they end.
static const char *oneof(choices &c, const char *p, std::string *out, int depth)
{
    std::vector<std::pair<const char *, const char *>> pieces;
    for (;; ++p) {
        const char *end = pieceend(p);
        pieces.push_back({ p, end });
        p = end;
        if (*p != '|') break;
    }
    auto [from, to] = pieces[depth > 30 ? 0 : c.below(int(pieces.size()))];
    write(c, from, to, out, depth);
    return p;
}

static void number(choices &c, const std::string &range, std::string *out)
{
    bool always = range[0] == '=';
    long low = 0, high = 0;
    sscanf(range.c_str() + always, "%ld-%ld", &low, &high);
    if (!always && c.left() && *c.at >= ODD) *out += odd[(c.byte() + c.byte()) % std::size(odd)];
    else *out += std::to_string(low + c.below(int(high - low + 1)));
}

static void named(choices &c, const std::string &name, std::string *out, int depth)
{
    if (name[0] == '=' || isdigit(static_cast<unsigned char>(name[0]))) return number(c, name, out);
    for (const rule &r : grammar)
        if (name == r.name) {
            oneof(c, r.text, out, depth + 1);
            return;
        }
    fprintf(stderr, "no rule %s\n", name.c_str());
    abort();
}

static void write(choices &c, const char *p, const char *end, std::string *out, int depth)
{
    for (; p < end; ++p)
        if (*p == '`' && p + 1 < end) *out += *++p;
        else if (*p == '{') p = oneof(c, p + 1, out, depth + 1);
        else if (*p == '<') {
            const char *close = strchr(p, '>');
            named(c, std::string(p + 1, close), out, depth);
            p = close;
        } else *out += *p;
}

static std::string said(choices &c, const char *text)
{
    std::string out;
    write(c, text, text + strlen(text), &out, 0);
    return out;
}

// --- the session ----------------------------------------------------------------------------

// What is done and what takes it back: the reports before and after are the same.
struct undone { const char *what, *before, *deed, *undo, *reports; };
constexpr undone pairs[] = {
    { "character settings", "ckeep;", "ccode <spec> <chars>;",
      "ccode !;", "ccode; length; scores; cscores; minmax;" },
    { "taxon activity", "taxcode +.;", "taxcode -<taxa>;",
      "taxcode +.;", "taxcode; length; scores; cscores; minmax;" },
    { "implied weights", "piwe -;", "piwe=<1-9>; scores;", "piwe -;", "length; scores; cscores; minmax;" },
    { "the outgroup", "outgroup 0;", "outgroup <taxon>;", "outgroup 0;", "length; scores; tplot *;" },
    { "the root of trees", "outgroup 0; taxcode +.; keep 0; randtrees 3;", "reroot <taxon>;",
      "reroot;", "length; scores; tplot *;" },
    { "trees saved and read", "absincl -; tsave/;", "tsave *kept; save; tsave/; keep 0;",
      "proc kept;", "length; scores; tplot *;" },
    { "trees saved compact", "taxcode +.; keep 0; randtrees 3 30; tsave/;", "tsave kept; save; tsave/; keep 0;",
      "shortread kept;", "length; scores; tplot *;" },
    { "data saved and read", "usminmax -.; taxcode +.; cnames -; tsave/;", "xread * kept;",
      "proc kept;", "ccode; minmax; xread *;" },
    { "trees in the vault", "keep 10; tvault -;", "hold <=10-20>/20; tvault `>;",
      "tvault <;", "length; scores; tplot *;" },
};

namespace {
struct step {
    std::string text;
    int stopat = 0;                  // after so many looks for it the key Esc is found; 0: much later
    const undone *pair = nullptr;    // text is its deed
};
struct session {
    bool watched = false, leaks = false;     // the rules are held; memory lost is looked for
    std::vector<step> steps;
};
}

// Characters of a tree, more or less; after one byte each for their kinds all comes from the seed.
static void matrixof(choices &c, session *s)
{
    int taxa = 4 + c.below(9), discrete = 1 + c.below(20), kinds = c.byte(), noise = c.below(60), seed = c.below(65536);
    std::mt19937 rng{ unsigned(seed) };
    auto below = [&rng](int n) { return int(rng() % unsigned(n)); };
    int continuous = kinds & 1 ? 1 + below(4) : 0, states = kinds & 2 ? 2 + below(8) : 2, missing = kinds & 4 ? 25 : 3;
    int poly = kinds & 8 ? 15 : 0, cells = kinds & 16 ? 32 : kinds & 32 ? 16 : 8;
    std::vector<std::vector<int>> value(taxa, std::vector<int>(discrete));
    std::vector<int> from(taxa);                  // each taxon is a changed copy of an earlier one
    for (int t = 0; t < taxa; ++t) from[t] = t ? below(t) : 0;
    for (int t = 1; t < taxa; ++t) value[t] = value[from[t]];
    for (int k = 0; k < discrete; ++k)
        for (int t = 1; t < taxa; ++t) {
            value[t][k] = value[from[t]][k];
            if (below(100) < 15 + noise) value[t][k] = below(states);
        }
    auto symbol = [](int v) { return char(v < 10 ? '0' + v : 'A' + v - 10); };
    std::string text = continuous ? "nstates cont;" : "nstates num " + std::to_string(cells) + ";";
    if (kinds & 64) text += " piwe=;";
    text += "\nxread 'm' " + std::to_string(continuous + discrete) + " " + std::to_string(taxa) + "\n";
    if (continuous) {
        text += "&[cont]\n";
        for (int t = 0; t < taxa; ++t) {
            text += "t" + std::to_string(t);
            for (int k = 0; k < continuous; ++k) {
                char cell[40];
                int low = below(3000), high = low + below(500);
                if (below(100) < missing) strcpy(cell, " ?");
                else if (below(3)) snprintf(cell, sizeof cell, " %.3f", low / 1000.0);
                else snprintf(cell, sizeof cell, " %.3f-%.3f", low / 1000.0, high / 1000.0);
                text += cell;
            }
            text += "\n";
        }
        text += "&[num]\n";
    }
    for (int t = 0; t < taxa; ++t) {
        text += "t" + std::to_string(t) + " ";
        for (int k = 0; k < discrete; ++k) {
            int v = value[t][k];
            if (below(100) < missing) text += below(3) ? '?' : '-';
            else if (below(100) < poly) text += std::string("[") + symbol(v) + symbol(below(states)) + "]";
            else text += symbol(v);
        }
        text += "\n";
    }
    if (kinds & 128) {                            // kinds of characters
        text += "; ccode ( ";
        for (int k = 0; k < continuous + discrete; ++k)
            if (k >= continuous && !below(5)) text += std::to_string(k) + " ";
        text += "; ccode + ";
        for (int k = 0; k < continuous + discrete; ++k)
            if (k >= continuous && !below(3)) text += std::to_string(k) + " ";
    }
    text += ";";
    s->steps.push_back({ text });
}

static session sessionof(choices &c)
{
    session s;
    int flags = c.byte();
    s.watched = flags & 1;
    s.leaks = (flags & 0x1e) == 0x1e;
    static const char *const rams[] = { "4", "1", "2", "16" };
    std::string ram = rams[flags >> 5 & 3];
    s.steps.push_back({ "mxram " + ram + "; warn -; tfuse: hybridize 4*1/4 nohybridize;" });
    matrixof(c, &s);
    while (c.left() && s.steps.size() < 32) {
        step next;
        int turn = c.byte();
        if (turn < 24) {
            next.pair = &pairs[turn % std::size(pairs)];
            next.text = said(c, next.pair->deed);
        } else next.text = said(c, "<command>");
        if (turn > 240) next.stopat = 1 + c.below(turn > 248 ? 1000 : 40);
        s.steps.push_back(next);
    }
    return s;
}

static void show(const session &s)
{
    fprintf(stderr, "--- session%s\n", s.watched ? ", watched" : "");
    for (const step &next : s.steps) {
        if (next.pair) fprintf(stderr, "%s ", next.pair->before);
        fprintf(stderr, "%s", next.text.c_str());
        if (next.pair) fprintf(stderr, " %s     [%s: %s]", next.pair->undo, next.pair->what, next.pair->reports);
        fprintf(stderr, next.stopat ? "     [Esc at %i]\n" : "\n", next.stopat);
    }
    fprintf(stderr, "---\n");
}

// --- running it -----------------------------------------------------------------------------

constexpr int ALWAYS_STOP = 2000, ENUM_STOP = 60;   // looks for Esc that a command has; implicit enumeration
static int looks, stopat;

static int stopof(const step &s)
{
    if (s.stopat) return s.stopat;
    return s.text.find("ienum") == std::string::npos ? ALWAYS_STOP : ENUM_STOP;
}

static int key() { return ++looks >= stopat ? KEY_ESC : 0; }

[[noreturn]] static void broken(const std::string &rule, const std::string &was, const std::string &is)
{
    fprintf(stderr, "==== %s\n---- was\n%s\n---- is\n%s\n", rule.c_str(), was.c_str(), is.c_str());
    abort();
}

// What commands print, whatever "silent" says; without a step's stop nothing interrupts them.
static std::string printed(const std::string &commands, int stop = INT_MAX)
{
    static textcursor seen;
    std::string text;
    unsigned char silence = silent;
    stopat = stop, looks = 0;
    silent = 0;
    readnewtext(&seen, &text);
    text.clear();
    gtkZel(commands.c_str());
    readnewtext(&seen, &text);
    silent = silence;
    return text;
}

constexpr size_t OPTIONS = 8, XMULT = 7, COLLAPSING = 8;
// Places in settings(): before OPTIONS are those of searches, the last of them xmult, whose level and consensus
// change what they find.

// Settings that no search changes, by the command that reports them.  Sizes of sectors are left out: these are lowered
// to what the taxa allow.
static std::vector<std::string> settings()
{
    std::vector<std::string> all;
    for (const char *report : { "mult", "bbreak", "ratchet", "drift", "tfuse", "pfijo", "rebuild", "xmult" }) {
        std::string text = printed(std::string(report) + ": ;");
        // Scores have decimals once continuous characters were packed.
        for (size_t at; (at = text.find(".000")) != std::string::npos;) text.erase(at, 4);
        all.push_back(text);
    }
    for (const char *report : { "collapse", "ccode", "piwe", "xpiwe *", "outgroup", "taxcode", "constrain", "force *",
                                "qcollapse", "rseed", "agroup", "xgroup", "blocks", "usminmax", "costs", "ancstates",
                                "smatrix", "report", "unshared", "absincl", "minmax", "ttags /",
                                "cnames", "info", "xread *" })
        all.push_back(std::string(report) + ": " + printed(std::string(report) + ";"));
    return all;
}

static std::vector<double> scores;

static void rescore()
{
    optmem();
    for (int t = 0; t < trees_in_mem; ++t) {
        double words = packdownpass(mem_tree[t]), plain = optimize(mem_tree[t]);
        if (std::fabs(words - plain) > 1e-6 * (1 + plain))
            broken("two optimizers of tree " + std::to_string(t), std::to_string(plain), std::to_string(words));
        scores.push_back(words);
    }
}

// False when there was no memory for it.
static bool rescored()
{
    scores.clear();
    int echo = myecho;
    unsigned char silence = silent;
    silent = 7;
    bool done = !datatag || !trees_in_mem || safecall(rescore);
    silent = silence;
    myecho = echo;                               // an error has the next command tell its name
    ram_refresh();
    return done;
}

static bool complete(const int *tree)            // all active taxa, rooted on the outgroup
{
    for (int t = 0; t < nt; ++t)
        if (taxact[t] && !tree[t]) return false;
    return tree[outgroup] == nt;
}

static double reported(const std::string &text)  // the score that a search says it found; -1: it says none
{
    static const std::regex said("core(?: \\((?:TBR|SPR)\\))?:? ([0-9]+(?:\\.[0-9]+)?)");
    double score = -1;
    for (std::sregex_iterator i(text.begin(), text.end(), said), none; i != none; ++i)
        score = atof((*i)[1].str().c_str());
    return score;
}

static double lowest()                           // of complete trees; -1: there are none
{
    double least = -1;
    for (int t = 0; t < trees_in_mem; ++t)
        if (complete(mem_tree[t]) && (least < 0 || scores[t] < least)) least = scores[t];
    return least;
}

static double highest() { return *std::max_element(scores.begin(), scores.end()); }

static bool issearch(const std::string &word)
{
    static const char *const words[] = { "mult", "bbreak", "xmult", "ratchet", "drift", "sectsch", "tfuse", "pfijo",
                                         "ienum", "rebuild" };
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

// A search under the rules.
static void watchsearch(const std::string &word, const step &next)
{
    bool sets = next.text.find('=') != std::string::npos, inside = next.text.find('[') != std::string::npos;
    bool digits = next.text.find_first_of("0123456789") != std::string::npos;
    std::vector<std::string> before = settings();
    double bound = -1;                           // of trees that implicit enumeration can find
    if (word == "ienum" && datatag && trees_in_mem && !constraints_in_force() && rescored() && realnt == nt)
        bound = lowest();
    int failures = failed_commands;
    std::string text = printed(next.text, stopof(next));
    bool stopped = looks >= stopat;
    if (failed_commands != failures) text.clear();
    std::vector<std::string> after = settings();
    for (size_t i = 0; i < before.size(); ++i) {
        bool its = (sets && i < OPTIONS) || inside || (word == "xmult" && (i == XMULT || i == COLLAPSING));
        if (before[i] != after[i] && !its) broken("settings after " + next.text, before[i], after[i]);
    }
    double best = reported(text);
    if ((word == "sectsch" && (stopped || digits)) || (word == "tfuse" && digits)) best = -1;    // of some trees only
    if (best < 0 || !rescored() || lowest() < 0 || autocollapse_searches) return;
    double tolerance = 2e-5 * (1 + best) + (true_num_cont ? 0.002 : 0);
    if (std::fabs(lowest() - best) > tolerance)
        broken("best tree after " + next.text + "\n" + text, std::to_string(best), std::to_string(lowest()));
    if (word == "ienum" && !stopped && bound >= 0 && best > bound + tolerance)
        broken("better tree than by " + next.text, std::to_string(bound), std::to_string(best));
    if ((word == "bbreak" || word == "ienum") && highest() > best + suboptimal + tolerance)
        broken("worst tree after " + next.text + "\n" + text, std::to_string(best + suboptimal),
               std::to_string(highest()));
}

static void watchpair(const step &next)
{
    printed(next.pair->before);
    if (!trees_in_mem) return;
    std::string before = printed(next.pair->reports);
    printed(next.text, stopof(next));
    int failures = failed_commands;
    printed(next.pair->undo);
    if (failed_commands != failures) return;
    std::string after = printed(next.pair->reports);
    if (before.find("out of ram") != std::string::npos || before == after) return;
    broken(std::string(next.pair->what) + ": " + next.text, before, after);
}

static void run(const session &s)
{
    for (const step &next : s.steps) {
        std::string word = next.text.substr(0, next.text.find_first_of(" =;:"));
        bool begins = next.text.find(':') == std::string::npos;
        stopat = stopof(next), looks = 0;
        if (next.pair && s.watched) watchpair(next);
        else if (s.watched && issearch(word) && begins) watchsearch(word, next);
        else gtkZel(next.text.c_str());
        if (getenv("ZEL_SHOW")) fprintf(stderr, "%6.2f  %s\n", double(clock()) / CLOCKS_PER_SEC, next.text.c_str());
    }
    if (s.watched) rescored();
}

// --- one process a session ------------------------------------------------------------------

static fs::path folder;
static uint8_t *shared;
static size_t counters;

constexpr int LONGEST = 20;          // seconds of its own

static void toolong(int)
{
    fprintf(stderr, "==== the session takes too long\n");
    __sanitizer_print_stack_trace();
    _exit(70);
}

[[noreturn]] static void child(const session &s)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPROF, toolong);
    const itimerval limit{ {}, { LONGEST, 0 } };
    setitimer(ITIMER_PROF, &limit, nullptr);
    silent = 0;
    breakable = 1;
    polling_interval = -1;
    window.zel_app_window_getKeyPressed = key;
    run(s);
    if (s.leaks && __lsan_do_recoverable_leak_check()) _exit(71);
    memcpy(shared, __start___sancov_cntrs, counters);
    _exit(0);
}

static void start()
{
    if (shared) return;
    fuzzboot(";");
    initialize_winbufsiz(250);
    folder = fs::temp_directory_path() / ("zelsession" + std::to_string(getpid()));
    fs::create_directories(folder);
    atexit([] { std::error_code e; fs::current_path("/", e); fs::remove_all(folder, e); });
    counters = size_t(__stop___sancov_cntrs - __start___sancov_cntrs);
    shared = static_cast<uint8_t *>(mmap(nullptr, counters, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (shared == MAP_FAILED) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    start();
    choices c{ data, data + size };
    session s = sessionof(c);
    if (const char *skip = getenv("ZEL_SKIP"))
        for (size_t i = s.steps.size(); i > 0; --i)
            if (strstr(skip, ("," + std::to_string(i) + ",").c_str())) s.steps.erase(s.steps.begin() + long(i) - 1);
    if (getenv("ZEL_SHOW")) show(s);
    fs::path home = fs::current_path();
    fs::current_path(folder);
    for (const auto &left : fs::directory_iterator(folder)) fs::remove_all(left);
    fflush(nullptr);
    memset(shared, 0, counters);
    pid_t pid = fork();
    if (pid < 0) abort();
    if (!pid) child(s);
    int status = 0;
    waitpid(pid, &status, 0);
    fs::current_path(home);
    memcpy(__start___sancov_cntrs, shared, counters);
    if (status) {
        show(s);
        fprintf(stderr, "==== status %i\n", status);
        abort();
    }
    return 0;
}

// Half of the sessions are new ones: few changes of those that there are would make others of the same length.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t room, unsigned seed)
{
    std::mt19937 rng(seed);
    if (rng() % 2 || room < 60) return LLVMFuzzerMutate(data, size, room);
    size = 20 + rng() % (room - 20);
    for (size_t i = 0; i < size; ++i) data[i] = uint8_t(rng());
    return size;
}
