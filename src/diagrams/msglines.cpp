#include "diagrams/msglines.h"
#include <algorithm>
#include <cstring>
#include "kernel/output.h"

int new_line_for_tags, multitag_position = TAGS_CENTRED, max_multline_tag_width;

// Bytes at the start of the n at text that fit the width, at least one character.
static size_t fitting(const char *text, size_t n)
{
    size_t bytes = 0, broken = 0;
    int columns = 0;
    while (bytes < n) {
        size_t c = firstchar(text + bytes, n - bytes);
        columns += textwidth(text + bytes, c);
        if (bytes && columns > max_multline_tag_width) return text[bytes] == ' ' || !broken ? bytes : broken;
        if (text[bytes] == ' ') broken = bytes;
        bytes += c;
    }
    return bytes;
}

// Takes the line that begins at *at; *at goes to the next one, null behind the last.
static const char *takeline(const char **at, size_t *bytes)
{
    const char *line = *at, *end = line + strcspn(line, "\\");
    *bytes = max_multline_tag_width ? fitting(line, size_t(end - line)) : size_t(end - line);
    const char *next = line + *bytes;
    if (next < end) *at = *next == ' ' ? next + 1 : next;     // the blank at which it was broken is dropped
    else *at = *end ? end + 1 : nullptr;
    return line;
}

int height_of_msg(const char *msg)
{
    if (!*msg) return 0;
    if (multitag_position == TAGS_DISREGARDED) return 1;
    int lines = 0;
    size_t bytes;
    while (msg) {
        takeline(&msg, &bytes);
        ++lines;
    }
    return lines;
}

const char *line_of_msg(const char *msg, int line, size_t *bytes)
{
    const char *text = takeline(&msg, bytes);
    while (line-- > 0 && msg) text = takeline(&msg, bytes);
    return text;
}

int max_msg_len(const char *msg)
{
    int widest = 0, lines = height_of_msg(msg);
    size_t bytes;
    for (int l = 0; l < lines; ++l) {
        const char *text = takeline(&msg, &bytes);
        widest = std::max(widest, textwidth(text, bytes));
    }
    return widest;
}
