// A moment and the time between two moments, in the host's timestamp unit.
#pragma once

#include "util/ut_TimeMeasure.h"

namespace utility {

/// The difference of two moments, in microseconds.
class Duration : public TimeMeasure {
 public:
  explicit Duration(std::int64_t value) : TimeMeasure(value) {}
};

/// A moment: microseconds since the epoch as TimeMeasure::getTimestamp() counts them.
class TimeStamp : public TimeMeasure {
 public:
  /// The present moment.
  TimeStamp() : TimeMeasure(getTimestamp()) {}
  explicit TimeStamp(std::int64_t value) : TimeMeasure(value) {}

  static TimeStamp now() { return TimeStamp(); }

  Duration operator-(TimeStamp other) const { return Duration(Value() - other.Value()); }
};

}  // namespace utility
