// Names of taxa, between foreign files and ours.
#include "formats/names.h"
#include "formats/nexlex.h"
#include "data/matrix.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>
#include <cstring>

static constexpr char MEANINGFUL[] = "+/-;";

// Letters that there is room for; a character of several bytes is not cut in two.
static void fit(std::string *name)
{
    size_t end = size_t(Namesize) - 1;
    if (name->size() <= end) return;
    while (end && ((*name)[end] & 0xC0) == 0x80) --end;
    name->resize(end);
}

// Three dots would make a name stand for all that begin so.
static void nowildcard(std::string *name)
{
    for (size_t at; (at = name->find("...")) != std::string::npos; ) name->replace(at, 3, "___");
}

static std::string trimmed(const std::string &text)
{
    auto blank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
    auto first = std::find_if_not(text.begin(), text.end(), blank);
    auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), blank).base();
    return { first, last };
}

static std::string words(const std::string &foreign)
{
    std::string name = trimmed(foreign);
    for (char &c : name)
        if (static_cast<unsigned char>(c) <= ' ' || c == '^') c = '_';
    if (name.empty()) name = "_";
    return name;
}

std::string keptname(const std::string &foreign)
{
    std::string name = words(foreign);
    for (char &c : name)
        if (strchr(MEANINGFUL, c)) c = '_';
    nowildcard(&name);
    fit(&name);
    return name;
}

std::string namekeeper::keep(const std::string &foreign)
{
    std::string name = words(foreign);
    size_t at = name.find_first_of(MEANINGFUL);
    if (at != std::string::npos && !changed) {
        changed = true;
        mywarn("Symbol '%c' in taxon names will be changed to '_' (=underscore).", name[at]);
    }
    if (name.size() >= size_t(Namesize) && !cut) {
        cut = true;
        char text[200];
        snprintf(text, sizeof text, toolong, lettersquoted);
        warnem(text, nullptr);
    }
    return keptname(foreign);
}

// Programs differ in what they make of points and the like in names.
static std::string lettersof(const std::string &name)
{
    std::string text;
    for (char c : lowered(name))
        if (isalnum(static_cast<unsigned char>(c)) || (c & 0x80)) text += c;
    return text;
}

taxonfinder::taxonfinder()
{
    for (int t = 0; t < nt; ++t) {
        std::string name = keptname(taxname[t]);
        exact.emplace(name, t);
        anycase.emplace(lowered(name), t);
        if (!letters.emplace(lettersof(name), t).second) letters[lettersof(name)] = -1;
    }
}

int taxonfinder::byname(const std::string &label) const
{
    std::string name = keptname(label);
    auto same = exact.find(name);
    if (same != exact.end()) return same->second;
    same = anycase.find(lowered(name));
    if (same != anycase.end()) return same->second;
    long number;
    same = letters.find(lettersof(name));
    return same == letters.end() || wholenumber(label, &number) ? -1 : same->second;
}

std::string foreignlabel(const std::string &text)
{
    bool plain = !text.empty() && text.find_first_of("()[]{}/\\,;:=*'\"`+-<>^ ") == std::string::npos &&
                 std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 32; });
    if (plain) return text;
    std::string quoted = "'";
    for (char c : text) {
        quoted += c;
        if (c == '\'') quoted += c;
    }
    return quoted + "'";
}

std::string foreignname(int t) { return foreignlabel(taxname[t]); }
