// The arena: one block, a bump pointer at each end, and a stack of marks for what must outlive
// the command.  Freeing any amount is one store, so that searches may take scratch memory in
// their inner loops, and nothing can fragment or leak.
//
// In sanitizer builds whatever lies between the two ends is poisoned, so that the use of a
// region after its mark was put back is found at once.
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cassert>
#include <cstring>
#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

#ifdef ZEL_TINY
constexpr uint64_t BOOTRAM = 0x10000;    // small, so that running out and growing are exercised
#else
constexpr uint64_t BOOTRAM = 0x1000000;
#endif
constexpr uint64_t LEASTRAM = 101;       // below this the system is not asked again
constexpr int      MAXLOCKS = 50;

char *memseg, *botram, *minseg, *loseg, *hiseg, *maxeg, *topram;
uint64_t Minram = BOOTRAM, maxramused, maxram_so_far;
double ram_x_proportion;
int autoset_ram = 1, allow_extra_sch_mem = 1, nlocks;
int datonlytag, datatag, cnamestag, consttag, opttag, ccodetag, sanktag, schtag, packtag;
void (*kill_all_threads)();

// What was locked, and how much: entry 0 is the bottom, with a dummy tag and the initial marks.
struct lockrec { int *tag; char *lo, *hi; };
static lockrec  locks[MAXLOCKS + 1];
static int      dummytag;
static uint64_t blocksize;               // bytes of the block, as given back to the system

constexpr size_t round8(size_t n) { return (n + 7) & ~size_t(7); }
static char *up8(char *p)   { return reinterpret_cast<char *>(round8(reinterpret_cast<uintptr_t>(p))); }
static char *down8(char *p) { return reinterpret_cast<char *>(reinterpret_cast<uintptr_t>(p) & ~uintptr_t(7)); }

static void measure()
{
    maxramused = std::max(maxramused, uint64_t(loseg - botram) + uint64_t(topram - hiseg));
}

[[noreturn]] static void ramerr()
{
    errmsg(current_command, " - out of ram (change \"hold\" and/or \"mxram\")", nullptr);
}

// --- allocation --------------------------------------------------------------------------

void *loram(size_t n)
{
    if (n > vailram()) ramerr();
    char *at = loseg;
    loseg += round8(n);
    ASAN_UNPOISON_MEMORY_REGION(at, n);
    measure();
    return at;
}

void *hiram(size_t n)
{
    if (n > vailram()) ramerr();
    hiseg -= round8(n);
    ASAN_UNPOISON_MEMORY_REGION(hiseg, n);
    measure();
    return hiseg;
}

static void *filled(void *at, size_t n, int byte)
{
    ASAN_UNPOISON_MEMORY_REGION(at, round8(n));
    if (n) memset(at, byte, round8(n));
    return at;
}

void *zloram(size_t n)   { return filled(loram(n), n, 0); }
void *zhiram(size_t n)   { return filled(hiram(n), n, 0); }
void *fulloram(size_t n) { return filled(loram(n), n, 255); }

void *safloram(size_t n)
{
    if (n > vailram()) errmsg("Not enough RAM", nullptr);
    return loram(n);
}

// Rows are contiguous and in order, so that a whole table can be copied or cleared at once.
static void **rowarray(size_t rows, size_t cols, size_t size, void *(*take)(size_t), void *(*takeblock)(size_t))
{
    size_t pointers, cells, bytes;
    if (__builtin_mul_overflow(rows, sizeof(void *), &pointers) || __builtin_mul_overflow(rows, cols, &cells) ||
        __builtin_mul_overflow(cells, size, &bytes) || bytes > SIZE_MAX - 8)
        errmsg("Cannot allocate that much RAM!", nullptr);
    void **row = static_cast<void **>(take(pointers));
    char *block = static_cast<char *>(takeblock(bytes));
    for (size_t i = 0; i < rows; ++i) row[i] = block + i * cols * size;
    return row;
}

void **loray(size_t rows, size_t cols, size_t size)  { return rowarray(rows, cols, size, loram, loram); }
void **zloray(size_t rows, size_t cols, size_t size) { return rowarray(rows, cols, size, loram, zloram); }
void **hiray(size_t rows, size_t cols, size_t size)  { return rowarray(rows, cols, size, hiram, hiram); }

void *uniloralloc(void *array, size_t oldcount, size_t newcount, size_t size)
{
    size_t was = round8(oldcount * size), is = round8(newcount * size);
    assert(newcount >= oldcount);
    if (!array || !oldcount) return loram(newcount * size);
    assert(static_cast<char *>(array) + was == loseg);
    loram(is - was);
    ASAN_UNPOISON_MEMORY_REGION(array, newcount * size);
    return array;
}

void *unihiralloc(void *array, size_t oldcount, size_t newcount, size_t size)
{
    size_t was = round8(oldcount * size), is = round8(newcount * size);
    assert(newcount >= oldcount);
    if (!array || !oldcount) return hiram(newcount * size);
    assert(array == hiseg);
    char *at = static_cast<char *>(hiram(is - was));
    ASAN_UNPOISON_MEMORY_REGION(at, newcount * size);
    memmove(at, array, oldcount * size);
    return at;
}

void **loralloc(void **array, size_t rows, size_t oldcols, size_t newcols, size_t size)
{
    assert(newcols >= oldcols);
    if (!rows) return array;
    char *block = static_cast<char *>(array[0]);
    size_t was = round8(rows * oldcols * size), is = round8(rows * newcols * size);
    assert(block + was == loseg);
    loram(is - was);
    ASAN_UNPOISON_MEMORY_REGION(block, rows * newcols * size);
    for (size_t i = rows; i-- > 0; ) {       // from the last: a row's new place lies on later rows' old one
        array[i] = block + i * newcols * size;
        memmove(array[i], block + i * oldcols * size, oldcols * size);
    }
    return array;
}

