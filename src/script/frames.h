// script/frames.h: what the macro language keeps for each level of input, in its record.
//
// A file counts its variables and loops from where those of its opener end.  Texts that a command
// runs for itself see the variables and loops of the file they stand in.
#pragma once
#include "kernel/input.h"

inline bool is_level_text(const char *at) { return at >= curproc->buffer && at < curproc->buffer + sizeof curproc->buffer; }
void start_frames();              // of the levels that are open as the language is turned on

// stream.cpp: where reading goes on behind the present expansion; for levels that move.
char *expansion_resumes();
void expansion_moved(char *resumes);
