// script/refusal.h: what belongs to parts of the system that are not there yet.
#pragma once
[[noreturn]] void notyetavailable(const char *what);     // "Sorry, WHAT are not available yet"
