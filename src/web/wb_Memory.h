// The memory track as the web shows it.
#pragma once

#include <cstddef>

#include "host/web/ht_Message.h"

namespace services::web {

constexpr std::size_t samplesAnHour = 30;     ///< one is taken every two minutes
constexpr unsigned int mostMemoryRows = 600;  ///< of memory.csv

/// The whole track as CSV, with the columns that "memory stats output" has, thinned out evenly to
/// at most `mostMemoryRows` rows, the newest among them; empty without a
/// supervision.
http::Response memoryPage();

}  // namespace services::web
