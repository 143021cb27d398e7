// Formatting into a buffer that must be large enough.
#pragma once

#include <cstddef>

/// Formats as snprintf(3). A text that does not fit is cut, and an error line names the place:
/// the source's name, its line and the method.
int snprintfAssert(const char* source, int line, const char* method, char* buffer, std::size_t size,
                   const char* format, ...) __attribute__((format(printf, 6, 7)));
