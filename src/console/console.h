// console/console.h: the terminal front end.  It fills the slots of kernel/window.h and feeds the
// interpreter with the arguments, then with standard input.
#pragma once
#include <string>
#include <vector>

// Runs to the end of input and returns the exit status: with standard input not a terminal, 1 when
// any command failed; 2 when the words cannot be used.
int runconsole(const std::vector<std::string> &words);
