// diagrams/msglines.h: a label as lines.  A backslash ends a line; a line wider than
// max_multline_tag_width goes on in the next, broken at a blank where it has one.
#pragma once
#include <cstddef>

enum tagposition { TAGS_ABOVE, TAGS_CENTRED, TAGS_BELOW, TAGS_DISREGARDED };

extern int new_line_for_tags;        // 1 = labels are split into lines; starts at 0
extern int multitag_position;        // where lines stand on the branch; starts at TAGS_CENTRED
extern int max_multline_tag_width;   // columns; 0 = no limit (start)

constexpr char LINEBREAK = '\\';

int height_of_msg(const char *msg);  // lines: 0 for an empty text, else at least 1
int max_msg_len(const char *msg);    // columns of the widest
const char *line_of_msg(const char *msg, int line, size_t *bytes);   // not ended by a zero byte
