#include "fuzzing.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

static char path[64];
static void (*reader)();

static void readonce()
{
    snprintf(cmdname, sizeof cmdname, "%s", path);
    newproc();
    reader();
}

void fuzzboot(const char *commands)
{
    static bool booted;
    if (booted) return;
    booted = true;
    snprintf(path, sizeof path, "/tmp/zelfuzz%d", int(getpid()));
    initialize_winbufsiz(50);
    gtkZel(";");
    warning = 0;
    silent = 7;
    mybeep = 0;
    breakable = 0;
    gtkZel(commands);
    atexit([] { unlink(path); });
}

void fuzztaxa()
{
    static bool read;
    if (read) return;
    read = true;
    fuzzboot(";");
    fuzzread(xreadcom, "3 9 out 000 alpha 001 beta 010 gamma 011 al_pine 100 delta 101 eps 110 zeta 111 eta 101 ;", nullptr, 0);
}

const char *fuzzfile(const uint8_t *data, size_t size)
{
    FILE *f = fopen(path, "wb");
    if (!f || fwrite(data, 1, size, f) != size || fclose(f)) abort();
    return path;
}

void fuzzread(void (*handler)(), const char *before, const uint8_t *data, size_t size)
{
    FILE *f = fopen(path, "wb");
    if (!f) abort();
    fputs(before, f);
    if (fwrite(data, 1, size, f) != size || fclose(f)) abort();
    reader = handler;
    silent = 7;
    safecall(readonce);
    inpurge();
    end_of_search();
    ram_refresh();
}
