// kernel/output.h: all output is composed in one small buffer and flushed to the log, the text
// buffer and, behind it, the view.  Text that does not fit the 2048 bytes is dropped silently.
#pragma once
#include <cstdio>

extern unsigned char silent;         // bit 1 no log, bit 2 no console, bit 4 no text buffer; starts at 0
extern int   tmpsilent;              // 0 normal; 1 output dropped; 2 straight to the log
extern FILE *logfile;                // the log; stderr = none
extern FILE *trulogfile;             // the real log while logfile is redirected, else null
extern char  logfilename[160];
extern int   table_precision;        // decimals in tables; starts at 5
extern int   ischartable;            // rows of the next table are characters
extern char  tabletitle[256];
extern int   screen_size, screen_width;   // lines (at least 10) and columns of the view
extern char  aprinbuf[2048];         // scratch text

// Composition.  Lists of texts end with nullptr.
void spewem(const char *text, ...);  // each text and a blank; ends the line; flushes
void joinem(const char *text, ...);  // each text, no blank, no line end; flushes
void myp(const char *format, ...) __attribute__((format(printf, 1, 2)));     // one line
void spewlong(const char *text, long n);   // text of any length, flushed, not ended
void spewjn();                       // flush what is composed, no line end
void spewout();                      // flush, adding a newline unless one ends the text
void tojoin(const char *text);       // append, not flushed
void tospew(const char *text);       // append and a blank, not flushed
void spewch(int c); void spewchos(int c); void spewln(); void spewend(); void spewspx(int n);
void newln(); void nln(); void dotab(int n);
void spewer(const char *text);       // text to the destinations
void clear_spewbuf(); const char *composed();   // what stands in the buffer
int  composed_length();

// Numbers into a ring of text, valid until the next flush.
const char *intvert(long n);
const char *floatvert(double x);
const char *wintvert(int width, long n);   // negative width pads on the right
const char *charvert(int c);
void reset_intvert();

void warnem(const char *text, ...);  // box with "Continue?" when warnings are on, else a "WARNING:" text
void mywarn(const char *format, ...) __attribute__((format(printf, 1, 2)));
void noisy();                        // bell, if mybeep
void ask(const char *newprompt);

// Tables: one value a row of the table, ten to a line; -1 marks rows not asked for, which print empty;
// -4 and -5 are marks of their own.
extern void (*printable)(const int *values, int rows);
extern void (*printable_floats)(const double *values, int rows);
void printable_default(const int *values, int rows);
void printable_optional(const int *values, int rows);
void printable_default_floats(const double *values, int rows);
void printable_optional_floats(const double *values, int rows);

extern int bremer_precision;         // decimals of Bremer supports under implied weighting; starts at 0
void set_bremer_precision(int decimals);
extern int optional_tables;          // tables go through printable_optional; starts at 0
void set_table_pointers();           // printable and printable_floats after optional_tables

// The log.
extern int  autosvg;                 // tree-drawing commands save SVG to autosvg_file; starts at 0
extern char autosvg_file[160];
void tolog(const char *text);        // into the log's line buffer
void flushlog();                     // write what the log's line buffer holds
void closelog();
void fbuf_write(const char *text, size_t n);    // into the log, what is saved rather than printed; a larger buffer
void fbuf_flush();                   // writes what that buffer holds; when the saving is done

// Text leaving the program: tree glyphs and stray bytes become UTF-8.
void   utf8out(const char *text, size_t n, FILE *to);
size_t utf8whole(const char *text, size_t n);   // how much of the text does not end inside a sequence
size_t firstchar(const char *text, size_t n);   // bytes of the first character; n > 0
int    textwidth(const char *text, size_t n);   // columns it takes on a screen
