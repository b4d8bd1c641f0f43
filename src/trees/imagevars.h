// trees/imagevars.h: the variables that describe the packed image in force, and what searches lay on it, as one record.
//
// The reduced data of a sector are an image of their own, on top of the whole one and used by the same
// searches.  A module whose variables follow the image names them once:
//
//     static const keptwithimage ofimage(foldcells, rowcells, dnrows);
//
// What they point to stays where it is: the record is of the variables alone.
#pragma once
#include <cstddef>

struct imagevar { void *at; size_t size; };

struct imagevars {
    const imagevar *list = nullptr;
    size_t count = 0;
    const imagevars *next = nullptr;
};
extern const imagevars *allimagevars;      // of all modules

template<class... T> struct keptwithimage : imagevars {
    imagevar vars[sizeof...(T)];
    explicit keptwithimage(T &...v) : vars{ imagevar{ &v, sizeof v }... }
    {
        list = vars;
        count = sizeof...(T);
        next = allimagevars;
        allimagevars = this;
    }
    keptwithimage(const keptwithimage &) = delete;
};

size_t imagevars_size();               // bytes of a record
void save_imagevars(void *to);
void load_imagevars(const void *from);
