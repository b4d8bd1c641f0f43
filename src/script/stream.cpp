// The stream of characters with the macro language on: values, strings, arguments, loop counters and
// comments are replaced as the text is read, so that every command gains them without knowing it.
//
// A character that means nothing to the language is passed on at the cost of one look in a table.
#include "script/stream.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/frames.h"
#include "script/goto.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/vars.h"
#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

int ignore_dollars, disallowing, scanning_loopname, reading_sectsch_insts, reading_parallel_insts, reading_tbr_insts;

static char  str_space[MAXCONVERSION + 2];   // the text of the expansion being read
static char *subst_resume;                   // where reading goes on behind it; null outside expansions
static int   nested;                         // expansions of the command since some of its own text was read
static double nestedin;                      // when that command began
constexpr int MOSTNESTED = 1000;
constexpr int LONGESTLOOPNAME = 80, LONGRANGE = 8350;

static constexpr auto special = [] {
    std::array<bool, 256> t{};
    for (unsigned char c : { '\0', ',', '@', '\n', '\'', '"', '$', '%', '#', '/' }) t[c] = true;
    return t;
}();

asitstands::asitstands() : quotes(ignore_quotes), dollars(ignore_dollars) { ignore_quotes = ignore_dollars = 1; }
asitstands::~asitstands() { ignore_quotes = quotes; ignore_dollars = dollars; }

static bool isalphanumeric(int c) { return c < 128 && isalnum(c); }

// --- expansions ---------------------------------------------------------------------------

bool in_expansion(const char *at) { return at >= str_space && at < str_space + sizeof str_space; }

// The text is read next, then what stood there.
static void insert(const std::string &text)
{
    std::string rest;
    if (in_expansion(getnext)) rest = getnext;
    else subst_resume = getnext;
    if (text.size() + rest.size() > MAXCONVERSION)
        myerr("Cannot make string conversion so long ( max. %i)", MAXCONVERSION);
    memcpy(str_space, text.c_str(), text.size() + 1);
    strcpy(str_space + text.size(), rest.c_str());
    getnext = str_space;
}

void expand(const std::string &text)
{
    nested = nestedin == startime && (in_expansion(getnext) || getnext == subst_resume) ? nested + 1 : 0;
    nestedin = startime;
    if (nested > MOSTNESTED) errmsg("An expansion leads to itself without end", nullptr);
    insert(text);
}

void read_again(const std::string &text) { insert(text); }

char *leave_expansion(std::string *rest)
{
    rest->clear();
    if (!in_expansion(getnext)) return getnext;
    *rest = getnext;
    drop_expansion();
    return getnext;
}

void drop_expansion()
{
    if (in_expansion(getnext)) getnext = subst_resume;
}

char *expansion_resumes() { return subst_resume; }

void expansion_moved(char *resumes) { subst_resume = resumes; }

// The character was read from a place that is gone; it can still be stepped back to.
static void hold(int c)
{
    insert(std::string(1, char(c)));
    ++getnext;
}

// --- the ends of texts --------------------------------------------------------------------

// The byte under getnext is zero.
static void macro_needs_buff()
{
    if (in_expansion(getnext)) getnext = subst_resume;
    else if (atloop >= 0 && getnext == endis[atloop] + 1) {
        end_of_body();
        insert(" ");                         // the turns are apart, whatever the last command was
    } else
        more_input();
}

int next_in_stream()
{
    while (!*getnext) macro_needs_buff();
    return static_cast<unsigned char>(*getnext);
}

int truly_clean_gtch()
{
    int c = next_in_stream();
    ++getnext;
    if (c == '\n' && is_level_text(getnext)) ++curproc->lineno;
    return c;
}

int clean_peep()
{
    int c;
    while ((c = next_in_stream()) < 33) truly_clean_gtch();
    return c;
}

// The next byte, where the sign c, just consumed, may be found not to begin anything: the sign is
// then to be stepped back to, although the byte may have come with a new buffer.
struct lookahead {
    char *behind = getnext;
    int next = next_in_stream();
    int plain(int c) const
    {
        if (getnext != behind) hold(c);
        return c;
    }
};

// --- values in quotes ---------------------------------------------------------------------

constexpr int AGAIN = -1;                    // the stream was changed and is to be read again

struct localformat { char text[40]; bool given; };

static int readdigits()
{
    int n = 0;
    while (isdigit(next_in_stream())) n = std::min(10 * n + (truly_clean_gtch() - '0'), 1000);
    return n;
}

