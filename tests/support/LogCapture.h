// Keeps the log lines of a test.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "host/log/fw_Logger.h"

namespace test {

/// Collects every log line while it lives.
class LogCapture : public framework::Logger {
 public:
  LogCapture() { registerLogger(this); }
  ~LogCapture() override { unregisterLogger(this); }

  void takeLine(int /*type*/, const char* line, std::size_t size) override {
    const std::lock_guard lock(m_mutex);
    m_lines.emplace_back(line, size);
  }

  /// How many lines hold the text.
  long count(const std::string& text) const {
    const std::lock_guard lock(m_mutex);
    return std::count_if(m_lines.begin(), m_lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }
  bool has(const std::string& text) const { return count(text) > 0; }

 private:
  mutable std::mutex m_mutex;
  std::vector<std::string> m_lines;
};

}  // namespace test
