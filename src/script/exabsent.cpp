// Expressions about what is not there yet.
#include "script/ex.h"
#include "script/refusal.h"

double ex::datacomparison()  { notyetavailable("comparisons of data"); }
double ex::hosts()           { notyetavailable("groups of hosts"); }
double ex::landmarks()       { notyetavailable("landmarks"); }
double ex::likelihoods()     { notyetavailable("likelihoods"); }
double ex::nuclei()          { notyetavailable("links and nuclei"); }
double ex::paralleljobs()    { notyetavailable("parallel jobs"); }
double ex::supports()        { notyetavailable("lists of supports"); }
double ex::treedistances()   { notyetavailable("distances of this kind"); }
double ex::transformations() { notyetavailable("counts of transformations"); }
double ex::forks()           { notyetavailable("parallel copies of a script"); }
double ex::sectortrace()     { notyetavailable("traces of sectors"); }
