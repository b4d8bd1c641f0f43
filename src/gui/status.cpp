// The status line.
#include "gui/appwindow.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/output.h"
#include "kernel/utf8.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include <string>

static void settext(GtkWidget *label, const std::string &text) { gtk_label_set_text(GTK_LABEL(label), inutf8(text).c_str()); }

static std::string logtext()
{
    if (logfile == stderr) return "No log file open";
    std::string text = std::string("Log: ") + logfilename;
    return text + (treefile ? std::string(", tsave: ") + give_treefile_name() : ", no tree file open");
}

void gtkUpdateStatus()
{
    settext(gtkAppWindowGlobal->labelStatusData, datatag ? dataname : "No data read");
    settext(gtkAppWindowGlobal->labelStatusTrees, std::to_string(trees_in_mem) + " trees");
    settext(gtkAppWindowGlobal->labelStatusLog, logtext());
    refreshLinesInfo();
}
