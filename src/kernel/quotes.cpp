// The commands quote and lquote: text of the user's own in the output.
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/silence.h"
#include "kernel/window.h"
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

static int literal_quotes;               // text is kept as it stands; starts at 0
static int allow_ascii_conversions;      // "&65" is the character of code 65; starts at 0
static int quote_to_stderr;              // quotes are copied to standard error; starts at 0

constexpr size_t LONGESTMESSAGE = 3990;  // bytes shown in a box
constexpr int    FLUSHAT = 2033;         // bytes composed

static std::string notcode;              // digits after an '&' that are no code: they are still to be given

// An '&' was read.
static int coded()
{
    constexpr int LONGEST = 3;
    std::string digits;
    int c;
    while (isdigit(c = gtch()) && digits.size() < LONGEST) digits += char(c);
    ungtch();
    int code = atoi(digits.c_str());
    if (code > 0 && code < 256) return code;
    notcode = digits;
    return '&';
}

// The next character of the text; the semicolon that ends it stays to be read.
static int textchar()
{
    if (!notcode.empty()) {
        int c = notcode[0];
        notcode.erase(0, 1);
        return c;
    }
    int c = gtch();
    if (c == ';') {
        ungtch();
        return 0;
    }
    if (c == '&' && allow_ascii_conversions) return coded();
    if (literal_quotes) return c;
    if (c == '\r') return ' ';
    if (c != '.') return c;
    if (gtch() == ',') return ';';
    ungtch();
    return c;
}

// The copy on standard error is cut between characters; the end of one waits for the next call.
static void flushquote(std::string *tostderr, bool all)
{
    if (quote_to_stderr) {
        tostderr->append(composed(), size_t(composed_length()));
        size_t n = all ? tostderr->size() : utf8whole(tostderr->data(), tostderr->size());
        utf8out(tostderr->data(), n, stderr);
        tostderr->erase(0, n);
    }
    spewjn();
}

void quotecom()
{
    commasaretext commas;
    silence asbefore(silent);            // but for what a colon changes
    notcode.clear();

    notime();
    std::string lead, message, tostderr;
    int c;
    while ((c = gtch()) && c <= ' ') lead += char(c);
    ungtch();
    if (gotc(':')) {
        silent = 0;
        lead.clear();
    }
    bool box = gotc('*');
    if (box) lead.clear();
    if (literal_quotes) tojoin(lead.c_str());
    while ((c = textchar())) {
        spewch(c);
        if (box && message.size() < LONGESTMESSAGE) message += char(c);
        if (composed_length() > FLUSHAT) flushquote(&tostderr, false);
    }
    if (!literal_quotes) spewend();
    flushquote(&tostderr, true);
    if (box) {
        memcpy(junkstr, message.c_str(), message.size() + 1);
        MsgBox_OK("Message", message.c_str());
    }
}

const comhelp quotehelp = {
    "Write a text to the output.", nullptr,
    "  quote TEXT ;     write TEXT; \".,\" in it stands for a semicolon\n"
    "  quote : TEXT ;   write it whatever \"silent\" says\n"
    "  quote * TEXT ;   show it in a box as well (up to 3990 characters)\n"
    "See also \"lquote\".\n"
    "Examples:\n"
    "  quote Now searching, please wait ;\n"
    "  quote First this., then that ;\n"
};

// --- lquote ------------------------------------------------------------------------------

static void setflag(int *flag, int value, const char *label)
{
    *flag = value;
    if (report_status) joinem(label, value ? "ON" : "OFF", "\n", nullptr);
}

void lquotecom()
{
    notime();
    int c = peep();
    if (c == '[' || c == ']') setflag(&allow_ascii_conversions, gtnb() == '[', "ASCII conversions is ");
    else if (c == '>' || c == '<') setflag(&quote_to_stderr, gtnb() == '>', "Quotes to stderr is ");
    else onoff(&literal_quotes, "Literal quotes");
}

const comhelp lquotehelp = {
    "Choose how \"quote\" treats its text.", nullptr,
    "  lquote = ;   keep the text as it stands, with no new line at its end\n"
    "  lquote - ;   skip blanks before it, and end the line (the default)\n"
    "  lquote / ;   invert\n"
    "  lquote [ ;   \"&N\" in the text gives the character of code N\n"
    "  lquote ] ;   it does not (the default)\n"
    "  lquote > ;   copy quotes to standard error\n"
    "  lquote < ;   do not (the default)\n"
    "Examples:\n"
    "  lquote = ; quote Length: ; length 0 ; lquote - ;\n"
    "  lquote [ ; quote &65&66&67 ;   writes ABC\n"
};
