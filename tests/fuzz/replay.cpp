// Usage: fuzz_TARGET FOLDER...
//
// Gives the target each file of the folders, without a fuzzing compiler.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_target.h"

namespace {

std::vector<std::filesystem::path> filesOf(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  int taken = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::filesystem::path& path : filesOf(argv[i])) {
      std::cout << path.string() << std::endl;  // the last one is the one that ends the program
      std::ifstream file(path, std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file),
                              std::istreambuf_iterator<char>()};
      if (!file) {
        std::cerr << "cannot be read\n";
        return EXIT_FAILURE;
      }
      // Not the string itself, which has a byte behind its end.
      const auto input = std::make_unique<char[]>(bytes.size());
      std::copy(bytes.begin(), bytes.end(), input.get());
      tarnwick::takeInput({input.get(), bytes.size()});
      ++taken;
    }
  }
  return taken > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
