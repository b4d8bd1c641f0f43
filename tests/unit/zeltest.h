// zeltest.h: what unit tests share: a booted interpreter, the text it prints, random data.
#pragma once
#include <gtest/gtest.h>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

std::string zelrun(const std::string &commands);   // boots at first; runs the commands; returns what they printed
bool zelfailed();                                  // the last zelrun ended in an error
std::string tempdir();                             // a folder of this process, removed at exit
std::string writefile(const std::string &name, const std::string &text);   // in tempdir; returns the path
std::string readfile(const std::string &path);
std::string datafile(const std::string &name);     // path of a file of the shared test data; "" where absent
