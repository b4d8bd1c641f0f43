// kernel/dispatch.h: what the interpreter and the nested loops share.
#pragma once
#include "kernel/driver.h"

void name_command(const char *name);             // current_command and the prompt
[[noreturn]] void nocommand();                   // cmdname is none: says so
void runprecheck(handler run, int nextchar);     // precheck, for the commands that it concerns
bool first_command();                            // no command was run before in this call of zelpivot
