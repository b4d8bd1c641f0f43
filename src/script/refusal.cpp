#include "script/refusal.h"
#include "kernel/errors.h"

void notyetavailable(const char *what) { myerr("Sorry, %s are not available yet", what); }
