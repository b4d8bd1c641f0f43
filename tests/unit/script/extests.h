// extests.h: what tests of expressions share.
#pragma once
#include "scripttest.h"
#include "kernel/errors.h"
#include "script/expr.h"
#include "script/vars.h"
#include <cmath>

// Ten characters and nine taxa: missing entries, a polymorphism, additive characters, a weight; six trees.
inline void somedata()
{
    zelrun("mxram 16; report=; piwe-; keep 0;");
    zelrun("nstates 8; xread 10 9 A 0000000000 B 0010010001 C 0110120011 D 01101?2011 E 1110133?11 F 11[01]0132111 "
           "G 1111143???  H 1111142110 I 0001042110; ccode + 4.6 /3 2 ] 9;");
    zelrun("tread (0 (1 (2 (3 (4 (5 (6 (7 8)))))))) * ((0 1)(2 (3 4 5)(6 (7 8)))) * (0 (1 2 3)(4 (5 6 (7 8)))) * "
           "(0 1 2 3 4 5 6 7 8) * (0 (1 (2 (3 (4 (5 (6 (8 7)))))))) * (0 (8 (7 (2 3)))); ");
}

// The value that "set" gives to an unnamed variable far from the named ones; the language is on.
inline double valueof(const std::string &expression)
{
    zelrun("set 900 " + expression + " ;");
    return zelfailed() || !macros_are_on() ? NAN : value_of(900);
}

// The list that an expression leaves.
inline std::vector<double> listof(const std::string &expression)
{
    zelrun("set 800 " + expression + " ;");
    std::vector<double> list;
    for (int i = 0; !zelfailed() && i < listsize; ++i) list.push_back(value_of(800 + i));
    return list;
}

// What an expression that cannot be evaluated says.
inline std::string refusalof(const std::string &expression)
{
    std::string said = zelrun("set 900 " + expression + " ;");
    EXPECT_TRUE(zelfailed()) << expression;
    return said;
}

inline std::string num(double x) { return std::to_string(int(x)); }
