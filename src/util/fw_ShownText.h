// What of a text from outside may reach a terminal, a log or a command line as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace framework {

enum class CharacterKind {
  Shown,
  Control,   ///< a control of ASCII or of C1, or one that turns or breaks a line (U+2028 and such)
  Malformed  ///< a byte that is part of no UTF-8 character
};

struct Character {
  CharacterKind kind;
  std::size_t length;  ///< in bytes
};

/// What a text that is not empty begins with.
Character firstCharacter(std::string_view text);

/// Whether every character is shown.
bool isShown(std::string_view text);

/// The text with "?" in place of each character that is not shown: one line, whatever it held.
std::string shownText(std::string_view text);

/// The same with its line feeds kept, for a report of several lines.
std::string shownLines(std::string_view text);

}  // namespace framework
