// The tables of menus and tools.  What an item needs, what its mark follows and what it does stand
// in its row; what follows from the command table (whether the command is there) does not.
#include "gui/menus.h"
#include "gui/appwindow.h"
#include "gui/boxes.h"
#include "gui/dialogs/forms.h"
#include "gui/history.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "diagrams/textree.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/silence.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include "search/swapper.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treetags.h"
#include "trees/treevault.h"

// --- what items need -------------------------------------------------------------------------------------

static bool havedata()       { return datatag; }
static bool havetrees()      { return trees_in_mem > 0; }
static bool twotrees()       { return trees_in_mem > 1; }
static bool havetags()       { return txtdatin; }
static bool havevault()      { return have_vault; }
static bool vaulthasroom()   { return have_vault && trees_in_vault < max_vault_trees; }
static bool bufferhasroom()  { return have_vault && trees_in_mem < maxtrees; }
static bool vaulthastrees()  { return trees_in_vault > 0; }
static bool havereference()  { return defined_ref; }
static bool canbremer()      { return trees_in_mem > 1 || (trees_in_mem && !doautowt); }
static bool havecharacters() { return nc > 0; }
static bool haveblocks()     { return nblocks > 0; }
static bool haveconstraints(){ return consttag; }
static bool havelog()        { return logfile != stderr; }
static bool havetreefile()   { return treefile; }
static bool cansavetrees()   { return treefile && trees_in_mem; }
static bool nodata()         { return !datatag; }
static bool havecharactersets() { return dopiwe && xdopiwe_setlist; }

// --- what marks follow -----------------------------------------------------------------------------------

static bool entryshown()     { return guihistory.commandline; }
static bool toolsshown()     { return tools_visible; }
static bool warningson()     { return warning; }
static bool typoson()        { return admit_inner_typos; }
static bool beeps()          { return mybeep; }
static bool echoes()         { return myecho == 1; }
static bool timed()          { return timemenus; }
static bool autogroups()     { return autotreegroups; }
static bool tobase()         { return send_to_base; }
static bool nodisplay()      { return silent & NOTEXT; }
static bool nofile()         { return silent & NOLOG; }
static bool isdna()          { return data_type == DATA_DNA; }
static bool isamino()        { return data_type == DATA_PROT; }
static bool iscontinuous()   { return data_type == DATA_CONT; }
static bool is32()           { return data_type == DATA_NUM && maxstate == 32; }
static bool is16()           { return data_type == DATA_NUM && maxstate == 16; }
static bool is8()            { return data_type == DATA_NUM && maxstate == 8; }
static bool gapsmissing()    { return read_gaps_as_missing; }
static bool nodesnumbered()  { return !nakedtree; }
static bool optional()       { return optional_tables; }
static bool taxanamed()      { return usetaxnames; }
static bool charsnamed()     { return use_charnames; }
static bool asciitrees()     { return linux_trees; }
static bool colourmapped()   { return do_color_map; }
static bool previewed()      { return preview_trees; }
static bool quick()          { return quick_collapse; }
static bool timelimited()    { return mytimeout; }
static bool macroson()       { return domacros; }
static bool asksoverwriting(){ return warn_before_overwriting_files; }

// --- what the window does by itself -------------------------------------------------------------------

static void toggleentry()
{
    guihistory.commandline = !guihistory.commandline;
    entryshow(guihistory.commandline);
}

static void toggletools()     { showtools(!tools_visible); }
static void togglecolours()   { do_color_map = !do_color_map; }
static void toggleasking()    { warn_before_overwriting_files = !warn_before_overwriting_files; }
static void largerfont()      { changefontsize(1); }
static void smallerfont()     { changefontsize(-1); }

static void closedata()
{
    if (warning && MsgBox_YesNo("Close data", "Data and trees in memory will be discarded.\n\nContinue?") != 1) exvalis = 0;
    else runchosen("xwipe;");
}

static void telltheprogram()
{
    MsgBox_OK("About ZEL", "ZEL - version " ZEL_VERSION "\n\nPhylogenetic analysis under parsimony");
}

static void tellcitation()
{
    MsgBox_OK("Citation", "Please cite the program by its name and version:\n\nZEL, version " ZEL_VERSION
                          ". Phylogenetic analysis under parsimony.");
}

