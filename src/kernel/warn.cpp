// Warnings: asked in a box while warnings are on, else written like any other text.  A refusal
// abandons the command and all input without an error message.
#include "kernel/output.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/progress.h"
#include "kernel/silence.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <cstdarg>
#include <string>

static void abandon()
{
    erdil_forgood();
    if (menuing) menuing = 2;
    ignore_quotes = 0;
    linsdone = 0;
    goto_on_error();
    inpurge();
    errtrap();
}

void warnem(const char *text, ...)
{
    spewjn();                            // what was half composed does not belong to the warning
    va_list list;
    va_start(list, text);
    for (; text; text = va_arg(list, const char *)) tospew(text);
    va_end(list);
    std::string message = composed();
    clear_spewbuf();

    int userprogress = doing_user_progress;
    doing_user_progress = 0;
    erdil_forgood();
    if (warning) {
        noisy();
        int yes = GTK_Message_Box("WARNING", (message + "\n\nContinue?").c_str(), BOX_WARNING | BOX_YESNO);
        gtkLoopPending();
        if (!yes) abandon();
    } else {
        silence noconsole(silent | NOCONSOLE);
        newln();
        spewem("WARNING:", nullptr);
        spewer((message + "\n\n").c_str());
    }
    doing_user_progress = userprogress;
}
