// The search by new technologies: driven searches, or single methods applied to the trees in memory.
// Sectors, ratchet, drifting and fusing have a page of settings each, and are part of either.
#include "gui/dialogs/forms.h"
#include "search/drift.h"
#include "search/fuse.h"
#include "search/pertswap.h"
#include "search/ratchet.h"
#include "search/sectset.h"
#include "search/xmult.h"
#include <algorithm>

// Settings go first, each method's by its own command; then the run.  A search level stands for all of them.
static constexpr char customized_search[] =
    "{?start!1}"
    "{?secuse=1}sec:minsi{minsi}maxsi{maxsi}self{self}incr75minfo{minfo}god{god}drift{large}"
    "glob{glob}dglob{dglob}rou{rou}"
    "{?xss=1} xss {beg}-{end}+{xrou}{/} gocom{gocom}fuse{starts}; {/}"
    "{?nicuse=1}rat:it{ratit}up{ratup}down{ratdown}au{ratau}num{ratnum}give{ratgive}; {/}"
    "{?driuse=1}dri:it{dftit}fit{dftfit}rfi{dftrfi}aut{dftau}num{dftnum}give{dftgive}xfa{dftxfa}; {/}"
    "{?recuse=1}tf:rou{tfrou}minf{minf}; {/}"
    "{/}"
    "{?start!2}xm={?start=1}lev{level} {/}{?start=0}rep{rep}{/}hit{hit}"
    "{?goal=0}nota {/}{?goal=1}targ {targ} {/}{?stop=0}nogive {/}{?stop=1}give {give} {/}"
    "{?start=0}"
    "{?recuse=1}fuse{fuse}{/}{?recuse=0}nofuse {/}{?driuse=1}dri{dri}{/}{?driuse=0}dri0{/}chk0 "
    "{?nicuse=1}rat{rat} {/}{?nicuse=0}rat0 {/}"
    "{?secuse=1}{rss}{css}{xss}{/}{?secuse=0}norss nocss noxss {/}"
    "{/}"
    "{?stable=1}conse{conse}conf{conf}conb{conb}{/}{?stable=0}nocons {/}"
    "hol {hold}/;{/}"
    "{?start=2}{?secuse=1}sec={?kind=0}rss{/}{?kind=1}css{/}{?kind=2}xss {beg}-{end}+{xrou}{/}; {/}"
    "{?nicuse=1}rat=; {/}{?driuse=1}dri=; {/}{?recuse=1}tf=; {/}{/}";

static double orelse(int value, int instead) { return value ? value : instead; }
static double sectoring() { return xmult_rss || xmult_css || xmult_xss; }

static constexpr choicerow starts[] = {
    { "driven search, set on these pages", "" }, { "driven search, by its level", "" },
    { "methods applied to trees in memory", "" }, {}
};
static constexpr choicerow goals[] = { { "the best score found", "" }, { "a given score", "" }, {} };
static constexpr choicerow stops[] = { { "no score", "" }, { "a given score", "" }, {} };
static constexpr choicerow kinds[] = { { "random", "" }, { "by constraints", "" }, { "exclusive", "" }, {} };

