// /data/inode.txt

#include <optional>

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/inode_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text(input);
  const size_t block = 1 + input.size() % 61;
  InodePaths paths;
  inode_reading::merge(paths, text, [block] { return block; });
  const auto expected = inode_reading::sscanfPathsOf(text);
  expectSame(paths.size(), expected.size());
  for (const auto& [key, path] : expected) {
    expectSame(paths.find(LoneText(key)), std::optional<std::string_view>(path));
  }
}

}  // namespace tarnwick
