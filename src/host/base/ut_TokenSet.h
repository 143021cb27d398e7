// A small set of tokens that keeps their order.
#pragma once

#include <string>
#include <vector>

#include "util/st_Tokens.h"

namespace utility {

/// The entries of a list in one text, separated by commas or white space.
std::vector<std::string> entriesOf(const char* list);

/// Up to a fixed number of tokens, in the order in which they were set. It has no lock.
class TokenSet {
 public:
  explicit TokenSet(unsigned int capacity) : m_capacity(capacity) { m_tokens.reserve(capacity); }

  bool inSet(strings::stringtoken token) const;
  /// Adds a token. False when it is new and the set is full.
  bool set(strings::stringtoken token);
  /// Takes a token out.
  void unset(strings::stringtoken token);

  /// Adds the tokens of a list of names in one text.
  void SetFromStringList(const char* list);

  unsigned int Length() const { return static_cast<unsigned int>(m_tokens.size()); }
  /// The token at an index; the end-of-list token past the end.
  strings::stringtoken ElementAt(unsigned int index) const;

 private:
  unsigned int m_capacity;
  std::vector<strings::stringtoken> m_tokens;
};

}  // namespace utility
