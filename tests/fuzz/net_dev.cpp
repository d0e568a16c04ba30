// /proc/net/dev

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/net_dev_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  const LoneText lone(text);
  expectSame(net_dev_reading::interfacesOf(std::string_view(lone)),
             net_dev_reading::sscanfInterfacesOf(text));
}

}  // namespace tarnwick
