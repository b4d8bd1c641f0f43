// script/hifile.h: input files that a script reads by itself, word by word, with "hifile".
#pragma once
#include <cstdio>
#include <string>

struct hifilerec {
    char  name[160];
    int   number;
    int   line;           // lines passed
    FILE *stream;         // null: the record is free
};
extern hifilerec *hifiles;            // maxhifiles records in macro memory
extern int numhifiles, acthifile, curhifile;   // next number; the active file, -1 none; the record used last

FILE *getdafp();                      // reads "[name]" if it is there; the stream of that file or of the active one
std::string hifstring();              // the next word of the active file
void lay_hifiles();
void close_hifiles();
void checkhifiles();
double hifnumber();                   // a number of a file; eats what ends it unless "hifile ]" is in force
