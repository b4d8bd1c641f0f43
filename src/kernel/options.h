// kernel/options.h: the options of a command are one table of words, read by one routine.
// The same rows give "command ?", the help and the settings report.
#pragma once

enum optkind {
    OPT_END,
    OPT_FLAG,       // word sets 1, "no" before it sets 0
    OPT_NUMBER,     // word N, low..high
    OPT_REAL,       // word X, low..high
    OPT_STORE,      // word stores low
    OPT_CALL        // word calls a routine that reads its own arguments
};

struct optrow {
    const char *word;
    optkind     kind;
    int        *sets;          // FLAG, NUMBER, STORE
    double     *real;          // REAL
    void      (*call)();       // CALL
    long        low, high;
    const char *outofrange;    // printf format given the value, for a number outside low..high; null = a standard text
    const char *help;
    const char *missing = nullptr;   // said when no number follows a word that wants one; null = a standard text
};

constexpr optrow optflag(const char *w, int *f, const char *help)                   { return { w, OPT_FLAG, f, nullptr, nullptr, 0, 1, nullptr, help }; }
constexpr optrow optnumber(const char *w, int *n, long lo, long hi, const char *help, const char *bad = nullptr) { return { w, OPT_NUMBER, n, nullptr, nullptr, lo, hi, bad, help }; }
constexpr optrow optreal(const char *w, double *x, long lo, long hi, const char *help) { return { w, OPT_REAL, nullptr, x, nullptr, lo, hi, nullptr, help }; }
constexpr optrow optstore(const char *w, int *n, long value, const char *help)      { return { w, OPT_STORE, n, nullptr, nullptr, value, value, nullptr, help }; }
constexpr optrow optcall(const char *w, void (*f)(), const char *help)              { return { w, OPT_CALL, nullptr, nullptr, f, 0, 0, nullptr, help }; }
constexpr optrow optasked(const char *w, int *n, long lo, long hi, const char *help, const char *missing, const char *bad = nullptr) { return { w, OPT_NUMBER, n, nullptr, nullptr, lo, hi, bad ? bad : missing, help, missing }; }
constexpr optrow optrealasked(const char *w, double *x, long lo, long hi, const char *help, const char *missing)  { return { w, OPT_REAL, nullptr, x, nullptr, lo, hi, missing, help, missing }; }
constexpr optrow optend()                                                           { return { nullptr, OPT_END, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr }; }

// Reads option words up to the terminating ';' (left in the stream) or up to one of the
// characters of stopat.  A word with no row fails with the printf format `unknown`, given the word.
// Digits and other characters that begin no word are left to the caller: the reader stops there.
// Returns the number of options read.
int readoptions(const optrow *rows, const char *unknown, const char *stopat = "");
const optrow *findoption(const optrow *rows, const char *word);   // prefix match, first row wins; typos when admitted
