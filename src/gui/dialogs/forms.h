// gui/dialogs/forms.h: the dialogs, each a table in the file of its subject.
#pragma once
#include "gui/dialogs/dialog.h"

// fileforms.cpp
extern const dialogform readtreesform, newmatrixform, openlogform, appendlogform, svgfileform, treefileform, savetreesform,
    savealltreesform, savedataform, exportform, savetextform;
void open_input_file();

// dataforms.cpp
extern const dialogform taxaform, outgroupform, renametaxonform, taxongroupform, charactersform, ancestralform, chargroupform,
    minmaxform, editcellform, blocksform, constraintform, fillform;

// treeforms.cpp
extern const dialogform displayform, consensusform, supertreeform, chooseform, treegroupform, bestform, sortform, rerootform,
    randtreesform, prunetaxaform, condenseform, keepform, tovaultform, fromvaultform, lengthform, branchform,
    charscoreform, fitform, homoplasyform, referenceform, compareform, comparefitsform, tagtreeform, svgtreeform;

// searchforms.cpp
extern const dialogform implicitform, traditionalform, levelform, suboptimalform, timeoutform, estimateform;

// newtech.cpp
extern const dialogform newtechform;

// settingforms.cpp
extern const dialogform memoryform, consensusoptionsform, collapseform, impliedform, concavityform, seedform, reportform,
    precisionform, fontform, colourform;
