// The commands for the view and the text buffer behind it.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <string>

constexpr int LEASTLINES = 10;           // of the view
constexpr int MOSTLINES = 1000000;

void screencom()
{
    notime();
    long lines = gtnu();
    if (lines >= 0) {
        screen_size = int(std::clamp<long>(lines, LEASTLINES, MOSTLINES));
        if (gotc('x') || gotc('X')) {
            long columns = gtnu();
            if (columns > 0) screen_width = int(std::min<long>(columns, MOSTLINES));
        }
    }
    spewem("Screen size is", intvert(screen_size), "x", intvert(screen_width), nullptr);
}

const comhelp screenhelp = {
    "Set the size of the view.", nullptr,
    "  screen N x L ;   N lines (at least 10) of L columns\n"
    "  screen N ;       N lines\n"
    "  screen ;         tell the size\n"
    "The console starts with the size of the terminal.\n"
    "Examples:\n"
    "  screen 40 x 132 ;\n"
};

static void clearview()
{
    notime();
    clear_text_buffer();
    window.zel_app_window_clearBuffer();
}

void clscom()      { clearview(); }
void clbuffercom() { clearview(); }

const comhelp clshelp = {
    "Clear the view.", nullptr,
    "  cls ;   clear the view and the text buffer behind it\n"
    "Examples:\n"
    "  cls ;\n"
};

const comhelp clbufferhelp = {
    "Clear the text buffer.", nullptr,
    "  clbuffer ;   clear the text buffer and the view\n"
    "Examples:\n"
    "  clbuffer ;\n"
};

// --- svtxt -------------------------------------------------------------------------------

void save_txt_buffer()
{
    if (logfile == stderr) errmsg("No log file open", nullptr);
    long lines = WINBUFSIZ(), from = gtnu(), to = -1;
    if (from >= 0) to = gtnu();
    if (from < 0) from = 0;
    if (to < 0) to = lines - 1;
    if (to >= lines || from > to) errmsg("Only", intvert(lines), "lines in display buffer", nullptr);
    for (long i = from; i <= to; ++i) {
        std::string line = bufferline(int(i)) + "\n";
        fbuf_write(line.data(), line.size());
    }
    fbuf_flush();
    spewem("Buffer: lines", intvert(from), intvert(to), "saved to", logfilename, nullptr);
}

const comhelp svtxthelp = {
    "Save the text buffer to the log.", nullptr,
    "  svtxt N M ;   save lines N to M, counting from 0 at the oldest line kept\n"
    "  svtxt N ;     save line N and those that follow\n"
    "  svtxt ;       save all lines\n"
    "A log must be open.\n"
    "Examples:\n"
    "  log kept.txt ; svtxt ; log / ;\n"
    "  log +kept.txt ; svtxt 0 2 ; log / ;\n"
};

// --- txtsize -----------------------------------------------------------------------------

static void setsize(long kilobytes)
{
    constexpr long LARGE = 1000, LEAST = 10, MOST = 2000000;
    if (kilobytes > LARGE)
        warnem("Large buffer sizes (above 1,000 Kb) can cause\nthe screen to flicker on display\n\n"
               "Consider using a log file instead of a large buffer", nullptr);
    if (kilobytes > 0) warnem("Changing size of text-buffer will clear all buffer contents", nullptr);
    if (kilobytes < LEAST) return;
    if (WINBUFSIZ()) spewem("Resetting buffer size requires clearing it.", nullptr);
    initialize_winbufsiz(int(std::min(kilobytes, MOST)));
    window.zel_app_window_clearBuffer();
}

static void setcompression()
{
    int was = pressbuff, is = was;
    onoff(&is, "Buffer compression");
    if (is == was) return;
    warnem("Changing buffer mode requires clearing it", nullptr);
    pressbuff = is;
    clear_text_buffer();
    window.zel_app_window_clearBuffer();
}

void txtbufsizcom()
{
    notime();
    int c = peep();
    if (c == '=' || c == '-') setcompression();
    else if (gotc('/'))
        joinem("Buffer (", intvert(give_display_buffer_size()), " Kb) occupies ca. ",
               intvert((uncompressed_buffer_size() + 1023) / 1024), " Kbytes on disk\n", nullptr);
    else {
        long kilobytes = gtnu();
        if (kilobytes >= 0) setsize(kilobytes);
    }
    joinem("Text buffer: ", intvert(give_display_buffer_size()), " Kb (", intvert(give_display_buffer_use()),
           "% of buffer in use)\n", nullptr);
}

const comhelp txtsizehelp = {
    "Set the size of the text buffer, which keeps what was shown.", nullptr,
    "  txtsize N ;   use N kilobytes, at least 10 (250 at the start); the buffer is\n"
    "                cleared\n"
    "  txtsize = ;   keep runs of blanks compressed (the default); a change clears\n"
    "                the buffer\n"
    "  txtsize - ;   keep them as they are\n"
    "  txtsize / ;   tell how much the buffer would take on disk\n"
    "  txtsize ;     tell size and use\n"
    "In the console, the key Page Up looks at what the buffer holds.\n"
    "Examples:\n"
    "  txtsize ;\n"
    "  txtsize 500 ;\n"
};