// --- marks -------------------------------------------------------------------------------

// Every change of the working marks that gives memory back ends here.
static void setlo(char *p)
{
    if (p < loseg) ASAN_POISON_MEMORY_REGION(p, size_t(loseg - p));
    loseg = p;
}

static void sethi(char *p)
{
    if (p > hiseg) ASAN_POISON_MEMORY_REGION(hiseg, size_t(p - hiseg));
    hiseg = p;
}

char *lomark()   { return loseg; }
char *losegis()  { return loseg; }
char *himark()   { return hiseg; }
char *hisegis()  { return hiseg; }

void loset(char *mark)
{
    mark = up8(mark);
    if (mark < minseg || mark > loseg) errmsg("Heap deallocation error", nullptr);
    setlo(mark);
}

void hiset(char *mark)
{
    mark = down8(mark);
    if (mark < hiseg || mark > maxeg) errmsg("Heap deallocation error", nullptr);
    sethi(mark);
}

void freelo()      { setlo(minseg); }
void freehi()      { sethi(maxeg); }
void freeli()      { freelo(); freehi(); }
void ram_refresh() { freeli(); }

// --- locks -------------------------------------------------------------------------------

void lockram(int *tag)
{
    if (nlocks >= MAXLOCKS) errmsg("Too many ram locks", nullptr);
    if (!tag) errmsg("Void lock tag", nullptr);
    *tag = ++nlocks;
    locks[nlocks] = { tag, loseg, hiseg };
    minseg = loseg;
    maxeg = hiseg;
}

static void unlock(int *tag)
{
    int lock = *tag;
    if (lock < 1 || lock > nlocks || locks[lock].tag != tag) errmsg("Unlock error", nullptr);
    *tag = 0;
    nlocks = lock - 1;
    minseg = locks[nlocks].lo;
    maxeg = locks[nlocks].hi;
    setlo(minseg);
    sethi(maxeg);
}

void freelock(int *tag)
{
    if (!tag || !*tag) errmsg("Unlock error", nullptr);
    unlock(tag);
}

void wipetag(int *tag)
{
    if (!*tag) return;
    if (schtag && *tag >= schtag && kill_all_threads) kill_all_threads();   // they may be using those layers
    unlock(tag);
}

char *giveme_protralo(int lock)
{
    assert(lock >= 0 && lock <= nlocks);
    return locks[lock].lo;
}

void openlayer(int lock)
{
    char *from = giveme_protralo(lock - 1);
    ASAN_UNPOISON_MEMORY_REGION(from, size_t(giveme_protralo(lock) - from));
}

size_t getTagLowSize(int lock) { return size_t(giveme_protralo(lock) - locks[0].lo); }

// --- the block ---------------------------------------------------------------------------

static void giveback()
{
    if (!memseg) return;
    ASAN_UNPOISON_MEMORY_REGION(memseg, blocksize);
    munmap(memseg, blocksize);
    memseg = botram = minseg = loseg = hiseg = maxeg = topram = nullptr;
    blocksize = 0;
}

// Asks for Minram bytes, and for half of it until the system agrees; true when it had to halve.
static bool takeblock()
{
    bool halved = false;
    void *block;
    nlocks = 0;
    locks[0] = { &dummytag, nullptr, nullptr };
    for (;;) {
        block = mmap(nullptr, std::max<uint64_t>(Minram, 1), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block != MAP_FAILED) break;
        halved = true;
        Minram /= 2;
        if (Minram < LEASTRAM)
            errmsg("Allocation failure: not enough RAM available,\ncan't recover from error", nullptr);
    }
    blocksize = std::max<uint64_t>(Minram, 1);
    botram = memseg = static_cast<char *>(block);
    minseg = loseg = up8(memseg);
    topram = memseg + (Minram > 16 ? Minram - 16 : 0);
    maxeg = hiseg = down8(topram);
    locks[0] = { &dummytag, minseg, maxeg };
    ASAN_POISON_MEMORY_REGION(loseg, vailram());
    measure();
    return halved;
}

static void complain()
{
    tojoin("Allocation failure: not enough RAM available,\nallocated only ");
    writembytes(uint64_t(hiseg - loseg));
    spewout();
    errmsg(nullptr);
}

void ramset()
{
    if (takeblock()) complain();
}

void replacearena(uint64_t bytes)
{
    giveback();
    Minram = bytes;
    bool halved = takeblock();
    if (admit_typos) {                   // the matching memory is the one layer that comes back
        admit_typos = 0;
        allocate_name_matching();
    }
    if (halved) complain();
}

// The size is what the reader is going to need; what the name matching holds is asked on top.
void ram_autoreset(uint64_t size)
{
    replacearena(size + used_ram() + 16);
}

void reset_ram_measure()
{
    maxramused = maxram_so_far = 0;
    char *mark = lomark();
    loram(0);
    loset(mark);
}

void checkarena()
{
    assert(memseg == botram);
    assert(memseg <= minseg && minseg <= loseg && loseg <= hiseg && hiseg <= maxeg && maxeg <= topram);
    for ([[maybe_unused]] char *mark : { minseg, loseg, hiseg, maxeg })
        assert(reinterpret_cast<uintptr_t>(mark) % 8 == 0);
    assert(nlocks >= 0 && nlocks <= MAXLOCKS);
    for (int i = 1; i <= nlocks; ++i) {
        assert(locks[i].lo >= locks[i - 1].lo && locks[i].hi <= locks[i - 1].hi);
        assert(locks[i].tag);
    }
    if (memseg) assert(locks[nlocks].lo == minseg && locks[nlocks].hi == maxeg);
}
