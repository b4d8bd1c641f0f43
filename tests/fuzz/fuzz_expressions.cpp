// Expressions, one a line, with data and trees in memory: each is the right side of an assignment to an
// array, an operation on whole arrays, or a regression.
#include "fuzzing.h"
#include "kernel/commands.h"
#include "kernel/dispatch.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "script/macmem.h"
#include <algorithm>
#include <cstring>
#include <string>

// Only signs of expressions; no endless counts, and nothing that waits for an answer.
static bool harmless(const std::string &line)
{
    if (line.size() > 200 || line.find("getresp") != std::string::npos) return false;
    int digits = 0;
    for (unsigned char c : line) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > 4 || c < 32 || c == ';' || c == '@' || c > 126) return false;
    }
    return true;
}

// The command with its word, as the driver would have read it.
static void setalone()
{
    name_command("set");
    strcpy(cmdname, "set");
    setcom();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzztaxa();
    std::string text(reinterpret_cast<const char *>(data), size);
    zelpivot("macro -; xread 6 9 a 000000 b 001011 c 11[01]?2 d 0?2300 e 111111 f 010101 g 223300 h 000111 i 1110??;");
    zelpivot("ccode + 2; tread (0 (1 (2 (3 (4 (5 (6 (7 8)))))))) * ((0 1)(2 (3 4 5)(6 (7 8)))) * (0 (1 2 3));");
    zelpivot("macro *5 400 [60; macro =; var: a[20] b[20] m[4 4] n[4 4] x; setarray 5 b 3 1 4 1 5;");
    for (size_t at = 0; at < text.size(); ) {
        size_t end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        at = end + 1;
        if (!harmless(line)) continue;
        line += " ;";
        fuzzread(setalone, "", reinterpret_cast<const uint8_t *>(line.data()), line.size());
        if (!macros_are_on()) return 0;
        checkmacros();
    }
    checkinput();
    return 0;
}
