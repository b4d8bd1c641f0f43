// The interpreter on a terminal, or between two pipes.
//
// Standard output carries exactly what goes to the text buffer; prompts, boxes and the progress
// line go to the terminal or to standard error.  Ctrl-C is the Esc key: a running search stops in
// order, and at the prompt the line is cleared.
#include "console/console.h"
#include "console/arguments.h"
#include "console/terminal.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

static bool interactive;                 // standard input is a terminal
static textcursor seen;                  // how far the text buffer was printed
static std::string halfsequence;         // printed with what follows it
static bool progressing;                 // the terminal shows a progress line
static bool midline;                     // standard output stands in the middle of a line
static bool inargument;                  // a word of the command line is being run
static bool seenenough;                  // nothing more is shown before the next prompt
static volatile sig_atomic_t escpressed; // Ctrl-C presses not yet answered

// --- output ------------------------------------------------------------------------------

static void clearprogress()
{
    if (!progressing) return;
    fprintf(stderr, "\r%*s\r", 79, "");
    fflush(stderr);
    progressing = false;
}

static void pauseafterscreen();

static void printall(const char *text, size_t n)
{
    if (!n) return;
    clearprogress();
    utf8out(text, n, stdout);
    fflush(stdout);
    midline = text[n - 1] != '\n';
}

// With "pause=" in force a terminal is given a screen at a time.
static void print(const std::string &text, size_t n)
{
    size_t from = 0;
    if (pausing && interactive && isatty(STDOUT_FILENO))
        for (size_t at = 0; at < n && !seenenough; ++at) {
            if (text[at] != '\n' || ++linsdone < screen_size - 1) continue;
            printall(text.data() + from, at + 1 - from);
            from = at + 1;
            pauseafterscreen();
        }
    if (!seenenough) printall(text.data() + from, n - from);
}

static void append(const char *)
{
    std::string text = std::move(halfsequence);
    readnewtext(&seen, &text);
    size_t whole = utf8whole(text.data(), text.size());
    halfsequence = text.substr(whole);
    print(text, whole);
}

static void finishoutput()
{
    append("");
    print(halfsequence, halfsequence.size());
    halfsequence.clear();
}

// Prompts, boxes and progress begin a line of the terminal, so that what a command left open is
// not written over.
static void beginline()
{
    if (!midline || !isatty(STDOUT_FILENO)) return;
    fputc('\n', stdout);
    fflush(stdout);
    midline = false;
}

static const char *writeproblem() { return ferror(stdout) ? "Cannot write to standard output\n" : ""; }

static void lastoutput()
{
    finishoutput();
    fputs(writeproblem(), stderr);
}

static void clearscreen()
{
    if (isatty(STDOUT_FILENO) && getenv("TERM")) {
        fputs("\033[H\033[2J", stdout);
        fflush(stdout);
        midline = false;
    }
}

// As much of the text as one line of the terminal takes; every code point is one column.
static std::string oneline(const char *text)
{
    std::string line;
    int columns = 0;
    for (const char *c = text; *c && *c != '\n'; ++c) {
        bool continues = (*c & 0xc0) == 0x80;
        if (!continues && ++columns >= screen_width) break;
        line += *c;
    }
    for (; columns < std::min(screen_width, 80) - 1; ++columns) line += ' ';     // covers the line before
    return line;
}

static void progressline(const char *text)
{
    if (!isatty(STDERR_FILENO)) return;
    if (!*text) {
        clearprogress();
        return;
    }
    beginline();
    progressing = !strchr(text, '\n');
    fprintf(stderr, "\r%s%s", oneline(text).c_str(), progressing ? "" : "\n");
    fflush(stderr);
}

// --- keys and boxes ----------------------------------------------------------------------

static void pressesc(int)
{
    constexpr int IMPATIENT = 3;         // with no prompt to return to, these presses end the program
    escpressed = escpressed + 1;
    if (!interactive && escpressed >= IMPATIENT) _exit(130);
}

static int keypressed()
{
    int key = escpressed ? KEY_ESC : 0;
    escpressed = 0;
    return key;
}

// Read without a buffer, like all else that reads standard input.  False at the end of input.
static bool readanswer(char *first)
{
    char c;
    *first = 0;
    ssize_t n;
    while ((n = read(STDIN_FILENO, &c, 1)) == 1 && c != '\n')
        if (!*first && c > ' ') *first = c;
    return n == 1;
}

static int askkey(const char *question, const char *keys, const int *answers, int otherwise)
{
    for (;;) {
        fprintf(stderr, "%s ", question);
        fflush(stderr);
        char c;
        if (!readanswer(&c)) return otherwise;
        const char *key = c ? strchr(keys, c) : nullptr;
        if (key) return answers[key - keys];
    }
}

static int messagebox(const char *title, const char *text, int flags)
{
    if (inargument && (flags & BOX_ERROR)) return 1;     // told when the argument is done, with its name
    finishoutput();
    clearprogress();
    beginline();
    std::string plain = text;
    plain.erase(std::remove(plain.begin(), plain.end(), '\r'), plain.end());
    std::string whole = std::string(title) + ": " + plain + "\n";
    utf8out(whole.data(), whole.size(), stderr);
    if (!interactive) return 1;
    constexpr int answers[] = { 1, 1, 0, 0, 2, 2 };
    if (flags & BOX_CANCEL) return askkey("(y)es, (n)o or (c)ancel?", "yYnNcC", answers, 2);
    if (flags & BOX_YESNO) return askkey("(y)es or (n)o?", "yYnN", answers, 0);
    if (flags & BOX_ERROR) return 1;     // nothing to decide: the prompt that follows is enough
    char c;
    fputs("(press Enter) ", stderr);
    readanswer(&c);
    return 1;
}

