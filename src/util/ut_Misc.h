// Small helpers for texts.
#pragma once

#include <cstdint>
#include <cstring>

namespace utility::Misc {

/// Blank, tab, line feed or carriage return.
inline bool isWS(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Cuts trailing white space off the terminated `text` in place and answers the place of its first
/// character that is not white space.
inline char* trim(char* text) {
  while (isWS(*text)) ++text;
  char* end = text + std::strlen(text);
  while (end > text && isWS(end[-1])) --end;
  *end = '\0';
  return text;
}

/// Whether the character is a hexadecimal digit of either letter case.
bool isHexChar(char c);

/// Writes the value in hexadecimal, capital letters, into `buffer` of `size` bytes, terminated and
/// cut at the size; `padded` gives it all 16 digits. A null buffer or a size below 1 writes
/// nothing.
void toHexString(unsigned long long value, bool padded, char* buffer, int size);

/// The value of the hexadecimal digits with which a text begins, 0 when there are none; of more
/// than 16 digits the last 16 count.
std::uint64_t uint64FromHexString(const char* text);

}  // namespace utility::Misc
