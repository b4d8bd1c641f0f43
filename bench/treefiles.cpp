// Tree files of both forms, written and read: seconds, and trees in a second.  The reference in the
// same run is the bytes of the file written and read by plain calls of the C library.
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <cstdio>
#include <string>

static const std::string folder = "/tmp/zel_bench_";

static void report(const char *what, double megabytes, double seconds)
{
    printf("%-34s %9.1f %9.2f %12.0f\n", what, megabytes, seconds, trees_in_mem / seconds);
}

static double megabytes(const std::string &name)
{
    FILE *f = fopen(name.c_str(), "rb");
    if (!f) return 0;
    fseek(f, 0, SEEK_END);
    double size = double(ftell(f)) / 1e6;
    fclose(f);
    return size;
}

static void timed(const char *what, const std::string &name, const std::string &commands)
{
    double start = now();
    gtkZel(commands.c_str());
    double seconds = now() - start;
    report(what, megabytes(name), seconds);
}

static void plainly(const std::string &name)
{
    std::string bytes(size_t(megabytes(name) * 1e6), 0);
    double start = now();
    if (FILE *f = fopen(name.c_str(), "rb")) {
        bytes.resize(fread(bytes.data(), 1, bytes.size(), f));
        fclose(f);
    }
    report("(the same bytes, read)", double(bytes.size()) / 1e6, now() - start);
    start = now();
    if (FILE *f = fopen((name + ".copy").c_str(), "wb")) {
        fwrite(bytes.data(), 1, bytes.size(), f);
        fclose(f);
    }
    report("(the same bytes, written)", double(bytes.size()) / 1e6, now() - start);
    remove((name + ".copy").c_str());
}

static void both(const char *written, const char *read, const std::string &name, const char *star, const char *reader)
{
    timed(written, name, "tsave " + std::string(star) + "=" + name + ";");
    gtkZel("keep 0;hold 100;");
    timed(read, name, std::string(reader) + " " + name + ";");
    plainly(name);
    remove(name.c_str());
}

int main()
{
    constexpr int TAXA = 500, TREES = 10000;
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 400;report-;silent=all;");
    std::string matrix = folder + "trees.xread", text = "xread 1 " + std::to_string(TAXA) + "\n";
    for (int t = 0; t < TAXA; ++t) text += "Taxon_" + std::to_string(t) + " 0\n";
    if (FILE *f = fopen(matrix.c_str(), "w")) {
        fputs((text + ";\nprocedure/;\n").c_str(), f);
        fclose(f);
    }
    gtkZel(("procedure " + matrix + ";rseed 1;").c_str());
    remove(matrix.c_str());
    gtkZel(("randtrees " + std::to_string(TREES) + " 10;").c_str());
    printf("%i trees of %i taxa, in %.1f million bytes of memory (%.1f are their nodes)\n", trees_in_mem, nt,
           double(getTagLowSize(datatag) - getTagLowSize(datonlytag)) / 1e6, 4.0 * nodz * maxtrees / 1e6);
    printf("%-34s %9s %9s %12s\n", "", "megabytes", "seconds", "trees/second");
    both("compact, written", "compact, read", folder + "trees.ctf", "", "shortread");
    both("numbers, written", "numbers, read", folder + "trees.tre", "*", "procedure");
    gtkZel("taxname=;");
    both("names, written", "names, read", folder + "trees.tre", "*", "procedure");
}
