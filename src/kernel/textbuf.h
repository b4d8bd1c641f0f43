// kernel/textbuf.h: the store behind the view.  A fixed number of bytes holds the newest lines;
// runs of blanks are kept as two bytes.
#pragma once
#include <string>

extern char *bgilspace, *gilend;     // the byte area and its end, less two bytes
extern char **gilspace;              // starts of lines
extern int  atlin, starlin, starbufis, maxlines;   // line being written; oldest kept; where the area wrapped last; limit
extern char *xat;                    // next free byte
extern int  pressbuff;               // compression on; starts at 1
extern int  linsdone, first_linout, last_linout, scrollpos;
constexpr int GILROWS = 150;
extern const char *gil[GILROWS];     // line pointers of the current screen

inline int WINBUFSIZ() { return atlin - starlin; }   // lines stored

extern void *(*give_buffer_memory)(size_t bytes);   // malloc; null when there is none
bool initialize_winbufsiz(int kilobytes);   // (re)allocates the store; false when even a small one fails
void spewtogil(const char *text);
void clear_text_buffer();
void copygil(int offset);
std::string bufferline(int n);       // line n from the oldest kept, expanded
int  buflinlen(int line);
int  give_total_lines(), give_first_line(), give_last_line(), give_scroll_pos(), give_scroll_line();
int  give_display_buffer_size(), give_free_buffer_bytes(), give_display_buffer_use();
long uncompressed_buffer_size();
bool txmatch(const std::string &line, const char *target);   // line holds target, whatever the case
int  search_text_buffer(const char *target, bool wrap);   // the next line that holds it, counting from the oldest kept, or -1
void search_from(int line);          // where the next search begins; otherwise after the line found last
void view_text_buffer();             // the text viewer; nothing where the front end gives no keys

// What was added since a reader last looked, expanded.  A front end keeps one cursor.
struct textcursor {
    long line = 0, col = 0;          // absolute line (dropped ones counted) and column
    long byte = 0, bytecol = 0;      // stored byte of that line where the next look begins, and its column
    long lost = 0;                   // columns that the line had lost at its start by then
};
void readnewtext(textcursor *at, std::string *out);
void checktextbuf();                 // asserts the invariants