static const field newtechfields[] = {
    { .kind = CHOICE, .key = "start", .label = "_Search", .choices = starts },

    { .kind = PAGE, .label = "_Driven search" },
    { .kind = NUMBER, .key = "level", .label = "Search _level", .high = 10, .decimals = 3, .zeros = true,
      .now = [] { return curlevel; }, .only = "start=1" },
    { .kind = NUMBER, .key = "rep", .label = "_Replications per hit", .low = 1, .high = 1000000,
      .now = [] { return double(xmult_replications); }, .only = "start=0" },
    { .kind = NUMBER, .key = "hit", .label = "H_its", .low = 1, .high = 1000000,
      .now = [] { return double(xmult_hits); }, .only = "start!2" },
    { .kind = NUMBER, .key = "hold", .label = "Trees to sa_ve per replication", .low = 1, .high = 1000000,
      .now = [] { return double(xmult_hold); }, .only = "start!2" },
    { .kind = CHOICE, .key = "goal", .label = "_Goal of hits", .choices = goals,
      .now = [] { return double(xmult_targetscore >= 0); }, .only = "start!2" },
    { .kind = NUMBER, .key = "targ", .label = "Score _wanted", .high = 1e9, .decimals = 5, .zeros = true,
      .now = [] { return std::max(0.0, xmult_targetscore); }, .only = "goal=1" },
    { .kind = CHOICE, .key = "stop", .label = "Sto_p at once at", .choices = stops,
      .now = [] { return double(xmult_giveupscore >= 0); }, .only = "start!2" },
    { .kind = NUMBER, .key = "give", .label = "At this score, or _better", .high = 1e9, .decimals = 5, .zeros = true,
      .now = [] { return std::max(0.0, xmult_giveupscore); }, .only = "stop=1" },

    { .kind = PAGE, .label = "Co_nsensus" },
    { .kind = CHECK, .key = "stable", .label = "Until the consensus is sta_ble",
      .now = [] { return double(xmult_consense > 0); }, .only = "start!2" },
    { .kind = NUMBER, .key = "conse", .label = "Times stabili_zed", .low = 1, .high = 10000,
      .now = [] { return orelse(xmult_consense, 1); }, .only = "stable=1" },
    { .kind = NUMBER, .key = "conf", .label = "Hits between checks, _part of those done (%)", .low = 10, .high = 100,
      .now = [] { return double(xmult_confactor); }, .only = "stable=1" },
    { .kind = NUMBER, .key = "conb", .label = "And at least so _many", .low = 1, .high = 100,
      .now = [] { return double(xmult_conbase); }, .only = "stable=1" },

    { .kind = PAGE, .label = "Sec_tors" },
    { .kind = CHECK, .key = "secuse", .label = "_Use sectorial searches", .now = sectoring, .only = "start!1" },
    { .kind = CHECK, .key = "rss", .label = "_Random sectors", .text = "rss ", .off = "norss ",
      .now = [] { return double(xmult_rss); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "minsi", .label = "_Least size of random sectors", .low = LEAST_SECTOR,
      .now = [] { return double(ssminsize); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "maxsi", .label = "Lar_gest size", .low = LEAST_SECTOR,
      .now = [] { return double(ssmaxsize); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "self", .label = "Selections of each si_ze", .high = 99,
      .now = [] { return 100.0 - ssmaxsubfactor; }, .only = "secuse=1" },
    { .kind = CHECK, .key = "css", .label = "Sectors _by constraints, also of earlier replications",
      .text = "css ", .off = "nocss ", .now = [] { return double(xmult_css); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "minfo", .label = "_Minimum of descendants for those", .low = 2,
      .now = [] { return double(ssminfork); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "rou", .label = "Rounds o_ver those", .low = 1, .high = 10000,
      .now = [] { return double(ssnumrounds); }, .only = "secuse=1" },
    { .kind = CHOICE, .key = "kind", .label = "Sectors of trees in memor_y", .choices = kinds,
      .now = [] { return double(std::min(ss_type, int(SS_EXCLUSIVE)) - SS_RANDOM); }, .only = "start=2" },

    { .kind = PAGE, .label = "Sector an_alyses" },
    { .kind = NUMBER, .key = "god", .label = "Drift sectors of so many nodes or _more",
      .now = [] { return double(ssgotodrift); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "large", .label = "Drift c_ycles for those", .high = 10000,
      .now = [] { return double(ssdriftcycles); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "gocom", .label = "Com_bine analyses of so many nodes or more (0: none)",
      .now = [] { return double(ssgotocomb); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "starts", .label = "Rounds fusin_g the starts (0: none)", .high = 99,
      .now = [] { return double(num_fuses_all_starts); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "glob", .label = "Global TB_R after so many replacements (0: never)",
      .now = [] { return double(ssglobaltbr); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "dglob", .label = "The same for _large sectors, which are drifted",
      .now = [] { return double(ss_large_globaltbr); }, .only = "secuse=1" },
    { .kind = HEADING, .label = "Exclusive sectors" },
    { .kind = CHECK, .key = "xss", .label = "_Use exclusive sectors", .text = "xss ", .off = "noxss ",
      .now = [] { return double(xmult_xss); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "beg", .label = "Sectors in the f_irst round", .low = LEAST_CHUNKS, .high = MOST_CHUNKS,
      .now = [] { return double(serial_xss_chunkbeg); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "end", .label = "And u_p to, in the last round", .low = LEAST_CHUNKS, .high = MOST_CHUNKS,
      .now = [] { return double(serial_xss_chunkend); }, .only = "secuse=1" },
    { .kind = NUMBER, .key = "xrou", .label = "Rounds", .low = 1, .high = 10000,
      .now = [] { return double(serial_xss_numrounds); }, .only = "secuse=1" },

    { .kind = PAGE, .label = "Ratc_het" },
    { .kind = CHECK, .key = "nicuse", .label = "_Use the ratchet",
      .now = [] { return double(xmult_ratchet > 0); }, .only = "start!1" },
    { .kind = NUMBER, .key = "rat", .label = "Iterations of each _replication", .low = 1,
      .now = [] { return orelse(xmult_ratchet, 10); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratit", .label = "_Iterations with trees in memory",
      .now = [] { return double(ratiters); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratnum", .label = "Su_bstitutions that end a perturbation", .high = 1000000,
      .now = [] { return double(ratshift); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratup", .label = "U_p-weighting (%)", .high = 100,
      .now = [] { return double(ratupfact); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratdown", .label = "Do_wn-weighting (%)", .high = 100,
      .now = [] { return double(ratdnfact); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratgive", .label = "_Give up after this part of a swap (%)", .high = 100,
      .now = [] { return double(ratgiveupperc); }, .only = "nicuse=1" },
    { .kind = NUMBER, .key = "ratau", .label = "Auto-constrain all c_ycles but one of so many (0: none)", .high = 10000,
      .now = [] { return double(rathard); }, .only = "nicuse=1" },

    { .kind = PAGE, .label = "Dri_ft" },
    { .kind = CHECK, .key = "driuse", .label = "_Use drifting",
      .now = [] { return double(xmult_drift > 0); }, .only = "start!1" },
    { .kind = NUMBER, .key = "dri", .label = "Cycles of each _replication", .low = 1,
      .now = [] { return orelse(xmult_drift, 5); }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftit", .label = "C_ycles with trees in memory",
      .now = [] { return double(dftiters); }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftnum", .label = "Su_bstitutions that end a perturbation", .high = 1000000,
      .now = [] { return double(dftshift); }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftfit", .label = "_Largest fit difference", .high = 10000, .decimals = 2, .zeros = true,
      .now = [] { return dftmaxabs; }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftrfi", .label = "Largest relati_ve fit difference", .high = 10, .decimals = 2,
      .zeros = true, .now = [] { return dftmaxrel; }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftxfa", .label = "Re_jection factor", .high = 1000, .decimals = 2, .zeros = true,
      .now = [] { return dftxfactor; }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftgive", .label = "_Give up after this part of a swap (%)", .high = 100,
      .now = [] { return double(dftgiveupperc); }, .only = "driuse=1" },
    { .kind = NUMBER, .key = "dftau", .label = "Auto-constra_in all cycles but one of so many (0: none)", .high = 10000,
      .now = [] { return double(dfthard); }, .only = "driuse=1" },

    { .kind = PAGE, .label = "Tr_ee fusing" },
    { .kind = CHECK, .key = "recuse", .label = "_Use tree fusing",
      .now = [] { return double(xmult_fuse > 0); }, .only = "start!1" },
    { .kind = NUMBER, .key = "fuse", .label = "_Rounds in driven searches", .low = 1, .high = 100,
      .now = [] { return orelse(xmult_fuse, 1); }, .only = "recuse=1" },
    { .kind = NUMBER, .key = "tfrou", .label = "Rounds with trees in _memory", .high = 10000,
      .now = [] { return double(fuserounds); }, .only = "recuse=1" },
    { .kind = NUMBER, .key = "minf", .label = "_Least descendants of a node", .low = 2,
      .now = [] { return double(fuseminfork); }, .only = "recuse=1" },
    {}
};
const dialogform newtechform = { "newtech", "New technology search", customized_search, newtechfields };
