// kernel/errors.h: a failure of a command is reported once and unwinds to the recovery point.
//
// errmsg reports, closes all inputs and ends in errtrap, which puts back what was half done (the
// rows of the reset table) and throws.  Nothing here returns.  Only the recovery points of the
// driver catch; threads and foreign callbacks never call these.
#pragma once

struct unwound {};                   // thrown by errtrap alone

[[noreturn]] void errmsg(const char *text, ...);       // null-terminated list of texts; (nullptr) for none
[[noreturn]] void myerr(const char *format, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void errtrap();
[[noreturn]] void errarg(int c);                       // Wrong argument for COMMAND : 'c'
void nodaterror(const char *what);                     // "Must read data before" what, when no data are in memory

extern int caught_an_error;          // the command failed; cleared by gtkZel
extern int failed_commands;          // commands that failed since the start (the console's exit status)
extern int jumpchain;                // recovery points in force; 0: an unwinding would end the program

// What errtrap must put back, in order.  A subsystem that can be left half-changed adds its row.
struct resetrow { const char *what; void (*undo)(); };
extern const resetrow resettable[];
