// The floor of a process or thread snapshot.
//
//   proc_walk DIRECTORY FILE...
//
// Opens, reads and closes the files of each numbered entry of the directory ("/proc stat"), and
// does nothing with what is in them.

#include <unistd.h>

#include <cstdio>

#include "bench/floors.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    fputs("proc_walk DIRECTORY FILE...\n", stderr);
    return 1;
  }
  printf("%zu\n", tarnwick::bench::walkNumbered(argv[1], {argv + 2, argv + argc}));
}
