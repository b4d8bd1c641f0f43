// Closeness of words, for offering corrections: 1 - cost / length of the cheapest global alignment
// (Needleman & Wunsch 1970) with affine gaps (Gotoh 1982).
#include "kernel/typos.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

constexpr int SUSCOST = 1, GAPCOST = 1, GAPEXTCOST = 1;
constexpr int FORBIDDEN = 10000000;       // cost of a cell that cannot be
constexpr int WORDCUT = 25;               // letters of a word typed that are compared

int    admit_typos, admit_inner_typos;
double name_match_limit = 0.75;

// The cheapest ways to a cell: the last step a gap in either word, or a pair.
struct alignment { int above, diagonal, left, best; };
static std::vector<alignment> cells;      // two rows; kept, so that comparing many words allocates once

void allocate_name_matching()
{
    cells.resize(2 * (WORDCUT + 1));
    admit_typos = 1;
}

static int lower(char c) { return c >= 'A' && c <= 'Z' ? c | 32 : c; }

static alignment settled(int above, int diagonal, int left)
{
    return { above, diagonal, left, std::min({ above, diagonal, left }) };
}

static int gap(int best, int open) { return std::min(best + GAPCOST, open + GAPEXTCOST); }

static double compare(const char *a, int na, const char *b, int nb, int limit)
{
    if (na == 1 && nb == 1 && lower(*a) != lower(*b)) return 0.0;
    int length = limit < 0 ? std::max(na, nb) : std::min(na, nb);
    if (!length) return na == nb ? 1.0 : 0.0;
    if (cells.size() < 2 * size_t(nb + 1)) cells.resize(2 * size_t(nb + 1));
    alignment *row = cells.data(), *prv = row + nb + 1;
    row[0] = { FORBIDDEN, 0, FORBIDDEN, 0 };
    for (int j = 1; j <= nb; ++j) row[j] = settled(FORBIDDEN, FORBIDDEN, gap(row[j - 1].best, row[j - 1].left));
    for (int i = 1; i <= na; ++i) {
        std::swap(row, prv);
        row[0] = settled(gap(prv[0].best, prv[0].above), FORBIDDEN, FORBIDDEN);
        int rowbest = row[0].best;
        for (int j = 1; j <= nb; ++j) {
            int pair = prv[j - 1].best + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : SUSCOST);
            row[j] = settled(gap(prv[j].best, prv[j].above), pair, gap(row[j - 1].best, row[j - 1].left));
            rowbest = std::min(rowbest, row[j].best);
        }
        if (limit > 0 && name_match_limit > 1.0 - double(rowbest) / length) return 0.0;
    }
    return std::max(0.0, 1.0 - double(row[nb].best) / length);
}

double needwunsch_cmp(const char *a, const char *b, int limit)
{
    return compare(a, int(strlen(a)), b, int(strlen(b)), limit);
}

int needwunsch_typo(const char *given, const char *candidate, const char *kind)
{
    if (inbground) return 0;
    // An abbreviation is compared with the beginning of the candidate.
    int na = std::min(int(strlen(given)), WORDCUT), nb = std::min(int(strlen(candidate)), na);
    double similarity = compare(given, na, candidate, nb, 1);
    if (similarity == 1.0) return ACCEPTED;
    if (similarity < name_match_limit) return 0;

    char text[400];
    snprintf(text, sizeof text, "\n\rDid you mean:\n\r%13s \"%.100s\"\n\r\ninstead of:\n\r              \"%.100s\" ?",
             kind, candidate, given);
    int answer = GTK_Message_Box("Warning", text, BOX_WARNING | BOX_CANCEL);
    if (answer != 2) return answer == 1 ? ACCEPTED : 0;
    if (menuing) myerr("Can't match %s name!", kind);
    return CANCELLED;
}

int needwunsch_matchdiff(const char *a, int lena, const char *b, int lenb)
{
    double similarity = compare(a, lena, b, lenb, 1);
    if (similarity == 1.0) return 1;
    if (similarity < name_match_limit) return 0;
    std::string text = "Are\n   " + std::string(a, size_t(lena)) + "\nand\n   " + std::string(b, size_t(lenb)) + "\nthe same ? ";
    return MsgBox_YesNo("Warning", text.c_str()) == 1;
}
