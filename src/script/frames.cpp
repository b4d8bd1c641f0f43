// The macro language at the opening and closing of levels of input, and upon errors.
#include "script/frames.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/goto.h"
#include "script/hifile.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

// What was left of the expansion in which a level was opened.
struct pendingtext {
    int level;
    std::string rest;
};
static std::vector<pendingtext> pending;

// --- opening and closing ------------------------------------------------------------------

void start_frames()
{
    for (inrec *p = procnest; p <= curproc; ++p) {
        p->saved_atloop = -1;
        p->saved_private = p->saved_addatvar = p->saved_highest = 0;
        p->saved_loseg = p->stream ? macrostart_loseg : nullptr;
    }
    pending.clear();
    addatloop = -1;
}

void macro_level_opens(inrec *p)
{
    if (!macros_are_on()) return;
    std::string rest;
    getnext = leave_expansion(&rest);
    if (!rest.empty()) pending.push_back({ giveme_curproc_level(), rest });
    curproc->saved_atloop = atloop;
    curproc->saved_addatvar = addatvar;
    curproc->saved_highest = highest_varname;
    curproc->saved_loseg = p->stream ? maclomark() : nullptr;    // null: the text of a command, no file
    if (!p->stream) return;
    addatloop = atloop;
    addatvar = std::min(current_highest() + curproc->saved_private, Maxvars);
}

// The innermost loop that ran when the file of that level was opened.
static int set_addatloop(const inrec *p)
{
    while (p > procnest && !(p - 1)->saved_loseg) --p;
    return p > procnest ? (p - 1)->saved_atloop : -1;
}

void macro_level_closed(inrec *)
{
    if (!macros_are_on()) return;
    drop_loops_above(curproc->saved_atloop);
    if (curproc->saved_loseg) {
        addatloop = std::min(atloop, set_addatloop(curproc));
        close_file_varnames(curproc->saved_loseg);
        addatvar = curproc->saved_addatvar;
        if (!retain_current_variables) set_highest(curproc->saved_highest);
        literal_file_closed();
    }
    while (!pending.empty() && pending.back().level > giveme_curproc_level()) pending.pop_back();
    if (pending.empty() || pending.back().level != giveme_curproc_level()) return;
    std::string rest = pending.back().rest;
    pending.pop_back();
    expand(rest);
}

static void rebase(char **at, inrec *from, inrec *to, int levels)
{
    for (int i = 0; i < levels; ++i)
        if (*at >= from[i].buffer && *at < from[i].buffer + sizeof from[i].buffer) {
            *at = to[i].buffer + (*at - from[i].buffer);
            return;
        }
}

void macro_buffers_moved(inrec *from, inrec *to, int levels)
{
    if (!macros_are_on()) return;
    for (int l = 0; l <= atloop; ++l) rebase(&loop_resume[l], from, to, levels);
    char *resumes = expansion_resumes();
    rebase(&resumes, from, to, levels);
    expansion_moved(resumes);
}

bool is_macro_text(const char *at)
{
    return macros_are_on() && (in_expansion(at) || (at >= macro_lobase && at <= macro_hitop));
}

// --- errors -------------------------------------------------------------------------------

constexpr int CONTEXT = 20;              // characters on either side of the place

// The text in which reading stands: of the innermost loop, or the buffer of the level.
struct placetext {
    const char *from, *to, *at;
    bool loop;
};

static placetext currentplace()
{
    const char *at = in_expansion(getnext) ? expansion_resumes() : getnext;
    for (int l = atloop; l >= 0; --l)
        if (at >= loopstart[l] && at <= endis[l] + 1) return { loopstart[l], endis[l] + 1, at, true };
    const char *end = curproc->buffer + std::string(curproc->buffer).size();
    return { curproc->buffer, end, std::clamp<const char *>(at, curproc->buffer, end), false };
}

static std::string squeezed(const char *from, const char *to)
{
    std::string text;
    for (; from < to; ++from) {
        bool blank = static_cast<unsigned char>(*from) < 33;
        if (!blank || text.empty() || text.back() != ' ') text += blank ? ' ' : *from;
    }
    return text;
}

static bool continues(char c) { return (c & 0xc0) == 0x80; }

// The file that is being read; texts that a command runs for itself stand in one.
static const inrec *innermost_file()
{
    const inrec *p = curproc;
    while (p > procnest && !p->stream) --p;
    return p;
}

void macro_errline()
{
    char text[400];
    placetext place = currentplace();
    if (place.loop) {
        int line = 1 + int(std::count(place.from, std::min(place.at, place.to), '\n'));
        snprintf(text, sizeof text, "At line %i of loop %i (value: %i)\n", line, atloop - addatloop, loop_value[atloop]);
        tojoin(text);
    }
    const inrec *file = innermost_file();
    if (file != curproc && !place.loop) {
        snprintf(text, sizeof text, "At line %li of %s\n", curproc->lineno, curproc->name);
        tojoin(text);
    }
    if (file->stream && file->stream != stdin) {
        if (place.loop || file != curproc) snprintf(text, sizeof text, "Error reading %s\n", file->name);
        else snprintf(text, sizeof text, "Error reading line %li of %s\n", file->lineno, file->name);
        tojoin(text);
    }
    if (place.from == place.to) return;
    const char *from = place.at - std::min<long>(CONTEXT, place.at - place.from);
    const char *to = place.at + std::min<long>(CONTEXT, place.to - place.at);
    while (from > place.from && continues(*from)) --from;
    while (to < place.to && continues(*to)) ++to;
    std::string left = squeezed(from, place.at);
    tojoin((left + squeezed(place.at, to)).c_str());
    spewch('\n');
    spewspx(std::max(0, int(left.size() - size_t(std::count_if(left.begin(), left.end(), continues))) - 1));
    tojoin("^\n");
}

// As the file that it stands in counts it, from 1.
static int number_of_loop(int l)
{
    int base = -1;
    for (const inrec *p = procnest; p < curproc; ++p)
        if (p->saved_loseg && p->saved_atloop < l) base = std::max(base, p->saved_atloop);
    return l - base;
}

void stop_loops()
{
    if (!macros_are_on()) return;
    if (atloop >= 0) {
        tojoin("While in ");
        for (int l = 0; l <= atloop; ++l) {
            if (l) tojoin(", ");
            tojoin("loop ");
            tojoin(*loopname[l] ? loopname[l] : intvert(number_of_loop(l)));
            tojoin(" (value ");
            tojoin(intvert(loop_value[l]));
            spewch(')');
        }
        spewch('\n');
    }
    drop_expansion();
    if (!is_level_text(getnext)) getnext = curproc->buffer;
    drop_all_loops();
    pending.clear();
}

void reset_macros_after_error()
{
    ignore_dollars = disallowing = scanning_loopname = 0;
    reading_sectsch_insts = reading_parallel_insts = reading_tbr_insts = 0;
    retain_current_variables = 0;
    reset_expressions();
    reset_repeats();
    close_hifiles();
    if (!macros_are_on()) return;
    drop_expansion();                    // a refused warning comes here without a word about loops
    drop_all_loops();
    pending.clear();
    macfreelo();
}
