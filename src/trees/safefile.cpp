// Files that are written whole or not at all.
#include "trees/safefile.h"
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

safefile::~safefile() { safeabandon(this); }

// A link is followed, so that it goes on pointing to the file.
static std::string truename(const char *name)
{
    char *real = realpath(name, nullptr);
    std::string path = real ? real : name;
    free(real);
    return path;
}

bool safeopen(safefile *f, const char *name)
{
    struct stat st;
    signal(SIGXFSZ, SIG_IGN);        // a file at its size limit is a failure to write, as a full disk
    f->name = name;
    f->path = truename(name);
    f->temporary.clear();
    bool exists = !stat(f->path.c_str(), &st);
    if (exists && !S_ISREG(st.st_mode)) {
        f->stream = S_ISDIR(st.st_mode) ? nullptr : fopen(f->path.c_str(), "wb");
        return f->stream;
    }
    if (exists && access(f->path.c_str(), W_OK)) return false;
    f->temporary = f->path + ".new" + std::to_string(getpid());
    int fd = open(f->temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0) return false;
    if (exists && fchmod(fd, st.st_mode & 07777)) { /* the new file then has the rights of any new file */ }
    f->stream = fdopen(fd, "wb");
    if (!f->stream) {
        close(fd);
        unlink(f->temporary.c_str());
    }
    return f->stream;
}

bool safeclose(safefile *f)
{
    if (!f->stream) return false;
    bool ok = !ferror(f->stream) && !fflush(f->stream);
    if (ok && !f->temporary.empty()) fsync(fileno(f->stream));     // the name must not arrive before the contents
    ok = !fclose(f->stream) && ok;
    f->stream = nullptr;
    if (f->temporary.empty()) return ok;
    ok = ok && !rename(f->temporary.c_str(), f->path.c_str());
    if (!ok) unlink(f->temporary.c_str());
    return ok;
}

void safeabandon(safefile *f)
{
    if (!f->stream) return;
    fclose(f->stream);
    f->stream = nullptr;
    if (!f->temporary.empty()) unlink(f->temporary.c_str());
}

bool readwhole(const char *name, std::string *text)
{
    FILE *in = fopen(name, "rb");
    if (!in) return false;
    char block[65536];
    text->clear();
    for (size_t n; (n = fread(block, 1, sizeof block, in)) > 0; ) text->append(block, n);
    bool ok = !ferror(in);
    fclose(in);
    return ok;
}
