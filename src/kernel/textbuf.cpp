// The text buffer: a ring of bytes that holds the newest lines, and a pointer to the start of
// each.
//
//     bgilspace      xat                 oldest line kept                   gilend
//        | newest lines | what is being overwritten | older lines ......... |
//
// Lines are contiguous and end in a 0.  When the area is full the line being written moves to
// its start, and from then on old lines are overwritten, the oldest first.  A run of blanks is
// kept as the byte 1 and a count, for blanks are most of what tables and tree diagrams hold.
#include "kernel/textbuf.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/window.h"
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstdlib>
#include <cstring>

constexpr char PRESSED = 1;              // a run of blanks; its length is the next byte
constexpr int  LONGESTRUN = 125;
constexpr int  BYTESALINE = 4;           // of the area, for the line limit: nearly all texts fill the area first
constexpr int  SMALLBUFFER = 10;         // kilobytes tried when there is no room for what was asked

char  *bgilspace, *gilend, **gilspace, *xat;
int    atlin, starlin, starbufis, maxlines;
int    pressbuff = 1;
int    linsdone, first_linout, last_linout, scrollpos;
const char *gil[GILROWS];

static int  gilkilobytes;
static char prvbuf;                      // byte before xat, or 0 at the start of a line
static int  spccnt;                      // blanks in the run that ends at xat
static bool markdspc;                    // that run is stored as a mark and its count
static int  searchedto;                  // line after the one found last, from the oldest kept

// Lines are also counted over the whole run, for readers that look from time to time: index i of
// gilspace is line linebase + i.
static long linebase;
static long cutline = -1, cutbytes;      // a line longer than the whole area, and what it has lost at its start

// --- storing -----------------------------------------------------------------------------

static void forgetrun()
{
    prvbuf = 0;
    spccnt = 0;
    markdspc = false;
}

static void emptystore()
{
    atlin = starlin = starbufis = 0;
    xat = bgilspace;
    forgetrun();
    searchedto = linsdone = first_linout = last_linout = scrollpos = 0;
    if (!bgilspace) return;
    gilspace[0] = bgilspace;
    *xat = 0;
}

void clear_text_buffer()
{
    linebase += atlin + 1;               // the line being written is lost too
    emptystore();
}

void *(*give_buffer_memory)(size_t bytes) = malloc;

// The new store takes the place of the old one only when there is room for it, so that a failure
// can be told.
bool initialize_winbufsiz(int kilobytes)
{
    for (int attempt = 0; ; ++attempt) {
        size_t bytes = size_t(kilobytes) * 1024, lines = std::max<size_t>(bytes / BYTESALINE, 2);
        char *area = static_cast<char *>(give_buffer_memory(bytes));
        char **starts = static_cast<char **>(give_buffer_memory((lines + 2) * sizeof *starts));
        if (area && starts) {
            free(bgilspace);
            free(gilspace);
            bgilspace = area;
            gilend = area + bytes - 2;
            gilspace = starts;
            maxlines = int(lines);
            gilkilobytes = kilobytes;
            clear_text_buffer();
            return true;
        }
        free(area);
        free(starts);
        if (attempt) {
            spewem("Can't allocate small buffer. Free memory and re-try.", nullptr);
            return false;
        }
        spewem("Not enough memory to allocate display buffer.\nWill attempt to allocate a smaller buffer.", nullptr);
        kilobytes = std::min(kilobytes, SMALLBUFFER);
    }
}

static void droplines(int upto)
{
    if (upto <= starlin) return;
    searchedto = std::max(0, searchedto - (upto - starlin));
    starlin = upto;
}

// Lines of the previous turn of the ring that the data have reached are gone.
static void dropoverwritten()
{
    int oldest = starlin;
    while (oldest < starbufis && gilspace[oldest] <= xat) ++oldest;
    droplines(oldest);
}

static size_t expandedlength(const char *s, const char *end)
{
    size_t n = 0;
    for (; s < end; ++s, ++n)
        if (*s == PRESSED) n += size_t(*++s) - 1;
    return n;
}

// The area is full: the line being written goes to its start.  A line that fills all of it
// loses what it has so far.
static void wraparea()
{
    size_t part = size_t(xat - gilspace[atlin]);
    droplines(starbufis);
    starbufis = atlin;
    if (gilspace[atlin] == bgilspace) {
        if (cutline != linebase + atlin) {
            cutline = linebase + atlin;
            cutbytes = 0;
        }
        *xat = 0;
        window.zel_app_window_updateBuffer("");          // the last look at what goes
        cutbytes += long(expandedlength(bgilspace, xat));
        part = 0;
        forgetrun();
    } else
        memmove(bgilspace, gilspace[atlin], part);
    gilspace[atlin] = bgilspace;
    xat = bgilspace + part;
}

static void storebyte(char c)
{
    *xat++ = c;
    if (xat >= gilend) wraparea();
}

static void openline()
{
    if (xat + 1 >= gilend && gilspace[atlin] == bgilspace) wraparea();   // no room for the 0 of so long a line
    storebyte(0);                        // may begin a new turn of the ring: the line then moved as a whole
    forgetrun();
    gilspace[++atlin] = xat;
    if (atlin < maxlines) return;
    *xat = 0;
    dropoverwritten();
    if (starlin == 0) {
        window.zel_app_window_updateBuffer("");          // the last look at what goes
        clear_text_buffer();
        spewtogil("NOTE: wrapped lines before wrapping buffer contents!\n");
        return;
    }
    std::copy(gilspace + starlin, gilspace + atlin + 1, gilspace);
    linebase += starlin;
    starbufis = std::max(0, starbufis - starlin);
    atlin -= starlin;
    starlin = 0;
}