static localformat get_local_frmt()
{
    localformat f{ "", false };
    if (next_in_stream() != '/') return f;
    truly_clean_gtch();
    bool plus = next_in_stream() == '+';
    if (plus) truly_clean_gtch();
    int width = 1, precision = macfloat_precision, sign = 1;
    if (next_in_stream() == '-') { truly_clean_gtch(); sign = -1; }
    if (isdigit(next_in_stream())) width = readdigits();
    if (next_in_stream() == '.') {
        truly_clean_gtch();
        precision = readdigits();
    }
    int c = next_in_stream();
    if (!isalpha(c) && c != '(') errmsg("Incorrect variable conversion", nullptr);
    constexpr int WIDEST = 300, FINEST = 100;
    width = sign * std::min(width, WIDEST);
    precision = std::min(precision, FINEST);
    if (nofloats) snprintf(f.text, sizeof f.text, plus ? "%%+%ii" : "%%%ii", width);
    else snprintf(f.text, sizeof f.text, plus ? "%%+%i.%if" : "%%%i.%if", width, precision);
    f.given = true;
    return f;
}

static std::string formatted(const char *format, double x)
{
    char text[800];
    snprintf(text, sizeof text, format, x);
    return text;
}

// The cells of the range from the i-th on, as an expression that the stream will meet.  The array may be
// one of another file, below the variables of this one.
static std::string rest_of_range(int array, int i)
{
    int number = array - addatvar;
    char part[60];
    snprintf(part, sizeof part, number < 0 ? "'(%i)[ " : "'%i[ ", number);
    std::string text = part;
    for (int d = 0; d < numdims - 1; ++d) {
        snprintf(part, sizeof part, " %i", dimis[d]);
        text += part;
    }
    snprintf(part, sizeof part, " %i-%i ", dim_range_start + i, dim_range_is);
    text += part;
    if (separator_is == ' ') return text + "]'";
    snprintf(part, sizeof part, " &%i ]'", separator_is);
    return text + part;
}

// What stands behind the range in the present expansion must still fit.
static std::string range_text(int v, int array)
{
    constexpr size_t LONGESTREST = 100;
    size_t behind = in_expansion(getnext) ? strlen(getnext) : 0;
    std::string text;
    int cells = dim_range_is - dim_range_start + 1;
    for (int i = 0; i < cells; ++i) {
        if (i) text += char(separator_is);
        std::string cell = nofloats ? value_text(value_of(v + i)) : formatted(float_format, value_of(v + i));
        bool full = text.size() > LONGRANGE || text.size() + cell.size() + LONGESTREST + behind > MAXCONVERSION;
        if (i && full) return text + rest_of_range(array, i);
        text += cell;
    }
    return text;
}

// The quote mark was consumed.
static std::string quoted_value(int quote)
{
    struct inquotes {
        int dollars = is_for_dollars;
        inquotes() { is_for_dollars = 0; }
        ~inquotes() { is_for_dollars = dollars; }
    } whilehere;
    localformat format = get_local_frmt();
    int v = get_varnum(quote);
    if (clean_peep() != quote) errmsg("Expression must end and start with the same symbol", nullptr);
    truly_clean_gtch();
    if (dim_range_is >= 0) {
        if (format.given) errmsg("Sorry, local formatting of arrays not allowed", nullptr);
        return range_text(v, designated);
    }
    if (!format.given) return value_text(value_of(v));
    if (!nofloats) return formatted(format.text, value_of(v));
    char text[400];
    snprintf(text, sizeof text, format.text, toint32(value_of(v)));
    return text;
}

// --- signs --------------------------------------------------------------------------------

static int comma()
{
    bool separates = !doing_quotes && !reading_sectsch_insts && curproc == procnest;
    if (separates) *getnext = ';';
    return static_cast<unsigned char>(*getnext++);
}

static int newline()
{
    if (is_level_text(getnext)) ++curproc->lineno;
    ++getnext;
    return '\n';
}

static int atsign()
{
    ++getnext;
    lookahead ahead;
    bool opens = !reading_literal_file;      // which it does not in text that is passed over
    if (ahead.next != '@' || reading_literal_file > 1 || (opens && disallowing)) return ahead.plain('@');
    ++getnext;
    switch_literal_file();
    return AGAIN;
}

static int quotemark(int quote)
{
    ++getnext;
    if (ignore_quotes) return quote;
    lookahead ahead;
    if (!isalphanumeric(ahead.next) && ahead.next != '(' && ahead.next != '/') return ahead.plain(quote);
    std::string text = quoted_value(quote);
    if (dim_range_is >= 0) insert(text);     // of any length, but it has an end
    else expand(text);
    return AGAIN;
}

