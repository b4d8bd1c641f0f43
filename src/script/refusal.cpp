// What is not there yet says so, and leaves the stream where it would have left it.
#include "script/refusal.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "script/loops.h"
#include "script/stream.h"
#include <cstring>

void notyetavailable(const char *what) { myerr("Sorry, %s are not available yet", what); }

struct bodyrow {
    const char *command;
    bodywords words;
};
static const bodyrow bodies[] = {
    { "iterrecs",    { "endrecs",  { "iterrecs", "iternucrecs", nullptr } } },
    { "iternucrecs", { "endrecs",  { "iterrecs", "iternucrecs", nullptr } } },
    { "opendlg",     { "closedlg", { "subdlg", nullptr } } },
};

bool skip_script_body()
{
    for (const bodyrow &row : bodies) {
        if (strcmp(row.command, current_command)) continue;
        if (clean_peep() == '=') return false;           // a setting
        read_body(row.words);
        return true;
    }
    return false;
}
