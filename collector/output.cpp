#include <android/log.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "collector/stdout_section.h"
#include "sysstat/control_characters.h"

namespace tarnwick {

// A process, thread, file or interface can have any name, and a terminal obeys what is in it.
int StatsCollector::printToTerminal(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) {
    return length;
  }
  std::string text(static_cast<size_t>(length) + 1, '\0');
  vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  replaceControlCharacters(text, "\n\t");
  fwrite(text.data(), 1, text.size(), stdout);
  return length;
}

int StatsCollector::output(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int result = 0;
  if (useStdout) {
    const StdoutSection section;
    printMessages();
    result = stdoutIsTerminal ? printToTerminal(format, arguments) : vprintf(format, arguments);
  } else {
    std::array<char, 1024> record{};
    vsnprintf(record.data(), record.size(), format, arguments);
    // There is one level only: the error priority passes every filter that a device may have set.
    result = __android_log_write(ANDROID_LOG_ERROR, "Tarnwick", record.data());
  }
  va_end(arguments);
  return result;
}

}  // namespace tarnwick
