// The level of a driven search: settings as a function of the number of taxa.
#include "search/xmult.h"
#include "search/drift.h"
#include "search/ratchet.h"
#include "search/sectset.h"
#include "data/matrix.h"
#include "kernel/output.h"
#include <algorithm>
#include <cstdio>

static int rounded(double x) { return int(x + 0.5); }

constexpr int USUALSECTOR = 45;      // terminals

static int largeglobal(int taxa)
{
    constexpr int MANYTAXA = 500, USUAL = 10;
    return taxa >= MANYTAXA ? rounded(2.0 * taxa / 100) : USUAL;
}

static void set_sectors(double d, int taxa)
{
    double half = taxa / 2.0, most = std::min(half, d >= USUALSECTOR ? d : USUALSECTOR), least = std::min<double>(most, USUALSECTOR);
    ssmaxsize = rounded(most);
    ssminsize = rounded(least);
    ss_large_globaltbr = largeglobal(taxa);
    ssglobaltbr = least > 0 ? rounded(0.75 * taxa / least) : 0;
    ssgrowfactor = 75;
}

void calculate_search_parms(double level, int taxa)
{
    curlevel = level;
    double half = taxa / 2.0, d = half - 2 / (1 + level) * half;
    if (level >= 3) d *= 1.25;
    set_sectors(d, taxa);
    xmult_xmix = xmult_autoconst = 1;
    xmult_ratchet = 0;
    xmult_drift = level <= 2 ? 0 : level <= 5.5 ? 4 : rounded((level - 4) * 6);
    xmult_fuse = level > 3 ? int(level) : 3;
    ssmaxsubfactor = int(100 - 100 * level / (level + 2));
    xmult_replications = int(level + 4);
}

void initialize_autoset()
{
    constexpr int MOSTSUBS = 200, LEASTSUBS = 20;
    if (ss_recurse_level) return;                // the data of a sector
    double subs = 0.125 * nt, half = nt / 2.0;
    dftshift = ratshift = subs < 10 ? LEASTSUBS : std::min(int(subs), MOSTSUBS);
    curlevel = 1.5;
    set_sectors(half - 0.8 * half, nt);
    ssmaxsubfactor = 57;
    xmult_xmix = xmult_autoconst = 1;
    xmult_replications = 5;
    xmult_ratchet = xmult_drift = 0;
    xmult_fuse = 3;
    xmult_targetscore = xmult_giveupscore = -1;
    contaxex.clear();
}

static void scale_settings(double ratio, int flag)
{
    constexpr int MOSTREPLICS = 12, LEASTREPLICS = 4, MOSTFUSES = 10, LEASTFUSES = 4;
    ssmaxsize = std::min(std::max(LEAST_SECTOR, int(ssmaxsize * ratio)), ntax / 2);
    ssminsize = std::min(ssminsize, ssmaxsize);
    ssmaxsubfactor = std::clamp(int(ssmaxsubfactor / ratio), 5, 95);
    ssglobaltbr = ssminsize ? int(0.75 * ntax / ssminsize) : 0;
    ss_large_globaltbr = largeglobal(ntax);
    if (flag) {
        xmult_replications = std::clamp(int(xmult_replications * ratio), LEASTREPLICS, MOSTREPLICS);
        xmult_fuse = std::clamp(int(xmult_fuse * ratio), LEASTFUSES, MOSTFUSES);
        xmult_drift = int((xmult_drift + (ratio > 1)) * ratio);
    }
    ssgrowfactor = 75;
    xmult_autoconst = xmult_css = xmult_xmix = 1;
    if (!xmult_rss && !xmult_xss) xmult_rss = 1;
}

static void tellsettings(double ratio)
{
    char level[32] = "";
    if (change_by_level) snprintf(level, sizeof level, "to %.2f", curlevel);
    myp("\n\n   %screasing search level (%.2f) %s", ratio < 1 ? "De" : "In", ratio, level);
    myp("   Using %i initial replications", xmult_replications);
    myp("   Random sectors of sizes %i-%i (with factor %i)", ssminsize, ssmaxsize, ssmaxsubfactor);
    if (xmult_drift) myp("   Doing %i rounds of drifting", xmult_drift);
    else myp("   No tree-drifting");
    myp("   %i rounds of fusing", xmult_fuse);
}

void reset_search_parms(int achieved, int expected, int flag)
{
    if (achieved > expected / 2.0 && achieved <= expected) return;
    double ratio = std::clamp(double(achieved) / expected, 0.75, 1.25);
    if (change_by_level) {
        double change = ratio < 1 ? -level_change_val : ratio > 1 ? level_change_val : 0;
        calculate_search_parms(std::clamp(curlevel + change, 0.0, 10.0), ntax);
    } else scale_settings(ratio, flag);
    if (xmult_verbose) tellsettings(ratio);
}
