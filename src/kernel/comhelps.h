// kernel/comhelps.h: the help of every command, defined beside its handler.
//
// A help is its summary, one sentence with a full stop; the rows of its options; and a text of
// lines: forms and options indented by two blanks, their explanations behind a gap of at least two
// more, sentences at the margin.  What is wider than 79 columns is broken anew when it is shown.
// Defaults and limits stand with what they belong to; to rows of options that set a number, a flag
// or a kind, the help adds them itself (rows say only what is meant):
//
//     const comhelp stepaddhelp = {
//         "Build Wagner trees by stepwise addition.", stepaddopts,
//         "  stepadd N ;   N addition sequences, 1 to 1000 (default 10)\n"
//         "  stepadd ;     as many as last time\n"
//         "Trees in memory are replaced.\n"
//         "Examples:\n"
//         "  stepadd 20 ;\n"
//         "  stepadd ; nelsen ;   build trees, and show what they share\n"
//     };
//
// The line "Examples:" begins the last section.  Every line of it, indented by two blanks, is
// complete commands, up to the last semicolon of the line; what follows it is a remark.  A line
// without a semicolon goes on in the next.  Examples must run: the tests run those of a command in
// their order, in a copy of the folder `examples` (bees.zel and the others), with bees.zel read and
// the ten trees of bees_ten.tre in memory, and accept no error.  Users find the same files.
#pragma once
#include "kernel/comtable.h"

extern const comhelp absinclhelp;
extern const comhelp agrouphelp;
extern const comhelp ancstateshelp;
extern const comhelp bbreakhelp;
extern const comhelp beephelp;
extern const comhelp bgroundhelp;
extern const comhelp blockshelp;
extern const comhelp breakhelp;
extern const comhelp ccodehelp;
extern const comhelp costshelp;
extern const comhelp cstreehelp;
extern const comhelp cdirhelp;
extern const comhelp ckeephelp;
extern const comhelp clshelp;
extern const comhelp clbufferhelp;
extern const comhelp cnameshelp;
extern const comhelp costshelp;
extern const comhelp cstreehelp;
extern const comhelp echohelp;
extern const comhelp exithelp;
extern const comhelp exporthelp;
extern const comhelp helphelp;
extern const comhelp holdhelp;
extern const comhelp loghelp;
extern const comhelp incltaxhelp;
extern const comhelp keephelp;
extern const comhelp lengthhelp;
extern const comhelp lquotehelp;
extern const comhelp constrainhelp;
extern const comhelp forcehelp;
extern const comhelp monohelp;
extern const comhelp multhelp;
extern const comhelp ienumhelp;
extern const comhelp rebuildhelp;
extern const comhelp mxramhelp;
extern const comhelp mxprochelp;
extern const comhelp nakedhelp;
extern const comhelp lintreeshelp;
extern const comhelp nelsenhelp;
extern const comhelp majorityhelp;
extern const comhelp mixtreeshelp;
extern const comhelp qnelsenhelp;
extern const comhelp freqdifshelp;
extern const comhelp comcomphelp;
extern const comhelp resolshelp;
extern const comhelp tzerthelp;
extern const comhelp unsharedhelp;
extern const comhelp nstateshelp;
extern const comhelp outgrouphelp;
extern const comhelp procedurehelp;
extern const comhelp pausehelp;
extern const comhelp quotehelp;
extern const comhelp quithelp;
extern const comhelp rdirhelp;
extern const comhelp reporthelp;
extern const comhelp reroothelp;
extern const comhelp rseedhelp;
extern const comhelp runhelp;
extern const comhelp savehelp;
extern const comhelp screenhelp;
extern const comhelp scoreshelp;
extern const comhelp fithelp;
extern const comhelp collapsehelp;
extern const comhelp condensehelp;
extern const comhelp qcollapsehelp;
extern const comhelp blengthhelp;
extern const comhelp cscoreshelp;
extern const comhelp chomohelp;
extern const comhelp minmaxhelp;
extern const comhelp infohelp;
extern const comhelp tnodeshelp;
extern const comhelp tsizehelp;
extern const comhelp uniquehelp;
extern const comhelp besthelp;
extern const comhelp xcomphelp;
extern const comhelp piwehelp;
extern const comhelp smatrixhelp;
extern const comhelp usminmaxhelp;
extern const comhelp xpiwehelp;
extern const comhelp shortreadhelp;
extern const comhelp silenthelp;
extern const comhelp slaveprochelp;
extern const comhelp smatrixhelp;
extern const comhelp subopthelp;
extern const comhelp svtxthelp;
extern const comhelp systemhelp;
extern const comhelp tableshelp;
extern const comhelp taxcodehelp;
extern const comhelp taxlabelshelp;
extern const comhelp taxnamehelp;
extern const comhelp tchoosehelp;
extern const comhelp tgrouphelp;
extern const comhelp timeouthelp;
extern const comhelp tplothelp;
extern const comhelp treadhelp;
extern const comhelp tsavehelp;
extern const comhelp tshrinkhelp;
extern const comhelp ttagshelp;
extern const comhelp txtsizehelp;
extern const comhelp vversionhelp;
extern const comhelp warnhelp;
extern const comhelp watchhelp;
extern const comhelp xinacthelp;
extern const comhelp xgrouphelp;
extern const comhelp xreadhelp;
extern const comhelp xwipehelp;
extern const comhelp edithelp;
extern const comhelp pruntaxhelp;
extern const comhelp randtreeshelp;
extern const comhelp ridduphelp;
extern const comhelp sorthelp;
extern const comhelp tequalhelp;
extern const comhelp tvaulthelp;
extern const comhelp zzzhelp;
extern const comhelp recursehelp;
extern const comhelp ratchethelp;
extern const comhelp drifthelp;
extern const comhelp tfusehelp;
extern const comhelp hybridhelp;
extern const comhelp sectschhelp;
extern const comhelp pfijohelp;
extern const comhelp xmulthelp;
extern const comhelp menuhelp;
extern const comhelp windowhelp;
extern const comhelp bandbhelp;
extern const comhelp combinehelp;
extern const comhelp continuehelp;
extern const comhelp copytreehelp;
extern const comhelp chkbreakhelp;
extern const comhelp cutbranchhelp;
extern const comhelp elsehelp;
extern const comhelp endhelp;
extern const comhelp endbranchhelp;
extern const comhelp endloophelp;
extern const comhelp endswaphelp;
extern const comhelp errmsghelp;
extern const comhelp forfileshelp;
extern const comhelp getfnamehelp;
extern const comhelp gotohelp;
extern const comhelp hifilehelp;
extern const comhelp ifhelp;
extern const comhelp killfileshelp;
extern const comhelp labelhelp;
extern const comhelp loophelp;
extern const comhelp macfloathelp;
extern const comhelp macro_help;
extern const comhelp macreporthelp;
extern const comhelp macseedhelp;
extern const comhelp maketablehelp;
extern const comhelp privatehelp;
extern const comhelp progresshelp;
extern const comhelp resetswaphelp;
extern const comhelp resettimehelp;
extern const comhelp returnhelp;
extern const comhelp safehelp;
extern const comhelp sethelp;
extern const comhelp setarrayhelp;
extern const comhelp setloophelp;
extern const comhelp sprithelp;
extern const comhelp tbrithelp;
extern const comhelp travtreehelp;
extern const comhelp varhelp;
extern const comhelp xendhelp;
