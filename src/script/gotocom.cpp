// Files as collections of labelled texts: goto, label, return, and the text of a label read in place.
#include "script/goto.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "kernel/silence.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <cstring>
#include <string>

int errgoto_level = -1, goto_pending;
static std::string errfile, errlabel;        // the target after errors
static std::string defaultfile;              // where labels without a file are; empty: goto names the file
static int literal_level = -1;               // of the text read in place
constexpr size_t LONGESTLABEL = 124;

// --- seeking a label ----------------------------------------------------------------------

// While labels are sought nothing is expanded, said or asked.
struct seeking {
    asitstands plain;
    int dis = disallowing, menu = menuing;
    seeking()  { disallowing = menuing = 1; }
    ~seeking() { disallowing = dis; menuing = menu; }
};

// The next word of the level; false at its end.  c: the character behind it, consumed, too.
static bool nextword(int level, std::string *word, int &c)
{
    word->clear();
    for (;;) {
        c = gtch();
        if (curproc->at_eof || giveme_curproc_level() < level) return !word->empty();
        bool ends = c < 33 || c == ';';
        if (!ends) *word += char(c);
        else if (!word->empty()) return true;
    }
}

static bool findlabel(const std::string &label)
{
    if (label == ".") return true;
    seeking whilehere;
    int level = giveme_curproc_level();
    std::string word;
    int c;
    while (nextword(level, &word, c)) {
        if (namecomp(word.c_str(), "label") || !nextword(level, &word, c) || namecomp(word.c_str(), label.c_str())) continue;
        if (c != ';' && clean_peep() == ';') truly_clean_gtch();     // the text begins behind the command
        return true;
    }
    return false;
}

static void openatlabel(const std::string &file, const std::string &label, const char *arg[], int n)
{
    allow_same_file = 1;
    openwithargs(file.c_str(), arg, n);
    if (!findlabel(label)) myerr("Label \"%s\" not found in %s", label.c_str(), file.c_str());
    curproc->has_args = 1;
}

static void saygoto(const std::string &file, const std::string &label)
{
    joinem("Goto Label \"", label.c_str(), "\" in ", file.c_str(), nullptr);
    if (!curproc->nargs) { joinem(" (no args.)\n", nullptr); return; }
    tojoin(" (args: ");
    for (int i = 1; i <= curproc->nargs; ++i) {
        if (i > 1) spewch(' ');
        tojoin(curproc->args[i]);
    }
    tojoin(")\n");
    spewjn();
}

void do_goto(bool quietly)
{
    std::string file = defaultfile;
    if (file.empty()) {
        if (!rdfilename()) errmsg("Must give file and label to go to", nullptr);
        file = cmdname;
    }
    if (!rdfilename()) errmsg("Must give label to go to", nullptr);
    std::string label = cmdname;
    const char *arg[MAXARGS + 1];
    int n = quietly ? 0 : readargs(file.c_str(), arg);
    openatlabel(file, label, arg, n);
    if (!quietly) saygoto(file, label);
}

// --- errors -------------------------------------------------------------------------------

void goto_on_error()
{
    if (errgoto_level < 0 || errgoto_level > giveme_curproc_level()) return;
    goto_pending = 1;
    errgoto_level = -1;
}

void run_pending_goto()
{
    if (!goto_pending) return;
    goto_pending = 0;
    if (breakable) intrupt(1);               // a target that fails, and sets itself again, could not be left
    const char *none[MAXARGS + 1];
    openatlabel(errfile, errlabel, none, 0);
    saygoto(errfile, errlabel);
}

static void set_error_target()
{
    if (errgoto_level >= 0) errmsg("A target has been defined; undefine first, with 'goto ]'", nullptr);
    if (!rdfilename()) errmsg("Define target file for error/break", nullptr);
    std::string file = cmdname;
    if (!rdfilename()) errmsg("Must give label to go to", nullptr);
    if (strlen(cmdname) > LONGESTLABEL) errmsg("Label is too long", nullptr);
    errfile = file;
    errlabel = cmdname;
    errgoto_level = giveme_curproc_level();
    if (report_status) myp("Target for goto on error/break: %s (label: %s)", errfile.c_str(), errlabel.c_str());
}

void forget_target()
{
    errgoto_level = -1;
    goto_pending = reading_literal_file = 0;
}

static void drop_error_target()
{
    errgoto_level = -1;
    goto_pending = 0;
    if (report_status) spewem("Undefined error/break target", nullptr);
}

// --- texts in place -----------------------------------------------------------------------

void switch_literal_file()
{
    if (reading_literal_file) {
        closeproc();
        return;
    }
    struct switching {
        switching()  { reading_literal_file = 2; }
        ~switching() { if (reading_literal_file == 2) reading_literal_file = 0; }
    } whilehere;
    do_goto(true);
    literal_level = giveme_curproc_level();
    reading_literal_file = 1;
}

void literal_file_closed()
{
    if (errgoto_level > giveme_curproc_level()) errgoto_level = -1;
    if (reading_literal_file == 1 && giveme_curproc_level() < literal_level) reading_literal_file = 0;
}

// --- commands -----------------------------------------------------------------------------

void gotocom()
{
    scriptcommand();
    int c = gtnb();
    switch (c) {
        case '=':
            if (!rdfilename()) errmsg("Define default target file", nullptr);
            defaultfile = cmdname;
            if (report_status) spewem("Default target for goto is", defaultfile.c_str(), nullptr);
            break;
        case '-': defaultfile.clear(); break;
        case '[': set_error_target(); break;
        case ']': drop_error_target(); break;
        default:  ungtch(); do_goto(false);
    }
}

const comhelp gotohelp = {
    "Read a file from a label.", nullptr,
    "  goto FILE LABEL ARGUMENTS ;  open the file, with arguments as in \"run\", and read it\n"
    "                               from the label (see \"label\"); '.' is its beginning\n"
    "  goto = FILE ;                from now on only labels are given, and they are in\n"
    "                               that file\n"
    "  goto - ;                     files are named (the default)\n"
    "  goto [ FILE LABEL ;          after an error or interrupt, go there; the target is\n"
    "                               given up when the file that set it is closed\n"
    "  goto ] ;                     do not (the default)\n"
    "Upper and lower case of labels are the same.\n"
    "Examples:\n"
    "  macro = ; goto first_session.run . ;\n"
};

void labelcom()
{
    scriptcommand();
    rdfilename();
}

const comhelp labelhelp = {
    "Mark a place in a file.", nullptr,
    "  label NAME ;   a place for \"goto\"; nothing else happens\n"
    "Examples:\n"
    "  macro = ; label here ; macro - ;\n"
};

void returncom()
{
    scriptcommand();
    bool retains = gotc('=');
    if (peep() != ';') last_exstatus = evaluate_expression();
    if (macroreport) myp("Exit status = %i", toint32(last_exstatus));
    struct retaining {
        explicit retaining(bool on) { retain_current_variables = on; }
        ~retaining() { retain_current_variables = 0; }
    } names(retains);
    closeproc();
}

const comhelp returnhelp = {
    "Close the file being read.", nullptr,
    "  return ;       close it; its names of variables go\n"
    "  return N ;     leave a value, which the expression exstatus gives\n"
    "  return = ;     its names of variables stay\n"
    "  return = N ;   both\n"
    "Examples:\n"
    "  macro = ; return 5 ; set 0 exstatus ; var 0 ; macro - ;\n"
};
