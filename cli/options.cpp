#include "cli/options.h"

#include <utility>

namespace tarnwick {

Options gOptions;

void parseOptions(int argc, char** argv) {
  std::optional<Options> options = parseCommandLine(argc, argv);
  if (!options) {
    printUsage(argv);
  }
  gOptions = *std::move(options);
}

}  // namespace tarnwick
