// The stream and the commands of the macro language.  The data are a file of commands, without those
// that reach out of the session.
#include "fuzzing.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "script/macmem.h"
#include <cstring>
#include <string>

// Loops without end, other programs and other folders are no matter of the reader.
static bool harmless(const std::string &text)
{
    for (const char *word : { "sys", "cdir", "rdir", "log", "tsave", "save", "exp", "zzz", "qui", "exit", "bground", "slavep",
                              "pause", "svtxt", "procs", "mxram", "hold", "timeout", "recurse", "goto", "run", "+0", "forfiles",
                              "combine", "bandb", "mult", "bb", "rat", "randt", "alltr", "xread", "tcom", "edit" })
        if (text.find(word) != std::string::npos) return false;
    int loops = 0;
    for (size_t at = 0; (at = text.find("loop", at)) != std::string::npos; ++at) ++loops;
    for (size_t i = 0, digits = 0; i < text.size(); ++i) {
        digits = isdigit(static_cast<unsigned char>(text[i])) ? digits + 1 : 0;
        if (digits > 2 && loops) return false;
    }
    return loops < 3 && text.find("setl") == std::string::npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzztaxa();
    std::string text(reinterpret_cast<const char *>(data), size);
    if (!harmless(text)) return 0;
    zelpivot("macro -; macro *5 60 [60; macro =;");
    zelpivot((std::string("run ") + fuzzfile(data, size) + " one two;").c_str());
    checkmacros();
    checkinput();
    return 0;
}
