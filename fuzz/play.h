// What a generator and the replay of its seeds have in common.
#pragma once

#include "support/Test.h"

/// Gives one input to the product: a grammar's own, each has one. Ends the process where the
/// product does what it never must.
void play(const std::string& input);

/// What must hold for every input.
#define REQUIRE(condition)                                                 \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)

/// The input as this many texts, separated by zero bytes; the last has all the rest.
inline std::vector<std::string> textsOf(std::string input, std::size_t count) {
  std::vector<std::string> texts;
  while (texts.size() + 1 < count) {
    const std::size_t end = input.find('\0');
    texts.push_back(input.substr(0, end));
    input.erase(0, end == std::string::npos ? end : end + 1);
  }
  texts.push_back(input);
  return texts;
}
