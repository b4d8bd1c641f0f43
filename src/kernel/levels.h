// kernel/levels.h: what the macro language uses of the stack of inputs, besides kernel/input.h.
#pragma once
#include "kernel/input.h"

void more_input();                                       // the buffer of the current level is used up: refills it, or closes a level
int  readargs(const char *script, const char *arg[]);    // arguments up to ';' into the pool above its top; sets arg[1..], returns how many
void openwithargs(const char *name, const char *arg[], int n);   // the file as a level that owns those arguments, without a word
void listargs();                                         // composes the arguments of the current level, ending the line

extern bool loop_was_ended;          // the last fake_cmd_loop_allrecons ended on the word that ends its body
