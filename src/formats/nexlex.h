// formats/nexlex.h: the characters and words of foreign files, read from the file that is the
// current input level.  Nothing here reads past the end of that file.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

constexpr int ENDOFFILE = -1;

int  filech();               // next character of the file, ENDOFFILE at its end
void unfilech(int c);        // gives back the character just read
inline bool iswhite(int c) { return c >= 0 && c <= 32; }
inline bool islineend(int c) { return c == '\n' || c == '\r'; }

// The same without what stands in brackets, which nest.  A bracket left open is an error.
int  nexus_gtch();
int  nexus_peep();           // next one that is no blank, not consumed

// A quoted text; its opening quote has been read.  Two quotes together stand for one.
std::string quotedtext();

enum tokenkind { TK_END, TK_WORD, TK_QUOTED, TK_STRING, TK_SIGN };   // TK_STRING: in double quotes
struct token {
    tokenkind kind = TK_END;
    std::string text;        // of a sign: the sign itself; empty at the end of the file
    bool is(char sign) const { return kind == TK_SIGN && text[0] == sign; }
    bool isname() const { return kind == TK_WORD || kind == TK_QUOTED; }
};
using tokens = std::vector<token>;

token nexus_token();
tokens restofcommand();      // all up to the semicolon, which is read too
void skipcommand();          // the same, of a command that nobody knows
std::string lowered(std::string text);
bool wholenumber(const std::string &text, long *n);   // digits only

[[noreturn]] void nexuserror(const char *format, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void cutshort(const char *where);        // the file ends within something
