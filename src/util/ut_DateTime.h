// A date and time of day in whole seconds.
#pragma once

#include <cstdint>

#include "util/ut_PutStream.h"

namespace utility {

/// Whole seconds since the epoch, as the host's never-stepping clock counts them.
class DateTime {
 public:
  explicit DateTime(std::int64_t seconds = 0) : m_seconds(seconds) {}

  /// Writes the time as the wall clock shows it in UTC, in the ISO 8601 form
  /// "2026-11-22T03:04:05Z" (20 characters). The stream's rule at its bound applies.
  void ToISOBuffer(PutStream& stream) const;

 private:
  std::int64_t m_seconds;
};

}  // namespace utility
