#include "kernel/putback.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/typos.h"

static void undo_file_modes() { reading_nexus_file = allow_same_file = reading_literal_file = 0; }
static void undo_asking()     { if (admit_inner_typos) admit_inner_typos = 1; }
static void undo_silence()    { silent = static_cast<unsigned char>(silent & ~2); }

const resetrow resettable[] = {
    { "a dialog that accepts itself", reset_autorun_typed_menu },
    { "counts of active taxa",    count_all_taxa },
    { "lists in place of text",   forget_supplied_lists },
    { "how files are being read", undo_file_modes },
    { "text waiting for the log", flushlog },
    { "corrections of options",   undo_asking },
    { "a search in progress",     end_of_search },
    { "a viewer on the console",  undo_silence },
    { "texts at nodes",           reset_nodmsg },
    { "the macro language",       reset_macros_after_error },
    { nullptr, nullptr }
};

static const resetrow *underway;     // null outside of put_back

bool putting_back() { return underway; }

void put_back(const resetrow *rows)
{
    for (const resetrow *row = underway ? underway + 1 : rows; row->what; ++row) {
        underway = row;
        row->undo();
    }
    underway = nullptr;
}
