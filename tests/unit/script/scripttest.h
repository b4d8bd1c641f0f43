// scripttest.h: what tests of the scripting language share.
#pragma once
#include "zeltest.h"
#include "kernel/driver.h"
#include "script/macmem.h"
#include "script/stream.h"

// Typed commands, with the language just turned on; what they print.
inline std::string typed(const std::string &commands)
{
    pad_conversions = 0;
    zelrun("macro -; macfloat =; macfloat 6; macro prot 2 ! &1; macro =;");
    return zelrun(commands);
}

// The same from a file, without the line that names it.
inline std::string fromfile(const std::string &commands, const std::string &arguments = "")
{
    pad_conversions = 0;
    zelrun("macro -; macfloat =; macfloat 6; macro prot 2 ! &1; macro =;");
    std::string said = zelrun("run " + writefile("script.run", commands) + " " + arguments + ";");
    return said.substr(std::min(said.size(), said.find('\n') + 1));
}

inline bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }
