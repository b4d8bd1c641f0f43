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
    "{?start!level}"
    "{?secuse=1}sec:minsi{minsi}maxsi{maxsi}self{self}incr75minfo{minfo}god{god}drift{large}"
    "glob{glob}dglob{dglob}rou{rou}"
    "{?xss=1} xss {beg}-{end}+{xrou}{/} gocom{gocom}fuse{starts}; {/}"
    "{?nicuse=1}rat:it{ratit}up{ratup}down{ratdown}au{ratau}num{ratnum}give{ratgive}; {/}"
    "{?driuse=1}dri:it{dftit}fit{dftfit}rfi{dftrfi}aut{dftau}num{dftnum}give{dftgive}xfa{dftxfa}; {/}"
    "{?recuse=1}tf:rou{tfrou}minf{minf}; {/}"
    "{/}"
    "{?start!memory}xm={?start=level}lev{level} {/}{?start=pages}rep{rep}{/}hit{hit}"
    "{?goal=found}nota {/}{?goal=given}targ {targ} {/}{?stop=none}nogive {/}{?stop=given}give {give} {/}"
    "{?start=pages}"
    "{?recuse=1}fuse{fuse}{/}{?recuse=0}nofuse {/}{?driuse=1}dri{dri}{/}{?driuse=0}dri0{/}chk0 "
    "{?nicuse=1}rat{rat} {/}{?nicuse=0}rat0 {/}"
    "{?secuse=1}{rss}{css}{xss}{/}{?secuse=0}norss nocss noxss {/}"
    "{/}"
    "{?stable=1}conse{conse}conf{conf}conb{conb}{/}{?stable=0}nocons {/}"
    "hol {hold}/;{/}"
    "{?start=memory}{?secuse=1}sec={kind}{?kind=xss} {beg}-{end}+{xrou}{/}; {/}"
    "{?nicuse=1}rat=; {/}{?driuse=1}dri=; {/}{?recuse=1}tf=; {/}{/}";

static double orelse(int value, int instead) { return value ? value : instead; }
static double sectoring() { return xmult_rss || xmult_css || xmult_xss; }
static double leastsector() { return LEAST_SECTOR; }
static double leastchunks() { return LEAST_CHUNKS; }
static double mostchunks() { return MOST_CHUNKS; }

static const char *kindnow() { return ss_type == SS_RANDOM ? "rss" : ss_type == SS_CONSTRAINED ? "css" : "xss"; }

