// What several threads noted, in order, the log lines of a test among it.
#pragma once

#include "host/log/fw_Logger.h"
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

/// Collects every log line while it lives.
class LogCapture : public framework::Logger {
 public:
  LogCapture() { registerLogger(this); }
  ~LogCapture() override { unregisterLogger(this); }

  void takeLine(int /*type*/, const char* line, std::size_t size) override {
    m_lines.add({line, size});
  }

  /// How many lines hold the text.
  long count(const std::string& text) const {
    return std::ranges::count_if(m_lines.all(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }
  bool has(const std::string& text) const { return count(text) > 0; }

 private:
  Kept<std::string> m_lines;
};

}  // namespace test
