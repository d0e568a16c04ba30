#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarnwick::bench {

// What no snapshot can avoid: one open, read and close of each file of each numbered entry of a
// directory. Returns the number of entries.
size_t walkNumbered(const char* directory, const std::vector<const char*>& files);

// One open, read and close of a file, of at most as many bytes as the program takes.
void readWhole(const char* path, std::vector<char>& buffer);

}  // namespace tarnwick::bench
