// Reading and printing host timestamps.
#include "util/ut_TimeMeasure.h"

#include <ctime>

#include "util/ut_BufferStream.h"
#include "util/ut_System.h"

namespace utility {

std::int64_t TimeMeasure::getTimestamp() { return System::current().now(); }

char* TimeMeasure::printTimestamp(long long value, char* buffer, int size) {
  return printWallTime(value + System::current().wallOffset(), buffer, size);
}

char* TimeMeasure::printWallTime(long long value, char* buffer, int size) {
  const std::time_t seconds = getSeconds(value);
  std::tm local{};
  char text[64] = "";
  if (::localtime_r(&seconds, &local) != nullptr)
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  BufferStream(buffer, size, true).PutS(text);
  return buffer;
}

}  // namespace utility
