// Small helpers for texts.
#pragma once

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

}  // namespace utility::Misc
