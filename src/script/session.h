// script/session.h: the clock of scripts.
#pragma once

extern double progstartime;       // seconds on the steady clock at which it started; the start of the program
