// kernel/utf8.h: text as it leaves the program, as a string.
#pragma once
#include <string>

std::string inutf8(const std::string &text);     // tree glyphs and stray bytes become UTF-8
