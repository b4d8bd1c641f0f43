#include "diagrams/colours.h"
#include <cctype>
#include <cstdio>
#include <cstring>
#include <initializer_list>

const treecolour treecolours[COLOURS + 1] = {
    { "red", 255, 0, 0, 0, 0, false },      { "blue", 0, 0, 255, 0, 0, false },
    { "green", 0, 160, 0, 0, 0, false },    { "cyan", 0, 190, 190, 0, 0, false },
    { "brown", 150, 75, 0, 0, 0, false },   { "pink", 255, 150, 180, 0, 0, false },
    { "orange", 255, 140, 0, 0, 0, false }, { "purple", 128, 0, 128, 0, 0, false },
    { "magenta", 255, 0, 255, 0, 0, false }, { "yellow", 225, 215, 0, 0, 0, false },
    { "gray", 150, 150, 150, 0, 0, false }
};
static constexpr treecolour BLACK = { "black", 0, 0, 0, 0, 0, false };

const char *where_is_the_slash(const char *tag)
{
    const char *slash = strchr(tag, '/');
    return slash ? slash + 1 : "";
}

treecolour colourof(const char *tag)
{
    if (!*tag) return BLACK;
    if (*tag == '(') {
        treecolour c{};
        int end = 0;
        bool dashed = tag[1] == '-';
        if (sscanf(tag + 1 + dashed, "%3d,%3d,%3d%n", &c.red, &c.green, &c.blue, &end) < 3) return treecolours[COLOURS];
        const char *rest = tag + 1 + dashed + end;
        if (*rest == ':') sscanf(rest + 1, "%4d,%4d", &c.thickness, &c.length);
        for (int *level : { &c.red, &c.green, &c.blue }) {
            if (*level < 0) *level = 0;
            if (*level > 255) *level = 255;
        }
        if (c.thickness < 0) c.thickness = 0;
        if (c.length < 0) c.length = 0;
        c.name = "rgb";
        c.dashed = dashed;
        return c;
    }
    bool single = isdigit(static_cast<unsigned char>(tag[0])) && (!tag[1] || tag[1] == '/');
    return treecolours[single ? tag[0] - '0' : COLOURS];
}
