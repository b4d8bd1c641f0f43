// Expressions: texts, given as words; a text kept in a variable is given with a dollar sign.
#include "script/ex.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/typos.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/vars.h"
#include <cstring>
#include <sys/stat.h>

namespace ex {

double eqstring()
{
    return bracketed([] {
        std::string a = wordarg(), b = wordarg();
        return double(!namecomp(a.c_str(), b.c_str()));
    });
}

// Where in A the first B ends, counting from 1.
double isinstring()
{
    return bracketed([] {
        std::string a = wordarg(), b = wordarg();
        size_t at = b.empty() ? std::string::npos : a.find(b);
        return at == std::string::npos ? 0.0 : double(at + b.size());
    });
}

double lenstring() { return bracketed([] { return double(wordarg().size()); }); }

double stringsim()
{
    return bracketed([] {
        std::string a = wordarg(), b = wordarg();
        return needwunsch_cmp(a.c_str(), b.c_str(), -1);
    });
}

// The last cell that the text in a variable takes.
double stringend()
{
    return bracketed([] {
        int v = get_varnum(';');
        size_t words = string_at(v).size() / 4 + 1;
        return double(v) + double(nofloats ? words - 1 : (words - 1) / 2);
    });
}

double isdefd()
{
    return bracketed([] {
        getst();
        return double(find_varname(cmdname) >= 0);
    });
}

double isfile()
{
    return bracketed([] {
        std::string name = wordarg();
        for (char &c : name)
            if (c == '^') c = ' ';
        struct stat what;
        return double(!stat(name.c_str(), &what) && S_ISREG(what.st_mode));
    });
}

}