void spewtogil(const char *text)
{
    if (!bgilspace) return;
    for (; *text; ++text) {
        char c = *text == PRESSED ? ' ' : *text;
        if (c == '\n') {
            openline();
            continue;
        }
        if (pressbuff && !iamslave && c == ' ' && prvbuf == ' ' && spccnt < LONGESTRUN) {
            if (!markdspc) {
                xat[-1] = PRESSED;
                markdspc = true;
                spccnt = 2;
                storebyte(2);
            } else
                xat[-1] = char(++spccnt);
            continue;
        }
        markdspc = false;
        spccnt = c == ' ';
        prvbuf = c;
        storebyte(c);
    }
    *xat = 0;
    dropoverwritten();
}

// --- reading -----------------------------------------------------------------------------

static std::string expanded(const char *s)
{
    std::string line;
    for (; *s; ++s)
        if (*s == PRESSED && s[1]) line.append(size_t(*++s), ' ');
        else line += *s;
    return line;
}

std::string bufferline(int n)
{
    if (!bgilspace || n < 0 || n > WINBUFSIZ()) return "";
    return expanded(gilspace[starlin + n]);
}

int buflinlen(int line) { return int(bufferline(line).size()); }

static void beginline(textcursor *at, long line)
{
    *at = {};
    at->line = line;
}

// Bytes at the end of what is stored that a further blank would change.
static long unsettled(const char *from, const char *end)
{
    if (end - from >= 2 && end[-2] == PRESSED) return 2;
    return end > from && end[-1] == ' ';
}

// A line may come in very many pieces: each look begins where the last one ended, at the blanks
// that may still be growing.
void readnewtext(textcursor *at, std::string *out)
{
    if (!bgilspace) return;
    long oldest = linebase + starlin, last = linebase + atlin;
    if (at->line < oldest) beginline(at, oldest);
    for (;;) {
        long lost = at->line == cutline ? cutbytes : 0;
        if (lost != at->lost) {
            at->lost = at->bytecol = lost;
            at->byte = 0;
        }
        const char *start = gilspace[at->line - linebase], *from = start + at->byte, *end = from + strlen(from);
        std::string piece = expanded(from);
        size_t known = size_t(std::max(0L, at->col - at->bytecol));
        if (known < piece.size()) out->append(piece, known);
        at->col = std::max(at->col, at->bytecol + long(piece.size()));
        if (at->line == last) {
            const char *settled = end - unsettled(from, end);
            at->byte = settled - start;
            at->bytecol += long(piece.size() - expandedlength(settled, end));
            return;
        }
        *out += '\n';
        beginline(at, at->line + 1);
    }
}

// The lines of the present screen; the offset counts lines back from the end, as a negative number.
void copygil(int offset)
{
    int lines = WINBUFSIZ(), rows = std::min(screen_size, GILROWS);
    int top = std::max(0, lines - rows);
    scrollpos = std::clamp(offset, -top, 0);
    first_linout = top + scrollpos;
    last_linout = std::min(first_linout + rows, lines);
    linsdone = last_linout - first_linout;
    for (int i = 0; i < GILROWS; ++i) gil[i] = i < linsdone ? gilspace[starlin + first_linout + i] : nullptr;
}

int give_total_lines()         { return WINBUFSIZ(); }
int give_first_line()          { return first_linout; }
int give_last_line()           { return last_linout; }
int give_scroll_pos()          { return scrollpos; }
int give_scroll_line()         { return WINBUFSIZ() + scrollpos; }
int give_display_buffer_size() { return gilkilobytes; }

int give_free_buffer_bytes()
{
    if (!bgilspace) return 0;
    if (starlin < starbufis) return int(gilspace[starlin] - xat);      // older lines up to the end of the area
    return int(gilend - bgilspace) - int(xat - gilspace[starlin]);
}

int give_display_buffer_use()
{
    if (!bgilspace) return 0;
    long size = gilend - bgilspace;
    return int((size - give_free_buffer_bytes()) * 100 / size);
}

long uncompressed_buffer_size()
{
    long bytes = 0;
    for (int i = 0; i < WINBUFSIZ(); ++i) bytes += buflinlen(i) + 1;
    return bytes;
}

bool txmatch(const std::string &line, const char *target)
{
    auto same = [](char a, char b) { return tolower((unsigned char)a) == tolower((unsigned char)b); };
    return std::search(line.begin(), line.end(), target, target + strlen(target), same) != line.end();
}

void search_from(int line) { searchedto = std::clamp(line, 0, WINBUFSIZ()); }

int search_text_buffer(const char *target, bool wrap)
{
    int lines = WINBUFSIZ();
    searchedto = std::min(searchedto, lines);
    int tries = wrap ? lines : lines - searchedto;
    for (int i = 0; i < tries; ++i) {
        int n = (searchedto + i) % lines;
        if (!txmatch(bufferline(n), target)) continue;
        searchedto = n + 1;
        return n;
    }
    return -1;
}

void checktextbuf()
{
    if (!bgilspace) return;
    assert(0 <= starlin && starlin <= atlin && atlin < maxlines + 1);
    assert(bgilspace <= xat && xat < gilend && *xat == 0);
    assert(starbufis <= atlin);
    for (int i = starlin; i < atlin; ++i) {
        assert(gilspace[i] >= bgilspace && gilspace[i] < gilend);
        assert(i < starbufis ? gilspace[i] > xat : gilspace[i] <= xat);
        if (i + 1 != starbufis) assert(gilspace[i] + strlen(gilspace[i]) + 1 == gilspace[i + 1]);
    }
}
