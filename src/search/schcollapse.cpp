// Collapsing on the packed image.  A branch is judged by its two final sets, so a rule is one test
// of a cell of the node against the same cell of its ancestor; a cell that passes it in any field
// is enough.  Padding fields hold every state in all nodes and pass no test.
#include "search/schcollapse.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/slowopt.h"
#include "data/matrix.h"
#include "trees/collapse.h"
#include <algorithm>

constexpr int BLOCK = ROWALIGN;     // cells tested before looking at the outcome; whole blocks, for the compiler to vectorize

// True when the test gives a non-zero cell for some cell of the two rows.
template<class test> static bool anycell(const uint32_t *node, const uint32_t *up, test supports)
{
    for (int from = 0; from < foldcells; from += BLOCK) {
        uint32_t found = 0;
        for (int i = 0; i < BLOCK; ++i) found |= supports(node[from + i], up[from + i], from + i);
        if (found) return true;
    }
    return false;
}

// The top bit of each field that holds no state.
static inline uint32_t emptyfields(uint32_t x, int i) { return ~(((x & celllow[i]) + celllow[i]) | x) & ~celllow[i]; }

template<class rule> static void markbranches(const int *tree, int *support, rule stands)
{
    std::fill(support, support + ntax, 0);
    support[ntax] = 1;
    slowfinals();
    for (int n = ntax + 1; n < hinod; ++n) {
        int up = tree[n] & NODEBITS;
        support[n] = up == ntax || stands(n, up);
    }
}

void schnocollapser(const int *, int *support)
{
    std::fill(support, support + ntax, 0);
    std::fill(support + ntax, support + hinod, 1);
}

void schcollapser_rule_1(const int *tree, int *support)
{
    markbranches(tree, support, [](int n, int up) {
        return anycell(upset(n), upset(up), [](uint32_t a, uint32_t b, int i) { return emptyfields(a & b, i); }) || slowdisjoint(n, up);
    });
}

void schcollapser_rule_ambig(const int *tree, int *support)
{
    markbranches(tree, support, [](int n, int up) {
        return anycell(upset(n), upset(up), [](uint32_t a, uint32_t b, int) { return a ^ b; }) || slowdiffer(n, up);
    });
}

void schcollapser_rule_3(const int *tree, int *support)
{
    markbranches(tree, support, [](int n, int up) {
        return anycell(dnset(n), upset(up), [](uint32_t first, uint32_t final, int) { return final & ~first; }) || slowoutside(n, up);
    });
}

void set_schcollapser(int rule)
{
    constexpr decltype(schcollapser) collapsers[] = { schnocollapser, schcollapser_rule_3, schcollapser_rule_ambig };
    collapse_level = rule;
    schcollapser = rule > COLL_AMBIGUOUS ? schcollapser_rule_1 : collapsers[rule];
}
