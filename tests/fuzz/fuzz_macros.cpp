// The stream and the commands of the macro language.  The data are a file of commands, without those
// that reach out of the session.
#include "fuzzing.h"
#include "kernel/comtable.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "script/macmem.h"
#include <cctype>
#include <set>
#include <string>

// Loops without end, other programs and other folders are no matter of the reader.
static bool harmless(const std::string &text)
{
    static const std::set<std::string> left_alone = {
        "system", "cdir", "rdir", "log", "tsave", "save", "export", "zzz", "quit", "exit", "bground", "pause", "svtxt", "procedure",
        "mxram", "mxproc", "hold", "timeout", "recurse", "goto", "run", "forfiles", "combine", "bandb", "mult", "xmult", "bbreak",
        "ratchet", "drift", "tfuse", "hybrid", "sectsch", "randtrees", "alltrees", "xread", "edit", "ienum", "pfijo", "mixtrees",
        "ttags", "tplot", "condense", "majority", "rebuild", "zel", "view", "menu"
    };
    std::string word;
    for (size_t i = 0; i <= text.size(); ++i) {
        unsigned char c = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
        if (isalpha(c)) { word += char(tolower(c)); continue; }
        if (const comrow *row = findcommand(word.c_str()); row && left_alone.count(row->name)) return false;
        word.clear();
    }
    for (const char *reached : { "+0", "sprit", "tbrit" })       // minutes of turns
        if (text.find(reached) != std::string::npos) return false;
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
