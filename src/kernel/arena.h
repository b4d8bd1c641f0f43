// kernel/arena.h: all analysis data live in one block with two ends.
//
//   memseg       minseg       loseg                 hiseg       maxeg      topram
//     | locked low | working low |        free        | working high | locked high |
//
// A layer (matrix, tree buffer, search tables) is built at the low end and locked under its
// tag; scratch may stand at either end and dies with the command.  Nothing is freed singly.
// Invariant: memseg <= minseg <= loseg <= hiseg <= maxeg <= topram; the four working marks are
// multiples of 8.  Only this module writes these variables.
#pragma once
#include <cstddef>
#include <cstdint>

extern char *memseg, *botram;   // start of the block as the system gave it; null before boot
extern char *minseg;            // low lock boundary
extern char *loseg;             // next low allocation starts here
extern char *hiseg;             // next high allocation ends here
extern char *maxeg;             // high lock boundary
extern char *topram;            // end of the usable block: start + size - 16
extern uint64_t Minram;         // bytes asked from the system; starts at 0x1000000
extern uint64_t maxramused;     // most bytes in use since last cleared
extern uint64_t maxram_so_far;  // the same over all commands
extern double   ram_x_proportion;   // scale of the memory expected for data; 0 = no scaling (start)
extern int      autoset_ram;        // grow the arena when reading data that do not fit; starts at 1
extern int      allow_extra_sch_mem;// warn when less than 5% is free after packing; starts at 1
extern int      nlocks;             // locks held, 0..50

// The layer tags: 0 = the layer does not exist (or is stale), else the number of its lock.
extern int datonlytag, datatag, cnamestag, consttag, opttag, ccodetag, sanktag, schtag, packtag;

inline size_t vailram()  { return size_t(hiseg - loseg); }   // bytes free between the ends
inline size_t used_ram() { return size_t(loseg - memseg); }

// Allocation.  Sizes are bytes, rounded up to 8; running out is an error of the command
// ("... - out of ram (change "hold" and/or "mxram")") and does not return.
void *loram(size_t n);     // low end, undefined contents
void *hiram(size_t n);     // high end, undefined contents
void *zloram(size_t n);    // zero-filled
void *zhiram(size_t n);
void *fulloram(size_t n);  // low end, filled with bytes 255
void *safloram(size_t n);  // low end; fails with "Not enough RAM" after putting back half-replaced tables
void **loray(size_t rows, size_t cols, size_t size);   // row pointers, rows contiguous in order
void **zloray(size_t rows, size_t cols, size_t size);
void **hiray(size_t rows, size_t cols, size_t size);
void *uniloralloc(void *array, size_t oldcount, size_t newcount, size_t size);   // extend the array on top of the low end
void *unihiralloc(void *array, size_t oldcount, size_t newcount, size_t size);   // extend the lowest array of the high end; moves it
void **loralloc(void **array, size_t rows, size_t oldcols, size_t newcols, size_t size);  // widen a loray on top of the low end

template<class T> T *lo(size_t n)   { return static_cast<T *>(loram(n * sizeof(T))); }
template<class T> T *zlo(size_t n)  { return static_cast<T *>(zloram(n * sizeof(T))); }
template<class T> T *hi(size_t n)   { return static_cast<T *>(hiram(n * sizeof(T))); }
template<class T> T *zhi(size_t n)  { return static_cast<T *>(zhiram(n * sizeof(T))); }
template<class T> T **lorows(size_t r, size_t c)  { return reinterpret_cast<T **>(loray(r, c, sizeof(T))); }
template<class T> T **zlorows(size_t r, size_t c) { return reinterpret_cast<T **>(zloray(r, c, sizeof(T))); }
template<class T> T **hirows(size_t r, size_t c)  { return reinterpret_cast<T **>(hiray(r, c, sizeof(T))); }

// Marks.
char *lomark(); char *losegis();     // loseg now
char *himark(); char *hisegis();     // hiseg now
void loset(char *mark);              // "Heap deallocation error" outside minseg..loseg
void hiset(char *mark);
void freelo(); void freehi(); void freeli(); void ram_refresh();

// Locks.
void lockram(int *tag);    // lock what is allocated now at both ends; "Too many ram locks", "Void lock tag"
void freelock(int *tag);   // drop the layer; "Unlock error" when it does not exist
void wipetag(int *tag);    // the same, but nothing for a tag of 0
char  *giveme_protralo(int lock);     // low mark stored at a lock
size_t getTagLowSize(int lock);       // its distance from the bottom mark
void   openlayer(int lock);           // all of its low end may be copied at once, also what the rounding of sizes left unused

extern void (*kill_all_threads)();    // stops the workers before layers from schtag up go; null until there are any

void ramset();                        // ask the system for Minram bytes, halving until it agrees
void replacearena(uint64_t bytes);    // give the block back and take another; all pointers into it die
void ram_autoreset(uint64_t size);    // replace the whole arena; only when no data are in memory
void ramreset();                      // the command mxram
void showram();
void writembytes(uint64_t bytes);     // "%.2f Mbytes", composed without a line end
void giveram(double *mbytes);
int  giveramperc();
void reset_ram_measure();
void checkarena();                    // asserts the invariant
