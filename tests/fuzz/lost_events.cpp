// The lines of trace_pipe that tell of losses

#include "trace/lost_events.h"

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/lost_events_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  forEachStreamLine(input, [](const std::string& line) {
    expectSame(parseLostEvents(LoneText(line)), lost_events_reading::sscanfLostEventsOf(line));
  });
}

}  // namespace tarnwick
