// Groups of taxa, characters and trees: who is in them and what they are called.
#include "data/groups.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/input.h"
#include <cstdio>
#include <cstring>

uint32_t *taxgroup, *chargroup, taxgroupdef, chargroupdef, *treegroupdef;
uint8_t *charscopelist;
char **taxgroupname, **chargroupname, **treegroupname;
int num_treegroups = 64, treegroupcells = 2, autotreegroups = 1, nextautotreegroup;

static bool bitof(const uint32_t *words, int g) { return words[g / 32] >> g % 32 & 1; }

static constexpr groupfamily families[] = {
    { "taxon", [] { return GROUPS; }, [](int g) { return bitof(&taxgroupdef, g); },
      [](int g) -> const char * { return taxgroupname[g]; }, [](int t, int g) { return bitof(taxgroup + t, g); } },
    { "character", [] { return GROUPS; }, [](int g) { return bitof(&chargroupdef, g); },
      [](int g) -> const char * { return chargroupname[g]; }, [](int c, int g) { return bitof(chargroup + c, g); } },
    { "tree", [] { return num_treegroups; }, [](int g) { return bitof(treegroupdef, g); },
      [](int g) -> const char * { return treegroupname[g]; }, [](int t, int g) { return bitof(groups_of_tree(t), g); } },
};

const groupfamily *familyof(const char *kind)
{
    for (const groupfamily &f : families)
        if (!strcmp(f.kind, kind)) return datatag ? &f : nullptr;
    return nullptr;
}

static char **defaultnames(int groups)
{
    char **names = zlorows<char>(groups, Namesize);
    for (int g = 0; g < groups; ++g) snprintf(names[g], Namesize, "Group_%i", g);
    return names;
}

void laygroupnames()
{
    taxgroupname = defaultnames(GROUPS);
    chargroupname = defaultnames(GROUPS);
    treegroupname = defaultnames(num_treegroups);
    treegroupdef = zlo<uint32_t>(treegroupcells);
    taxgroupdef = chargroupdef = 0;
    nextautotreegroup = 0;
}
