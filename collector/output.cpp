#include <android/log.h>

#include <array>
#include <cstdarg>
#include <cstdio>

#include "collector/messages.h"
#include "collector/stats_collector.h"
#include "collector/stdout_section.h"

namespace tarnwick {

int StatsCollector::output(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int result = 0;
  if (useStdout) {
    const StdoutSection section;
    printMessages();
    result = vprintf(format, arguments);
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
