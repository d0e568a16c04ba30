// The lines of trace_pipe with events of the scheduler

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/sched_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  forEachStreamLine(input, [](const std::string& line) {
    expectSame(sched_reading::eventOf(LoneText(line)), sched_reading::sscanfEventOf(line));
  });
}

}  // namespace tarnwick