static void dialog(const char *title, const char *caption) { messagebox(title, caption, 0); }

// --- the text viewer and the pause after a screen ---------------------------------------------

// The viewer has a screen of its own, as large as the terminal is now; what stood before comes back.
struct viewscreen {
    int lines = screen_size, columns = screen_width;
    viewscreen()
    {
        measurescreen();
        fputs("\033[?1049h", stdout);
    }
    ~viewscreen()
    {
        fputs("\033[?1049l", stdout);
        fflush(stdout);
        screen_size = lines;
        screen_width = columns;
    }
};

// Page Up at the prompt.
static int openviewer(int, int)
{
    {
        viewscreen here;
        view_text_buffer();
    }
    rl_forced_update_display();
    return 0;
}

// After a full screen of output "pause=" waits for a key; q stops what is running.
static void pauseafterscreen()
{
    fputs("--More-- (any key; q stops)", stderr);
    int key = waitkey();
    fprintf(stderr, "\r%27s\r", "");
    fflush(stderr);
    if (key == 'q' || key == KEY_ESC) escpressed = seenenough = true;
    linsdone = 0;
}

// --- lines typed -------------------------------------------------------------------------

static std::string historyfile()
{
    const char *home = getenv("HOME");
    return home ? std::string(home) + "/.zel_command_history" : "";
}

static void savehistory()
{
    if (!historyfile().empty()) write_history(historyfile().c_str());
}

// Called when a signal came while a line was typed.
static int clearline()
{
    if (!escpressed) return 0;
    escpressed = 0;
    fputc('\n', rl_outstream);
    rl_replace_line("", 0);
    rl_on_new_line();
    rl_redisplay();
    return 0;
}

static void startreadline()
{
    rl_readline_name = "zel";
    rl_outstream = isatty(STDOUT_FILENO) ? stdout : stderr;
    rl_bind_key('\t', rl_insert);
    if (isatty(STDOUT_FILENO)) rl_bind_keyseq("\\e[5~", openviewer);
    rl_signal_event_hook = clearline;
    using_history();
    if (!historyfile().empty()) read_history(historyfile().c_str());
    atexit(savehistory);
}

static char *readcommand(const char *asked)
{
    finishoutput();
    clearprogress();
    beginline();
    escpressed = seenenough = false;
    char *line = readline((std::string(asked) + " ").c_str());
    const char *paste = rl_variable_value("enable-bracketed-paste");
    if (line && *line) add_history(line);
    if (!line && (!paste || strcmp(paste, "on"))) fputc('\n', rl_outstream);      // else it has ended the line
    return line;
}

// --- the run -----------------------------------------------------------------------------

static void fillslots()
{
    window.zel_app_window_getKeyPressed = keypressed;
    window.zel_app_window_dialog = dialog;
    window.zel_app_window_updateBufferSearches = append;
    window.zel_app_window_updateBuffer = append;
    window.zel_app_window_clearBuffer = clearscreen;
    window.zel_app_window_isEmptyBuffer = [] { return WINBUFSIZ() == 0; };
    window.zel_app_window_countBufferLines = [] { return WINBUFSIZ(); };
    window.messagebox = messagebox;
    window.readcommand = readcommand;
    window.progressline = progressline;
    if (interactive) {
        window.waitkey = waitkey;
        window.showscreen = showscreen;
    }
}

static void takesignals()
{
    struct sigaction act = {};
    act.sa_handler = pressesc;
    act.sa_flags = SA_RESTART;           // a line being read is not to look like the end of input
    sigaction(SIGINT, &act, nullptr);
    signal(SIGPIPE, SIG_DFL);            // nobody reads any more: end quietly
}

// What went wrong stands in the output; where it did may be lost there among much else.
static void runargument(const std::string &commands, const std::string &what)
{
    inargument = true;
    gtkZel(commands.c_str());
    inargument = false;
    if (!caught_an_error) return;
    finishoutput();
    clearprogress();
    beginline();
    std::string whole = "Error " + what + "\n";
    utf8out(whole.data(), whole.size(), stderr);
}

static std::string beginning(const std::string &text)
{
    constexpr size_t SHOWN = 60;
    std::string from = text.substr(std::min(text.size(), text.find_first_not_of(" ,;")));
    return from.size() <= SHOWN ? from : from.substr(0, utf8whole(from.data(), SHOWN)) + "...";
}

int runconsole(const std::vector<std::string> &words)
{
    startwork work;
    if (!readarguments(words, &work)) {
        fprintf(stderr, "Commands too long (at most %zu characters)\n", LONGESTCOMMANDS);
        return 2;
    }
    if (!setlocale(LC_CTYPE, "C.UTF-8")) setlocale(LC_CTYPE, "");    // text is UTF-8; numbers stay plain
    interactive = isatty(STDIN_FILENO);
    takesignals();
    measurescreen();
    fillslots();
    atexit(lastoutput);
    if (interactive) startreadline();
    strcpy(dabinname, "zel");
    initialize_winbufsiz(250);
    gtkZel(";");

    for (const std::string &file : work.files) runargument(readingcommand(file), "reading " + file);
    for (const std::string &piece : work.commands) {
        runargument(piece, "in the commands \"" + beginning(piece) + "\"");
        if (caught_an_error) break;      // the rest was meant to follow on it
    }
    zelpivot(nullptr);
    endwork();
    closelog();
    finishoutput();
    return !interactive && (failed_commands || *writeproblem()) ? 1 : 0;
}
