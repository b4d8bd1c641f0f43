// script/correl.h: regressions and rank correlations of arrays.
#pragma once
void correlate_variables();       // after "var &"
