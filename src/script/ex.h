// script/ex.h: the routines of the table of expressions, by family.  Each reads its arguments, if it
// has any, and returns the value; the table tells what they are.
#pragma once

namespace ex {

// exset.cpp: settings and counters
double absincl(), accepted(), allvars(), argnumber(), bbfull(), bbtax(), bittype(), breaks(), collapse(), cpus(), curisdir(),
    cutswap(), cygwin(), exstatus(), freevars(), grandscore(), gtk(), kval(), linuxhost(), listed(), macseed(), maxtgroup(),
    maxroom(), maxvars(), missing(), mypid(), blocks(), bground(), lmnchar(), nchar(), ncharaln(), neper(), nnucs(), ntaxa(), ntrees(), numhits(),
    outgrouptaxon(), percswap(), piwe(), protmode(), rearrangs(), regalfa(), regbeta(), regr(), report(), rootnode(), rseed(),
    rsubopt(), seclevel(), subopt(), tcount(), seconds(), ttags(), usdram(), vtrees(), whomo(), windows(), thismove(),
    getresponse();

// extree.cpp: shape of trees
double anc(), comnod(), deslist(), distnode(), downlist(), eqgroup(), eqtrees(), firstdes(), gcomp(), getarep(), grouplist(),
    invault(), isanc(), isdup(), isintree(), ismono(), mono(), nnodes(), nodforks(), numdes(), repspoly(), simgroup(),
    sister(), splitgroup(), tnodes(), tsize(), uplist();

// exdist.cpp: distances of trees and sequences
double rfdist(), rrfdist(), rfdistp(), rrfdistp(), editcost();

// exscore.cpp: scores
double fit(), homo(), length(), score(), softfit(), softhomo(), softlength(), softscore();

// exchar.cpp: characters
double cost(), contmax(), contmaxs(), contmin(), contmins(), contscale(), isact(), isadd(), iscont(), isinfo(), isinnuc(), islmark(),
    issank(), maxstates(), maxsteps(), maxstepsact(), minsteps(), minstepsact(), nstates(), states(), statediff(), weight(),
    iscateg();

// exgroup.cpp: blocks and groups
double blockend(), blocklist(), blockstart(), charsingp(), havetgp(), isactax(), isinagroup(), isintgroup(), isinxgroup(),
    nummissing(), seqend(), seqstart(), taxinblock(), taxingp(), treesingp();

// exmath.cpp: arithmetic and lists
double combin(), exponential(), getrandom(), intpol(), logarithm(), logten(), maxval(), meanval(), minval(), numbits(),
    numclads(), power(), randomlist(), sortlist(), stddev(), sumval(), varsize();
double matexp();                  // matexp.cpp
double spearman();                // correl.cpp

// exstring.cpp: texts
double eqstring(), isdefd(), isfile(), isinstring(), lenstring(), stringend(), stringsim();

// exfile.cpp: input files
double hifchar(), hifeof(), hifline(), hifnumber(), hifspy(), hiftext();

// exfreq.cpp: groups in several trees
double freqdlist(), freqlist(), gfreq();

// exsector.cpp: the sector being analyzed
double bigntax(), biginsect(), bignotsect(), deltascore(), nodtosect();

// exabsent.cpp: what belongs to parts of the system that are not there yet
double datacomparison(), hosts(), landmarks(), likelihoods(), nuclei(), paralleljobs(), supports(), treedistances(),
    transformations(), forks(), sectortrace();

}
