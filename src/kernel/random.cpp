// Seeds.  A run is repeated exactly by giving its seed again, so a loop of replications draws each
// seed from the previous one and takes none twice.
#include "kernel/random.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>

int ranseed = 1;

void randinit()
{
    if (ranseed == -1) return;
    srand(ranseed ? unsigned(ranseed) : unsigned(time(nullptr)));
}

int chkseed(const int *seeds, int n, int seed)
{
    while (std::find(seeds, seeds + n, seed) != seeds + n) {
        int64_t product = int64_t(rand()) * seed;
        int divisor = rand();
        while (!divisor) divisor = rand();
        seed = int(uint64_t(product / divisor) & 0x7fffffff);   // never negative: -1 is no seed
        if (!seed) seed = 1;
    }
    return seed;
}
