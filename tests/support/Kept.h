// What several threads noted, in order.
#pragma once

#include "support/Standard.h"

namespace test {

/// A list that any thread adds to.
template <typename Entry>
class Kept {
 public:
  void add(Entry entry) {
    const std::lock_guard lock(m_mutex);
    m_entries.push_back(std::move(entry));
  }
  void clear() {
    const std::lock_guard lock(m_mutex);
    m_entries.clear();
  }
  std::vector<Entry> all() const {
    const std::lock_guard lock(m_mutex);
    return m_entries;
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<Entry> m_entries;
};

}  // namespace test
