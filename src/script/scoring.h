// script/scoring.h: report-time optimization asked for in the middle of a command.
#pragma once

void need_scoring();              // the tables of lightopt stand; an error when they cannot be laid out now
void need_free_arena();           // an error while a command holds scratch, which new layers would bury