static const field newtechfields[] = {
    { .key = "start" },

    { .key = "level", .zeros = true, .now = [] { return curlevel; }, .only = "start=level" },
    { .key = "rep", .now = [] { return double(xmult_replications); }, .only = "start=pages" },
    { .key = "hit", .now = [] { return double(xmult_hits); }, .only = "start!memory" },
    { .key = "hold", .now = [] { return double(xmult_hold); }, .only = "start!memory" },
    { .key = "goal", .nowtext = [] { return xmult_targetscore < 0 ? "found" : "given"; }, .only = "start!memory" },
    { .key = "targ", .zeros = true, .now = [] { return std::max(0.0, xmult_targetscore); }, .only = "goal=given" },
    { .key = "stop", .nowtext = [] { return xmult_giveupscore < 0 ? "none" : "given"; }, .only = "start!memory" },
    { .key = "give", .zeros = true, .now = [] { return std::max(0.0, xmult_giveupscore); }, .only = "stop=given" },

    { .key = "stable", .now = [] { return double(xmult_consense > 0); }, .only = "start!memory" },
    { .key = "conse", .now = [] { return orelse(xmult_consense, 1); }, .only = "stable=1" },
    { .key = "conf", .now = [] { return double(xmult_confactor); }, .only = "stable=1" },
    { .key = "conb", .now = [] { return double(xmult_conbase); }, .only = "stable=1" },

    { .key = "secuse", .now = sectoring, .only = "start!level" },
    { .key = "rss", .text = "rss ", .off = "norss ", .now = [] { return double(xmult_rss); }, .only = "secuse=1" },
    { .key = "minsi", .now = [] { return double(ssminsize); }, .low = leastsector, .only = "secuse=1" },
    { .key = "maxsi", .now = [] { return double(ssmaxsize); }, .low = leastsector, .only = "secuse=1" },
    { .key = "self", .now = [] { return 100.0 - ssmaxsubfactor; }, .only = "secuse=1" },
    { .key = "css", .text = "css ", .off = "nocss ", .now = [] { return double(xmult_css); }, .only = "secuse=1" },
    { .key = "minfo", .now = [] { return double(ssminfork); }, .only = "secuse=1" },
    { .key = "rou", .now = [] { return double(ssnumrounds); }, .only = "secuse=1" },
    { .key = "kind", .nowtext = kindnow, .only = "start=memory" },

    { .key = "god", .now = [] { return double(ssgotodrift); }, .only = "secuse=1" },
    { .key = "large", .now = [] { return double(ssdriftcycles); }, .only = "secuse=1" },
    { .key = "gocom", .now = [] { return double(ssgotocomb); }, .only = "secuse=1" },
    { .key = "starts", .now = [] { return double(num_fuses_all_starts); }, .only = "secuse=1" },
    { .key = "glob", .now = [] { return double(ssglobaltbr); }, .only = "secuse=1" },
    { .key = "dglob", .now = [] { return double(ss_large_globaltbr); }, .only = "secuse=1" },
    { .key = "xss", .text = "xss ", .off = "noxss ", .now = [] { return double(xmult_xss); }, .only = "secuse=1" },
    { .key = "beg", .now = [] { return double(serial_xss_chunkbeg); }, .low = leastchunks, .high = mostchunks,
      .only = "secuse=1" },
    { .key = "end", .now = [] { return double(serial_xss_chunkend); }, .low = leastchunks, .high = mostchunks,
      .only = "secuse=1" },
    { .key = "xrou", .now = [] { return double(serial_xss_numrounds); }, .only = "secuse=1" },

    { .key = "nicuse", .now = [] { return double(xmult_ratchet > 0); }, .only = "start!level" },
    { .key = "rat", .now = [] { return orelse(xmult_ratchet, 10); }, .only = "nicuse=1" },
    { .key = "ratit", .now = [] { return double(ratiters); }, .only = "nicuse=1" },
    { .key = "ratnum", .now = [] { return double(ratshift); }, .only = "nicuse=1" },
    { .key = "ratup", .now = [] { return double(ratupfact); }, .only = "nicuse=1" },
    { .key = "ratdown", .now = [] { return double(ratdnfact); }, .only = "nicuse=1" },
    { .key = "ratgive", .now = [] { return double(ratgiveupperc); }, .only = "nicuse=1" },
    { .key = "ratau", .now = [] { return double(rathard); }, .only = "nicuse=1" },

    { .key = "driuse", .now = [] { return double(xmult_drift > 0); }, .only = "start!level" },
    { .key = "dri", .now = [] { return orelse(xmult_drift, 5); }, .only = "driuse=1" },
    { .key = "dftit", .now = [] { return double(dftiters); }, .only = "driuse=1" },
    { .key = "dftnum", .now = [] { return double(dftshift); }, .only = "driuse=1" },
    { .key = "dftfit", .zeros = true, .now = [] { return dftmaxabs; }, .only = "driuse=1" },
    { .key = "dftrfi", .zeros = true, .now = [] { return dftmaxrel; }, .only = "driuse=1" },
    { .key = "dftxfa", .zeros = true, .now = [] { return dftxfactor; }, .only = "driuse=1" },
    { .key = "dftgive", .now = [] { return double(dftgiveupperc); }, .only = "driuse=1" },
    { .key = "dftau", .now = [] { return double(dfthard); }, .only = "driuse=1" },

    { .key = "recuse", .now = [] { return double(xmult_fuse > 0); }, .only = "start!level" },
    { .key = "fuse", .now = [] { return orelse(xmult_fuse, 1); }, .only = "recuse=1" },
    { .key = "tfrou", .now = [] { return double(fuserounds); }, .only = "recuse=1" },
    { .key = "minf", .now = [] { return double(fuseminfork); }, .only = "recuse=1" },
    {}
};
const dialogform newtechform = { "newtech", customized_search, newtechfields };