static void tellmenus()
{
    MsgBox_OK("Menus and keys",
              "Whatever is chosen in a menu becomes a command, which is shown in the text;\n"
              "the same command can be typed below.\n\n"
              "Up, Down\tearlier and later commands\n"
              "Ctrl+R\tsearch the commands typed\n"
              "Ctrl+F\tsearch the text; F3 and Shift+F3 go from match to match\n"
              "Esc\tleaves a search; stops a command that runs\n"
              "Tab\tgoes to the text, Enter back to the entry\n"
              "P, M\twhile a command runs: pause, move on\n\n"
              "\"menu;\" lists what can be chosen now.");
}

// --- the menus -------------------------------------------------------------------------------------------

const menuitem menuEntries[] = {
    { .id = "file", .depth = 0, .label = "_File" },
    { .id = "file_open", .depth = 1, .label = "_Open input file...", .act = open_input_file, .accel = 'o', .word = "procedure" },
    { .id = "file_Close", .depth = 1, .label = "_Close data", .act = closedata, .enabled = havedata, .word = "xwipe" },
    { .id = "file_new", .depth = 1, .label = "_New matrix...", .dialog = &newmatrixform },
    { .id = "file_read", .depth = 1, .label = "_Read trees...", .dialog = &readtreesform, .enabled = havedata, .word = "procedure" },
    { .id = "file_SubMerge", .depth = 1, .label = "_Merge data" },
    { .id = "file_SubMerge_merge", .depth = 2, .label = "_Merge files", .command = "dmerge;" },
    { .id = "file_SubMerge_compare", .depth = 2, .label = "_Compare files", .command = "dcomp;" },
    { .id = "file_SubOutput", .depth = 1, .label = "O_utput file" },
    { .id = "file_SubOutput_open", .depth = 2, .label = "_Open output file...", .dialog = &openlogform, .accel = 'l' },
    { .id = "file_SubOutput_append", .depth = 2, .label = "_Append to output file...", .dialog = &appendlogform },
    { .id = "file_SubOutput_close", .depth = 2, .label = "_Close output file", .command = "log /;", .enabled = havelog },
    { .id = "file_SubOutput_save", .depth = 2, .label = "_Save text...", .dialog = &savetextform, .enabled = havelog },
    { .id = "file_SubOutput_svg", .depth = 2, .label = "Save diagrams as S_VG...", .dialog = &svgfileform },
    { .id = "file_SubOutput_nosvg", .depth = 2, .label = "_Do not save diagrams", .command = "log &/;" },
    { .id = "file_SubTree", .depth = 1, .label = "_Tree save file" },
    { .id = "file_SubTree_open", .depth = 2, .label = "_Open tree file...", .dialog = &treefileform, .enabled = havedata },
    { .id = "file_SubTree_save", .depth = 2, .label = "_Save trees...", .dialog = &savetreesform, .enabled = cansavetrees, .accel = 's' },
    { .id = "file_SubTree_close", .depth = 2, .label = "_Close tree file", .command = "tsave /;", .enabled = havetreefile },
    { .id = "file_SubTree_all", .depth = 2, .label = "Save _all trees in a file...", .dialog = &savealltreesform, .enabled = havetrees },
    { .id = "file_command", .depth = 1, .label = "Co_mmand line", .act = toggleentry, .marked = entryshown },
    { .id = "menuItemRecent", .depth = 1, .label = "R_ecent files" },
    { .id = "file_quit", .depth = 1, .label = "_Quit", .act = closewindow, .accel = 'q' },

    { .id = "trees", .depth = 0, .label = "_Trees", .enabled = havedata },
    { .id = "menuItemTreeView", .depth = 1, .label = "Tree _view", .enabled = havetrees },
    { .id = "trees_display", .depth = 1, .label = "_Display trees...", .dialog = &displayform, .enabled = havetrees, .accel = 't', .word = "tplot" },
    { .id = "trees_SubMultiple", .depth = 1, .label = "_Multiple tags" },
    { .id = "trees_SubMultiple_show", .depth = 2, .label = "S_how tags", .command = "ttags;", .enabled = havetrees },
    { .id = "trees_SubMultiple_store", .depth = 2, .label = "S_tore tags", .command = "ttags =;", .enabled = havetrees },
    { .id = "trees_SubMultiple_stop", .depth = 2, .label = "_Stop storing tags", .command = "ttags );", .enabled = havetags },
    { .id = "trees_SubMultiple_clear", .depth = 2, .label = "_Clear tags", .command = "ttags -;", .enabled = havetags },
    { .id = "trees_SubMultiple_tree", .depth = 2, .label = "Tar_get tree...", .dialog = &tagtreeform, .enabled = havetrees },
    { .id = "trees_SubMultiple_svg", .depth = 2, .label = "Save as S_VG...", .dialog = &svgtreeform, .enabled = havetags },
    { .id = "trees_SubTree", .depth = 1, .label = "_Edit trees", .enabled = havetrees },
    { .id = "trees_SubTree_prune", .depth = 2, .label = "_Prune taxa...", .dialog = &prunetaxaform },
    { .id = "trees_SubTree_condense", .depth = 2, .label = "_Condense...", .dialog = &condenseform },
    { .id = "trees_SubTree_resolve", .depth = 2, .label = "_Resolve polytomies at random", .command = "randtrees *;" },
    { .id = "trees_treevault", .depth = 1, .label = "Tree va_ult", .enabled = havevault },
    { .id = "trees_treevault_save", .depth = 2, .label = "_Save to vault...", .dialog = &tovaultform, .enabled = vaulthasroom },
    { .id = "trees_treevault_get", .depth = 2, .label = "_Get from vault...", .dialog = &fromvaultform, .enabled = bufferhasroom },
    { .id = "trees_treevault_clear", .depth = 2, .label = "_Clear vault", .command = "tvault -;", .enabled = vaulthastrees },
    { .id = "trees_consensus", .depth = 1, .label = "_Consensus...", .dialog = &consensusform, .enabled = havetrees, .accel = 'k', .word = "nelsen" },
    { .id = "trees_super", .depth = 1, .label = "_Supertree...", .dialog = &supertreeform, .enabled = twotrees },
    { .id = "trees_SubComparisons", .depth = 1, .label = "Com_parisons", .enabled = twotrees },
    { .id = "trees_SubComparisons_equal", .depth = 2, .label = "_Equal trees", .command = "tequal;" },
    { .id = "trees_SubComparisons_resols", .depth = 2, .label = "_Resolutions of the consensus", .command = "resols;" },
    { .id = "trees_SubComparisons_groups", .depth = 2, .label = "Shared _groups", .command = "tcomp;" },
    { .id = "trees_SubComparisons_spr", .depth = 2, .label = "_SPR distances", .command = "sprdiff;" },
    { .id = "trees_SubComparisons_agreement", .depth = 2, .label = "_Pruned consensus", .command = "prunnelsen;" },
    { .id = "trees_bremer", .depth = 1, .label = "_Bremer supports", .command = "bsupport;", .enabled = canbremer },
    { .id = "trees_swap", .depth = 1, .label = "S_wapping moves", .command = "chkmoves;", .enabled = havetrees },
    { .id = "trees_SubTreeBuffer", .depth = 1, .label = "Tree bu_ffer", .enabled = havetrees },
    { .id = "trees_SubTreeBuffer_create", .depth = 2, .label = "Create _group...", .dialog = &treegroupform },
    { .id = "trees_SubTreeBuffer_groups", .depth = 2, .label = "S_how groups", .command = "tgroup;" },
    { .id = "trees_SubTreeBuffer_compare", .depth = 2, .label = "_Discard duplicates", .command = "riddup;", .enabled = twotrees },
    { .id = "trees_SubTreeBuffer_select", .depth = 2, .label = "_Select trees...", .dialog = &chooseform, .enabled = twotrees },
    { .id = "trees_SubTreeBuffer_best", .depth = 2, .label = "Keep the _best...", .dialog = &bestform },
    { .id = "trees_SubTreeBuffer_sort", .depth = 2, .label = "S_ort...", .dialog = &sortform },
    { .id = "trees_SubTreeBuffer_keep", .depth = 2, .label = "_Keep the first...", .dialog = &keepform },
    { .id = "trees_SubTreeBuffer_clear", .depth = 2, .label = "Discard _all", .command = "keep 0;" },
    { .id = "trees_SubDescribe", .depth = 1, .label = "Descri_be", .enabled = havetrees },
    { .id = "trees_SubDescribe_nodes", .depth = 2, .label = "_Nodes", .command = "tnodes;" },
    { .id = "trees_SubDescribe_taxa", .depth = 2, .label = "Number of _taxa", .command = "tsize;" },
    { .id = "trees_SubDescribe_included", .depth = 2, .label = "Taxa _included", .command = "incltax [;" },
    { .id = "trees_SubDescribe_absent", .depth = 2, .label = "Taxa _absent", .command = "incltax ];" },
    { .id = "trees_SubTaxonomy", .depth = 1, .label = "Ta_xonomy" },
    { .id = "trees_SubTaxonomy_show", .depth = 2, .label = "_Groups of the taxonomy", .command = "taxonomy;" },
    { .id = "trees_SubMonophyly", .depth = 1, .label = "Mo_nophyly" },
    { .id = "trees_SubMonophyly_show", .depth = 2, .label = "_Trees that meet the constraints", .command = "mono;", .enabled = havetrees },
    { .id = "trees_SubMonophyly_enforce", .depth = 2, .label = "_Enforce constraints", .command = "constrain =;", .enabled = haveconstraints },
    { .id = "trees_SubMonophyly_free", .depth = 2, .label = "_Do not enforce constraints", .command = "constrain -;", .enabled = haveconstraints },
    { .id = "trees_SubMonophyly_remove", .depth = 2, .label = "_Remove constraints", .command = "force ];", .enabled = haveconstraints },
    { .id = "trees_reroot", .depth = 1, .label = "_Reroot...", .dialog = &rerootform, .enabled = havetrees },
    { .id = "trees_random", .depth = 1, .label = "R_andom trees...", .dialog = &randtreesform },

    { .id = "opt", .depth = 0, .label = "_Optimize", .enabled = havedata },
    { .id = "opt_SubSynapo", .depth = 1, .label = "_Synapomorphies", .enabled = havetrees },
    { .id = "opt_SubSynapo_list", .depth = 2, .label = "_List synapomorphies", .command = "apo;" },
    { .id = "opt_SubCharacters", .depth = 1, .label = "_Characters", .enabled = havetrees },
    { .id = "opt_SubCharacters_homoplasy", .depth = 2, .label = "_Homoplasy...", .dialog = &homoplasyform },
    { .id = "opt_SubCharacters_recons", .depth = 2, .label = "_Reconstructions", .command = "recons;" },
    { .id = "opt_SubCharacters_map", .depth = 2, .label = "_Map landmarks", .command = "lmark;" },
    { .id = "opt_SubCharacters_trace", .depth = 2, .label = "_Trace characters", .command = "map;" },
    { .id = "opt_count", .depth = 1, .label = "Count cha_nges", .command = "change;", .enabled = havetrees },
    { .id = "opt_branch", .depth = 1, .label = "_Branch lengths...", .dialog = &branchform, .enabled = havetrees },
    { .id = "opt_tree", .depth = 1, .label = "_Tree scores...", .dialog = &lengthform, .enabled = havetrees, .word = "length" },
    { .id = "opt_SubWeighted", .depth = 1, .label = "_Weighted scores", .enabled = havetrees },
    { .id = "opt_SubWeighted_fit", .depth = 2, .label = "_Fit...", .dialog = &fitform },
    { .id = "opt_SubWeighted_sets", .depth = 2, .label = "_Sets of characters", .command = "xpiwe &;", .enabled = havecharactersets },
    { .id = "opt_SubWeighted_concavity", .depth = 2, .label = "_Concavities", .command = "piwe &;" },
    { .id = "opt_character", .depth = 1, .label = "Cha_racter scores...", .dialog = &charscoreform, .enabled = havetrees },
    { .id = "opt_ImpossAncs", .depth = 1, .label = "_Impossible ancestors", .command = "mkmap;", .enabled = havetrees },
    { .id = "opt_define_reference", .depth = 1, .label = "_Define reference tree...", .dialog = &referenceform, .enabled = havetrees },
    { .id = "opt_compare", .depth = 1, .label = "Co_mpare with reference...", .dialog = &compareform, .enabled = havereference },
    { .id = "opt_compareFits", .depth = 1, .label = "Compare _fits with reference...", .dialog = &comparefitsform, .enabled = havereference },

    { .id = "data", .depth = 0, .label = "_Data", .enabled = havedata },
    { .id = "data_taxa", .depth = 1, .label = "Active _taxa...", .dialog = &taxaform },
    { .id = "data_show", .depth = 1, .label = "_Show character settings", .command = "ccode;" },
    { .id = "data_outgroup", .depth = 1, .label = "_Outgroup...", .dialog = &outgroupform },
    { .id = "data_SubTaxon", .depth = 1, .label = "Ta_xon groups and names" },
    { .id = "data_SubTaxon_define", .depth = 2, .label = "_Define group...", .dialog = &taxongroupform },
    { .id = "data_SubTaxon_show", .depth = 2, .label = "_Show groups", .command = "agroup;" },
    { .id = "data_SubTaxon_rename", .depth = 2, .label = "_Rename taxon...", .dialog = &renametaxonform },
    { .id = "data_SubTaxon_active", .depth = 2, .label = "Show _active taxa", .command = "taxcode;" },
    { .id = "data_character", .depth = 1, .label = "_Character settings...", .dialog = &charactersform, .enabled = havecharacters },
    { .id = "data_SubCharacterStatus", .depth = 1, .label = "Character stat_us" },
    { .id = "data_SubCharacterStatus_info", .depth = 2, .label = "_Informative characters", .command = "info;" },
    { .id = "data_SubCharacterStatus_drop", .depth = 2, .label = "_Deactivate uninformative characters", .command = "xinact;" },
    { .id = "data_SubCharacterStatus_ancestral", .depth = 2, .label = "_Ancestral states...", .dialog = &ancestralform, .enabled = havecharacters },
    { .id = "data_SubCharacterStatus_costs", .depth = 2, .label = "Show _costs of changes", .command = "costs;", .enabled = havecharacters },
    { .id = "data_SubCharacterStatus_store", .depth = 2, .label = "_Store settings", .command = "ckeep;" },
    { .id = "data_SubCharacterStatus_reset", .depth = 2, .label = "_Reset to stored settings", .command = "ccode !;" },
    { .id = "data_showMin", .depth = 1, .label = "_Minimum and maximum steps...", .dialog = &minmaxform },
    { .id = "data_list", .depth = 1, .label = "_List names of taxa", .command = "taxlabels;" },
    { .id = "data_SubCharacterGroups", .depth = 1, .label = "Character _groups", .enabled = havecharacters },
    { .id = "data_SubCharacterGroups_define", .depth = 2, .label = "_Define group...", .dialog = &chargroupform },
    { .id = "data_SubCharacterGroups_show", .depth = 2, .label = "_Show groups", .command = "xgroup;" },
    { .id = "data_SubCharacterGroups_select", .depth = 2, .label = "Groups from _blocks", .command = "blocks {;", .enabled = haveblocks },
    { .id = "data_SubCharacterGroups_active", .depth = 2, .label = "_Active blocks...", .dialog = &blocksform, .enabled = haveblocks },
    { .id = "data_SubCharacterDependences", .depth = 1, .label = "Character d_ependences" },
    { .id = "data_SubCharacterDependences_show", .depth = 2, .label = "_Show links", .command = "xlinks;" },
    { .id = "data_SubCharacterDependences_view", .depth = 2, .label = "_Describe links", .command = "vlinks;" },
    { .id = "data_define", .depth = 1, .label = "_Define constraint...", .dialog = &constraintform },
    { .id = "data_showConstraints", .depth = 1, .label = "Sho_w constraints", .command = "force;", .enabled = haveconstraints },
    { .id = "data_savedata", .depth = 1, .label = "Save d_ata...", .dialog = &savedataform },
    { .id = "data_exportdata", .depth = 1, .label = "Ex_port data...", .dialog = &exportform },
    { .id = "data_showMatrix", .depth = 1, .label = "Show mat_rix", .command = "xread *;" },
    { .id = "data_SubEdit", .depth = 1, .label = "Ed_it data" },
    { .id = "data_SubEdit_cells", .depth = 2, .label = "_Cells...", .dialog = &editcellform },
    { .id = "data_SubEdit_generate", .depth = 2, .label = "_Generate characters...", .dialog = &fillform, .enabled = havetrees },
    { .id = "data_SubEdit_minmax", .depth = 2, .label = "_Recalculate minima and maxima", .command = "xread ==;" },
    { .id = "data_SubEdit_single", .depth = 2, .label = "_Remove states of a single taxon", .command = "nstates min;" },

    { .id = "analyze", .depth = 0, .label = "_Analyze", .enabled = havedata },
    { .id = "analyze_implicit", .depth = 1, .label = "_Implicit enumeration...", .dialog = &implicitform },
    { .id = "analyze_traditional", .depth = 1, .label = "_Traditional search...", .dialog = &traditionalform, .accel = 'm', .word = "mult" },
    { .id = "analyze_new", .depth = 1, .label = "_New technology search...", .dialog = &newtechform, .accel = 'n', .word = "xmult" },
    { .id = "analyze_suboptimal", .depth = 1, .label = "_Suboptimal trees...", .dialog = &suboptimalform },
    { .id = "analyze_search_lev", .depth = 1, .label = "Search _level...", .dialog = &levelform },
    { .id = "analyze_ShowParams", .depth = 1, .label = "Show _parameters", .command = "mult :; bbreak :; xmult :; sectsch :; ratchet :; drift :; tfuse :; subopt; collapse;" },
    { .id = "analyze_timeout", .depth = 1, .label = "Ti_me limit...", .dialog = &timeoutform, .marked = timelimited },
    { .id = "analyze_quick", .depth = 1, .label = "_Quick collapsing", .command = "qcollapse =;", .uncommand = "qcollapse -;", .marked = quick },
    { .id = "analyze_parallel", .depth = 1, .label = "P_arallel" },
    { .id = "analyze_parallel_start", .depth = 2, .label = "_Start", .command = "pzel;" },
    { .id = "analyze_resampling", .depth = 1, .label = "_Resampling", .command = "resample;" },
    { .id = "analyze_estimate", .depth = 1, .label = "_Estimate consensus...", .dialog = &estimateform },

    { .id = "settings", .depth = 0, .label = "_Settings" },
    { .id = "settings_tools", .depth = 1, .label = "_Tools", .act = toggletools, .marked = toolsshown },
    { .id = "settings_enable", .depth = 1, .label = "_Enable macros", .command = "macro =;", .uncommand = "macro -;", .marked = macroson },
    { .id = "settings_SubReport", .depth = 1, .label = "Re_ports" },
    { .id = "settings_SubReport_progress", .depth = 2, .label = "_Progress...", .dialog = &reportform, .word = "report" },
    { .id = "settings_SubReport_warnings", .depth = 2, .label = "_Warnings", .command = "warn =;", .uncommand = "warn -;", .marked = warningson },
    { .id = "settings_SubReport_beep", .depth = 2, .label = "_Beep", .command = "beep =;", .uncommand = "beep -;", .marked = beeps },
    { .id = "settings_SubReport_echo", .depth = 2, .label = "_Echo commands", .command = "echo =;", .uncommand = "echo -;", .marked = echoes },
    { .id = "settings_SubReport_overwrite", .depth = 2, .label = "_Ask before replacing files", .act = toggleasking, .marked = asksoverwriting },
    { .id = "settings_check_typos", .depth = 2, .label = "_Check typing errors", .command = "help >;", .uncommand = "help <;", .marked = typoson },
    { .id = "settings_SubTaxonomy", .depth = 1, .label = "Ta_xonomy" },
    { .id = "settings_SubTaxonomy_use", .depth = 2, .label = "_Use taxonomy", .command = "taxonomy =;" },
    { .id = "settings_lock", .depth = 1, .label = "_Lock tree" },
    { .id = "settings_stopwatch", .depth = 1, .label = "_Stopwatch", .command = "watch =;", .uncommand = "watch -;", .marked = timed },
    { .id = "settings_mem", .depth = 1, .label = "_Memory...", .dialog = &memoryform, .word = "hold" },
    { .id = "settings_consense_opts", .depth = 1, .label = "C_onsensus options...", .dialog = &consensusoptionsform },
    { .id = "settings_collapse_rules", .depth = 1, .label = "_Collapsing rules...", .dialog = &collapseform },
    { .id = "settings_SubImplied", .depth = 1, .label = "_Implied weighting" },
    { .id = "settings_SubImplied_basic", .depth = 2, .label = "_Basic settings...", .dialog = &impliedform },
    { .id = "settings_SubImplied_ratio", .depth = 2, .label = "_Concavity by ratio...", .dialog = &concavityform },
    { .id = "settings_SubImplied_show", .depth = 2, .label = "_Show settings", .command = "piwe; xpiwe;" },
    { .id = "settings_SubImplied_auto", .depth = 2, .label = "_Auto-weighting", .command = "slfwt;" },
    { .id = "settings_SubLandmarks", .depth = 1, .label = "Lan_dmarks" },
    { .id = "settings_SubLandmarks_set", .depth = 2, .label = "_Settings", .command = "lmark;" },
    { .id = "settings_add", .depth = 1, .label = "_Add groups of trees", .command = "tgroup auto;", .uncommand = "tgroup noauto;", .marked = autogroups },
    { .id = "settings_include", .depth = 1, .label = "I_nclude absent taxa", .command = "absincl =;", .uncommand = "absincl -;", .marked = tobase },
    { .id = "settings_Randseed", .depth = 1, .label = "_Random seed...", .dialog = &seedform },

    { .id = "format", .depth = 0, .label = "F_ormat" },
    { .id = "format_SubDisplay", .depth = 1, .label = "_Output" },
    { .id = "format_SubDisplay_no", .depth = 2, .label = "_No output to the text", .command = "silent =buffer;", .uncommand = "silent -buffer;", .marked = nodisplay },
    { .id = "format_SubFileDisplay_no", .depth = 2, .label = "No output to the _file", .command = "silent =file;", .uncommand = "silent -file;", .marked = nofile },
    { .id = "format_SubDisplay_ascii", .depth = 2, .label = "_Plain ASCII trees", .command = "lintrees =;", .uncommand = "lintrees -;", .marked = asciitrees },
    { .id = "format_SubDisplay_clear", .depth = 2, .label = "_Clear the text", .command = "cls;" },
    { .id = "format_SubData", .depth = 1, .label = "_Data" },
    { .id = "format_SubData_dna", .depth = 2, .label = "_DNA", .command = "nstates dna;", .enabled = nodata, .marked = isdna },
    { .id = "format_SubData_amino", .depth = 2, .label = "_Amino acids", .command = "nstates prot;", .enabled = nodata, .marked = isamino },
    { .id = "format_SubData_32", .depth = 2, .label = "_32 states", .command = "nstates num 32;", .enabled = nodata, .marked = is32 },
    { .id = "format_SubData_16", .depth = 2, .label = "_16 states", .command = "nstates num 16;", .enabled = nodata, .marked = is16 },
    { .id = "format_SubData_8", .depth = 2, .label = "_8 states", .command = "nstates num 8;", .enabled = nodata, .marked = is8 },
    { .id = "format_SubData_cont", .depth = 2, .label = "_Continuous", .command = "nstates cont;", .enabled = nodata, .marked = iscontinuous },
    { .id = "format_SubData_read", .depth = 2, .label = "Read _gaps as missing", .command = "nstates nogaps;", .uncommand = "nstates gaps;", .marked = gapsmissing },
    { .id = "format_show_node", .depth = 1, .label = "Show _node numbers", .command = "naked -;", .uncommand = "naked =;", .marked = nodesnumbered },
    { .id = "format_optional", .depth = 1, .label = "O_ptional tables", .command = "tables =;", .uncommand = "tables -;", .marked = optional },
    { .id = "format_significant", .depth = 1, .label = "_Significant digits...", .dialog = &precisionform },
    { .id = "format_taxnames", .depth = 1, .label = "_Taxon names", .command = "taxname =;", .uncommand = "taxname -;", .marked = taxanamed },
    { .id = "format_map", .depth = 1, .label = "_Map characters in color", .act = togglecolours, .marked = colourmapped, .word = "map" },
    { .id = "settings_SubGraphic", .depth = 1, .label = "_Graphics" },
    { .id = "settings_SubGraphic_font", .depth = 2, .label = "_Font...", .dialog = &fontform },
    { .id = "settings_SubGraphic_larger", .depth = 2, .label = "_Larger font", .act = largerfont },
    { .id = "settings_SubGraphic_smaller", .depth = 2, .label = "_Smaller font", .act = smallerfont },
    { .id = "settings_SubGraphic_colors", .depth = 2, .label = "_Colors...", .dialog = &colourform },
    { .id = "format_preview_trees", .depth = 1, .label = "Pre_view trees", .command = "tplot [;", .uncommand = "tplot ];", .enabled = havetrees, .marked = previewed },
    { .id = "format_use_charnames", .depth = 1, .label = "_Character names", .command = "cnames =;", .uncommand = "cnames -;", .enabled = havedata, .marked = charsnamed },

    { .id = "help", .depth = 0, .label = "_Help" },
    { .id = "help_help", .depth = 1, .label = "_Help on commands", .command = "help;", .accel = 'h' },
    { .id = "help_menus", .depth = 1, .label = "_Menus and keys", .act = tellmenus },
    { .id = "help_about", .depth = 1, .label = "_About", .act = telltheprogram },
    { .id = "help_citation", .depth = 1, .label = "_Citation", .act = tellcitation },
    { .id = "help_thanks", .depth = 1, .label = "_Thanks", .command = "thanks;" },
    {}
};

