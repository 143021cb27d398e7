// The texts of all tokens: an open hash table, read without a lock and replaced by one of twice the
// size when it is half full.
#include "util/st_TokenTable.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace strings {

namespace {

constexpr std::size_t smallest = 1024;  // places
constexpr std::size_t most = 65536;     // texts

struct Entry {
  stringtoken token;
  std::string text;
};

class Places {
 public:
  explicit Places(std::size_t count)
      : m_mask(count - 1), m_places(std::make_unique<std::atomic<const Entry*>[]>(count)) {}

  const Entry* find(stringtoken token) const {
    return m_places[placeOf(token)].load(std::memory_order_acquire);
  }
  void put(const Entry* entry) {
    m_places[placeOf(entry->token)].store(entry, std::memory_order_release);
  }

 private:
  // Where the token stands, or the free place where it would.
  std::size_t placeOf(stringtoken token) const {
    std::size_t place = token & m_mask;
    for (;; place = (place + 1) & m_mask) {
      const Entry* entry = m_places[place].load(std::memory_order_acquire);
      if (entry == nullptr || entry->token == token) return place;
    }
  }

  const std::size_t m_mask;
  const std::unique_ptr<std::atomic<const Entry*>[]> m_places;
};

class Table {
 public:
  Table() {
    grow(smallest);
    add(tGSendOfList, "");
#define MC_TOKEN_TEXT(name, text) know(tGS##name, text);
    MC_HOST_TOKENS(MC_TOKEN_TEXT)
#undef MC_TOKEN_TEXT
  }

  const Entry* find(stringtoken token) const {
    return m_places.load(std::memory_order_acquire)->find(token);
  }

  stringtoken token(std::string_view text) {
    if (const stringtoken known = numberFor(text); find(known) != nullptr) return known;
    const std::lock_guard lock(m_mutex);
    const stringtoken token = numberFor(text);
    return find(token) != nullptr || add(token, text) ? token : tGSendOfList;
  }

  void know(stringtoken token, const char* text) {
    const std::lock_guard lock(m_mutex);
    const Entry* entry = find(token);
    if (entry == nullptr) {
      add(token, text);
    } else if (entry->text != text) {
      m_collisions.push_back("the texts \"" + entry->text + "\" and \"" + text +
                             "\" have the same token");
    }
  }

  std::vector<std::string> collisions() {
    const std::lock_guard lock(m_mutex);
    return m_collisions;
  }

 private:
  // The number under which the text stands, or a free one that it may have.
  stringtoken numberFor(std::string_view text) const {
    stringtoken token = digestOf(text);
    for (const Entry* entry = find(token); entry != nullptr && entry->text != text;) {
      entry = find(++token);
    }
    return token;
  }

  bool add(stringtoken token, std::string_view text) {
    if (m_entries.size() == most) return false;
    if (m_entries.size() * 2 >= m_size) grow(m_size * 2);
    m_entries.push_back(std::make_unique<Entry>(Entry{token, std::string(text)}));
    m_tables.back()->put(m_entries.back().get());
    return true;
  }

  // Readers may still look into the tables before, so they stay.
  void grow(std::size_t size) {
    auto next = std::make_unique<Places>(size);
    for (const auto& entry : m_entries) next->put(entry.get());
    m_places.store(next.get(), std::memory_order_release);
    m_tables.push_back(std::move(next));
    m_size = size;
  }

  std::atomic<const Places*> m_places = nullptr;
  std::mutex m_mutex;  // guards what follows
  std::size_t m_size = 0;
  std::vector<std::unique_ptr<Places>> m_tables;
  std::vector<std::unique_ptr<const Entry>> m_entries;
  std::vector<std::string> m_collisions;
};

// Plug-ins make tokens while they are loaded and log while they are destroyed, so the table comes
// with its first use and stays to the end.
Table& table() {
  static Table& only = *new Table;
  return only;
}

}  // namespace

Word::Word(stringtoken token, const char* text) { TokenTable::know(token, text); }

Words::Words(std::initializer_list<const char*> texts) {
  for (const char* text : texts) TokenTable::know(digestOf(text), text);
}

const char* TokenTable::text(stringtoken token) {
  const Entry* entry = table().find(token);
  return entry == nullptr ? "" : entry->text.c_str();
}

stringtoken TokenTable::token(std::string_view text) { return table().token(text); }

void TokenTable::know(stringtoken token, const char* text) { table().know(token, text); }

std::vector<std::string> TokenTable::collisions() { return table().collisions(); }

}  // namespace strings
