// The peer of loading an inode cache: getline, sscanf and a map of strings.
//
//   inode_peer FILE

#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

int main(int argc, char** argv) {
  std::ifstream cache(argc > 1 ? argv[1] : "");
  std::map<std::string, std::string> paths;
  std::array<char, 80> key;
  std::array<char, 512> path;
  for (std::string line; std::getline(cache, line);) {
    if (sscanf(line.c_str(), "%79s %511s", key.data(), path.data()) == 2) {
      paths.emplace(key.data(), path.data());
    }
  }
  printf("%zu\n", paths.size());
}