static int dollar()
{
    ++getnext;
    if (ignore_dollars || ignore_quotes == 2) return '$';
    if (reading_tbr_insts) {
        reading_tbr_insts = 0;
        return '$';
    }
    lookahead ahead;
    if (!isalphanumeric(ahead.next) && ahead.next != '(') return ahead.plain('$');
    expand_dollar();
    return AGAIN;
}

std::string file_argument(long n)
{
    return n >= 0 && n <= numargs() ? give_runarg(int(n)) : "";
}

static int percent()
{
    ++getnext;
    if (ignore_quotes && !reading_parallel_insts) return '%';
    lookahead ahead;
    long n;
    if (isdigit(ahead.next)) n = truly_clean_gtch() - '0';
    else if (ahead.next == '(') {
        n = bracketed_operand();
        if (n > MAXARGS) myerr("No argument number %i (only %i arguments allowed)", int(n), MAXARGS);
    } else
        return ahead.plain('%');
    if (n < 0 || n > numargs()) {
        next_in_stream();
        *getnext = ' ';                      // what follows the form is lost with it
        return static_cast<unsigned char>(*getnext++);
    }
    expand(file_argument(n));
    return AGAIN;
}

static int scan_loopname()
{
    std::string name;
    int c;
    while (isalphanumeric(c = next_in_stream()) || c == '_') {
        name += char(truly_clean_gtch());
        if (name.size() > LONGESTLOOPNAME) errmsg("Loop name can't be more than 80 characters long", nullptr);
    }
    int l = loop_of_name(name.c_str());
    if (l < 0) errmsg("Unrecognized loop name:", name.c_str(), nullptr);
    return l;
}

static int sharp()
{
    ++getnext;
    if (reading_sectsch_insts || disallowing || reading_parallel_insts || scanning_loopname) return '#';
    lookahead ahead;
    int l;
    if (isdigit(ahead.next)) {
        std::string digits;
        while (isdigit(next_in_stream()) && digits.size() < 9) digits += char(truly_clean_gtch());
        l = loop_of_number(std::stol(digits));
        if (l < 0) {
            expand("#" + digits);
            ++getnext;
            return '#';
        }
    } else if (isalpha(ahead.next)) l = scan_loopname();
    else errmsg("When macros are allowed, \"#\" must be followed by number/name of loop", nullptr);
    expand(std::to_string(loop_value[l]));
    return AGAIN;
}

// At the place of a command word.
static int slash()
{
    ++getnext;
    if (!getting_cmd) return '/';
    lookahead ahead;
    if (ahead.next == '/') {
        if (disallow_double_slash || curproc == procnest) return ahead.plain('/');
        constexpr int ENDMARK = 1;           // of a text of instructions
        while ((ahead.next = next_in_stream()) != '\n' && ahead.next != ENDMARK && !curproc->at_eof) {
            truly_clean_gtch();
            if (macroreport) spewch(ahead.next);
        }
        if (macroreport) spewout();
        hold(' ');
        return ' ';
    }
    if (ahead.next == '*') {
        for (int last = 0, c; (c = truly_clean_gtch()) != '/' || last != '*'; last = c)
            if (c == ';') check_eof();
        hold(' ');
        return ' ';
    }
    // The next byte is given without being consumed: who steps back from it finds the slash.
    ahead.plain('/');
    return ahead.next;
}

// --- the reader ---------------------------------------------------------------------------

static int substituted(int c)
{
    if (!domacros) return normal_gtch();     // a foreign file is being read
    switch (c) {
        case 0:    macro_needs_buff(); return AGAIN;
        case ',':  return comma();
        case '@':  return atsign();
        case '\n': return newline();
        case '$':  return dollar();
        case '%':  return percent();
        case '#':  return sharp();
        case '/':  return slash();
        default:   return quotemark(c);
    }
}

int macro_gtch()
{
    for (;;) {
        int c = static_cast<unsigned char>(*getnext);
        if (!special[size_t(c)]) { ++getnext; return c; }
        if ((c = substituted(c)) != AGAIN) return c;
    }
}

void macro_ungtch()
{
    if (getnext == curproc->buffer || getnext == str_space) return;
    if (*--getnext == '\n' && is_level_text(getnext)) --curproc->lineno;
}

void start_stream()
{
    gtch = macro_gtch;
    ungtch = macro_ungtch;
    subst_resume = nullptr;
}

void end_stream()
{
    drop_expansion();
    gtch = normal_gtch;
    ungtch = normal_ungtch;
}
