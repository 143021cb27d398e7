// The words of a command line.
#pragma once

#include <string>
#include <vector>

namespace utility {

/// Words, of which a command's own may be skipped so that index 0 is its first argument.
class Arguments {
 public:
  Arguments() = default;
  explicit Arguments(std::vector<std::string> words) : m_words(std::move(words)) {}

  /// The word at an index behind the skipped ones, valid as long as this object; null past the end.
  const char* ArgValue(unsigned int index) const;
  unsigned int ArgCount() const;

  /// Skips the first `count` words.
  void skip(unsigned int count) { m_skipped = count; }

 private:
  std::vector<std::string> m_words;
  unsigned int m_skipped = 0;
};

}  // namespace utility
