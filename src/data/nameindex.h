// data/nameindex.h: names in alphabetical order, case ignored, for looking many of them up.
// All names that begin with a word stand together in it.
#pragma once
#include <vector>

struct nameindex {
    std::vector<int> order;          // elements by name; those without a name are left out
    char **names = nullptr;          // as long as these stay what they are, so does the order
};
struct nameband { const int *from, *to; };                        // elements, in the order of their names

void indexnames(nameindex *x, char **names, int low, int high);   // of the elements low..high-1
nameband namesbegun(const nameindex &x, const char *word);        // those whose names begin with the word
