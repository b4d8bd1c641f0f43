// trees/safefile.h: files that are written whole or not at all.  The text goes to a new file
// beside the old one, which takes its name when it is closed; until then, and whenever writing
// fails, the old file stays as it was.  What is no plain file (a device, a pipe) is written directly.
#pragma once
#include <cstdio>
#include <string>

struct safefile {
    std::string name;            // as given by the user
    std::string path;            // the file that will be replaced
    std::string temporary;       // being written; "" when written directly
    FILE *stream = nullptr;

    safefile() = default;
    safefile(const safefile &) = delete;
    safefile &operator=(const safefile &) = delete;
    ~safefile();                 // abandons what is not closed
};

bool safeopen(safefile *f, const char *name);   // false: cannot be opened
bool safeclose(safefile *f);                    // false: not everything could be written; the old file stays
void safeabandon(safefile *f);
bool readwhole(const char *name, std::string *text);   // the contents of a file; false if it cannot be read
