// gui/application.h: the application of the window.
#pragma once

bool displayopens();                     // a display can be used; the process is as before when not
void keepwork_at_exit();                 // however the program ends from now on
int  runwindow(int argc, char **argv);   // argv[1..] are files and a command string; returns the exit status
