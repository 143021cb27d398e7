// Formatting into a buffer that must be large enough.
#include "host/log/fw_SnprintfAssert.h"

#include <cstdarg>
#include <cstdio>

#include "host/log/fw_Logger.h"

int snprintfAssert(const char* source, int line, const char* method, char* buffer, std::size_t size,
                   const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  if (length < 0 || static_cast<std::size_t>(length) >= size) {
    framework::Logger::StaticLogMethod(framework::LogType::Error, method, line,
                                       "%s: a text of %d bytes was cut at %zu", source, length,
                                       size);
  }
  return length;
}
