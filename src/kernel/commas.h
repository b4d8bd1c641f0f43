// kernel/commas.h: commas of typed text separate commands; where a command reads text of its own
// they are kept, for as long as one of these stands.
#pragma once
#include "kernel/input.h"

struct commasaretext {
    int was = doing_quotes;
    commasaretext()  { doing_quotes = 1; }
    ~commasaretext() { doing_quotes = was; }
    commasaretext(const commasaretext &) = delete;
    commasaretext &operator=(const commasaretext &) = delete;
};
