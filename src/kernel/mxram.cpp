// The size of the arena: the command mxram and the reports of memory.
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>

constexpr double MBYTE = 1e6;

void writembytes(uint64_t bytes)
{
    char text[40];
    if (double(bytes) > 1e9) snprintf(text, sizeof text, "%u Mbytes", unsigned(bytes / 1000000));
    else snprintf(text, sizeof text, "%.2f Mbytes", double(bytes) / MBYTE);
    tojoin(text);
}

void giveram(double *mbytes) { *mbytes = (double(Minram) - 16) / MBYTE; }

int giveramperc()
{
    wipetag(&schtag);
    wipetag(&opttag);
    size_t arena = size_t(maxeg - memseg);
    return arena < 100 ? 100 : int(double(used_ram()) * 100 / double(arena));
}

// --- the report --------------------------------------------------------------------------

// A layer begins where the nearest of the layers locked before it ends.  The tables of
// optimization may lie below those of searches or above them.
static size_t layersize(int tag)
{
    int below = 0;
    for (int other : { schtag, opttag, consttag, cnamestag, datatag, datonlytag })
        if (other < tag) below = std::max(below, other);
    return size_t(giveme_protralo(tag) - giveme_protralo(below));
}

static void line(const char *indent, uint64_t bytes, const char *text)
{
    tojoin(indent);
    writembytes(bytes);
    tojoin(text);
}

static void layerline(int tag, const char *text)
{
    if (!tag) return;
    line("    ", layersize(tag), text);
    spewout();
}

void showram()
{
    tojoin("ZEL - max. ram = ");
    writembytes(uint64_t(maxeg - memseg));
    spewout();
    if (!datonlytag && !datatag) {
        myp("No ram used yet");
        return;
    }
    line("  ", vailram(), " unused");
    spewout();
    line("  ", used_ram(), " in use:");
    spewout();
    if (datonlytag) {
        line("    ", layersize(datonlytag), " for data matrix (");
        tojoin(intvert(give_nt()));
        tojoin(" taxa, ");
        tojoin(intvert(give_nc()));
        tojoin(" chars.)");
        spewout();
    }
    if (datatag) {
        line("    ", layersize(datatag), " for ");
        tojoin(intvert(give_maxtrees()));
        tojoin(" trees");
        if (int room = give_vault_room()) {
            tojoin(" (plus vault of ");
            tojoin(intvert(room));
            tojoin(" trees)");
        }
        spewout();
    }
    layerline(opttag, " for tree optimization");
    layerline(schtag, " for tree searches");
    layerline(consttag, " for constraint definitions");
    layerline(cnamestag, " for character names");
}

// --- the command -------------------------------------------------------------------------

static void forgetdata()
{
    if (!datonlytag && !datatag) return;
    warnem("Re-setting RAM will discard current data (and trees)", nullptr);
    wipetag(&datatag);
    wipetag(&datonlytag);
    for (int *tag : { &schtag, &sanktag, &ccodetag, &cnamestag, &consttag, &packtag, &opttag }) *tag = 0;
    data_were_dropped();
}

static void setsize(double mbytes)
{
    constexpr double MOST = 1e12;        // millions of bytes: far above what any system gives, and fits the figure
    forgetdata();
    replacearena(uint64_t(std::min(mbytes, MOST) * MBYTE) + 16);
    showram();
}

void ramreset()
{
    double mbytes = gtdouble();
    if (mbytes >= 0) {
        setsize(mbytes);
        return;
    }
    if (gotc('*')) {
        double scale = gtdouble();
        if (scale <= 0) errmsg("Specify proportion of expected RAM (can't be zero!)", nullptr);
        ram_x_proportion = scale == 1.0 ? 0 : scale;
    } else if (gotc('[')) {
        autoset_ram = 1;
        joinem("If needed, ", "increasing memory when reading a dataset\n", nullptr);
    } else if (gotc(']')) {
        autoset_ram = 0;
        joinem("Never ", "increasing memory when reading a dataset\n", nullptr);
    } else if (gotc('+')) {
        allow_extra_sch_mem = 1;
        myp("Minimum extra memory for searches is 5%%");
    } else if (gotc('-')) {
        allow_extra_sch_mem = 0;
        myp("No extra memory for searches");
    } else
        showram();
}

const comhelp mxramhelp = {
    "Set the memory for data, trees and searches.", nullptr,
    "  mxram N ;    use N million bytes (decimals allowed; 16 at the start).  Data\n"
    "               and trees in memory are lost\n"
    "  mxram ;      tell how memory is used\n"
    "  mxram *P ;   expect P times the memory for data that is reckoned (1 at the\n"
    "               start)\n"
    "  mxram [ ;    increase memory when data being read do not fit (the default)\n"
    "  mxram ] ;    never increase it\n"
    "  mxram + ;    warn when searches are left less than 5% of the memory (the\n"
    "               default)\n"
    "  mxram - ;    do not warn\n"
    "Examples:\n"
    "  mxram ;\n"
    "  mxram 500 ;\n"
    "  mxram * 1.5 ;\n"
};
