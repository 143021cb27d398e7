// The texts of all tokens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/st_Tokens.h"

namespace strings {

/// One table for the process, which only grows. Any thread may call; no lookup takes a lock.
class TokenTable {
 public:
  /// The text of a token, valid for the life of the process; empty when it has none.
  static const char* text(stringtoken token);
  /// The token of a text. One that is met for the first time gets its digest, or the next number
  /// that is free; once 65,536 texts have one, 0.
  static stringtoken token(std::string_view text);

  /// Gives a token its text; another text that it has already stays and is told in collisions().
  static void know(stringtoken token, const char* text);
  /// A line for each token that two texts ask for.
  static std::vector<std::string> collisions();
};

}  // namespace strings
