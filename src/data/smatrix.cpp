// Named step matrices: the command smatrix.
#include "data/smatrix.h"
#include "data/inappsank.h"
#include "data/lists.h"
#include "data/symbols.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

costtable stepmatrix[STEPMATRICES];
char stepmatrixname[STEPMATRICES][STEPMATNAME];
uint8_t defstepmat[STEPMATRICES];

void define_stepmatrix(int n, const char *name, const costtable given, int states)
{
    unitcosts(stepmatrix[n]);
    for (int a = 0; a < COSTSTATES; ++a)
        for (int b = 0; b < COSTSTATES; ++b)
            if (a != b && given[a][b] != NOTGIVEN) stepmatrix[n][a][b] = given[a][b];
    if (name && *name) snprintf(stepmatrixname[n], STEPMATNAME, "%s", name);
    else snprintf(stepmatrixname[n], STEPMATNAME, "StepMatrix_%i", n);
    defstepmat[n] = uint8_t(states < 1 ? 1 : states);
}

void apply_stepmatrix(int n, const uint8_t *list) { givecosts(list, stepmatrix[n]); }

// --- Reading ---

static void definematrix()
{
    long n = gtnu();
    if (n < 0) errmsg("Must use \"=N (name) costs;\" or \"+name chars.;\"", nullptr);
    if (n >= STEPMATRICES) errmsg("Can't have more than", intvert(STEPMATRICES), "step-matrices defined", nullptr);
    std::string name;
    if (gotc('(')) {
        for (int c; (c = gtch()) != ')'; name += char(c < 33 ? '_' : c))
            if (c == ';') errmsg("Must use \"=N (name) costs;\" or \"+name chars.;\"", nullptr);
        chk_strlen(long(name.size()), STEPMATNAME - 1, "Name");
    }
    costtable given;
    int states;
    readcosts(given, &states);
    define_stepmatrix(int(n), name.c_str(), given, states);
}

// The matrix of that number or name; `others`: the name also abbreviates others.
static int findmatrix(const char *word, bool *others)
{
    *others = false;
    if (!word[strspn(word, "0123456789")]) {
        long n = strlen(word) > 9 ? STEPMATRICES : strtol(word, nullptr, 10);
        if (n >= STEPMATRICES || !defstepmat[n]) myerr("No step-matrix number %s has been defined", word);
        return int(n);
    }
    int found = -1;
    for (int n = 0; n < STEPMATRICES; ++n) {
        if (!defstepmat[n]) continue;
        if (!namecomp(word, stepmatrixname[n])) {
            *others = false;
            return n;
        }
        if (!namtrun(word, stepmatrixname[n])) continue;
        if (found >= 0) *others = true;
        else found = n;
    }
    if (found < 0) errmsg(word, "doesn't match any step-matrix name", nullptr);
    return found;
}

static std::string firstlisted(const uint8_t *list)
{
    constexpr int SHOWN = 10;
    std::string numbers;
    int n = 0;
    for (int c = 0; c < nc; ++c) {
        if (list[c] != LISTED) continue;
        if (n++ == SHOWN) return numbers + " ...";
        numbers += (numbers.empty() ? "" : " ") + std::to_string(c);
    }
    return numbers;
}

static void applymatrix()
{
    std::string word;
    gtnb();
    ungtch();
    for (int c; (c = gtch()) > 32 && c != ';'; ) word += char(c);
    ungtch();
    if (word.empty()) errmsg("Must use \"=N (name) costs;\" or \"+name chars.;\"", nullptr);
    chk_strlen(long(word.size()), STEPMATNAME - 1, "Name");
    bool others;
    int n = findmatrix(word.c_str(), &others);
    bool any = read_scope(charscopelist, 0, nc, "character", charnames);
    if (!any || peep() != ';') errmsg("Must specify character(s) to apply step-matrix", nullptr);
    if (others)
        warnem(word.c_str(), "is an ambiguous abbreviation for a step matrix name\n\n  It will be applied to char.",
               firstlisted(charscopelist).c_str(), "as", stepmatrixname[n], nullptr);
    apply_stepmatrix(n, charscopelist);
}

// --- Showing and saving ---

static const uint32_t *matrixrow(int n, int from) { return stepmatrix[n][from]; }

static void showstepmat()
{
    bool any = false;
    for (int n = 0; n < STEPMATRICES; ++n) {
        if (!defstepmat[n]) continue;
        any = true;
        myp("Step-matrix %i (%s)", n, stepmatrixname[n]);
        showcosttable(matrixrow, n, defstepmat[n], DATA_NUM);
    }
    if (!any) spewem("No step-matrices defined", nullptr);
}

static void savestepmats()
{
    for (int n = 0; n < STEPMATRICES; ++n) {
        if (!defstepmat[n]) continue;
        std::string text = "smatrix =" + std::to_string(n) + " (" + stepmatrixname[n] + ")" + writtencosts(matrixrow, n, defstepmat[n]);
        spewlong(text.data(), long(text.size()));
    }
}

// --- The command ---

void smatrixcom()
{
    if (peep() == ';') return showstepmat();
    if (gotc('*')) return savestepmats();
    if (gotc('&')) return gotc('-') ? undo_auto_inappsank() : auto_inappsank();
    needcosts("reading a step-matrix");
    if (gotc('=')) return definematrix();
    if (gotc('+')) return applymatrix();
    errmsg("Must use \"=N (name) costs;\" or \"+name chars.;\"", nullptr);
}

const comhelp smatrixhelp = {
    "Define step matrices and apply them to characters.", nullptr,
    "   =N (name) costs   define step matrix N, 0 to 31, in the syntax of \"costs\" (changes not\n"
    "                     mentioned cost 1).  Without a name it is \"StepMatrix_N\"\n"
    "   +name N           characters N have the costs of the matrix of that name (or a beginning\n"
    "                     of it, or its number); they become Sankoff\n"
    "   ;                 show the matrices defined\n"
    "   *                 save them, as commands; to read them back the number of states must be\n"
    "                     set with \"nstates\"\n"
    "   &                 Sankoff approximation of inapplicable characters: those named sub_xxx...\n"
    "                     become part of the one named sup_xxx, which has states absent and\n"
    "                     present only; its states are then all combinations of qualities\n"
    "   &-                set these characters back to their original form\n"
    "Examples:\n"
    "  smatrix =0 (wings) 0>1 3 1>0 1 [01]/2 2 ;\n"
    "  smatrix +wings 4 6.8 ;\n"
};
