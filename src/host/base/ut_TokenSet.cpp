// A small set of tokens that keeps their order.
#include "host/base/ut_TokenSet.h"

#include <algorithm>
#include <cstring>

#include "host/base/st_StringRepository.h"

namespace utility {

std::vector<std::string> entriesOf(const char* list) {
  constexpr const char* separators = ", \t\r\n";
  std::vector<std::string> entries;
  for (const char* at = list + std::strspn(list, separators); *at != '\0';) {
    const std::size_t length = std::strcspn(at, separators);
    entries.emplace_back(at, length);
    at += length;
    at += std::strspn(at, separators);
  }
  return entries;
}

bool TokenSet::inSet(strings::stringtoken token) const {
  return std::find(m_tokens.begin(), m_tokens.end(), token) != m_tokens.end();
}

bool TokenSet::set(strings::stringtoken token) {
  if (inSet(token)) return true;
  if (m_tokens.size() == m_capacity) return false;
  m_tokens.push_back(token);
  return true;
}

void TokenSet::unset(strings::stringtoken token) { std::erase(m_tokens, token); }

void TokenSet::SetFromStringList(const char* list) {
  for (const std::string& entry : entriesOf(list)) set(strings::GS.toToken(entry.c_str()));
}

strings::stringtoken TokenSet::ElementAt(unsigned int index) const {
  return index < m_tokens.size() ? m_tokens[index] : strings::tGSendOfList;
}

}  // namespace utility
