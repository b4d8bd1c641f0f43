// script/maketable.h: arrays that take the tables of other commands.
#pragma once

void stop_catching();             // no array does, from now on
