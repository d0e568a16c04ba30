// The lines of trace_pipe with events of the page cache

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/page_cache_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  forEachStreamLine(input, [](const std::string& line) {
    expectSame(page_cache_reading::eventOf(LoneText(line)),
               page_cache_reading::sscanfEventOf(line));
  });
}

}  // namespace tarnwick
