// Fasta files, read: sequences become the matrix once all of them are known to be of a length.
#include "formats/fasta.h"
#include "formats/foreignwrite.h"
#include "formats/names.h"
#include "formats/nexlex.h"
#include "data/cells.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "data/taxa.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <cstring>

namespace {
struct fastafile {
    std::vector<std::string> names, seqs;
    size_t positions = 0;        // of each, once they are known to be so many, or to be filled up with gaps
};
}

// What a file of sequences of that size needs before it is known to be a matrix at all.
static void chkfastmem(size_t bytes)
{
    if (bytes > machineram() / 2) errmsg("Not enough memory to read FASTA sequences. Re-set RAM and re-try", nullptr);
}

// The name ends at the first blank; the rest of the line is a description.
static std::string readname()
{
    std::string name;
    int c = filech();
    while (c == ' ' || c == '\t') c = filech();
    for (; c != ENDOFFILE && !iswhite(c); c = filech()) name += char(c);
    while (c != ENDOFFILE && !islineend(c)) c = filech();
    return name;
}

static long equalizesign()
{
    int c = filech();
    while (iswhite(c)) c = filech();
    if (c != '=') {
        unfilech(c);
        return 0;
    }
    std::string digits;
    for (c = filech(); c >= '0' && c <= '9'; c = filech()) digits += char(c);
    unfilech(c);
    long n = 0;
    wholenumber(digits, &n);
    return n;
}

static void readseqs(fastafile *f)
{
    size_t bytes = 0;
    bool linestart = true;
    for (int c = filech(); c != ENDOFFILE; c = filech()) {
        if (c == '>' && linestart) {
            f->names.push_back(readname());
            f->seqs.emplace_back();
            dildit(double(f->names.size()), double(f->names.size() + 1), "Reading sequences");
            continue;
        }
        linestart = islineend(c) || (linestart && iswhite(c));
        if (iswhite(c)) continue;
        if (f->names.empty()) errmsg("FASTA taxon names must start with '>'", nullptr);
        f->seqs.back() += char(c);
        if (!(++bytes & 0xFFFFF)) chkfastmem(bytes);
    }
}

// Cells of several states in brackets are one position.
static size_t positions(const std::string &seq)
{
    size_t n = 0;
    bool inside = false;
    for (char c : seq) {
        if (c == ']') inside = false;
        else if (!inside) ++n;
        if (c == '[') inside = true;
    }
    return n;
}

static void equalize(fastafile *f, size_t wanted)
{
    for (size_t t = 0; t < f->seqs.size(); ++t) {
        size_t has = positions(f->seqs[t]);
        if (has > wanted)
            errmsg("Cannot equalize to", intvert(long(wanted)), "positions -", f->names[t].c_str(), "has more than",
                   intvert(long(wanted)), nullptr);
    }
    f->positions = wanted;
}

static void checkaligned(fastafile *f)
{
    size_t first = f->positions = positions(f->seqs[0]);
    for (size_t t = 1; t < f->seqs.size(); ++t) {
        size_t has = positions(f->seqs[t]);
        if (has == first) continue;
        std::string a = std::to_string(first), b = std::to_string(has);
        errmsg("Sequences in FASTA file seem not to be aligned!\n", f->names[0].c_str(), "has", a.c_str(), "positions,",
               f->names[t].c_str(), b.c_str(), nullptr);
    }
    if (!first) errmsg("Sequences in FASTA file are empty", nullptr);
}

// --- Sequences become cells ---

static const std::string *source;        // the sequence being turned into cells
static size_t sourceat;

static int  nextsymbol() { return sourceat < source->size() ? static_cast<unsigned char>((*source)[sourceat++]) : ']'; }
static void samesymbol() { --sourceat; }

static void numerichint()
{
    if (data_type == DATA_NUM) spewem("Sequences are being read as numeric; for others, see \"nstates dna\" and \"nstates prot\"", nullptr);
}

static uint32_t onecell(int t, int c)
{
    int symbol = sourceat < source->size() ? nextsymbol() : '-';
    if (symbol != '.') return rddiscrete(symbol, t, c);
    if (!t) errmsg("The match symbol ('.') cannot be used for taxon 0", nullptr);
    return cell(0, c);
}

static void set_fasta_seqs(const fastafile &f)
{
    struct hint {
        hint() { beforecellerror = numerichint; }
        ~hint() { beforecellerror = nullptr; }
    } hinting;
    startcells();
    cellch = nextsymbol;
    uncellch = samesymbol;
    for (int t = 0; t < nt; ++t) {
        dildit(t, nt, "Reading matrix");
        source = &f.seqs[size_t(t)];
        sourceat = 0;
        for (int c = 0; c < nc; ++c) setcell(t, c, onecell(t, c));
    }
    if (data_type != DATA_NUM) return;
    types_read = DATA_NUM;
    for (int c = 0; c < nc; ++c) charcodes[c].type = DATA_NUM;
}

static void makedata(const fastafile &f)
{
    if (data_type == DATA_CONT) errmsg("Sequences can't be read as continuous characters (see \"nstates\")", nullptr);
    std::string name = giveme_curproc_name();
    namekeeper keeper{ "Taxon names over %i letters will be truncated", Namesize };
    std::vector<std::string> names;
    for (auto &n : f.names) names.push_back(keeper.keep(n));
    askreplace(name.c_str());
    unread guard;
    if (data_type == DATA_PROT && celldim < 4) set_celldim(32);
    beginmatrix(long(f.positions), long(f.seqs.size()));
    for (int t = 0; t < nt; ++t) strcpy(taxname[t], names[size_t(t)].c_str());
    set_fasta_seqs(f);
    erdil();
    finishmatrix(name.c_str());
    guard.done = true;
}

void read_fasta_file(long equal)
{
    fastafile f;
    long inside = equalizesign();
    readseqs(&f);
    if (f.names.size() < LEASTTAXA) errmsg("Sorry, can't read less than 4 taxa", nullptr);
    if (equal > 0 || inside > 0) equalize(&f, size_t(equal > 0 ? equal : inside));
    else checkaligned(&f);
    makedata(f);
    closeproc();
}

// --- Writing ---

void save_fasta_file(FILE *to, int type, bool leavegapsout)
{
    foreigncells cells(type, '[', ']');
    for (int t = 0; t < nt; ++t) {
        std::string name = taxname[t], seq;
        std::replace(name.begin(), name.end(), ' ', '_');
        for (int c = 0; c < nc; ++c) cells.put(t, c, &seq);
        if (leavegapsout) seq.erase(std::remove(seq.begin(), seq.end(), '-'), seq.end());
        fprintf(to, ">%s\n%s\n", name.c_str(), seq.c_str());
    }
}
