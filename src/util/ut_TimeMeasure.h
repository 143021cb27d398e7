// Host timestamps: reading, turning into seconds, printing.
#pragma once

#include <cstdint>

namespace utility {

/// A 64-bit count in the host's timestamp unit, microseconds, and the operations on such counts.
class TimeMeasure {
 public:
  explicit TimeMeasure(std::int64_t value) : m_value(value) {}

  std::int64_t Value() const { return m_value; }

  /// The present host timestamp: microseconds since the epoch on a clock that never steps.
  static std::int64_t getTimestamp();

  /// Whole seconds of a timestamp or of the difference of two, rounded toward zero.
  static std::int64_t getSeconds(long long value) { return value / 1000000; }

  /// Writes a timestamp as local wall-clock time, "2026-11-22 03:04:05", into `buffer` of `size`
  /// bytes (20 hold it; less cuts it). Answers the buffer.
  static char* printTimestamp(long long value, char* buffer, int size);
  /// The same for microseconds since the epoch by the wall clock.
  static char* printWallTime(long long value, char* buffer, int size);

 private:
  std::int64_t m_value;
};

}  // namespace utility
