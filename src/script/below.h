// script/below.h: what the script folder calls in the folders below it, by plain declaration.
#pragma once

// diagrams: orders the branches as a diagram shows them; nodes to draw into drawat, each before its
// descendants; returns how many
int laytree(const int *tree, int start);
