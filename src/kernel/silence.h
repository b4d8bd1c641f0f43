// kernel/silence.h: output is silenced in these ways, and no others, for as long as one of these stands.
#pragma once
#include "kernel/output.h"

constexpr unsigned char NOLOG = 1, NOCONSOLE = 2, NOTEXT = 4, NOTHING = 7;     // bits of silent

struct silence {
    unsigned char was = silent;
    explicit silence(int bits) { silent = static_cast<unsigned char>(bits); }
    ~silence() { silent = was; }
    silence(const silence &) = delete;
    silence &operator=(const silence &) = delete;
};
