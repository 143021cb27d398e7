// Keeps the log lines of a test.
#pragma once

#include "host/log/fw_Logger.h"
#include "support/Kept.h"

namespace test {

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
