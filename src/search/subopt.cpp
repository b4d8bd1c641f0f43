// How much worse than the best the trees kept by a search may be.
#include "search/moves.h"
#include "search/setup.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>

void suboptcom()
{
    if (peep() == ':') notyetoption("subopt:");
    if (peep() != ';') {
        double n = gtdouble();
        if (n < 0) errarg(peep());
        double r = relative_suboptimal;
        if (tolower(peep()) == 'x') {
            gtnb();
            r = gtdouble();
            if (r < 0) errarg(peep());
        }
        if (peep() != ';') errarg(peep());
        suboptimal = n;
        relative_suboptimal = std::min(r, 1.0);
    }
    myp("Suboptimal %.3f x %.3f", suboptimal, relative_suboptimal);
}

const comhelp subopthelp = {
    "Keep trees that are longer than the best.", nullptr,
    "  subopt N ;     searches keep trees up to N steps longer than the best one; 0\n"
    "                 (the default) keeps only trees of the best length\n"
    "  subopt NxR ;   and only those where what contradicts the move from the tree\n"
    "                 being swapped exceeds what favors it by no more than a\n"
    "                 fraction R (0 to 1) of it; 0 (the default) and 1 exclude\n"
    "                 nothing\n"
    "  subopt ;       report\n"
    "Examples:\n"
    "  subopt 3 ;\n"
    "  subopt 10 x 0.2 ;\n"
};
