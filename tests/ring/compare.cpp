// Compares what a trace holds as text with what it holds as pages of the ring buffer.
//
//   tarnwick_ring_compare FOLDER...
//   tarnwick_ring_compare --save NEW FOLDER    copies the folder first, and compares the copy
//
// A folder of the kernel has to have its tracing switched off; its pages are gone afterwards.
//
// Prints how many events each folder has of each kind. Status 1 when the two ways differ.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/unit/support/ring_capture.h"

namespace tarnwick {
namespace {

bool same(const char* folder) {
  const RingCapture capture(folder);
  if (!capture.layout()) {
    printf("%s: no layout of pages\n", folder);
    return false;
  }
  const std::vector<RingCapture::Event> text = capture.fromText();
  RingCapture::Missed missed;
  const std::optional<std::vector<RingCapture::Event>> ring = capture.fromPages(&missed);
  if (!ring) {
    printf("%s: a page makes no sense\n", folder);
    return false;
  }
  const auto scheds = std::count_if(ring->begin(), ring->end(),
                                    [](const auto& event) { return event.sched.has_value(); });
  printf("sched=%td page_cache=%td missed=%ju unknown=%ju\n", scheds,
         static_cast<ptrdiff_t>(ring->size()) - scheds, static_cast<uintmax_t>(missed.events),
         static_cast<uintmax_t>(missed.unknown));
  for (size_t at = 0; at < std::max(text.size(), ring->size()); ++at) {
    const std::string fromText = at < text.size() ? text[at].text() : "nothing";
    const std::string fromRing = at < ring->size() ? (*ring)[at].text() : "nothing";
    if (fromText != fromRing) {
      printf("%s: event %zu is %s as text, %s in the ring\n", folder, at, fromText.c_str(),
             fromRing.c_str());
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace tarnwick

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 3 && arguments[0] == "--save") {
    tarnwick::RingCapture(arguments[2]).save(arguments[1]);
    return tarnwick::same(arguments[1].c_str()) ? 0 : 1;
  }
  bool allSame = !arguments.empty();
  for (const std::string& folder : arguments) {
    allSame = tarnwick::same(folder.c_str()) && allSame;
  }
  return allSame ? 0 : 1;
}
