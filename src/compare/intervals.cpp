#include "compare/intervals.h"
#include <algorithm>
#include "compare/groups.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/treemodel.h"

intervals layintervals()
{
    return { lo<int>(nodz), lo<int>(nodz), lo<int>(nt), lo<int>(nt), lo<int>(nt), lo<int>(nodz) };
}

meeting laymeeting()
{
    return { lo<int>(nodz), lo<int>(nodz), lo<int>(nodz), lo<int>(nodz) };
}

void fileintervals(const int *tree, const uint8_t *excluded, intervals *v)
{
    int inner = mkoptlist(nodlist, tree), rank = 0;
    std::fill(v->first, v->first + nodz, -1);
    std::fill(v->last, v->last + nodz, -1);
    std::fill(v->byfirst, v->byfirst + nt, -1);
    std::fill(v->bylast, v->bylast + nt, -1);
    std::fill(v->live, v->live + nodz, 0);
    for (int n = nt;;) {                       // terminals in the order of the diagram
        if (lef[n] >= 0) { n = lef[n]; continue; }
        if (!(excluded && excluded[n])) {
            v->taxonat[rank] = n;
            v->first[n] = v->last[n] = rank++;
        }
        while (n != nt && sis[n] < 0) n = tree[n] & NODEBITS;
        if (n == nt) break;
        n = sis[n];
    }
    for (int i = inner - 1; i >= 0; --i)
        for (int n = nodlist[i], d = lef[n]; d >= 0; d = sis[d]) {
            if (v->first[d] < 0) continue;
            if (v->first[n] < 0) v->first[n] = v->first[d];
            v->last[n] = v->last[d];
        }
    for (int i = 0; i < inner; ++i) {
        int n = nodlist[i], up = n == nt ? -1 : tree[n] & NODEBITS;
        int size = v->last[n] - v->first[n] + 1;
        if (v->first[n] < 0 || size < 2 || size == consensus_taxa) continue;
        if (up >= 0 && v->first[up] == v->first[n] && v->last[up] == v->last[n]) {
            int filed = v->byfirst[v->first[n]];
            if (filed < 0 || v->last[filed] != v->last[n]) filed = v->bylast[v->last[n]];
            v->live[filed] |= issupp[n];
            continue;
        }
        if (up < 0 || v->first[up] != v->first[n]) v->byfirst[v->first[n]] = n;
        else v->bylast[v->last[n]] = n;
        v->live[n] = issupp[n];
    }
}

void meetintervals(const int *tree, const uint8_t *excluded, const intervals &v, const meeting &m)
{
    int inner = mkoptlist(nodlist, tree);
    for (int i = inner - 1; i >= 0; --i) {
        int n = nodlist[i], low = nt, high = -1, size = 0;
        for (int d = lef[n]; d >= 0; d = sis[d]) {
            if (d >= nt) {
                low = std::min(low, m.low[d]);
                high = std::max(high, m.high[d]);
                size += m.size[d];
            } else if (!(excluded && excluded[d])) {
                // With a terminal that the reference lacks, no group above can be one of its own.
                size += v.first[d] < 0 ? nt : 1;
                if (v.first[d] < 0) continue;
                low = std::min(low, v.first[d]);
                high = std::max(high, v.first[d]);
            }
        }
        m.low[n] = low;
        m.high[n] = high;
        m.size[n] = std::min(size, nt + 1);
        m.met[n] = -1;
        if (size < 2 || high - low + 1 != size || !issupp[n]) continue;
        int met = v.byfirst[low];
        if (met < 0 || v.last[met] != high) met = v.bylast[high];
        if (met >= 0 && v.first[met] == low && v.last[met] == high) m.met[n] = met;
    }
}
