// The terminal as a keyboard and a screen, for the text viewer and for pauses.
#include "console/terminal.h"
#include "kernel/output.h"
#include "kernel/utf8.h"
#include "kernel/window.h"
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

void measurescreen()
{
    winsize size;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) || !size.ws_row || !size.ws_col) return;
    screen_size = std::max<int>(size.ws_row, 10);
    screen_width = size.ws_col;
}

// --- keys ---------------------------------------------------------------------------------

// The terminal gives each key at once, also Ctrl-C.
struct rawterminal {
    termios was;
    rawterminal()
    {
        tcgetattr(STDIN_FILENO, &was);
        termios raw = was;
        raw.c_lflag &= tcflag_t(~(ICANON | ECHO | ISIG | IEXTEN));
        raw.c_iflag &= tcflag_t(~(IXON | ICRNL | INLCR));
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSADRAIN, &raw);
    }
    ~rawterminal() { tcsetattr(STDIN_FILENO, TCSADRAIN, &was); }
};

static int readbyte()
{
    unsigned char c;
    return read(STDIN_FILENO, &c, 1) == 1 ? c : -1;
}

static bool morefollows()
{
    constexpr int SEQUENCE = 50;         // milliseconds within which the rest of a sequence comes
    pollfd in = { STDIN_FILENO, POLLIN, 0 };
    return poll(&in, 1, SEQUENCE) > 0;
}

// What follows an Esc, when it was not the key itself.
static int keysequence()
{
    constexpr struct { const char *bytes; int key; } sequences[] = {
        { "A", KEY_UP }, { "B", KEY_DOWN }, { "C", KEY_RIGHT }, { "D", KEY_LEFT }, { "H", KEY_HOME }, { "F", KEY_END },
        { "5~", KEY_PAGEUP }, { "6~", KEY_PAGEDOWN }, { "1~", KEY_HOME }, { "7~", KEY_HOME }, { "4~", KEY_END }, { "8~", KEY_END },
    };
    std::string bytes;
    readbyte();                          // '[' or 'O'
    while (bytes.size() < 8 && morefollows()) {
        int c = readbyte();
        if (c < 0) break;
        bytes += char(c);
        if (isalpha(c) || c == '~') break;
    }
    for (auto &sequence : sequences)
        if (bytes == sequence.bytes) return sequence.key;
    return 0;
}

int waitkey()
{
    constexpr int CTRLC = 3, ESCAPE = 27, ERASE = 127;
    rawterminal raw;
    int c = readbyte();
    if (c == ESCAPE && morefollows()) return keysequence();
    if (c < 0 || c == CTRLC || c == ESCAPE) return KEY_ESC;
    if (c == '\r' || c == '\n') return KEY_RETURN;
    if (c == ERASE || c == '\b') return KEY_BACKSPACE;
    return c;
}

// --- the screen ---------------------------------------------------------------------------

// The part of a line of UTF-8 that the screen shows; every code point is one column.
static std::string columnsof(const std::string &line, int from)
{
    std::string part;
    int at = -1;
    for (char c : line) {
        if ((c & 0xc0) != 0x80) ++at;
        if (at >= from && at < from + screen_width) part += c;
    }
    return part;
}

void showscreen(const char *lines, int column, const char *lastline)
{
    std::string shown, text = lines ? inutf8(lines) : "";
    if (lines) shown = "\033[H\033[2J";
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = text.find('\n', at);
        shown += columnsof(text.substr(at, end - at), column) + "\n";
    }
    shown += "\033[" + std::to_string(screen_size + 1) + ";1H\033[K\033[7m" + columnsof(inutf8(lastline), 0) + "\033[m";
    fputs(shown.c_str(), stdout);
    fflush(stdout);
}
