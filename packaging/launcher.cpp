// Starts the program of the bundle, wherever the bundle lies.
//
// A program that is linked to shared libraries names its dynamic loader by an absolute path, and a
// device has none there that could load this one. What is started is therefore this file, which is
// linked statically: it needs no loader, and no shell either, whose place is not the same on every
// device. It becomes the loader of the bundle, with the libraries of the bundle. No variable is set
// for that: the device's own tools, which the program calls, would inherit it.
//
// The process keeps its id, for signals, and its name: the kernel takes it from the file that is
// executed, so the loader in the bundle has the name of the program.

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  // The kernel's answer is the file itself, whatever link has led to it.
  std::array<char, PATH_MAX> self{};
  if (readlink("/proc/self/exe", self.data(), self.size() - 1) < 0) {
    perror("tarnwick: /proc/self/exe");
    return 1;
  }
  std::string folder = self.data();
  folder.resize(folder.rfind('/') + 1);

  const std::string loader = folder + "loader/tarnwick";
  const std::string libraries = folder + "lib";
  const std::string program = folder + "program/tarnwick";
  // The loader takes both for the end of a path.
  if (libraries.find_first_of(":;") != std::string::npos) {
    fprintf(stderr, "tarnwick: cannot run below a folder with : or ; in its name: %s\n",
            folder.c_str());
    return 1;
  }

  const char* const name = argc > 0 ? argv[0] : "tarnwick";
  std::vector<const char*> arguments = {
      name, "--inhibit-cache", "--library-path", libraries.c_str(), "--argv0",
      name, program.c_str()};
  for (int i = 1; i < argc; ++i) {
    arguments.push_back(argv[i]);
  }
  arguments.push_back(nullptr);
  execv(loader.c_str(), const_cast<char* const*>(arguments.data()));
  perror(loader.c_str());
  return 1;
}
