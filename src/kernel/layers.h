// kernel/layers.h: layers of the arena that outlive a change of a layer beneath them.
//
//     before    | matrix | trees | names | constraints | optimization tables |
//     after     | matrix | trees, more of them | names | constraints |
//
// Most layers are derived: when one beneath changes they are dropped, and rebuilt by whoever needs
// them next.  What the user defined cannot be rebuilt.  Such a layer is kept: it is copied aside, and
// laid again above the changed one; its owner then only moves the pointers that lead into it.
//
// A kept layer stands at the low end alone, holds no pointer into another kept or derived layer, and
// lies beneath all derived ones.  For that, its owner builds, changes and drops it with relayer and
// droplayer, never with lockram, freelock or wipetag (new data drop all layers and clear all tags):
//
//     static void movenames(const layermove &move)
//     {
//         move.rows(charnames, nc);          // the table, and the texts that its entries lead to
//     }
//     ...
//     keeplayer(&cnamestag, movenames);                      // once is enough; again does no harm
//     relayer(&cnamestag, [&] { charnames = lorows<char>(nc, width); ... });
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>

// From where to where a layer moved.  Pointers that do not lead into it stay as they are.
struct layermove {
    const char *from, *end;       // where it lay
    ptrdiff_t by;                 // bytes it moved; may be 0
    template<class T> void operator()(T *&p) const
    {
        const char *at = reinterpret_cast<const char *>(p);
        if (at >= from && at < end) p = reinterpret_cast<T *>(reinterpret_cast<intptr_t>(at) + by);
    }
    template<class T> void rows(T **&table, size_t n) const    // a table in the layer, and its entries
    {
        if (!table) return;
        (*this)(table);
        for (size_t i = 0; i < n; ++i) (*this)(table[i]);
    }
};

// The layer under this tag is kept from now on; moved is called after each move, with the contents at
// their new place.  Holds until the end of the program, whether the layer exists or not.
void keeplayer(int *tag, void (*moved)(const layermove &move));

// Drops the layer (if there is one), calls lay to build it anew at the low end, and locks it.  Kept
// layers above it are laid again, derived ones are gone.  Scratch at the high end survives; scratch at
// the low end, and what was in the layer, do not: what lay copies must be at the high end.  Whoever
// cannot let lay run out of memory asks first whether relayroom suffices.
void relayer(int *tag, const std::function<void()> &lay);
void droplayer(int *tag);         // the same, without a new layer; nothing for a tag of 0

// Bytes that lay can have at most, if the caller first takes scratch bytes at the high end.  Less than
// 0: there is not even room to copy the kept layers aside.
double relayroom(const int *tag, double scratch);
