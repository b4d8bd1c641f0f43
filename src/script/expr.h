// script/expr.h: numbers and expressions.  A number is a double everywhere, also when variables hold
// integers.  Values of variables come as text through the stream ('x'); a name alone is the number
// of its variable.
//
// Callers of expresval set pares and stop_on_balance before; evaluate_expression does it for them.
#pragma once

extern int pares;                 // open parentheses of the expression being read
extern int stop_on_balance;       // one operand is wanted, which normally is a parenthesis
extern int didparents;            // the last operand came from parentheses: it need not be integral
extern int is_for_dollars;        // nothing may be recognised: macnu returns -1 in place of an error
extern int show_matched_varname;  // the caller asks, with 1, whether a name of a variable matches
extern int matched_varname;       // it did
extern int found_comma;           // a bracketed expression ended at a comma, which is still to be read
extern int doingif;               // operands are echoed under macroreport
extern int listsize;              // values that the last list-making expression stored; kept from command to command
extern int liststart;             // first cell of the array on the left of "set", -1 outside; lists go there
extern double last_exstatus;      // what the last "return" or dialog left
extern char exprword[500];        // the word that macnu read last

double macnu();                   // one operand
int    imacnu();                  // the same as an integer: "Expected integral number"
double expresval();               // left to right, without precedence
double evaluate_expression();     // a whole one, which ends at a semicolon; that stays to be read
double one_operand();             // of "if": a parenthesis, or one number
long   bracketed_operand();       // of '%': the opening parenthesis is still to be read
bool   islog(int c1, int c2);     // the pair is an operator; if not, the second is put back
int    compis(const char *op, double a, double b);
int    getst();                   // inside brackets: a word of up to 100 bytes into cmdname; returns its first character

struct exprflags {                // saves them all, for an expression within another
    int was[4] = { pares, stop_on_balance, is_for_dollars, show_matched_varname };
    exprflags() = default;
    ~exprflags() { pares = was[0]; stop_on_balance = was[1]; is_for_dollars = was[2]; show_matched_varname = was[3]; }
    exprflags(const exprflags &) = delete;
    exprflags &operator=(const exprflags &) = delete;
};

void reset_expressions();         // after an error

// exprtable.cpp: the vocabulary.  A row's name is reserved for it; its routine reads the arguments, if any.
struct exprrow {
    const char *name;                          // a heading when it begins with a carriage return
    double (*value)();                         // null: it is no number (a heading, or a keyword of '$')
    const char *help;                          // arguments, two blanks, what it gives
    const char *word = nullptr;                // what it is asked by; null: its name
};
extern const exprrow exprtable[];              // ends with a null name
const exprrow *find_expression(const char *name);   // the row of that name; null if none
double internal_variable(int *found);          // the word is in exprword
