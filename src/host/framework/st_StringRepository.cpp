// Texts and their tokens: a table that only grows, read without a lock.
#include "host/framework/st_StringRepository.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace strings {

namespace {

class Table {
 public:
  Table() {
    add("");
#define MC_TOKEN_TEXT(name, text) add(text);
    MC_TOKEN_TABLE(MC_TOKEN_TEXT)
#undef MC_TOKEN_TEXT
  }

  const char* text(stringtoken token) const {
    if (token >= m_texts.size()) return "";
    const char* found = m_texts[token].load(std::memory_order_acquire);
    return found == nullptr ? "" : found;
  }

  stringtoken token(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_tokens.find(text);
    return found != m_tokens.end() ? found->second : add(text);
  }

 private:
  stringtoken add(std::string_view text) {
    if (m_owned.size() == m_texts.size()) return tGSendOfList;
    const auto token = static_cast<stringtoken>(m_owned.size());
    m_owned.push_back(std::make_unique<std::string>(text));
    m_tokens.emplace(*m_owned.back(), token);
    m_texts[token].store(m_owned.back()->c_str(), std::memory_order_release);
    return token;
  }

  std::array<std::atomic<const char*>, 65536> m_texts{};
  std::mutex m_mutex;  // guards what follows
  std::vector<std::unique_ptr<std::string>> m_owned;
  std::unordered_map<std::string_view, stringtoken> m_tokens;
};

// Plug-ins make tokens while they are loaded and log while they are destroyed, so the table comes
// with its first use and stays to the end.
Table& table() {
  static Table& only = *new Table;
  return only;
}

}  // namespace

StableStringRepository GS;

const char* StringRepository::toString(stringtoken token) { return table().text(token); }

stringtoken StableStringRepository::toToken(const char* text) { return table().token(text); }

}  // namespace strings
