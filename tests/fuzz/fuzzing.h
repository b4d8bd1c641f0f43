// fuzzing.h: boots an interpreter that prints nothing, and gives one reader one input.
#pragma once
#include <cstddef>
#include <cstdint>

void fuzzboot(const char *commands);                  // once; commands to run after the boot
void fuzzread(void (*handler)(), const char *before, const uint8_t *data, size_t size);
// The handler alone reads `before` and the data as a file, as if its word had just been read; what
// follows its semicolon is not run.
void fuzztaxa();                                      // once; boots with a matrix of nine taxa for the readers of trees
const char *fuzzfile(const uint8_t *data, size_t size);   // writes the data to a file; returns its name