// --- the tools -------------------------------------------------------------------------------------------

const menuitem toolBarEntries[] = {
    { .id = "toolBar_openFile", .label = "Open input file", .act = open_input_file },
    { .id = "toolBar_OpenOutput", .label = "Open output file", .dialog = &openlogform },
    { .id = "toolBar_Savetrees", .label = "Save trees", .dialog = &savetreesform, .enabled = cansavetrees },
    { .id = "toolBar_nextTree", .label = "Next tree", .enabled = havetrees },
    { .id = "toolBar_previousTree", .label = "Previous tree", .enabled = havetrees },
    { .id = "toolBar_treeView", .label = "Tree view", .enabled = havetrees },
    { .id = "toolBar_treeLocking", .label = "Lock tree", .enabled = havetrees },
    { .id = "toolBar_up", .label = "Top of the text", .act = viewhome },
    { .id = "toolBar_bottom", .label = "End of the text", .act = viewend },
    { .id = "toolBar_Search", .label = "Search for trees", .dialog = &traditionalform, .enabled = havedata, .word = "mult" },
    { .id = "toolBar_TreeLen", .label = "Tree lengths", .command = "length;", .enabled = havetrees },
    { .id = "toolBar_Consensus", .label = "Strict consensus", .command = "nelsen;", .enabled = havetrees },
    { .id = "toolBar_Filter", .label = "Keep the best trees", .dialog = &bestform, .enabled = havetrees },
    { .id = "toolBar_TreeSelect", .label = "Select trees", .dialog = &chooseform, .enabled = twotrees },
    { .id = "toolBar_ClearTrees", .label = "Discard all trees", .command = "keep 0;", .enabled = havetrees },
    { .id = "toolBar_ClearScreen", .label = "Clear the text", .command = "cls;" },
    { .id = "toolBar_DrawTrees", .label = "Draw trees", .command = "tplot;", .enabled = havetrees },
    { .id = "toolBar_Naked", .label = "Show node numbers", .command = "naked -;", .uncommand = "naked =;", .marked = nodesnumbered },
    { .id = "toolBar_FontInc", .label = "Larger font", .act = largerfont },
    { .id = "toolBar_FontRed", .label = "Smaller font", .act = smallerfont },
    { .id = "toolBar_Bremer", .label = "Bremer supports", .command = "bsupport;", .enabled = havetrees },
    { .id = "toolBar_Jacknife", .label = "Jackknife", .command = "resample;", .enabled = havedata },
    {}
};
