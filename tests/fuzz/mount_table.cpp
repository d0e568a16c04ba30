// /proc/self/mountinfo

#include "trace/mount_table.h"

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/mountinfo_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  // The reading by the C library ends at a NUL, which no file name has.
  const std::string text(input.substr(0, input.find('\0')));
  const auto table = MountTable::parse(LoneText(text));
  const auto expected = mountinfo_reading::mountsOf(text);
  expectSame(table.has_value(), expected.has_value());
  if (!table) {
    return;
  }
  const auto parents = mountinfo_reading::parentsOf(*expected);
  for (const auto& mount : *expected) {
    const std::string parent = mountinfo_reading::parentOf(mount);
    expectSame(table->hasMountIn(LoneText(parent)), parents.contains(parent));
    expectSame(table->hasMountIn(mount.point), parents.contains(mount.point));
  }
}

}  // namespace tarnwick
